// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "core/ErrorTrap.h"

namespace morvane {

// How a task ended. Only Failed comes with a text in ErrorText; what a user is told about a cancel
// is up to the caller.
enum class Outcome { Done, Failed, Cancelled };

// The task boundary for operations that can be cancelled: runs one that returns an Outcome. An
// exception is described at the end of `errorText`, as TrapErrors() does, and gives Failed.
template <typename Operation>
Outcome TrapOutcome(std::string& errorText, Operation&& operation) {
    Outcome outcome = Outcome::Failed;
    TrapErrors(errorText, [&] {
        outcome = std::forward<Operation>(operation)();
        return true;
    });
    return outcome;
}

}  // namespace morvane
