#pragma once

#include <functional>
#include <string>

#include "core/DatabaseError.h"

namespace morvane::testing {

// What the database says against the action; "no error" when it says nothing.
inline std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const DatabaseError& error) {
        return error.what();
    }
    return "no error";
}

}  // namespace morvane::testing
