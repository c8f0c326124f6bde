// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"

namespace morvane {

// Hands the period of every marked version of a slowly-moving dimension on to a neighbour of the
// same element: a version that is not current gives its start_date to the version that starts on
// the day it ends, a current one its end_date and the current flag to the version that ends on the
// day it starts. Runs of marked versions collapse onto the surviving neighbour. Reads the meta
// tables on `warehouse`; writes on `deletion`, inside the caller's transaction.
void RelinkSlowlyMovingHistory(const std::string& table, Connection& warehouse,
                               Connection& deletion);

}  // namespace morvane
