// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzDatabase.h"
#include "Require.h"
#include "base/Text.h"
#include "db/SqlWords.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/Tokens.h"
#include "db/embedded/Translation.h"
#include "dialogs/SustainQuery.h"

namespace morvane::fuzz {
namespace {

FuzzDatabase& Warehouse() {
    static FuzzDatabase database(
        {"CREATE TABLE item(id int, shop int, name varchar(20), is_sustainable bit,"
         " PRIMARY KEY(id, shop))",
         "CREATE TABLE [odd one]([the key] int PRIMARY KEY, name varchar(20), is_sustainable bit)",
         "CREATE TABLE loose(id int, name varchar(20), pic varbinary(9), is_sustainable bit)",
         "CREATE TABLE f(id int, name varchar(20))",
         "INSERT INTO item VALUES (1, 1, 'a', 0), (1, 2, 'b', 1), (2, 1, 'b', 0)",
         "INSERT INTO [odd one] VALUES (1, 'a', 0), (2, 'a', 0)",
         "INSERT INTO loose VALUES (1, 'a', NULL, 0), (1, 'a', NULL, 0)",
         "INSERT INTO f VALUES (1, 'a'), (1, 'c')"});
    return database;
}

// Describes tables. The taking apart of a query asks nothing else, and executes nothing.
class CatalogueConnection : public Connection {
  public:
    std::string Property(std::string_view) const override { Refuse(); }
    void SetProperty(std::string_view, std::string_view) override { Refuse(); }
    int ConnectionTimeout() const override { Refuse(); }
    void SetConnectionTimeout(int) override { Refuse(); }
    void Open() override { Refuse(); }
    void Close() override { Refuse(); }
    bool IsOpen() const override { return true; }
    std::string DefaultDatabase() const override { Refuse(); }
    void SetDefaultDatabase(std::string_view) override { Refuse(); }
    std::int64_t Execute(std::string_view) override { Refuse(); }
    std::unique_ptr<Recordset> OpenRecordset(std::string_view, RecordsetKind) override { Refuse(); }
    std::unique_ptr<Command> CreateCommand() override { Refuse(); }
    std::unique_ptr<StatementBatch> CreateBatch(RowCountSink) override { Refuse(); }
    void BeginTrans() override { Refuse(); }
    void CommitTrans() override { Refuse(); }
    void RollbackTrans() override { Refuse(); }
    void RequireName(NameOf, std::string_view) const override { Refuse(); }
    bool TableExists(std::string_view) override { Refuse(); }
    std::optional<NamedTable> FindTable(std::string_view) override { Refuse(); }
    TableDefinition DescribeTable(std::string_view table) override {
        static const std::array kTables = {Described("item"), Described("odd one"),
                                           Described("loose"), Described("f")};
        for (const TableDefinition& known : kTables) {
            if (EqualsIgnoreCase(known.Name, table)) {
                return known;
            }
        }
        throw DatabaseError({"There is no such table."});
    }

