// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Connection.h"
#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Deletes the marked elements of every selected dimension on a connection of its own. Normal
// deletion re-links the history of slowly-moving dimensions first, one transaction a table; atomic
// deletion takes of them only the elements all of whose versions are marked. False on an error,
// described in ErrorText, or when the user cancelled; finished tables stay deleted.
Outcome DeleteRecords(RunState& state, ProgressWindow& progress, const ConnectionFactory& factory,
                      bool atomic);

}  // namespace morvane
