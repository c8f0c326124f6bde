// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <new>
#include <string>

#include "base/Text.h"

namespace morvane {

// An exception as a user may read it.
inline std::string Describe(const std::exception& error) {
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "There is not enough memory."
                                                                  : error.what();
}

// The task boundary: runs an operation that returns a truth value. An exception is described once,
// with CR LF, at the end of `errorText`, and makes the result false.
template <typename Operation>
bool TrapErrors(std::string& errorText, Operation&& operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        try {
            errorText += Describe(error);
            errorText += kCrLf;
        } catch (const std::bad_alloc&) {
            // The result says it alone: what ends the run in order is still to come.
        }
        return false;
    }
}

}  // namespace morvane
