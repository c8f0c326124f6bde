// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "core/Connection.h"
#include "core/ErrorTrap.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Deletes the marked elements of each selected dimension, using a second connection. Normal
// deletion first re-links the history of slowly-moving dimensions, one transaction per table;
// atomic deletion only deletes those of their elements whose versions are all marked. Tables that
// are finished stay deleted after a failure or a cancel.
Outcome DeleteRecords(RunState& state, ProgressWindow& progress, const ConnectionFactory& factory,
                      bool atomic);

// The two ways to treat a slowly-moving dimension, each in its own file. Both read the meta tables
// on `warehouse`, write on `deletion` and throw on an error.

// Passes the period of each marked version on to a neighbour of the same element: a version that is
// not current gives its start_date to the version that starts on the day it ends; a current one
// gives its end_date and the current flag to the version that ends on the day it starts. Adjacent
// marked versions collapse onto the remaining neighbour. Runs inside the caller's transaction.
// Returns how often a version that remains was changed.
std::int64_t RelinkSlowlyMovingHistory(const std::string& table, Connection& warehouse,
                                       Connection& deletion);

struct AtomicCounts {
    std::int64_t Marked = 0;   // rows, also of elements that are not wholly marked
    std::int64_t Deleted = 0;  // rows
};

// Deletes the elements whose versions are all marked, with one statement per element in one
// transaction. Deletes nothing if a key value cannot be written as a literal or if a statement
// affects a different number of rows than the element has.
AtomicCounts DeleteAtomically(const std::string& table, Connection& warehouse,
                              Connection& deletion);

}  // namespace morvane
