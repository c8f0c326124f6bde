// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "base/Clock.h"
#include "core/Connection.h"
#include "core/ErrorTrap.h"
#include "core/LogStream.h"
#include "core/ProgressWindow.h"
#include "core/RunState.h"

namespace morvane {

// Moves the rows of each fact table that meet its condition into the table of the same name in the
// archive database, stamped with the start time of the task, and writes a block into the log. A
// table is copied by one statement and deleted by another: a failure between them leaves the rows
// in both places.
Outcome ArchiveFactTables(RunState& state, ProgressWindow& progress, const Clock& clock,
                          LogStream& log);

// The two steps for a table, in CopyToArchive.cpp. Both throw DatabaseError.

// Creates the archive table of a fact table: a copy of its definition with the additional column
// date_of_archiving, which also becomes the last column of the primary key. Creates all or nothing.
void CreateArchiveCopy(Connection& warehouse, Connection& archive, const std::string& table);

// Copies the rows that meet the condition into the archive, with the timestamp
// ("yyyy-mm-dd hh:mm:ss") as their last column, and returns their number. The warehouse server does
// the copying: through a linked server, which is always dropped again, if the archive uses
// integrated security, and otherwise through OPENROWSET.
std::int64_t CopyToArchive(Connection& warehouse, Connection& archive, const std::string& table,
                           const std::string& condition, const std::string& timestamp);

// OPENROWSET for a table ("database.dbo.table") of another server. Throws DatabaseError if a part
// of the login cannot be written as a literal.
std::string RowsetOf(const ServerLogin& login, const std::string& table);

}  // namespace morvane
