// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/TableDefinition.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// Catalogue queries of a session. With SQL Server it uses the views sys.objects, sys.columns and
// others, which compare names like the server and describe types completely. Without these views it
// uses ODBC's catalogue functions. They treat names as patterns, in which "_" matches any character
// and which each driver escapes differently, so their results are filtered by name here, ignoring
// case. All functions throw DatabaseError.
class OdbcCatalogue {
  public:
    explicit OdbcCatalogue(std::shared_ptr<OdbcSession> session);

    bool TableExists(std::string_view table);
    std::optional<NamedTable> FindTable(std::string_view table);
    std::vector<std::vector<std::string>> IndexColumns(std::string_view table);
    TableDefinition DescribeTable(std::string_view table);

  private:
    // The result of `ask`; no value if the server does not have the views.
    template <typename Ask>
    auto FromViews(Ask&& ask) -> std::optional<decltype(ask())>;

    std::shared_ptr<OdbcSession> session_;
    bool hasViews_;
};

}  // namespace morvane::odbc
