// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/ErrorTrap.h"
#include "core/RunSettings.h"
#include "core/RunState.h"
#include "run/RunLog.h"
#include "run/RunServices.h"

namespace morvane {

struct TaskContext {
    const RunSettings& Settings;
    RunState& State;
    RunServices& Services;
    RunLog& Log;
};

// Everything that the command line, the settings window, the progress window, the configuration
// file and the summary know about a task.
struct Task {
    bool RunSettings::*Flag;
    // Null, or the task of which this one is a variant and which performs it.
    bool RunSettings::*VariantOf;
    std::string_view Option;       // without the "-"
    std::string_view Caption;      // of its check box; the progress window lists it without the "&"
    std::string_view ToolTip;      // of its check box
    std::string_view SummaryLine;  // empty for the reports, which the summary lists by file
    std::string_view CancelMessage;
    std::string_view
        ErrorName;  // in the error message; empty for the task that has its own message
    Outcome (*Perform)(TaskContext&);
};

// In the order of execution, which is also that of the check boxes.
extern const std::array<Task, 6> kTasks;

// The position of a task in kTasks.
std::size_t TaskIndex(bool RunSettings::*flag);

// The captions of the selected tasks as the progress window lists them.
std::vector<std::string> SelectedTaskNames(const RunSettings& settings);

// Performs the selected tasks and stops at the first that fails or is cancelled. Then ErrorText
// ends with the reason, and the flags of that task and of all later ones are cleared.
Outcome PerformTasks(RunSettings& settings, RunState& state, RunServices& services, RunLog& log);

}  // namespace morvane
