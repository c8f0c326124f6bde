// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <exception>
#include <new>

#include "core/DatabaseError.h"

namespace morvane::embedded {

// A function of SQL in C++, as SQLite calls it.
using SqlFunction = void (*)(sqlite3_context* context, int count, sqlite3_value** arguments);

// `Function` for SQLite, which is C and knows no exceptions: one is the function's error instead,
// and ends the statement.
template <SqlFunction Function>
void Caught(sqlite3_context* context, int count, sqlite3_value** arguments) noexcept {
    try {
        Function(context, count, arguments);
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    } catch (const DatabaseError& error) {
        // Without the statement, which is told with what SQLite makes of this.
        sqlite3_result_error(context, error.Descriptions().front().c_str(), -1);
    } catch (const std::exception& error) {
        sqlite3_result_error(context, error.what(), -1);
    } catch (...) {
        sqlite3_result_error(context, "The function failed for an unknown reason.", -1);
    }
}

}  // namespace morvane::embedded
