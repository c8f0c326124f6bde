// SPDX-License-Identifier: Apache-2.0
#include "core/Connection.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

namespace {

constexpr std::string_view kIntegratedSecurity = "SSPI";

}  // namespace

bool NamedTable::HasColumn(std::string_view name) const {
    return std::any_of(Columns.begin(), Columns.end(), [name](const std::string& column) {
        return EqualsIgnoreCase(column, name);
    });
}

void Connection::RequireColumnNames(std::string_view list) const {
    for (const std::string& name : SplitColumnList(list)) {
        RequireName(NameOf::Column, name);
    }
}

ServerLogin Connection::Login() const {
    return {Property("Data Source"), Property("Integrated Security") == kIntegratedSecurity,
            Property("User ID"), Property("Password")};
}

void Connection::SetLogin(const ServerLogin& login) {
    SetProperty("Data Source", login.Server);
    if (login.NTAuthentication) {
        SetProperty("Integrated Security", kIntegratedSecurity);
    } else {
        SetProperty("User ID", login.UserName);
        SetProperty("Password", login.Password);
    }
}

bool Connection::ColumnExists(std::string_view table, std::string_view column) {
    const auto found = FindTable(table);
    return found && found->HasColumn(column);
}

bool Connection::IsIndexed(std::string_view table) {
    const auto found = FindTable(table);
    return found && found->Indexed;
}

}  // namespace morvane
