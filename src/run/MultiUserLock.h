// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunState.h"
#include "core/UserPrompt.h"

namespace morvane {

// One user at a time works on a warehouse. The one row of dwm_multiuse in the warehouse says
// whether somebody does, and who did last. All of these work on the open warehouse connection; a
// database error is described in ErrorText and makes the result false.

// Reads the user whom the table names into LockUser; empty when there is no table yet.
bool ReadLockUser(RunState& state);

// Whether the lock is set; not when there is no table yet.
bool IsLocked(RunState& state, bool& locked);

// Takes the lock, creating the table on first use. A set lock is broken only when the user says so;
// otherwise `lockedByOther` becomes true and nothing is changed.
bool AcquireLock(RunState& state, UserPrompt& prompt, bool& lockedByOther);

// As an unattended run takes the lock: not after another user's run either, even a finished one.
// False when the run must not go on, with or without a text in ErrorText.
bool TakeLockForRun(RunState& state, UserPrompt& prompt);

// Frees the lock that this user holds, and leaves anybody else's alone.
bool ReleaseLock(RunState& state);

// The end of a run that holds the lock: frees it in `database`, on a new connection where the
// present one no longer works. Where that fails too, ErrorText says that the lock stays set and how
// it is released.
bool ReleaseHeldLock(RunState& state, const std::string& database);

}  // namespace morvane
