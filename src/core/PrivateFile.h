#pragma once

#include <string>
#include <string_view>

namespace morvane {

// Writes a file that its owner alone may read, at once and whole: until then, and when it fails, a
// former file of the name stays as it was. A symbolic link is followed. Throws FileError.
void WritePrivateFile(const std::string& path, std::string_view content);

}  // namespace morvane
