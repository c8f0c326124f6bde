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
#include "db/embedded/Catalogue.h"
#include "db/embedded/Translation.h"
#include "dialogs/SustainQuery.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

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

using Words = std::vector<std::string>;

// The tokens of a text as written.
Words WordsOf(std::string_view sql) {
    Words words;
    Lexer lexer(sql);
    for (Lexeme lexeme; lexer.Next(lexeme);) {
        words.emplace_back(lexeme.Text);
    }
    return words;
}

bool EndsWith(const Words& words, const Words& end) {
    return end.size() <= words.size() && std::equal(end.rbegin(), end.rend(), words.rbegin());
}

// An accepted query is one SELECT that writes nothing.
void CheckAccepted(std::string_view sql) {
    const Tokens tokens = ParseSql(sql).Tokens;
    Require(!tokens.empty() && tokens[0].Is("select"), "a query begins with SELECT");
    bool ended = false;
    for (const Token& token : tokens) {
        Require(!ended || token.Is(";"), "nothing follows the end of a query");
        ended = ended || token.Is(";");
        constexpr std::array<std::string_view, 9> kWriting = {
            "insert", "update", "delete", "drop", "into", "exec", "execute", "truncate", "alter"};
        Require(!IsOneOf(token, kWriting), "a query does not write");
    }
}

// "Select", its options, the flag, the hidden key, and then the user's words.
void CheckRebuilt(std::string_view sql, const SelectQuery& query, const UpdatableQuery& updatable) {
    Words user = WordsOf(sql);
    while (user.back() == ";") {
        user.pop_back();
    }
    const Words rebuilt = WordsOf(updatable.Sql);
    const Words rest = WordsOf(query.Rest);
    Require(EndsWith(user, rest), "the rest of the query is as the user wrote it");
    Require(EndsWith(rebuilt, rest), "the rebuilt query ends as the user's");
    const Words head = WordsOf(query.Head);
    Require(head.size() == user.size() - rest.size(), "every word of the head is kept");
    for (std::size_t i = 0; i < head.size(); ++i) {
        Require(EqualsIgnoreCase(head[i], user[i]), "the head is the user's");
    }
    Require(rebuilt.at(head.size()) == "is_sustainable", "the flag comes first");

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
    const std::string column = query.TableName.empty() ? "a]b c" : query.TableName;
    const std::string once = OrderedBy(updatable.Sql, column);
    Require(once.ends_with(" ORDER BY " + SqlName(column)), "the query ends in its order");
    Require(updatable.Sql.starts_with(once.substr(0, once.rfind(" ORDER BY "))),
            "what stands before the order stays");
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
    Require(IsJoinQuery(sql) == IsJoinQuery(ToUpper(sql)), "letter case makes no join");
    Require(!IsJoinQuery(sql) || sql.find(',') != std::string_view::npos, "a join has a comma");
    std::string errorText;
    const auto query = ParseSelect(sql, errorText);
    Require(query.has_value() == errorText.empty(), "a refusal says why");
    if (!query) {
        return 0;
    }
    CheckAccepted(sql);
    CatalogueConnection connection;
    const UpdatableQuery updatable = SustainQuery(connection, *query);
    CheckRebuilt(sql, *query, updatable);
    CheckOrder(*query, updatable);
    if (!IsJoinQuery(sql)) {
        CheckInEngine(*query, updatable);
    }
    return 0;
}
