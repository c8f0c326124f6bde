// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Marks (is_deletable = 1) the elements of the selected dimensions to which no fact and no unmarked
// element refers. A table is marked after all tables that refer to it. A cancel closes the
// warehouse connection.
Outcome MarkUnusedElements(RunState& state, ProgressWindow& progress);

}  // namespace morvane
