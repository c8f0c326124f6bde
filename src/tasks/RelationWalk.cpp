// SPDX-License-Identifier: Apache-2.0
#include "tasks/RelationWalk.h"

#include <stdexcept>

#include "base/Text.h"

namespace morvane {

namespace {

// Longer than any server allows.
constexpr int kTableNameSize = 255;

}  // namespace

std::vector<ColumnPair> ColumnPairs(const Relation& relation) {
    const std::vector<std::string> primary = Split(relation.PrimaryColumns, ',');
    const std::vector<std::string> foreign = Split(relation.ForeignColumns, ',');
    if (foreign.size() < primary.size()) {
        throw std::out_of_range("Subscript out of range: " + relation.ForeignTable + " refers to " +
                                relation.PrimaryTable +
                                " with fewer foreign columns than primary columns");
    }
    std::vector<ColumnPair> pairs;
    for (std::size_t i = 0; i < primary.size(); ++i) {
        pairs.push_back({primary[i], foreign[i]});
    }
    return pairs;
}

std::vector<std::string> SelectedDimensions(Connection& connection) {
    std::vector<std::string> names;
    const auto tables = connection.OpenRecordset(
        "SELECT DISTINCT table_name FROM dwm_tables,dwm_star_relations WHERE "
        "table_type='Dimension' AND dwm_star_relations.primary_table = dwm_tables.table_name AND "
        "is_selected = 1");
    for (; !tables->Eof(); tables->MoveNext()) {
        names.push_back((*tables)[0].Text());
    }
    return names;
}

std::vector<std::string> RelationWalk::LoadTableList(const std::string& sql) {
    std::vector<std::string> names;
    const auto rows = connection_.OpenRecordset(sql);
    for (; !rows->Eof(); rows->MoveNext()) {
        names.emplace_back(Trim((*rows)[0].Text()));
    }
    return names;
}

void RelationWalk::Begin() {
    for (const std::string& fact : LoadTableList(
             "SELECT DISTINCT foreign_table FROM dwm_star_relations WHERE primary_table IN "
             "(SELECT table_name  FROM dwm_tables WHERE Upper(table_type) = 'DIMENSION')  AND "
             "foreign_table IN (SELECT table_name FROM  dwm_tables WHERE Upper(table_type) = "
             "'FACT')")) {
        Queue(fact);
    }
    // Tables that must not be changed count as processed from the start: they are never marked and
    // never delay the tables that they refer to.
    for (const std::string& unselected : LoadTableList(
             "SELECT table_name FROM dwm_tables WHERE table_type='Dimension' AND is_selected=0")) {
        AddProcessed(unselected);
    }
    for (const std::string& selfReferencing :
         LoadTableList("SELECT DISTINCT primary_table FROM dwm_star_relations WHERE "
                       "primary_table=foreign_table")) {
        AddProcessed(selfReferencing);
    }
}

void RelationWalk::Queue(const std::string& table) {
    const std::string name = ToLower(table);
    if (!processedTables_.contains(name) && queuedTables_.insert(name).second) {
        workQueue_.push_back(table);
    }
}

void RelationWalk::AddProcessed(const std::string& table) {
    connection_.RequireTableName(table);
    if (processedTables_.insert(ToLower(table)).second) {
        processedList_ += (processedList_.empty() ? "'" : ",'") + table + "'";
    }
}

bool RelationWalk::IsMarked() {
    const std::string& table = Table();
    if (Trim(table).empty()) {
        throw std::runtime_error("Table Name is Empty for detection and marking");
    }
    connection_.RequireTableName(table);
    return !IsFactTable(table) && !Exists("SELECT * FROM dwm_star_relations WHERE primary_table='" +
                                          table + "' AND foreign_table = '" + table + "'");
}

std::vector<Relation> RelationWalk::Relations() {
    std::vector<Relation> relations;
    const auto rows = connection_.OpenRecordset(
        "SELECT * FROM dwm_star_relations WHERE primary_table='" + Table() + "'");
    for (; !rows->Eof(); rows->MoveNext()) {
        const Relation relation{
            rows->ValueOf("primary_table").Text(), rows->ValueOf("primary_columns").Text(),
            rows->ValueOf("foreign_table").Text(), rows->ValueOf("foreign_columns").Text()};
        connection_.RequireColumnNames(relation.PrimaryColumns);
        connection_.RequireTableName(relation.ForeignTable);
        connection_.RequireColumnNames(relation.ForeignColumns);
        relations.push_back(relation);
    }
    return relations;
}

void RelationWalk::Advance() {
    const std::string table = Table();
    workQueue_.pop_front();
    AddProcessed(table);
    const auto candidates = connection_.OpenRecordset(
        "SELECT DISTINCT primary_table FROM dwm_star_relations, dwm_tables  WHERE foreign_table = "
        "'" +
        table + "' AND dwm_star_relations.primary_table NOT IN (" + processedList_ +
        ")  AND dwm_star_relations.primary_table=dwm_tables.table_name  AND ( "
        "Upper(dwm_tables.table_type) = 'FACT' OR dwm_tables.is_selected = 1 )");
    const auto countUnprocessed = connection_.CreateCommand();
    countUnprocessed->SetText(
        "SELECT COUNT(*) AS cntNonProcessedTable FROM dwm_star_relations, dwm_tables  WHERE "
        "dwm_star_relations.primary_table = ?  AND "
        "dwm_star_relations.primary_table=dwm_tables.table_name  AND "
        "dwm_star_relations.foreign_table NOT IN (" +
        processedList_ + ")");
    countUnprocessed->AppendParameter(
        {.Name = "primary_table", .Type = DataType::VarChar, .Size = kTableNameSize, .Value = {}});
    for (; !candidates->Eof(); candidates->MoveNext()) {
        countUnprocessed->SetParameter("primary_table", (*candidates)[0]);
        const auto count = countUnprocessed->OpenRecordset();
        if (count->ValueOf("cntNonProcessedTable").Integer() == 0) {
            Queue((*candidates)[0].Text());
        }
    }
}

}  // namespace morvane
