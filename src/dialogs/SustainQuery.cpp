// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SustainQuery.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "sql/Quoting.h"
#include "sql/Tokens.h"

namespace morvane {

namespace {

std::optional<TableDefinition> Describe(Connection& connection, const std::string& table) {
    try {
        return table.empty() ? std::nullopt : std::optional(connection.DescribeTable(table));
    } catch (const DatabaseError&) {
        return std::nullopt;  // running the query will show the error
    }
}

bool HasColumn(const TableDefinition& table, const std::string& name) {
    return std::any_of(table.Columns.begin(), table.Columns.end(),
                       [&](const auto& column) { return EqualsIgnoreCase(column.Name, name); });
}

// The columns of the table that a select list reads under their own name, with their fields. The
// list's first item is field `first`. Stops at another table's "*", since later positions are
// unknown.
std::vector<KeyField> ColumnsRead(const SelectQuery& query, const TableDefinition& table,
                                  std::size_t first) {
    const std::string qualifier = Tokenize(query.Qualifier).at(0).NameText();
    std::vector<KeyField> read;
    std::size_t field = first;
    for (const SelectItem& item : query.Items) {
        const bool own = item.Qualifier.empty() || EqualsIgnoreCase(item.Qualifier, qualifier);
        if (item.Kind == SelectItem::Kind::Everything) {
            for (std::size_t i = 0; own && i < table.Columns.size(); ++i) {
                read.push_back({table.Columns[i].Name, field + i});
            }
            if (!own || (query.Joined && item.Qualifier.empty())) {
                break;
            }
            field += table.Columns.size();
            continue;
        }
        if (item.Kind == SelectItem::Kind::Column && own && HasColumn(table, item.Column)) {
            read.push_back({item.Column, field});
        }
        ++field;
    }
    return read;
}

const KeyField* Find(const std::vector<KeyField>& read, const std::string& column) {
    const auto found = std::find_if(read.begin(), read.end(), [&](const KeyField& field) {
        return EqualsIgnoreCase(field.Column, column);
    });
    return found == read.end() ? nullptr : &*found;
}

// False for types that the server cannot compare or whose values change on their way through text.
bool CanBeCompared(const ColumnDefinition& column) {
    constexpr std::array<std::string_view, 13> kNever = {
        "binary", "blob",       "geography",   "geometry",  "hierarchyid", "image", "ntext",
        "text",   "rowversion", "sql_variant", "timestamp", "varbinary",   "xml"};
    return std::find(kNever.begin(), kNever.end(), column.TypeName) == kNever.end();
}

// The key of a table without a primary key. If these columns do not identify a row, saving fails.
std::vector<KeyField> AllColumns(const std::vector<KeyField>& read, const TableDefinition& table,
                                 const std::string& flag) {
    std::vector<KeyField> key;
    for (const ColumnDefinition& column : table.Columns) {
        const KeyField* field = Find(read, column.Name);
        if (field != nullptr && CanBeCompared(column) && !EqualsIgnoreCase(column.Name, flag)) {
            key.push_back(*field);
        }
    }
    return key;
}

// The primary key, if the query reads all of it.
std::vector<KeyField> PrimaryKey(const std::vector<KeyField>& read, const TableDefinition& table) {
    std::vector<KeyField> key;
    for (const std::string& column :
         table.PrimaryKey ? table.PrimaryKey->Columns : std::vector<std::string>()) {
        const KeyField* field = Find(read, column);
        if (field == nullptr) {
            return {};
        }
        key.push_back(*field);
    }
    return key;
}

std::string WhyReadOnly(const SelectQuery& query, const std::optional<TableDefinition>& table,
                        const std::string& flag, const std::vector<KeyField>& key) {
    const std::string lead = "The records cannot be saved: ";
    if (query.Table.empty()) {
        return lead + "the query does not take them from one table named after FROM.";
    }
    if (!table) {
        return lead + query.Table + " is not a table of this database.";
    }
    if (!HasColumn(*table, flag)) {
        return lead + "the table " + query.Table + " has no column " + flag + ".";
    }
    return key.empty() ? lead + "the query reads no column that tells them apart." : "";
}

UpdatableQuery WithKey(const SelectQuery& query, const std::optional<TableDefinition>& table,
                       const std::string& flag, const std::vector<KeyField>& read) {
    UpdatableQuery updatable;
    updatable.Table = query.Table;
    if (table) {
        updatable.Key = PrimaryKey(read, *table);
        if (updatable.Key.empty()) {
            updatable.Key = AllColumns(read, *table, flag);
        }
    }
    updatable.WhyReadOnly = WhyReadOnly(query, table, flag, updatable.Key);
    return updatable;
}

// The columns of the primary key that have to be added to the query.
std::vector<std::string> MissingKey(const SelectQuery& query,
                                    const std::optional<TableDefinition>& table) {
    std::vector<std::string> missing;
    if (!table || !table->PrimaryKey || !query.RowByRow) {
        return missing;
    }
    const std::vector<KeyField> read = ColumnsRead(query, *table, 0);
    for (const std::string& column : table->PrimaryKey->Columns) {
        if (Find(read, column) == nullptr) {
            missing.push_back(column);
        }
    }
    return missing;
}

}  // namespace

bool IsJoinQuery(std::string_view sql) {
    std::string text = ToLower(OneLine(sql));
    const std::size_t from = text.find("from");
    text.erase(0, from == std::string::npos ? 0 : from);
    for (const char* word : {"where", "group by", "having", "order by"}) {
        if (const std::size_t at = text.find(word); at != std::string::npos) {
            text.resize(at);
            break;
        }
    }
    return text.find(',') != std::string::npos;
}

UpdatableQuery DimensionTablesQuery(Connection& connection) {
    const std::string sql =
        "Select is_selected,table_name from dwm_tables "
        "where table_type='Dimension' ORDER BY table_name";
    std::string errorText;
    const SelectQuery query = ParseSelect(sql, errorText).value();
    const auto table = Describe(connection, query.TableName);
    UpdatableQuery updatable =
        WithKey(query, table, "is_selected",
                table ? ColumnsRead(query, *table, 0) : std::vector<KeyField>());
    updatable.Sql = sql;
    return updatable;
}

UpdatableQuery SustainQuery(Connection& connection, const SelectQuery& query) {
    const auto table = Describe(connection, query.TableName);
    const std::vector<std::string> missing = MissingKey(query, table);
    std::vector<KeyField> read;
    std::string hidden;
    for (const std::string& column : missing) {
        hidden += query.Qualifier + "." + SqlName(column) + ", ";
        read.push_back({column, read.size() + 1});
    }
    if (table) {
        const auto selected = ColumnsRead(query, *table, 1 + missing.size());
        read.insert(read.end(), selected.begin(), selected.end());
    }
    UpdatableQuery updatable = WithKey(query, table, "is_sustainable", read);
    updatable.Sql = query.Head + " is_sustainable, " + hidden + query.Rest;
    updatable.HiddenFields = missing.size();
    return updatable;
}

}  // namespace morvane
