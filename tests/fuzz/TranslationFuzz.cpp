// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"
#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/AlterTable.h"
#include "db/embedded/Names.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Translation.h"
#include "dialogs/SelectQuery.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::fuzz {
namespace {

using namespace embedded;

// An in-memory database with the server's functions. Statements that take long or create large
// values fail.
class FuzzWarehouse {
  public:
    FuzzWarehouse() {
        RegisterFunctions(database_, functions_);
        for (const char* statement :
             {"CREATE TABLE t(a datetime, b date, c int, d varchar(20))",
              "CREATE TABLE f(c int NOT NULL, a datetime, n decimal(9, 2))",
              "CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
              " PRIMARY KEY(id, shop))",
              "CREATE TABLE g(x int, y int, CONSTRAINT pk_g PRIMARY KEY(x, y))",
              "INSERT INTO t VALUES ('2024-03-05 14:07:09', '2024-03-05', 1, 'x'),"
              " (NULL, NULL, NULL, NULL)",
              "INSERT INTO f VALUES (1, '2023-12-31 00:00:00', 12.5)",
              "INSERT INTO g VALUES (1, 1), (1, 2)"}) {
            database_.Run(statement);
        }
        sqlite3_limit(database_.Handle(), SQLITE_LIMIT_LENGTH, 100000);
        constexpr int kStepsBetween = 500;
        sqlite3_progress_handler(
            database_.Handle(), kStepsBetween,
            [](void* left) { return --*static_cast<int*>(left) < 0 ? 1 : 0; }, &pausesLeft_);
    }

    const SqliteDatabase& Database() const { return database_; }

    // Resets the time limit.
    void StartStatement() {
        constexpr int kMostPauses = 20;
        pausesLeft_ = kMostPauses;
        functions_.StartStatement();
    }

  private:
    FunctionContext functions_;
    SqliteDatabase database_ = SqliteDatabase::InMemory();
    int pausesLeft_ = 0;
};

FuzzWarehouse& Warehouse() {
    static FuzzWarehouse warehouse;
    return warehouse;
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
    Require(translation.has_value() == again.has_value(), "a comment acts like a blank");
    if (!translation || translation->Kind == StatementKind::Alter) {
        return translation.has_value();
    }
    Require(translation->Sql == again->Sql, "comments change nothing");
    const auto after = TryTokenize(translation->Sql);
    Require(after.has_value(), "a translated statement can be tokenized");
    if (translation->Sql.empty()) {
        return true;  // SET NOEXEC
    }
    Require(Count(*after, TokenKind::Parameter) == Count(before, TokenKind::Parameter),
            "every parameter is kept");
    const bool losesWords = Has(before, "{") || Has(before, "openrowset") || Has(before, ".");
    if (!losesWords && translation->Kind != StatementKind::Definition) {
        CheckNothingLost(before, *after);
    }
    return true;
}

void RunTranslated(std::string_view sql) {
    FuzzWarehouse& warehouse = Warehouse();
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
        while (statement.Step()) {
        }
    }
}

// Runs the statement and rolls it back.
void RunInVain(std::string_view sql) {
    FuzzWarehouse& warehouse = Warehouse();
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
    Require(tokens.has_value(), "a statement with a table name can be tokenized");
    const std::size_t rest = tokens->size() - 4;
    Require((rest == 3 || rest == 5) && (*tokens)[rest].Is("where"), "a table name is one name");
    Require((*tokens)[rest - 1].IsName(), "a name is a name");
}

// A query that the query box accepts only reads, also when it is rebuilt with the flag and a hidden
// key in front of the user's columns, or sorted.
void CheckQueryBox(std::string_view sql) {
    std::string errorText;
    const auto query = ParseSelect(sql, errorText);
    Require(query.has_value() == errorText.empty(), "a refused query has a reason");
    if (!query) {
        return;
    }
    const std::string head = query->Head + " is_sustainable, ";
    const std::string rebuilt = head + query->Qualifier + ".id, " + query->Rest;
    Require(ParseSelect(rebuilt, errorText).has_value(), "a rebuilt query is a query");
    Require(OrderedBy(OrderedBy(rebuilt, "other"), "a]b c") == OrderedBy(rebuilt, "a]b c"),
            "a new order replaces the old one");
    for (const std::string& text : {head + query->Rest, rebuilt, OrderedBy(rebuilt, "a]b c")}) {
        const auto translation = TryTranslate(text, &Warehouse().Database());
        if (!translation || translation->Sql.empty()) {
            continue;
        }
        Require(translation->Kind == StatementKind::Select, "a rebuilt query is still a SELECT");
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
            "a quoted text is unchanged");
    }
    Require(text == sqlite3_column_name(statement.Handle(), 1), "a quoted name is unchanged");
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
        const std::string joined = morvane::JoinTokens(*tokens);
        const auto again = TryTokenize(joined);
        Require(again && again->size() == tokens->size() && morvane::JoinTokens(*again) == joined,
                "joined tokens are tokenized to the same tokens");
        if (CheckTranslation(sql, *tokens)) {
            RunInVain(sql);
        }
    } else {
        Require(!TryTranslate(sql, nullptr),
                "a statement that cannot be tokenized is not translated");
    }
    constexpr std::size_t kLongestQuoted = 40;
    if (size <= kLongestQuoted) {
        CheckQuoted(std::string(sql));
    }
    return 0;
}
