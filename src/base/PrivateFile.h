// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// Writes a file that its owner alone may read, at once and whole: until then, and when it fails, a
// former file of the name stays as it was. A symbolic link is followed; what is there and is no
// regular file is refused. Throws FileError.
void WritePrivateFile(const std::string& path, std::string_view content);

// The first line of a file, without its line end. The file must belong to the process's user, or to
// the superuser, and be of no use to anybody else; on Windows that is not checked. Throws
// FileError.
std::string ReadPrivateLine(const std::string& path);

}  // namespace morvane
