// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"

namespace morvane::testing {
namespace {

TEST(BuildWithoutSqlite, ReportsWhyAnEmbeddedServerCannotBeUsed) {
    std::unique_ptr<Connection> connection;
    std::string errorText;
    EXPECT_FALSE(ConnectDatabase(CreateConnection, {"SQLite:C:\\data", true, "", ""}, connection,
                                 errorText));
    EXPECT_EQ(errorText,
              "Error while connecting to : SQLite:C:\\data\r\nThis build of Morvane has no "
              "embedded engine, since it was made without SQLite.");
    EXPECT_EQ(connection, nullptr);
}

}  // namespace
}  // namespace morvane::testing
