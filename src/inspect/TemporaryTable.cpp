// SPDX-License-Identifier: Apache-2.0
#include "inspect/TemporaryTable.h"

#include <string_view>

#include "core/ErrorTrap.h"

namespace morvane {

namespace {

// Unique in the process.
std::string NewName() {
    static int number = 0;
    return "[#morvane_" + std::to_string(++number) + "]";
}

}  // namespace

TemporaryTable::TemporaryTable(Connection& connection, std::string sql)
    : connection_(connection), name_(NewName()) {
    constexpr std::string_view kPlace = "INTO *";
    sql.replace(sql.find(kPlace), kPlace.size(), "INTO " + name_);
    connection_.Execute(sql);
}

TemporaryTable::~TemporaryTable() {
    std::string ignored;  // the server drops it when the session ends
    TrapErrors(ignored, [&] {
        connection_.Execute("DROP TABLE " + name_);
        return true;
    });
}

std::int64_t QueryNumber(Connection& connection, const std::string& sql) {
    const auto rows = connection.OpenRecordset(sql);
    return rows->Eof() || (*rows)[0].IsNull() ? 0 : (*rows)[0].Integer();
}

}  // namespace morvane
