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

// What a run needs of the world around it, lent by whoever starts it.
struct RunServices {
    const morvane::Clock& Clock;
    UserPrompt& Prompt;
    ProgressWindow& Progress;
    ConnectionFactory Connect;
    std::ostream& Output;
    std::ostream& Errors;

    // Shows the settings window and waits until it is closed; null where the program has none, for
    // the reason that WhyNoWindow gives.
    std::function<void(RunState&, const RunSettings&)> ShowMainWindow;
    std::function<void()> HideMainWindow;
    std::string WhyNoWindow = {};
};

}  // namespace morvane
