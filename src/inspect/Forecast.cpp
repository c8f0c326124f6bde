// SPDX-License-Identifier: Apache-2.0
#include "inspect/Forecast.h"

#include <algorithm>

#include "base/Text.h"
#include "db/modDatabaseOperations.h"
#include "inspect/Indexes.h"

namespace morvane {

namespace {

bool Holds(const std::vector<std::string>& names, std::string_view name) {
    return std::ranges::any_of(
        names, [&](const std::string& known) { return EqualsIgnoreCase(known, Trim(name)); });
}

// An archive condition can be part of a statement that also reads a copy. Its unqualified column
// names must not match columns of the copy.
std::string CopiedName(std::size_t position) {
    return "morvane_c" + std::to_string(position);
}

std::string CopyStatement(const std::string& table, const std::vector<std::string>& columns,
                          const std::string& marks) {
    std::string sql = "SELECT ";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        sql += table + "." + columns[i] + " AS " + CopiedName(i) + ",";
    }
    return sql + marks + " INTO * FROM " + table;
}

}  // namespace

RowCopy::RowCopy(Connection& connection, const std::string& table,
                 const std::vector<std::string>& columns, const std::string& marks)
    : columns_(columns), copy_(connection, CopyStatement(table, columns, marks)) {}

std::string RowCopy::Column(std::string_view name) const {
    const auto found = std::ranges::find_if(
        columns_, [&](const std::string& known) { return EqualsIgnoreCase(known, Trim(name)); });
    if (found == columns_.end()) {
        throw DatabaseError({"The column " + std::string(name) + " was not copied."});
    }
    return Name() + "." + CopiedName(static_cast<std::size_t>(found - columns_.begin()));
}

MarkingForecast::MarkingForecast(Connection& connection, StepReport report,
                                 const std::string& table, const std::vector<std::string>& columns)
    : connection_(connection), report_(std::move(report)), walk_(connection) {
    ReadFactTables();
    ReadColumns();
    if (!columns.empty()) {
        NeedColumns(table, Join(columns, ","));
    }
    reset_ = SelectedDimensions(connection);
}

void MarkingForecast::ReadFactTables() {
    const auto tables = connection_.OpenRecordset(
        "select table_name, where_clause from dwm_tables where upper(table_type) = 'FACT'");
    for (; !tables->Eof(); tables->MoveNext()) {
        const std::string table(Trim((*tables)[0].Text()));
        connection_.RequireTableName(table);
        const std::string condition(Trim(NullToText((*tables)[1], "")));
        std::string& all = conditions_[ToLower(table)];
        if (condition.empty()) {
            continue;
        }
        // On a separate line, because a condition may end with a comment.
        all += (all.empty() ? "(\r\n" : " OR (\r\n") + condition + "\r\n)";
        if (!Holds(archivedTables_, table)) {
            archivedTables_.push_back(table);
        }
    }
}

// Collects the columns of relations and histories, which each copy needs.
void MarkingForecast::ReadColumns() {
    const auto rows = connection_.OpenRecordset(
        "SELECT foreign_table,foreign_columns,primary_table,primary_columns,slow_moving_dim,"
        "original_primary_key FROM dwm_star_relations");
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        NeedColumns(row[0].Text(), row[1].Text());
        NeedColumns(row[2].Text(), row[3].Text());
        if (row[4].Flag()) {
            NeedColumns(row[2].Text(), row[5].Text() + ",start_date,end_date,is_current");
        }
    }
}

void MarkingForecast::NeedColumns(const std::string& table, const std::string& list) {
    connection_.RequireColumnNames(list);
    std::vector<std::string>& columns = columns_[ToLower(Trim(table))];
    for (const std::string& column : SplitColumnList(list)) {
        if (!column.empty() && !Holds(columns, column)) {
            columns.push_back(column);
        }
    }
}

std::string MarkingForecast::Next() {
    if (!begun_) {
        walk_.Begin();
        begun_ = true;
    }
    while (walk_.Waiting()) {
        std::string table = walk_.Table();
        const bool marks = walk_.IsMarked();
        if (marks) {
            Mark(table);
        }
        walk_.Advance();
        if (marks) {
            return table;
        }
    }
    return {};
}

void MarkingForecast::Mark(const std::string& table) {
    const std::vector<Relation> relations = walk_.Relations();
    const std::string formerMark =
        IsReset(table) ? "" : "WHEN " + table + ".is_deletable = 1 THEN 1 ";
    const std::string goes =
        "CASE WHEN " + table + ".is_sustainable = 0 THEN 1 " + formerMark + "ELSE 0 END AS ";
    const std::string name = ToLower(Trim(table));
    copies_.try_emplace(name, connection_, table, columns_[name],
                        goes + "goes_now" + (Archives() ? "," + goes + "goes_later" : ""));
    relations_[name] = relations;
    for (const Relation& relation : relations) {
        report_(table + " <- " + relation.ForeignTable);
        KeepReferredRows(relation);
    }
}

