// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "db/embedded/Sqlite.h"
#include "db/embedded/Translation.h"

namespace morvane::embedded {

// Executes the forms of ALTER TABLE that the program sends and SQLite lacks. Re-creates the table
// with its rows, indexes and triggers, all or nothing:
//   ALTER TABLE t ADD c type [NULL | NOT NULL] [DEFAULT value [WITH VALUES]]
//   ALTER TABLE t DROP CONSTRAINT name
//   ALTER TABLE t ADD CONSTRAINT name PRIMARY KEY [CLUSTERED | NONCLUSTERED] (c, ...) [ON [g]]
// Throws DatabaseError for other forms and where the server would fail.
void AlterTable(const SqliteDatabase& database, std::string_view sql,
                const TranslationContext& context);

}  // namespace morvane::embedded
