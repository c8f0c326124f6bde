// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"

namespace morvane {

// Deletes the elements of a slowly-moving dimension all of whose versions are marked, one statement
// an element, in one transaction on `deletion`; every other element keeps all its rows. Finds the
// elements on `warehouse`. Throws, with nothing deleted, when a key value cannot be written as a
// literal or a statement takes another number of rows than its element has.
void DeleteAtomically(const std::string& table, Connection& warehouse, Connection& deletion);

}  // namespace morvane
