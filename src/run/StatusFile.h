// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "core/RunState.h"

namespace morvane {

// The file by which a scheduler follows a run: one word, replaced as a whole by each write.

// Names the file. An empty path turns the writes off. Always true.
bool SetStatusFile(RunState& state, const std::string& path);

// False when no file is named or when it cannot be written, which never stops a run.
bool WriteStatus(const RunState& state, std::string_view word);

bool StatusRunning(const RunState& state);
bool StatusOk(const RunState& state);
bool StatusFailure(const RunState& state);

}  // namespace morvane
