// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "base/Text.h"

namespace morvane {

// The message of an exception for the user.
inline std::string Describe(const std::exception& error) {
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "There is not enough memory."
                                                                  : error.what();
}

// The task boundary: runs an operation that returns a bool. If it throws, appends the message and
// CR LF to `errorText` and returns false.
template <typename Operation>
bool TrapErrors(std::string& errorText, Operation&& operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        try {
            errorText += Describe(error);
            errorText += kCrLf;
        } catch (const std::bad_alloc&) {
            // Out of memory: report failure without a message, so that the run can still clean up.
        }
        return false;
    }
}

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
