#pragma once

#include <exception>
#include <string>

#include "core/Text.h"

namespace morvane {

// The task boundary: runs an operation that returns a truth value. An exception is described once,
// with CR LF, at the end of `errorText`, and makes the result false.
template <typename Operation>
bool TrapErrors(std::string& errorText, Operation&& operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        errorText += error.what();
        errorText += kCrLf;
        return false;
    }
}

}  // namespace morvane
