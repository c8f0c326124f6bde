// SPDX-License-Identifier: Apache-2.0
#include "run/OutputFiles.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "base/Platform.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/embedded/EmbeddedConnection.h"

namespace morvane {

namespace {

namespace fs = std::filesystem;

// A database or one of the files that SQLite keeps next to it.
bool IsDatabaseFile(const fs::path& file) {
    constexpr std::array<std::string_view, 4> kEndings{".db", ".db-journal", ".db-wal", ".db-shm"};
    const std::string name = ToLower(file.filename().string());
    return std::any_of(kEndings.begin(), kEndings.end(),
                       [&](std::string_view ending) { return name.ends_with(ending); });
}

// The absolute path without symbolic links; the file need not exist.
fs::path WholePath(const fs::path& file) {
    std::error_code failed;
    return fs::weakly_canonical(fs::absolute(file, failed), failed);
}

bool IsSameFile(const fs::path& a, const fs::path& b) {
    return AreEquivalent(a, b) || WholePath(a) == WholePath(b);
}

// Also finds a database through a hard link in another folder.
bool IsDatabaseIn(const fs::path& folder, const fs::path& file) {
    const fs::path whole = WholePath(file);
    if (IsDatabaseFile(whole) && AreEquivalent(whole.parent_path(), folder)) {
        return true;
    }
    std::error_code missing;
    fs::directory_iterator entry(folder, missing);
    for (; !missing && entry != fs::directory_iterator(); entry.increment(missing)) {
        if (IsDatabaseFile(entry->path()) && AreEquivalent(entry->path(), file)) {
            return true;
        }
    }
    return false;
}

bool IsGiven(bool option, const std::string& path) {
    return option && !Trim(path).empty();
}

}  // namespace

std::string DatabaseFault(const RunSettings& settings, const std::string& what,
                          const std::string& path) {
    for (const std::string& server : {settings.Machine, settings.ArchiveMachine}) {
        if (IsEmbeddedServer(server) &&
            IsDatabaseIn(ToPath(server.substr(kEmbeddedPrefix.size())), ToPath(path))) {
            return what + " cannot be \"" + path + "\", which belongs to a database of " + server;
        }
    }
    return {};
}

OutputFaults FindOutputFaults(const RunSettings& settings, const std::string& resultFile) {
    const bool status = IsGiven(settings.StatusMode, settings.StatusFileName);
    const bool copy = IsGiven(settings.LogFileGiven, settings.LogFileName);
    OutputFaults faults;
    if (status) {
        faults.StatusFile = DatabaseFault(settings, "The status file", settings.StatusFileName);
    }
    if (copy) {
        faults.LogCopy = DatabaseFault(settings, "The copy of the log", settings.LogFileName);
    }
    std::error_code missing;
    if (status && copy && faults.LogCopy.empty() &&
        IsSameFile(ToPath(settings.StatusFileName), ToPath(settings.LogFileName)) &&
        !fs::is_character_file(ToPath(settings.LogFileName), missing)) {
        faults.LogCopy = "The status file and the copy of the log cannot both be \"" +
                         settings.LogFileName + "\"";
    }
    if (!resultFile.empty()) {
        faults.Result = DatabaseFault(settings, "The result file", resultFile);
        const bool taken =
            (status && IsSameFile(ToPath(settings.StatusFileName), ToPath(resultFile))) ||
            (copy && IsSameFile(ToPath(settings.LogFileName), ToPath(resultFile)));
        if (faults.Result.empty() && taken) {
            faults.Result = "The result file cannot be \"" + resultFile +
                            "\", which the run writes something else into";
        }
    }
    return faults;
}

bool SetStatusFile(RunState& state, const std::string& path) {
    state.StatusFilePath = path;
    return true;
}

bool WriteStatus(const RunState& state, std::string_view word) {
    if (state.StatusFilePath.empty()) {
        return false;
    }
    try {
        TextFile file(state.StatusFilePath, TextFile::Flush::AtClose, NamedBy::User);
        file.WriteLine(word);
        file.Close();
        return true;
    } catch (const FileError&) {
        return false;
    }
}

bool StatusRunning(const RunState& state) {
    return WriteStatus(state, "running");
}

bool StatusOk(const RunState& state) {
    return WriteStatus(state, "ok");
}

bool StatusFailure(const RunState& state) {
    return WriteStatus(state, "failure");
}

}  // namespace morvane
