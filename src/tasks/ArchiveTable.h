// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"

namespace morvane {

// Makes the table of a fact table in the archive database: a copy of its definition with
// date_of_archiving as one more column, which the primary key, if there is one, ends with. The
// warehouse's own schema is only read. All or nothing. Throws DatabaseError.
void CreateArchiveCopy(Connection& warehouse, Connection& archive, const std::string& table);

}  // namespace morvane
