// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/Translation.h"
#include "sql/MaskPasswords.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

// Writes one T-SQL statement as SQLite's SQL; what Translate() does. Split over three files:
// statements and expressions, names of tables, function calls. `tokens` is always the list that
// holds the token in question: the statement or the contents of a pair of parentheses.
class Translator {
  public:
    Translator(std::string_view sql, const TranslationContext& context)
        : sql_(sql), context_(context), statement_(Tokenize(sql, context.LinkedServers)) {}

    Translation Run();

  private:
    [[noreturn]] void Fail(const std::string& text) const {
        throw DatabaseError({text}, MaskPasswords(sql_));
    }
    [[noreturn]] void FailUnknown(const std::string& what) const {
        Fail("The embedded warehouse does not know " + what + ".");
    }

    // Translation.cpp
    StatementKind FindKind() const;
    // SET NOEXEC, SET DATEFORMAT and other session settings.
    Translation ReadSetting() const;
    void PrepareTokens(Tokens& tokens);
    std::string TakeInto();
    void NormalizeDates();
    // Appends text, separated from a quote that would merge with it.
    void Emit(std::string_view text, bool spaceBefore);
    void Emit(const Token& token) { Emit(token.Text, token.SpaceBefore); }
    // Writes all tokens. `nameColumns`: they are the query whose result columns the caller sees.
    void Rewrite(TokenSpan tokens, bool nameColumns = false);
    // SELECT [DISTINCT] [TOP n]; the limit goes to the end of the query.
    std::size_t RewriteSelectHead(TokenSpan tokens, std::size_t i, std::string& limit);
    // The result columns. An unnamed one gets the empty name, as on the server.
    std::size_t RewriteSelectList(TokenSpan tokens, std::size_t i);
    // Writes token `i` and everything that belongs to it. Returns the position after that.
    std::size_t RewriteOne(TokenSpan tokens, std::size_t i);
    // CREATE TABLE: drops what only the server understands. Returns `i` if the token has no special
    // meaning there.
    std::size_t RewriteInDefinition(TokenSpan tokens, std::size_t i);
    void RewriteGroup(const Token& group);
    // {ts '...'}, {d '...'}: a date that every server reads the same way.
    std::size_t RewriteEscape(TokenSpan tokens, std::size_t i);

    // TranslatedNames.cpp
    // a.b, dbo.t, dbo.t.a, db.dbo.t, db..t: drops what precedes the table.
    std::size_t RewriteNameChain(TokenSpan tokens, std::size_t i);
    using NameParts = std::vector<const Token*>;  // null for an empty part
    // The database before "dbo." must be the current one; master.dbo.sysdatabases becomes a query.
    // True if the whole name has been written.
    bool ReplaceDatabase(const NameParts& parts, std::size_t first, bool isTarget);
    // The server in server.database.dbo.table.
    std::string LinkedServer(const NameParts& parts) const;
    // A table in another database file, which is attached as a schema named after the file. It must
    // be in the connection's copy database and, unless the connection only reads, the target of an
    // INSERT.
    void EmitForeignTable(bool isTarget, bool spaceBefore, const std::string& server,
                          const std::string& database, const std::string& table);
    // True for the token after INSERT INTO.
    bool IsInsertTarget(const Token& token) const;
    // OPENROWSET('SQLOLEDB', 'server'; 'user'; 'password', database.dbo.table)
    void RewriteRowset(const Token& name, TokenSpan arguments);

    // TranslatedCalls.cpp
    std::size_t RewriteCall(TokenSpan tokens, std::size_t i);
    // Writes the type at `i` as three arguments: name, length, scale. Returns the position after
    // it.
    std::size_t EmitType(TokenSpan tokens, std::size_t i);
    // convert(type, value [, style])
    void RewriteConvert(TokenSpan arguments, bool space);
    // cast(value as type)
    void RewriteCast(TokenSpan arguments, bool space);

    std::string_view sql_;
    const TranslationContext& context_;
    Tokens statement_;
    std::string out_;
    std::vector<std::string> attachedFiles_;
    std::vector<DateParameter> parameterDates_;
    std::size_t parameters_ = 0;
    bool definition_ = false;
};

template <std::size_t N>
bool ContainsWord(const std::array<std::string_view, N>& words, std::string_view word) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view known) { return EqualsIgnoreCase(known, word); });
}

}  // namespace morvane::embedded
