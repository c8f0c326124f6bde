// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"

namespace morvane {

// The settings of the window as one line of options, which given to the program as its command line
// makes the same settings. The log folder stands in double quotes, another value only when it would
// fall apart without them. A blank password is left out.
std::string ConfigLine(const RunSettings& settings);

// Why the line would not be read as these settings: a value with a double quote in it, say, or one
// that would be taken for an option. Empty when all is well. Never shows a value.
std::string ConfigLineFault(const RunSettings& settings);

// Writes the line and CR LF, for the owner's eyes alone. Throws FileError.
void WriteConfigFile(const std::string& path, const RunSettings& settings);

}  // namespace morvane
