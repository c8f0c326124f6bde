// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <functional>
#include <string>

#include "core/DatabaseError.h"

namespace morvane::testing {

// The message of the exception that the action throws; "no error" if it throws none.
inline std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace morvane::testing