  private:
    static TableDefinition Described(std::string_view table) {
        return embedded::DescribeTable(Warehouse().Database(), table);
    }
    [[noreturn]] static void Refuse() {
        Require(false, "nothing is executed before the user has agreed");
        std::abort();
    }
};

using Words = std::vector<SqlWord>;

// The words stand in the text in their order, with nothing but blanks and comments between them.
void CheckWords(std::string_view sql, const Words& words) {
    std::size_t at = 0;
    for (const SqlWord& word : words) {
        Require(word.Begin >= at && !word.Text.empty() && word.End() <= sql.size(),
                "words follow one another");
        Require(word.Text == sql.substr(word.Begin, word.Text.size()), "a word is as written");
        Require(SplitSql(sql.substr(at, word.Begin - at)).empty(), "no word is left out");
        Require(word.Named().size() <= word.Text.size(), "a name is no longer than its word");
        at = word.End();
    }
    Require(SplitSql(sql.substr(at)).empty(), "no word is left out at the end");
}

// The engine finds the same texts and names: where one of them ends is what keeps a text from
// becoming a statement.
void CheckAgainstEngine(std::string_view sql, const Words& words) {
    std::vector<embedded::Token> tokens;
    try {
        tokens = embedded::Tokenize(sql);
    } catch (const DatabaseError&) {
        return;
    }
    std::vector<std::string> ours;
    for (const SqlWord& word : words) {
        if (word.Kind == SqlWordKind::Text) {
            ours.push_back("text " + embedded::LiteralText(word.Text.substr(word.Text.find('\''))));
        } else if (word.Kind == SqlWordKind::Name) {
            ours.push_back("name " + word.Named());
        }
    }
    std::vector<std::string> engines;
    for (const embedded::Token& token : tokens) {
        if (token.Kind == embedded::TokenKind::Text) {
            engines.push_back("text " + embedded::LiteralText(token.Text));
        } else if (token.Kind == embedded::TokenKind::Name) {
            engines.push_back("name " + token.NameText());
        }
    }
    Require(ours == engines, "the engine reads the same texts and names");
}

bool SameWords(const Words& a, std::size_t from, const Words& b, std::size_t begin) {
    return std::equal(
        a.begin() + static_cast<std::ptrdiff_t>(from), a.end(),
        b.begin() + static_cast<std::ptrdiff_t>(begin), b.end(),
        [](const SqlWord& x, const SqlWord& y) { return x.Text == y.Text && x.Depth == y.Depth; });
}

// An accepted query is one SELECT.
void CheckAccepted(const Words& words) {
    Require(!words.empty() && words[0].Is("select"), "a query begins with SELECT");
    bool ended = false;
    for (const SqlWord& word : words) {
        Require(!ended || word.Is(";"), "nothing follows the end of a query");
        ended = ended || word.Is(";");
        Require(word.Depth > 0 || !word.IsOneOf({"insert", "update", "delete", "drop", "into",
                                                 "exec", "execute", "truncate", "alter"}),
                "a query does not write");
    }
}

Words WithoutEnd(Words words) {
    while (!words.empty() && words.back().Is(";")) {
        words.pop_back();
    }
    return words;
}

// "Select", what belongs to it, the flag, the hidden key, and then the user's words.
void CheckRebuilt(const SelectQuery& query, const UpdatableQuery& updatable, const Words& words) {
    const Words user = WithoutEnd(words);
    const Words rebuilt = SplitSql(updatable.Sql);
    const Words rest = SplitSql(query.Rest);
    Require(rest.size() < user.size() && SameWords(user, user.size() - rest.size(), rest, 0),
            "the rest of the query is as the user wrote it");
    Require(
        rest.size() < rebuilt.size() && SameWords(rebuilt, rebuilt.size() - rest.size(), rest, 0),
        "the rebuilt query ends as the user's");
    const Words head = SplitSql(query.Head);
    Require(head.size() == user.size() - rest.size(), "every word of the head is kept");
    for (std::size_t i = 0; i < head.size(); ++i) {
        Require(EqualsIgnoreCase(head[i].Text, user[i].Text), "the head is the user's");
    }
    Require(rebuilt.size() > head.size() && rebuilt[head.size()].Is("is_sustainable"),
            "the flag comes first");

    std::string errorText;
    const auto again = ParseSelect(updatable.Sql, errorText);
    Require(again.has_value(), "a rebuilt query is a query");
    Require(again->Items.size() == query.Items.size() + 1 + updatable.HiddenFields,
            "the flag and the hidden key are added to the list");
    Require(again->Table == query.Table && again->Qualifier == query.Qualifier &&
                again->Joined == query.Joined && again->RowByRow == query.RowByRow,
            "a rebuilt query reads the same tables");
}

void CheckOrder(const SelectQuery& query, const UpdatableQuery& updatable) {
    const Words words = SplitSql(updatable.Sql);
    const std::string column = query.TableName.empty() ? "a]b c" : query.TableName;
    const std::string once = OrderedBy(updatable.Sql, column);
    const Words ordered = SplitSql(once);
    Require(ordered.size() >= 3 && ordered.back().Named() == column,
            "the query ends in the column of its order");
    Require(ordered[ordered.size() - 2].Is("by") && ordered[ordered.size() - 3].Is("order"),
            "the query ends in its order");
    for (std::size_t i = 0; i + 3 < ordered.size(); ++i) {
        Require(ordered[i].Text == words.at(i).Text, "what stands before the order stays");
    }
    Require(OrderedBy(OrderedBy(updatable.Sql, "other"), column) == once,
            "an order takes the place of the one before");
}

embedded::SqliteStatement Prepare(const std::string& sql) {
    const embedded::SqliteDatabase& database = Warehouse().Database();
    const auto translation = embedded::Translate(sql, {"/nowhere", "dw", {}, &database});
    return {database.Handle(), translation.Sql, sql};
}

// A column of the key is what the key takes it for, unless the names already tell that it is not.
void CheckKey(const SelectQuery& query, const UpdatableQuery& updatable,
              const embedded::SqliteStatement& statement) {
    if (!updatable.WhyReadOnly.empty()) {
        return;
    }
    const auto fields = static_cast<std::size_t>(sqlite3_column_count(statement.Handle()));
    for (const KeyField& key : updatable.Key) {
        if (key.Field >= fields ||
            !EqualsIgnoreCase(sqlite3_column_name(statement.Handle(), static_cast<int>(key.Field)),
                              key.Column)) {
            return;
        }
    }
    for (const KeyField& key : updatable.Key) {
        const int field = static_cast<int>(key.Field);
        const char* column = sqlite3_column_origin_name(statement.Handle(), field);
        const char* table = sqlite3_column_table_name(statement.Handle(), field);
        Require(column != nullptr && EqualsIgnoreCase(column, key.Column),
                "a field of the key is the column of the key");
        Require(table != nullptr && EqualsIgnoreCase(table, query.TableName),
                "a field of the key is of the table that is written");
    }
}

// What the engine makes of an accepted query.
void CheckInEngine(const SelectQuery& query, const UpdatableQuery& updatable) {
    try {
        embedded::SqliteStatement plain = Prepare(query.Head + " is_sustainable, " + query.Rest);
        Require(sqlite3_stmt_readonly(plain.Handle()) != 0, "a query never writes");
        embedded::SqliteStatement statement = Prepare(updatable.Sql);
        Require(sqlite3_stmt_readonly(statement.Handle()) != 0, "a rebuilt query never writes");
        CheckKey(query, updatable, statement);
        const std::size_t rows = Warehouse().CountRows(plain);
        Require(Warehouse().CountRows(statement) == rows, "hidden columns change no rows");
    } catch (const DatabaseError&) {
    }
}

}  // namespace
}  // namespace morvane::fuzz

// In the order in which the dialog asks.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane;
    using namespace morvane::fuzz;
    const std::string_view sql(reinterpret_cast<const char*>(data), size);
    const std::vector<SqlWord> words = SplitSql(sql);
    CheckWords(sql, words);
    CheckAgainstEngine(sql, words);
    Require(IsJoinQuery(sql) == IsJoinQuery(ToUpper(sql)), "letter case makes no join");
    Require(!IsJoinQuery(sql) || sql.find(',') != std::string_view::npos, "a join has a comma");
    std::string errorText;
    const auto query = ParseSelect(sql, errorText);
    Require(query.has_value() == errorText.empty(), "a refusal says why");
    if (!query) {
        return 0;
    }
    CheckAccepted(words);
    CatalogueConnection connection;
    const UpdatableQuery updatable = SustainQuery(connection, *query);
    CheckRebuilt(*query, updatable, words);
    CheckOrder(*query, updatable);
    if (!IsJoinQuery(sql)) {
        CheckInEngine(*query, updatable);
    }
    return 0;
}
