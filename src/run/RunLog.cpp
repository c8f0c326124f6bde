// SPDX-License-Identifier: Apache-2.0
#include "run/RunLog.h"

#include <system_error>

#include "base/Platform.h"

namespace morvane {

namespace {

// Room for the log of any but the most unlucky run.
constexpr std::int64_t kReservedBytes = 64 * 1024;

}  // namespace

void RunLog::Open(const std::string& path) {
    file_.emplace(path, TextFile::Flush::EveryLine);
    if (const std::error_code error = ReserveFileSpace(file_->Stream(), path, kReservedBytes)) {
        file_.reset();
        std::error_code ignored;
        std::filesystem::remove(ToPath(path), ignored);
        throw FileError("Cannot write the file \"" + path + "\": " + error.message());
    }
    path_ = path;
}

void RunLog::WriteLine(std::string_view text) {
    if (!IsOpen() || !failure_.empty()) {
        return;
    }
    try {
        file_->WriteLine(text);
    } catch (const FileError& error) {
        failure_ = error.what();
    }
}

void RunLog::Close() {
    if (!IsOpen()) {
        return;
    }
    ReleaseUnusedSpace(file_->Stream());
    try {
        file_->Close();
    } catch (const FileError& error) {
        if (failure_.empty()) {
            failure_ = error.what();
        }
    }
    file_.reset();
}

void ReportMessage(UserPrompt& prompt, RunLog& log, std::string_view text, bool quiet,
                   MessageStyle style) {
    if (!quiet) {
        prompt.ShowMessage("Morvane", text, style);
    }
    log.WriteLine(text);
}

}  // namespace morvane
