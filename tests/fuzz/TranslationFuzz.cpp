// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzDatabase.h"
#include "Require.h"
#include "base/Text.h"
#include "db/embedded/AlterTable.h"
#include "db/embedded/Names.h"
#include "db/embedded/Translation.h"
#include "dialogs/SelectQuery.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::fuzz {
namespace {

using namespace embedded;

FuzzDatabase& Warehouse() {
    static FuzzDatabase database(
        {"CREATE TABLE t(a datetime, b date, c int, d varchar(20))",
         "CREATE TABLE f(c int NOT NULL, a datetime, n decimal(9, 2))",
         "CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
         " PRIMARY KEY(id, shop))",
         "CREATE TABLE g(x int, y int, CONSTRAINT pk_g PRIMARY KEY(x, y))",
         "INSERT INTO t VALUES ('2024-03-05 14:07:09', '2024-03-05', 1, 'x'),"
         " (NULL, NULL, NULL, NULL)",
         "INSERT INTO f VALUES (1, '2023-12-31 00:00:00', 12.5)",
         "INSERT INTO g VALUES (1, 1), (1, 2)"});
    return database;
}

TranslationContext Context(const SqliteDatabase* catalogue) {
    return {"/nowhere", "dw", {"sqlite:/x"}, catalogue};
}

std::optional<Translation> TryTranslate(std::string_view sql, const SqliteDatabase* catalogue) {
    try {
        return Translate(sql, Context(catalogue));
    } catch (const DatabaseError&) {
        return std::nullopt;
    }
}

// The tree as a flat list, with "(" and ")" as tokens.
void AppendFlat(Tokens& flat, const Tokens& tokens) {
    for (const Token& token : tokens) {
        if (token.IsGroup()) {
            flat.push_back({TokenKind::Symbol, "(", token.SpaceBefore});
            AppendFlat(flat, token.Inside);
            flat.push_back({TokenKind::Symbol, ")"});
        } else {
            flat.push_back(token);
        }
    }
}

std::optional<Tokens> TryTokenize(std::string_view sql) {
    try {
        Tokens flat;
        AppendFlat(flat, Tokenize(sql, Context(nullptr).LinkedServers));
        return flat;
    } catch (const DatabaseError&) {
        return std::nullopt;
    }
}

bool Same(const Tokens& a, const Tokens& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Token& x, const Token& y) {
        return x.Kind == y.Kind && x.Text == y.Text;
    });
}

// Tokens occur in the statement in their order. Names may be quoted differently.
void CheckTokens(std::string_view sql, const Tokens& tokens) {
    std::size_t at = 0;
    for (const Token& token : tokens) {
        Require(!token.Text.empty() && token.Text.size() <= 2 * sql.size() + 2,
                "a token is no longer than the statement, its quotes aside");
        if (token.Kind == TokenKind::Name) {
            Require(token.NameText().size() <= sql.size(), "nor is a name");
            Require(QuotedName(token.NameText()) == token.Text, "a name is quoted as a whole");
            continue;
        }
        at = sql.find(token.Text, at);
        Require(at != std::string_view::npos, "a token stands in the statement");
        at += token.Text.size();
        Require(token.Kind != TokenKind::Text || QuotedText(Unquoted(token.Text)) == token.Text,
                "a text is quoted as a whole");
    }
}

bool Has(const Tokens& tokens, std::string_view word) {
    return std::any_of(tokens.begin(), tokens.end(),
                       [&](const Token& token) { return token.Is(word); });
}

std::size_t Count(const Tokens& tokens, TokenKind kind) {
    return static_cast<std::size_t>(std::count_if(
        tokens.begin(), tokens.end(), [&](const Token& token) { return token.Kind == kind; }));
}

// The contents of a token without its quotes.
std::string Content(const Token& token) {
    return ToLower(token.Kind == TokenKind::Text ? Unquoted(token.Text) : token.NameText());
}

// No text, name, number or word is lost, except the keywords and functions that are rewritten.
void CheckNothingLost(const Tokens& before, const Tokens& after) {
    static const std::set<std::string> kMayGo = {
        "select",    "top",      "as",   "max",  "getdate", "current_timestamp",
        "datediff",  "dateadd",  "left", "len",  "isnull",  "datepart",
        "year",      "month",    "day",  "cast", "right",   "convert",
        "substring", "charindex"};
    std::multiset<std::string> left;
    for (const Token& token : after) {
        left.insert(Content(token));
    }
    for (const Token& token : before) {
        const bool counts = token.Kind != TokenKind::Symbol && token.Kind != TokenKind::Parameter;
        if (counts && (token.Kind != TokenKind::Word || !kMayGo.contains(Content(token)))) {
            const auto found = left.find(Content(token));
            Require(found != left.end(), "nothing is lost");
            left.erase(found);
        }
    }
}

// Returns false for a statement that is refused.
bool CheckTranslation(std::string_view sql, const Tokens& before) {
    const auto translation = TryTranslate(sql, nullptr);
    const auto again = TryTranslate(JoinTokens(before), nullptr);
    Require(translation.has_value() == again.has_value(), "comments are blanks and no more");
    if (!translation || translation->Kind == StatementKind::Alter) {
        return translation.has_value();
    }
    Require(translation->Sql == again->Sql, "comments change nothing");
    const auto after = TryTokenize(translation->Sql);
    Require(after.has_value(), "a translated statement can be read again");
    if (translation->Sql.empty()) {
        return true;  // SET NOEXEC
    }
    Require(Count(*after, TokenKind::Parameter) == Count(before, TokenKind::Parameter),
            "every place for a parameter is kept");
    const bool losesWords = Has(before, "{") || Has(before, "openrowset") || Has(before, ".");
    if (!losesWords && translation->Kind != StatementKind::Definition) {
        CheckNothingLost(before, *after);
    }
    return true;
}

