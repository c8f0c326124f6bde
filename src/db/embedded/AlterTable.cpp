// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/AlterTable.h"

#include <string>
#include <vector>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "db/embedded/CreateStatement.h"
#include "sql/MaskPasswords.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

constexpr const char* kNewTable = "morvane_new_table";

// The quoted names of all columns except computed ones, comma-separated.
std::string ColumnList(const SqliteDatabase& database, std::string_view table) {
    SqliteStatement columns(database.Handle(), "SELECT name FROM pragma_table_info(?)", "");
    columns.Bind(1, Value(std::string(table)));
    std::vector<std::string> names;
    while (columns.Step()) {
        names.push_back(
            QuotedName(reinterpret_cast<const char*>(sqlite3_column_text(columns.Handle(), 0))));
    }
    return Join(names, ", ");
}

// Executes one ALTER TABLE statement.
class Alteration {
  public:
    Alteration(const SqliteDatabase& database, std::string_view sql,
               const TranslationContext& context)
        : database_(database), sql_(sql), context_(context), tokens_(Tokenize(sql)) {}

    void Run();

  private:
    [[noreturn]] void Fail(const std::string& text) const {
        throw DatabaseError({text}, MaskPasswords(sql_));
    }
    void FindTable();
    void AddColumn(std::size_t begin);
    void DropConstraint();
    void AddPrimaryKey();
    void RequireNotNull(const std::string& column) const;
    void Recreate(const CreateStatement& definition, const std::string& extraColumn = {});
    void CopyInto(const CreateStatement& definition, const std::string& extraColumn);
    bool IsEmpty() const;

    const SqliteDatabase& database_;
    std::string_view sql_;
    const TranslationContext& context_;
    Tokens tokens_;
    std::string table_;
    std::string createText_;
};

void Alteration::Run() {
    // ALTER TABLE [dbo .] name
    if (tokens_.size() > 4 && EqualsIgnoreCase(tokens_[2].NameText(), "dbo") &&
        tokens_[3].Is(".")) {
        tokens_.erase(tokens_.begin() + 2, tokens_.begin() + 4);
    }
    if (tokens_.size() < 6 || !IsAt(tokens_, 1, "table") || !tokens_[2].IsName()) {
        Fail("The embedded warehouse does not know this form of ALTER.");
    }
    FindTable();
    if (IsAt(tokens_, 3, "drop") && IsAt(tokens_, 4, "constraint") && tokens_.size() == 6) {
        DropConstraint();
    } else if (IsAt(tokens_, 3, "add") && IsAt(tokens_, 4, "constraint")) {
        AddPrimaryKey();
    } else if (IsAt(tokens_, 3, "add") && tokens_[4].IsName() && !IsAt(tokens_, 4, "column")) {
        AddColumn(4);
    } else {
        Fail("The embedded warehouse does not know this form of ALTER TABLE.");
    }
}

void Alteration::FindTable() {
    SqliteStatement find(database_.Handle(),
                         "SELECT name, sql FROM sqlite_schema WHERE type = 'table' AND name = ?"
                         " COLLATE NOCASE",
                         sql_);
    find.Bind(1, Value(tokens_[2].NameText()));
    if (!find.Step()) {
        Fail("Cannot find the object \"" + tokens_[2].NameText() + "\" because it does not exist.");
    }
    table_ = reinterpret_cast<const char*>(sqlite3_column_text(find.Handle(), 0));
    createText_ = reinterpret_cast<const char*>(sqlite3_column_text(find.Handle(), 1));
}

// Translates the column definition as part of a CREATE TABLE.
void Alteration::AddColumn(std::size_t begin) {
    std::size_t end = tokens_.size();
    const bool withValues = IsAt(tokens_, end - 2, "with") && IsAt(tokens_, end - 1, "values");
    end -= withValues ? 2 : 0;
    const std::string text =
        "CREATE TABLE t (" + JoinTokens(TokenSpan(tokens_).subspan(begin, end - begin)) + ")";
    const CreateStatement column(Translate(text, context_).Sql);
    if (column.Items().size() != 1 || !column.Options().empty()) {
        Fail("The embedded warehouse adds one column at a time.");
    }
    bool required = false;
    for (std::size_t i = begin; i + 1 < end; ++i) {
        required = required || (IsAt(tokens_, i, "not") && IsAt(tokens_, i + 1, "null"));
    }
    CreateStatement definition(createText_);
    definition.AddColumn(column.Items()[0]);
    // Without WITH VALUES, existing rows get NULL if the column allows it.
    Recreate(definition, withValues || required ? "" : tokens_[begin].Text);
}

void Alteration::DropConstraint() {
    CreateStatement definition(createText_);
    const std::string name = tokens_[5].NameText();
    if (!definition.DropConstraint(name, table_)) {
        Fail("'" + name + "' is not a constraint.");
    }
    Recreate(definition);
}

