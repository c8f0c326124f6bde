// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// Whether a run may start with these settings. Adds each problem to ErrorText after a line break,
// and then the usage text in command-line mode. `fault` is a problem of the command line as a
// whole, or empty.
bool ValidateSettings(const RunSettings& settings, RunState& state, const std::string& fault = {});

}  // namespace morvane
