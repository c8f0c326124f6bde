// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/Clock.h"
#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// "Tuesday, Mar 5 2024 At : 14:07:09", as the head and foot of the summary give a moment.
std::string SummaryMoment(const LocalMoment& moment);

// The end of the log: the head line, the tasks and reports whose flags are still set, and the end
// of the run.
std::string SummaryText(const std::string& headLine, const RunSettings& settings,
                        const RunState& state, const LocalMoment& end);

}  // namespace morvane
