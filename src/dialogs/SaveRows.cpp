// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SaveRows.h"

#include "base/Text.h"
#include "core/Transaction.h"

namespace morvane {

namespace {

// "a = ?", or "a IS NULL" where no value can be compared.
std::string Condition(const ColumnValue& column) {
    return column.Name + (column.Value.IsNull() ? " IS NULL" : " = ?");
}

// A condition of thousands of letters would hide the message that it stands in.
std::string Shorten(const std::string& text) {
    constexpr std::size_t kLongestValue = 100;
    return text.size() > kLongestValue ? text.substr(0, kLongestValue) + "..." : text;
}

std::string DescribeRow(const RowChange& change) {
    std::vector<std::string> pieces;
    for (const ColumnValue& column : change.Key) {
        pieces.push_back(column.Name + " = " +
                         (column.Value.IsNull() ? "NULL" : Shorten(column.Value.Text())));
    }
    return Join(pieces, ", ");
}

std::int64_t Update(Connection& connection, const std::string& table, const RowChange& change) {
    const auto command = connection.CreateCommand();
    std::vector<std::string> assignments;
    std::vector<std::string> conditions;
    for (const ColumnValue& column : change.NewValues) {
        assignments.push_back(column.Name + " = ?");
        command->AppendParameter(column);
    }
    for (const ColumnValue& column : change.Key) {
        conditions.push_back(Condition(column));
        if (!column.Value.IsNull()) {
            command->AppendParameter(column);
        }
    }
    command->SetText("UPDATE " + table + " SET " + Join(assignments, ", ") + " WHERE " +
                     Join(conditions, " AND "));
    return command->Execute();
}

}  // namespace

void SaveRows(Connection& connection, const std::string& table,
              const std::vector<RowChange>& changes) {
    Transaction transaction(connection);
    for (const RowChange& change : changes) {
        if (Update(connection, table, change) != 1) {
            throw DatabaseError({"Nothing was saved: the row of " + table + " with " +
                                 DescribeRow(change) +
                                 " was changed or deleted meanwhile, or is not the only one."});
        }
    }
    transaction.Commit();
}

}  // namespace morvane
