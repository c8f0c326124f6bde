// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// True when a run may start with these settings. Every problem goes to ErrorText, each after a line
// break, and in command-line mode the usage text follows them. `fault` is a problem that the
// command line had as a whole; empty when it had none.
bool ValidateSettings(const RunSettings& settings, RunState& state, const std::string& fault = {});

}  // namespace morvane