void Alteration::AddPrimaryKey() {
    std::size_t open = 8;
    if (!tokens_[5].IsName() || !IsAt(tokens_, 6, "primary") || !IsAt(tokens_, 7, "key")) {
        Fail("The embedded warehouse adds no constraint but a primary key.");
    }
    open += IsAt(tokens_, open, "clustered") || IsAt(tokens_, open, "nonclustered") ? 1U : 0U;
    if (!IsGroupAt(tokens_, open)) {
        Fail("Incorrect syntax near 'KEY'.");
    }
    const Token& columns = tokens_[open];
    for (const Token& column : columns.Inside) {
        if (column.IsName() && !column.Is("asc") && !column.Is("desc")) {
            RequireNotNull(column.NameText());
        }
    }
    const bool fileGroup = IsAt(tokens_, open + 1, "on") && open + 3 == tokens_.size();
    if (open + 1 != tokens_.size() && !fileGroup) {
        Fail("The embedded warehouse does not know this form of ADD CONSTRAINT.");
    }
    CreateStatement definition(createText_);
    if (definition.PrimaryKeyName(table_)) {
        Fail("Table '" + table_ + "' already has a primary key defined on it.");
    }
    definition.AddConstraint("CONSTRAINT " + tokens_[5].Text + " PRIMARY KEY " +
                             JoinTokens(TokenSpan(&columns, 1)));
    Recreate(definition);
}

void Alteration::RequireNotNull(const std::string& column) const {
    SqliteStatement find(database_.Handle(),
                         "SELECT \"notnull\" FROM pragma_table_xinfo(?) WHERE name = ?"
                         " COLLATE NOCASE AND hidden <> 1",
                         sql_);
    find.Bind(1, Value(table_));
    find.Bind(2, Value(column));
    if (!find.Step()) {
        Fail("Column name '" + column + "' does not exist in the target table.");
    }
    if (sqlite3_column_int(find.Handle(), 0) == 0) {
        Fail("Cannot define PRIMARY KEY constraint on nullable column in table '" + table_ + "'.");
    }
}

// Existing rows get NULL in `extraColumn`; other new columns get their default.
void Alteration::Recreate(const CreateStatement& definition, const std::string& extraColumn) {
    std::vector<std::string> others;  // definitions of indexes and triggers
    SqliteStatement dependents(database_.Handle(),
                               "SELECT sql FROM sqlite_schema WHERE tbl_name = ? COLLATE NOCASE"
                               " AND type IN ('index', 'trigger') AND sql IS NOT NULL",
                               sql_);
    dependents.Bind(1, Value(table_));
    while (dependents.Step()) {
        others.emplace_back(
            reinterpret_cast<const char*>(sqlite3_column_text(dependents.Handle(), 0)));
    }
    // Without this, the renaming fails if a view or trigger uses the table, which does not exist at
    // that moment.
    sqlite3_db_config(database_.Handle(), SQLITE_DBCONFIG_LEGACY_ALTER_TABLE, 1, nullptr);
    database_.Run("SAVEPOINT morvane_alter");
    try {
        if (IsEmpty()) {
            // Renaming would read the definitions of all tables.
            database_.Run("DROP TABLE " + QuotedName(table_));
            database_.Run(definition.TextFor(table_));
        } else {
            CopyInto(definition, extraColumn);
        }
        for (const std::string& other : others) {
            database_.Run(other);
        }
        database_.Run("RELEASE morvane_alter");
    } catch (const DatabaseError& error) {
        sqlite3_exec(database_.Handle(), "ROLLBACK TO morvane_alter; RELEASE morvane_alter",
                     nullptr, nullptr, nullptr);
        throw DatabaseError(error.Descriptions(), MaskPasswords(sql_));
    }
}

void Alteration::CopyInto(const CreateStatement& definition, const std::string& extraColumn) {
    const std::string columns = ColumnList(database_, table_);
    const std::string more = extraColumn.empty() ? "" : ", " + extraColumn;
    database_.Run(definition.TextFor(kNewTable));
    database_.Run("INSERT INTO " + std::string(kNewTable) + "(" + columns + more + ") SELECT " +
                  columns + (more.empty() ? "" : ", NULL") + " FROM " + QuotedName(table_));
    database_.Run("DROP TABLE " + QuotedName(table_));
    database_.Run("ALTER TABLE " + std::string(kNewTable) + " RENAME TO " + QuotedName(table_));
}

bool Alteration::IsEmpty() const {
    const std::string sql = "SELECT 1 FROM " + QuotedName(table_);
    return !SqliteStatement(database_.Handle(), sql, sql_).Step();
}

}  // namespace

void AlterTable(const SqliteDatabase& database, std::string_view sql,
                const TranslationContext& context) {
    Alteration(database, sql, context).Run();
}

}  // namespace morvane::embedded
