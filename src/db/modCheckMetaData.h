// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Checks that the two meta tables exist, are complete and agree with each other and with the
// warehouse's tables and columns. Reads only. Fails on the first problem, which ErrorText
// describes.
Outcome CheckMetaData(RunState& state, ProgressWindow& progress);

// The part of the check that concerns dwm_tables and the control columns of the dimensions.
Outcome CheckTablesTable(RunState& state, ProgressWindow& progress);

}  // namespace morvane
