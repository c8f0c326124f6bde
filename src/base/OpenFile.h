// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace morvane {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

// Who chose a file's name.
enum class NamedBy { Program, User };

// Opens a file and empties it; null, with the system's reason, where that cannot be done. Never
// waits, as opening a pipe would. A file that the program names must be a regular file with one
// name only: others may write the folder and lay a link there. What the user names may be a link
// or a character device such as /dev/null.
FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy namedBy, std::string& reason);

// Opens a file to read it; null, with the system's reason, where that cannot be done. Never waits.
FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason);

// Whether a file is larger than the process may write, by ulimit(1): what lies beyond the limit can
// be neither changed nor restored.
bool ExceedsSizeLimit(const std::filesystem::path& path);

}  // namespace morvane
