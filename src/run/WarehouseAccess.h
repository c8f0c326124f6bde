// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/ErrorTrap.h"
#include "core/RunState.h"
#include "core/UserPrompt.h"

namespace morvane {

// Opens the warehouse connection if it is closed and selects a database. Throws DatabaseError.
void ReopenWarehouse(RunState& state, const std::string& database);

// Closes a connection and ignores errors.
void CloseQuietly(Connection& connection);

// Closes and discards the connections to the warehouse and to the archive.
void CloseConnections(RunState& state);

// The multi-user lock: the only row of dwm_multiuse tells whether a user works on the warehouse,
// and who was the last to do so. The functions below use the open warehouse connection.

// Reads the last user into LockUser; empty if the table does not exist yet.
bool ReadLockUser(RunState& state);

// Whether the lock is set; false if the table does not exist yet.
bool IsLocked(RunState& state, bool& locked);

// Takes the lock and creates the table on first use. If the lock is set the user is asked whether
// to break it; Cancelled if not.
Outcome AcquireLock(RunState& state, UserPrompt& prompt);

// Whether to take a lock that another user held last.
enum class OtherUser { Accepted, Asked, Refused };

// Takes the lock with a look at the last user. Unattended runs refuse another user's warehouse,
// even if the lock is free. When it is not taken, the run's result tells why.
Outcome TakeLock(RunState& state, UserPrompt& prompt, OtherUser otherUser);

// Releases the lock if this user holds it.
bool ReleaseLock(RunState& state);

// Releases the lock if this process holds it, with a new connection if the present one is broken.
// On failure ErrorText tells how to release it by hand.
bool ReleaseHeldLock(RunState& state, const std::string& database);

}  // namespace morvane