void RunTranslated(std::string_view sql) {
    FuzzDatabase& warehouse = Warehouse();
    const SqliteDatabase& database = warehouse.Database();
    const TranslationContext context = Context(&database);
    Translation translation = Translate(sql, context);
    if (translation.Kind == StatementKind::Alter) {
        AlterTable(database, sql, context);
        return;
    }
    if (translation.Kind == StatementKind::Update) {
        translation.Sql = RewriteUpdate(database.Handle(), translation.Sql);
    }
    if (translation.AttachedFiles.empty() && !translation.Sql.empty()) {
        SqliteStatement statement(database.Handle(), translation.Sql, sql);
        warehouse.CountRows(statement);
    }
}

// Runs the statement and rolls it back.
void RunInVain(std::string_view sql) {
    FuzzDatabase& warehouse = Warehouse();
    const SqliteDatabase& database = warehouse.Database();
    warehouse.StartStatement();
    database.Run("SAVEPOINT fuzz");
    try {
        RunTranslated(sql);
    } catch (const DatabaseError&) {
    }
    warehouse.StartStatement();
    if (sqlite3_get_autocommit(database.Handle()) == 0) {  // otherwise INSERT OR ROLLBACK did it
        database.Run("ROLLBACK TO fuzz");
        database.Run("RELEASE fuzz");
    }
}

// A valid table name cannot change anything else in a statement.
void CheckName(std::string_view text) {
    if (!IsTableName(text)) {
        return;
    }
    const auto tokens = TryTokenize("delete from " + std::string(text) + " where a = 'b'");
    Require(tokens.has_value(), "a statement with a name can be read");
    const std::size_t rest = tokens->size() - 4;
    Require((rest == 3 || rest == 5) && (*tokens)[rest].Is("where"), "a name is nothing more");
    Require((*tokens)[rest - 1].IsName(), "a name is a name");
}

// A query that the query box accepts only reads, also when it is rebuilt with the flag and a hidden
// key in front of the user's columns, or sorted.
void CheckQueryBox(std::string_view sql) {
    std::string errorText;
    const auto query = ParseSelect(sql, errorText);
    Require(query.has_value() == errorText.empty(), "a refusal says why");
    if (!query) {
        return;
    }
    const std::string head = query->Head + " is_sustainable, ";
    const std::string rebuilt = head + query->Qualifier + ".id, " + query->Rest;
    Require(ParseSelect(rebuilt, errorText).has_value(), "a rebuilt query is a query");
    Require(OrderedBy(OrderedBy(rebuilt, "other"), "a]b c") == OrderedBy(rebuilt, "a]b c"),
            "a new order takes the place of the old one");
    for (const std::string& text : {head + query->Rest, rebuilt, OrderedBy(rebuilt, "a]b c")}) {
        const auto translation = TryTranslate(text, &Warehouse().Database());
        if (!translation || translation->Sql.empty()) {
            continue;
        }
        Require(translation->Kind == StatementKind::Select, "a rebuilt query stays a query");
        try {
            const SqliteStatement statement(Warehouse().Database().Handle(), translation->Sql,
                                            text);
            Require(sqlite3_stmt_readonly(statement.Handle()) != 0, "a query never writes");
        } catch (const DatabaseError&) {
        }
    }
}

// Any text survives in quotes of every kind and in a comment.
void CheckQuoted(const std::string& text) {
    if (text.find('\0') != std::string::npos || text.find("*/") != std::string::npos ||
        text.find("/*") != std::string::npos || text.ends_with('/') || text.ends_with('*')) {
        return;
    }
    const std::string sql = "select " + QuotedText(text) + ", N" + QuotedText(text) + " as " +
                            Quoted(text, '[', ']') + " /*" + text + "*/ from g";
    const auto translation = TryTranslate(sql, &Warehouse().Database());
    Require(translation.has_value(), "a quoted text is translated");
    SqliteStatement statement(Warehouse().Database().Handle(), translation->Sql, sql);
    Warehouse().StartStatement();
    Require(statement.Step(), "a row is read");
    for (const int column : {0, 1}) {
        Require(
            text == reinterpret_cast<const char*>(sqlite3_column_text(statement.Handle(), column)),
            "a quoted text comes out as it is");
    }
    Require(text == sqlite3_column_name(statement.Handle(), 1), "so does a quoted name");
}

}  // namespace
}  // namespace morvane::fuzz

// Any statement is translated or refused, and SQLite can run what is translated.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane::fuzz;
    const std::string_view sql(reinterpret_cast<const char*>(data), size);
    CheckName(sql);
    CheckQueryBox(sql);
    if (const auto tokens = TryTokenize(sql)) {
        CheckTokens(sql, *tokens);
        const auto again = TryTokenize(morvane::JoinTokens(*tokens));
        Require(again && Same(*again, *tokens), "tokens joined and read again are the same");
        if (CheckTranslation(sql, *tokens)) {
            RunInVain(sql);
        }
    } else {
        Require(!TryTranslate(sql, nullptr), "what cannot be read is not translated");
    }
    constexpr std::size_t kLongestQuoted = 40;
    if (size <= kLongestQuoted) {
        CheckQuoted(std::string(sql));
    }
    return 0;
}
