// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/TableDefinition.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// Questions to a session's catalogue. SQL Server is asked through its views sys.objects,
// sys.columns and others, which compare names as the server does and tell all of a type. Where
// there are no such views the catalogue functions of ODBC answer. Those take names for patterns, in
// which "_" matches any character, and drivers escape it each in a way of its own: what comes back
// is compared again here, letter case ignored. All throw DatabaseError.
class OdbcCatalogue {
  public:
    explicit OdbcCatalogue(std::shared_ptr<OdbcSession> session);

    bool TableExists(std::string_view table);
    std::optional<NamedTable> FindTable(std::string_view table);
    TableDefinition DescribeTable(std::string_view table);

  private:
    // The result of `ask`; no value when the server has no such views.
    template <typename Ask>
    auto FromViews(Ask&& ask) -> std::optional<decltype(ask())>;

    std::shared_ptr<OdbcSession> session_;
    bool hasViews_;
};

}  // namespace morvane::odbc
