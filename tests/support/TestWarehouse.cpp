#include "support/TestWarehouse.h"

#include <sqlite3.h>

#include <stdexcept>

#include "db/ConnectionFactory.h"

namespace morvane::testing {

namespace {

class Handle {
  public:
    explicit Handle(const std::string& file) {
        if (sqlite3_open(file.c_str(), &db_) != SQLITE_OK) {
            throw std::runtime_error("cannot open " + file);
        }
        sqlite3_busy_timeout(db_, 5000);
        // A test's warehouse need not outlive a power cut; without syncing it is made at once.
        sqlite3_exec(db_, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    }
    ~Handle() { sqlite3_close(db_); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    void Run(const std::string& sql, int (*onRow)(void*, int, char**, char**), void* target) {
        char* error = nullptr;
        if (sqlite3_exec(db_, sql.c_str(), onRow, target, &error) != SQLITE_OK) {
            const std::string text = error == nullptr ? "unknown error" : error;
            sqlite3_free(error);
            throw std::runtime_error(text + " in: " + sql);
        }
    }

  private:
    sqlite3* db_ = nullptr;
};

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c;
        if (c == '\'') {
            quoted += c;
        }
    }
    return quoted + "'";
}

std::string QuotedOrNull(const std::string& text) {
    return text.empty() ? "NULL" : Quoted(text);
}

}  // namespace

TestWarehouse::TestWarehouse() {
    Run("CREATE TABLE dwm_tables(table_name varchar(128) COLLATE NOCASE,"
        " table_type varchar(20) COLLATE NOCASE, where_clause varchar(8000), is_selected bit);"
        "CREATE TABLE dwm_star_relations(selected bit,"
        " foreign_table varchar(128) COLLATE NOCASE, foreign_columns varchar(1000),"
        " primary_table varchar(128) COLLATE NOCASE, primary_columns varchar(1000),"
        " slow_moving_dim bit, original_primary_key varchar(1000))");
}

void TestWarehouse::Run(const std::string& sql) const {
    Handle(File()).Run(sql, nullptr, nullptr);
}

std::vector<std::string> TestWarehouse::Rows(const std::string& sql) const {
    std::vector<std::string> rows;
    const auto addRow = [](void* target, int count, char** values, char**) {
        std::string row;
        for (int i = 0; i < count; ++i) {
            row += (i == 0 ? "" : "|") + std::string(values[i] == nullptr ? "NULL" : values[i]);
        }
        static_cast<std::vector<std::string>*>(target)->push_back(row);
        return 0;
    };
    Handle(File()).Run(sql, addRow, &rows);
    return rows;
}

std::string TestWarehouse::Text(const std::string& sql) const {
    std::string text;
    for (const std::string& row : Rows(sql)) {
        text += (text.empty() ? "" : " ") + row;
    }
    return text;
}

void TestWarehouse::AddTable(const std::string& name, const std::string& type, bool selected,
                             const std::string& whereClause) const {
    Run("INSERT INTO dwm_tables VALUES(" + Quoted(name) + "," + Quoted(type) + "," +
        QuotedOrNull(whereClause) + "," + (selected ? "1" : "0") + ")");
}

void TestWarehouse::AddRelation(const std::string& foreignTable, const std::string& foreignColumns,
                                const std::string& primaryTable, const std::string& primaryColumns,
                                bool slowMoving, const std::string& originalKey) const {
    Run("INSERT INTO dwm_star_relations VALUES(1," + Quoted(foreignTable) + "," +
        Quoted(foreignColumns) + "," + Quoted(primaryTable) + "," + Quoted(primaryColumns) + "," +
        (slowMoving ? "1" : "0") + "," + QuotedOrNull(originalKey) + ")");
}

void TestWarehouse::AddDimension(const std::string& name, const std::string& columns,
                                 bool selected) const {
    Run("CREATE TABLE " + name + "(" + columns +
        ", is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0)");
    AddTable(name, "DIMENSION", selected);
}

void TestWarehouse::AddSlowMovingDimension(const std::string& name,
                                           const std::string& columns) const {
    AddDimension(name, columns + ", start_date datetime, end_date datetime, is_current bit");
}

void TestWarehouse::AddFact(const std::string& name, const std::string& columns,
                            const std::string& whereClause) const {
    const std::string firstColumn = columns.substr(0, columns.find_first_of(" ,"));
    Run("CREATE TABLE " + name + "(" + columns + ");CREATE INDEX ix_" + name + " ON " + name + "(" +
        firstColumn + ")");
    AddTable(name, "FACT", true, whereClause);
}

std::unique_ptr<Connection> TestWarehouse::Connect() const {
    auto connection = CreateConnection(Server());
    connection->SetProperty("Data Source", Server());
    connection->SetConnectionTimeout(20);
    connection->Open();
    connection->SetDefaultDatabase(Database());
    return connection;
}

}  // namespace morvane::testing
