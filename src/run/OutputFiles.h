// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// Why the status file, the copy of the log or the result file must not be written: it would
// overwrite a database of an embedded server or another one of the three. Empty if they may be
// written.
struct OutputFaults {
    std::string StatusFile;
    std::string LogCopy;
    std::string Result;
};
// Recognizes a database through links, too. Opens no file. `resultFile`: empty for none.
OutputFaults FindOutputFaults(const RunSettings& settings, const std::string& resultFile);

// The same for a single file. `what` names it in the message, such as "The configuration file".
std::string DatabaseFault(const RunSettings& settings, const std::string& what,
                          const std::string& path);

// The status file tells a scheduler the state of a run in one word. Each write replaces the file.

// An empty path turns the status file off. Always returns true.
bool SetStatusFile(RunState& state, const std::string& path);

// False if there is no status file or it cannot be written, which does not stop a run.
bool WriteStatus(const RunState& state, std::string_view word);

bool StatusRunning(const RunState& state);
bool StatusOk(const RunState& state);
bool StatusFailure(const RunState& state);

}  // namespace morvane
