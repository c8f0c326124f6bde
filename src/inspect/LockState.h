// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "core/Connection.h"
#include "inspect/Answer.h"

namespace morvane {

// The row of dwm_multiuse.
struct LockState {
    bool Set = false;
    std::string User;  // who holds the lock, or held it last
};

// No value if the table does not exist or has no row. Throws DatabaseError.
std::optional<LockState> ReadLock(Connection& connection);

// The lock, what the next run would do, and the statement that hands the warehouse over to `user`.
Answer LockAnswer(const std::optional<LockState>& lock, const std::string& user);

}  // namespace morvane
