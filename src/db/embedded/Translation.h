// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// The kind of a statement, by its first words.
enum class StatementKind {
    Select,
    Insert,
    Update,
    Delete,
    Definition,  // create, drop
    Alter,       // not translated; for AlterTable()
    NoExecOn,
    NoExecOff,
    Setting,  // of the session; see Translation::NewOrder
};

// A statement in SQLite's SQL.
struct Translation {
    StatementKind Kind = StatementKind::Select;
    std::string Sql{};
    // Database files that the statement uses as schemas of the same name.
    std::vector<std::string> AttachedFiles{};
    // The kinds of date that the parameters are compared with, by position.
    std::vector<DateParameter> ParameterDates{};
    // The session's new date order, if the statement changes it.
    std::optional<DateOrder> NewOrder{};
    // The temporary table, in quotes, that a SELECT ... INTO creates for its rows.
    std::string NewTable{};
};

// The connection that a statement runs on.
struct TranslationContext {
    std::string Folder;    // of the server
    std::string Database;  // the current one; empty if none is selected
    std::vector<std::string> LinkedServers;
    // For column types; without it no text is converted as a date.
    const SqliteDatabase* Catalogue = nullptr;
    DateOrder Order = DateOrder::MonthFirst;
    // The connection only reads.
    bool ReadsOnly = false;
    // The only other database that an INSERT can write to, or a connection that only reads can
    // read; empty if there is none.
    std::string CopyServer{};
    std::string CopyDatabase{};
};

// Translates one T-SQL statement. An UPDATE keeps its FROM for RewriteUpdate(). Throws
// DatabaseError for what the engine does not support, with a message that names it.
Translation Translate(std::string_view sql, const TranslationContext& context);

// Rewrites "UPDATE t SET c = v FROM t, f WHERE ..." for SQLite as a semi-join: a row of t changes
// if any row of f meets the condition, without creating the joined rows. If an index of f covers
// all column pairs, it is searched for each row of t; otherwise f is read once and its distinct
// keys are compared with t's. Rows that already hold the value are neither written nor counted,
// here and in an UPDATE without WHERE. Other forms of UPDATE are returned unchanged. Throws
// DatabaseError for a FROM that is not a list of tables including t.
std::string RewriteUpdate(sqlite3* database, std::string_view sql);

}  // namespace morvane::embedded