void MarkingForecast::KeepReferredRows(const Relation& relation) {
    const std::string& foreign = relation.ForeignTable;
    const std::string copy = Source(relation.PrimaryTable);
    const auto keep = [&](const std::string& assignments, const std::string& term) {
        connection_.Execute("UPDATE " + copy + " SET " + assignments + " FROM " + copy + "," +
                            Source(foreign) + " WHERE " + Refers(relation) + term);
    };
    const std::string always = Archives() ? "goes_now = 0, goes_later = 0" : "goes_now = 0";
    const bool isFact = conditions_.contains(ToLower(Trim(foreign)));
    if (const RowCopy* dimension = Copy(foreign)) {
        keep("goes_now = 0", " AND " + dimension->Name() + ".goes_now=0");
        if (Archives()) {
            keep("goes_later = 0", " AND " + dimension->Name() + ".goes_later=0");
        }
    } else if (!isFact) {
        // A dimension that this run does not mark: its present marks decide.
        keep(always, IsReset(foreign) ? "" : " AND " + foreign + ".is_deletable=0");
    } else if (GoesLater(foreign) == "0") {
        keep(always, "");
    } else {
        keep("goes_now = 0", "");
        KeepRowsOfFactsThatStay(relation);
    }
}

// Looks each element up in an index of the fact table. Without one, collects the keys of the
// remaining facts first.
void MarkingForecast::KeepRowsOfFactsThatStay(const Relation& relation) {
    const std::string& fact = relation.ForeignTable;
    const std::string copy = Source(relation.PrimaryTable);
    const std::vector<ColumnPair> pairs = ColumnPairs(relation);
    const std::string stays = GoesLater(fact) + " = 0";
    if (HasIndex(connection_, std::string(Trim(fact)), SplitColumnList(relation.ForeignColumns))) {
        connection_.Execute("UPDATE " + copy +
                            " SET goes_later = 0 WHERE goes_now = 0 AND EXISTS (SELECT 1 FROM " +
                            fact + " WHERE " + Refers(relation) + " AND " + stays + ")");
        return;
    }
    std::string columns;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        columns += (i > 0 ? "," : "") + Column(fact, pairs[i].Foreign) + " AS " + CopiedName(i);
    }
    const TemporaryTable keys(
        connection_, "SELECT DISTINCT " + columns + " INTO * FROM " + fact + " WHERE " + stays);
    std::string match;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        match += (i > 0 ? " AND " : "") + Column(relation.PrimaryTable, pairs[i].Primary) + " = " +
                 keys.Name() + "." + CopiedName(i);
    }
    connection_.Execute("UPDATE " + copy + " SET goes_later = 0 FROM " + copy + "," + keys.Name() +
                        " WHERE " + match);
}

const RowCopy* MarkingForecast::Copy(const std::string& table) const {
    const auto found = copies_.find(ToLower(Trim(table)));
    return found == copies_.end() ? nullptr : &found->second;
}

const std::vector<Relation>& MarkingForecast::RelationsOf(const std::string& table) const {
    return relations_.at(ToLower(Trim(table)));
}

bool MarkingForecast::IsReset(const std::string& table) const {
    return Holds(reset_, table);
}

std::string MarkingForecast::Source(const std::string& table) const {
    const RowCopy* copy = Copy(table);
    return copy != nullptr ? copy->Name() : table;
}

std::string MarkingForecast::Column(const std::string& table, const std::string& column) const {
    const RowCopy* copy = Copy(table);
    return copy != nullptr ? copy->Column(column) : table + "." + std::string(Trim(column));
}

std::string MarkingForecast::GoesLater(const std::string& table) const {
    if (const RowCopy* copy = Copy(table); copy != nullptr && Archives()) {
        return copy->Name() + ".goes_later";
    }
    const auto fact = conditions_.find(ToLower(Trim(table)));
    if (fact != conditions_.end() && !fact->second.empty()) {
        return "CASE WHEN " + fact->second + " THEN 1 ELSE 0 END";
    }
    return GoesNow(table);
}

// The rows of a dimension that is not marked go if they are marked already.
std::string MarkingForecast::GoesNow(const std::string& table) const {
    if (const RowCopy* copy = Copy(table)) {
        return copy->Name() + ".goes_now";
    }
    const bool keepsAll = conditions_.contains(ToLower(Trim(table))) || IsReset(table);
    return keepsAll ? "0" : "CASE WHEN " + table + ".is_deletable=0 THEN 0 ELSE 1 END";
}

std::string MarkingForecast::Refers(const Relation& relation) const {
    std::string condition;
    for (const ColumnPair& pair : ColumnPairs(relation)) {
        condition += (condition.empty() ? "" : " AND ") +
                     Column(relation.PrimaryTable, pair.Primary) + " = " +
                     Column(relation.ForeignTable, pair.Foreign);
    }
    return condition;
}

void MarkingForecast::IndexCopy(const Relation& relation) {
    std::string columns;
    for (const ColumnPair& pair : ColumnPairs(relation)) {
        const std::string column = Column(relation.PrimaryTable, pair.Primary);
        columns += (columns.empty() ? "" : ",") + column.substr(column.rfind('.') + 1);
    }
    connection_.Execute("CREATE INDEX morvane_index_" + std::to_string(++indexes_) + " ON " +
                        Source(relation.PrimaryTable) + " (" + columns + ")");
}

}  // namespace morvane
