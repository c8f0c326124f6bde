// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Marks (is_deletable = 1) the elements of every selected dimension that nothing kept refers to,
// table by table, each after all tables that refer to it. False on an error, described in
// ErrorText, or when the user cancelled; a cancel closes the warehouse connection.
Outcome MarkUnusedElements(RunState& state, ProgressWindow& progress);

}  // namespace morvane
