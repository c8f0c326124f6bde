// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "base/Clock.h"
#include "core/Connection.h"
#include "core/ProgressWindow.h"
#include "core/RunSettings.h"
#include "core/RunState.h"
#include "core/UserPrompt.h"

namespace morvane {

// The services a run depends on. The caller owns them.
struct RunServices {
    const morvane::Clock& Clock;
    UserPrompt& Prompt;
    ProgressWindow& Progress;
    ConnectionFactory Connect;
    std::ostream& Output;
    std::ostream& Errors;

    // Shows the settings window until it is closed. Null if there is none; WhyNoWindow then tells
    // the reason.
    std::function<void(RunState&, const RunSettings&)> ShowMainWindow = {};
    std::function<void()> HideMainWindow = {};
    std::string WhyNoWindow = {};
};

}  // namespace morvane
