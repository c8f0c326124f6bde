// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Checks that the two meta tables exist, are complete and agree with each other and with the
// warehouse's tables and columns. Reads only. The first problem ends it: its message and CR LF go
// to ErrorText and the result is false; a cancel gives false without a message.
bool CheckMetaData(RunState& state, ProgressWindow& progress);

// The part of the check that concerns dwm_tables and the control columns of the dimensions.
bool CheckTablesTable(RunState& state, ProgressWindow& progress);

}  // namespace morvane
