// SPDX-License-Identifier: Apache-2.0
#include "demo/PendingFile.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <random>
#include <system_error>

#include "base/modFileFunctions.h"
#include "demo/SqliteFile.h"

namespace morvane::demo {

namespace {

// What SQLite may leave beside a database whose program was killed.
constexpr std::array kCompanions = {"-journal", "-wal", "-shm"};

void RemoveQuietly(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove(ToPath(path), ignored);
}

}  // namespace

// Two generators at work in one folder must not meet in one file.
PendingFile::PendingFile(std::string target)
    : target_(std::move(target)),
      temporary_(fmt::format("{}.{:08x}.part", target_, std::random_device()())) {}

PendingFile::~PendingFile() {
    if (!committed_) {
        RemoveQuietly(temporary_);
        RemoveQuietly(temporary_ + kCompanions[0]);
    }
}

void PendingFile::Commit() {
    std::error_code error;
    if (std::filesystem::is_directory(ToPath(target_), error)) {
        throw DemoError("Cannot replace " + target_ + ": it is a folder");
    }
    // The new database must not find the old one's journal: SQLite would play it back.
    RemoveQuietly(target_);
    for (const char* companion : kCompanions) {
        RemoveQuietly(target_ + companion);
    }
    std::filesystem::rename(ToPath(temporary_), ToPath(target_), error);
    if (error) {
        throw DemoError("Cannot make " + target_ + ": " + error.message());
    }
    committed_ = true;
}

}  // namespace morvane::demo
