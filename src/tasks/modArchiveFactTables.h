// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Clock.h"
#include "core/ErrorTrap.h"
#include "core/LogStream.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Copies the rows of every fact table that meet its condition into the table of the same name in
// the archive database, stamped with the time at which the task began, and deletes them from the
// warehouse; writes its own block into the log. Copy and delete are two statements on two paths: a
// failure between them leaves the rows in both places. False on an error, described in ErrorText,
// or when the user cancelled.
Outcome ArchiveFactTables(RunState& state, ProgressWindow& progress, const Clock& clock,
                          LogStream& log);

}  // namespace morvane
