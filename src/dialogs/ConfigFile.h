// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"

namespace morvane {

// The settings as a line of options that gives the same settings when it is parsed as a command
// line. The log folder is always in double quotes, other values only if they contain blanks. Omits
// a blank password.
std::string ConfigLine(const RunSettings& settings);

// Why parsing the line would give other settings, for example because a value contains a double
// quote or looks like an option. Empty if it would not. Does not include any value.
std::string ConfigLineFault(const RunSettings& settings);

// Writes the line and CR LF to a file that only its owner can read. Throws FileError.
void WriteConfigFile(const std::string& path, const RunSettings& settings);

}  // namespace morvane
