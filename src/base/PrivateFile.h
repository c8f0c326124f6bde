// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// Writes a file that only its owner can read, atomically: on failure an existing file stays
// unchanged. Follows a symbolic link; refuses to replace anything but a regular file. Throws
// FileError.
void WritePrivateFile(const std::string& path, std::string_view content);

// The first line of a file, without its line end. The file must belong to the process's user or to
// the superuser and grant no access to others; on Windows this is not checked. Throws FileError.
std::string ReadPrivateLine(const std::string& path);

// Whether others than the owner may read a file; on Windows always false.
bool OthersMayRead(const std::string& path);

}  // namespace morvane
