#pragma once

#include <exception>
#include <new>
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
        try {
            errorText += error.what();
            errorText += kCrLf;
        } catch (const std::bad_alloc&) {
            // The result says it alone: what ends the run in order is still to come.
        }
        return false;
    }
}

}  // namespace morvane
