#pragma once

#include <string>
#include <string_view>

namespace morvane::embedded {

// What a statement is, by its first words.
enum class StatementKind {
    Select,
    Insert,
    Update,
    Delete,
    Definition,  // create, drop
    NoExecOn,
    NoExecOff,
};

// A T-SQL statement as SQLite understands it.
struct Translation {
    StatementKind Kind = StatementKind::Select;
    std::string Sql;
};

// Where a statement runs: what its names can mean.
struct TranslationContext {
    std::string Folder;    // of the server
    std::string Database;  // the default one; empty when none is chosen
};

// Rewrites one T-SQL statement from its tokens; an UPDATE keeps its FROM (see SemiJoin.h). What
// the engine does not know throws DatabaseError with a sentence that says so.
Translation Translate(std::string_view sql, const TranslationContext& context);

}  // namespace morvane::embedded
