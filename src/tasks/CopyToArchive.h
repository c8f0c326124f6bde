// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "core/Connection.h"

namespace morvane {

// Copies the rows of a fact table that meet the condition into the archive, each with the timestamp
// ("yyyy-mm-dd hh:mm:ss") as its last column; the warehouse server does it, through a linked server
// when the archive is reached by integrated security and through an ad-hoc rowset otherwise. The
// link is gone afterwards, whatever happened. Returns the number of rows. Throws DatabaseError.
std::int64_t CopyToArchive(Connection& warehouse, Connection& archive, const std::string& table,
                           const std::string& condition, const std::string& timestamp);

}  // namespace morvane
