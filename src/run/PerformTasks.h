// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/RunSettings.h"
#include "core/RunState.h"
#include "run/RunLog.h"
#include "run/RunServices.h"

namespace morvane {

// The captions of the selected tasks as the progress window lists them.
std::vector<std::string> SelectedTaskNames(const RunSettings& settings);

// Opens a closed warehouse connection again and makes `database` its default one. Throws
// DatabaseError.
void ReopenWarehouse(RunState& state, const std::string& database);

// For what has nothing to lose: a connection that breaks now harms nobody.
void CloseQuietly(Connection& connection);

// Performs the selected tasks in their fixed order and stops at the first that fails or is
// cancelled: false then, with the reason at the end of ErrorText, and the flags of that task and
// of all later ones cleared.
bool PerformTasks(RunSettings& settings, RunState& state, RunServices& services, RunLog& log);

}  // namespace morvane
