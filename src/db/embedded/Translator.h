// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/Tokens.h"
#include "db/embedded/Translation.h"

namespace morvane::embedded {

// One statement on its way from the server's SQL to SQLite's: what Translate() does, in three files
// (statements and expressions, names of tables, calls of functions).
class Translator {
  public:
    Translator(std::string_view sql, const TranslationContext& context)
        : sql_(sql), context_(context), tokens_(Tokenize(sql, context.LinkedServers)) {}

    Translation Run();

  private:
    [[noreturn]] void Fail(const std::string& text) const {
        throw DatabaseError({text}, std::string(sql_));
    }
    [[noreturn]] void FailUnknown(const std::string& what) const {
        Fail("The embedded warehouse does not know " + what + ".");
    }

    // Parentheses are rewritten one inside the other. SQLite takes no more either.
    void RequireShallow() const;

    bool IsAt(std::size_t i, std::string_view text) const {
        return i < tokens_.size() && tokens_[i].Is(text);
    }
    bool IsNumber(std::size_t i) const {
        return i < tokens_.size() && tokens_[i].Kind == TokenKind::Number;
    }

    // Translation.cpp
    StatementKind FindKind() const;
    // SET NOEXEC, SET DATEFORMAT and what else a program tells its session.
    Translation ReadSetting() const;
    // Two quotes that touch would be one doubled quote.
    void Emit(std::string_view text, bool spaceBefore);
    // Writes the tokens [begin, end), which hold whole parentheses, rewritten. `nameColumns`: they
    // are a query whose result columns somebody sees.
    void Rewrite(std::size_t begin, std::size_t end, bool nameColumns);
    // SELECT [DISTINCT] [TOP n]; the limit goes to the end of the query.
    std::size_t RewriteSelectHead(std::size_t i, std::string& limit);
    // The result columns; one without a name of its own gets the empty name, as on the server.
    std::size_t RewriteSelectList(std::size_t i, std::size_t end);
    bool EndsSelectList(std::size_t i) const;
    bool IsUnnamedExpression(std::size_t begin, std::size_t end) const;
    // Writes the token at `i` with all that belongs to it; returns the position after.
    std::size_t RewriteOne(std::size_t i, std::size_t end);
    // What CREATE TABLE says only to the server goes; the rest of its words SQLite knows. Returns
    // `i` for a token without a meaning of its own here.
    std::size_t RewriteInDefinition(std::size_t i, std::size_t end);
    void NormalizeDates();
    std::size_t RewriteParenthesis(std::size_t open);
    // {ts '...'}, {d '...'}: a date as every server reads it.
    std::size_t RewriteEscape(std::size_t i);
    // "+" next to a text literal joins texts.
    bool JoinsTexts(std::size_t i) const;

    // TranslatedNames.cpp
    // a.b, dbo.t, dbo.t.a, db.dbo.t, db..t: what stands before the table goes.
    std::size_t RewriteNameChain(std::size_t i);
    // The database before "dbo." must be the one in use; the server's own list of databases is
    // made on the spot. True when the whole name has been written.
    bool ReplaceDatabase(const std::vector<std::size_t>& parts, std::size_t first);
    // The server that the first part of server.database.dbo.table names.
    std::string LinkedServer(const std::vector<std::size_t>& parts) const;
    // A table of another database file, which is then a schema by the name of the file. `at` is
    // where its name begins: only the target of an INSERT may be one, and only in the database
    // that the connection has been told.
    void EmitForeignTable(std::size_t at, const std::string& server, const std::string& database,
                          const std::string& table);
    // OPENROWSET('SQLOLEDB', 'server'; 'user'; 'password', database.dbo.table) at `i`.
    std::size_t RewriteRowset(std::size_t i, std::size_t close);

    // TranslatedCalls.cpp
    std::size_t RewriteCall(std::size_t i);
    // A type at `i`: its name, length and scale as three arguments. Returns the position after.
    std::size_t EmitType(std::size_t i, std::size_t close);
    // convert(type, value [, style])
    std::size_t RewriteConvert(std::size_t open, std::size_t close, bool space);
    // cast(value as type)
    std::size_t RewriteCast(std::size_t open, std::size_t close, bool space);

    std::string_view sql_;
    const TranslationContext& context_;
    std::vector<Token> tokens_;
    std::string out_;
    std::vector<std::string> attachedFiles_;
    std::vector<DateParameter> parameterDates_;
    bool definition_ = false;
};

template <std::size_t N>
bool ContainsWord(const std::array<std::string_view, N>& words, std::string_view word) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view known) { return EqualsIgnoreCase(known, word); });
}

}  // namespace morvane::embedded
