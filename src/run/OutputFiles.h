// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"

namespace morvane {

// Why the status file or the copy of the log must not be written under the name that the user gave:
// it belongs to a database of an embedded server, under whatever name, or both are one file. Empty
// where nothing speaks against it. Opens nothing.
struct OutputFaults {
    std::string StatusFile;
    std::string LogCopy;
};
OutputFaults FindOutputFaults(const RunSettings& settings);

// The same for the file that the settings window writes.
std::string ConfigFileFault(const RunSettings& settings, const std::string& path);

}  // namespace morvane
