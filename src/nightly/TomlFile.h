// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nightly/Job.h"

namespace morvane {

// The sections of a TOML file, each for a warehouse, in their order. `path` is for messages. Throws
// NotStarted with line and column for what is not TOML, an unknown or missing key, a value of the
// wrong type or one that morvane could not read, and two sections with the same name.
std::vector<Job> ReadTomlJobs(std::string_view content, const std::string& path);

}  // namespace morvane
