#pragma once

#include <functional>
#include <ostream>

#include "core/Clock.h"
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

    // The settings window; null where the program has none.
    std::function<void(RunState&, const RunSettings&)> ShowMainWindow;
    std::function<void()> HideMainWindow;
};

}  // namespace morvane
