// SPDX-License-Identifier: Apache-2.0
#include "nightly/JobFiles.h"

#include <cstdlib>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "nightly/Job.h"

namespace morvane {

namespace fs = std::filesystem;

void RequireWritableFolder(const fs::path& folder) {
    std::string reason = CheckFolder(folder.string()).message();
    if (!CheckFolder(folder.string())) {
        const fs::path probe = folder / ".morvane-nightly";
        const FileHandle file = OpenToWrite(probe, NamedBy::Program, reason);
        if (file != nullptr) {
            std::error_code ignored;
            fs::remove(probe, ignored);
            return;
        }
    }
    throw NotStarted("cannot write into the folder \"" + folder.string() + "\": " + reason);
}

void RequireWritableFile(const std::string& file) {
    if (file.empty()) {
        return;
    }
    if (FolderExists(file)) {
        throw NotStarted("\"" + file + "\" is a folder");
    }
    const fs::path folder = ToPath(file).parent_path();
    RequireWritableFolder(folder.empty() ? fs::path(".") : folder);
}

void RemoveOldFile(const std::string& path) {
    std::error_code error;
    if (!path.empty() && !fs::is_character_file(ToPath(path), error)) {
        fs::remove(ToPath(path), error);
        if (error) {
            throw FileError("Cannot replace the file \"" + path + "\": " + error.message());
        }
    }
}

std::string ReadPasswordFile(const std::string& path) {
    if (path.find_first_of(kPathSeparators) != std::string::npos) {
        return ReadPrivateLine(path);
    }
    const char* folder = std::getenv("CREDENTIALS_DIRECTORY");
    if (folder == nullptr) {
        throw NotStarted("the password file \"" + path +
                         "\" has no folder, and CREDENTIALS_DIRECTORY is not set");
    }
    return Split(ReadWholeFile(std::string(folder) + kPathSeparator + path), '\n').front();
}

}  // namespace morvane
