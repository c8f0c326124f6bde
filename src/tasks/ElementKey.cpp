// SPDX-License-Identifier: Apache-2.0
#include "tasks/ElementKey.h"

#include "base/Text.h"

namespace morvane {

ElementKey ReadElementKey(Connection& connection, std::string_view sql) {
    ElementKey key;
    const auto rows = connection.OpenRecordset(sql);
    if (!rows->Eof()) {
        key.Text = (*rows)[0].Text();
        connection.RequireColumnNames(key.Text);
        key.Columns = SplitColumnList(key.Text);
    }
    return key;
}

std::size_t ColumnPosition(const Recordset& recordset, std::string_view name) {
    return static_cast<std::size_t>(&recordset.FieldNamed(name) - recordset.Fields().data());
}

std::vector<std::size_t> KeyPositions(const Recordset& recordset, const ElementKey& key) {
    std::vector<std::size_t> positions;
    for (const std::string& column : key.Columns) {
        positions.push_back(ColumnPosition(recordset, column));
    }
    return positions;
}

}  // namespace morvane
