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

// What a statement is, by its first words.
enum class StatementKind {
    Select,
    Insert,
    Update,
    Delete,
    Definition,  // create, drop
    Alter,       // for AlterTable(), left as it is
    NoExecOn,
    NoExecOff,
    Setting,  // of the session, see Translation::NewOrder
};

// A T-SQL statement as SQLite understands it.
struct Translation {
    StatementKind Kind = StatementKind::Select;
    std::string Sql{};
    // Other database files that the statement names, as schemas of the same name.
    std::vector<std::string> AttachedFiles{};
    // The kinds of date that the parameters meet, by their position.
    std::vector<DateParameter> ParameterDates{};
    // The session's order of dates from now on; no value when it stays.
    std::optional<DateOrder> NewOrder{};
};

// Where a statement runs: what its names can mean.
struct TranslationContext {
    std::string Folder;    // of the server
    std::string Database;  // the default one; empty when none is chosen
    std::vector<std::string> LinkedServers;
    // Where columns are looked up; without it no text is taken for a date.
    const SqliteDatabase* Catalogue = nullptr;
    // Of the session.
    DateOrder Order = DateOrder::MonthFirst;
    // The one other database that an INSERT may write to; empty when there is none.
    std::string CopyServer{};
    std::string CopyDatabase{};
};

// Rewrites one T-SQL statement from its tokens; an UPDATE keeps its FROM (see SemiJoin.h). What
// the engine does not know throws DatabaseError with a sentence that says so.
Translation Translate(std::string_view sql, const TranslationContext& context);

}  // namespace morvane::embedded
