// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

class DatabaseOperations : public ::testing::Test {
  protected:
    TestWarehouse warehouse;
    std::unique_ptr<Connection> connection;
    std::string errorText = "left over";

    bool Connect(const std::string& server, const std::string& database) {
        return ConnectDatabase(CreateConnection, {server, false, "me", "secret"}, connection,
                               errorText, database);
    }
};

TEST_F(DatabaseOperations, Connects) {
    ASSERT_TRUE(Connect(warehouse.Server(), "dw")) << errorText;
    EXPECT_EQ(errorText, "left over");
    EXPECT_EQ(connection->Property("User ID"), "me");
    EXPECT_EQ(connection->Property("Integrated Security"), "");
    EXPECT_EQ(connection->DefaultDatabase(), "dw");
    EXPECT_EQ(connection->ConnectionTimeout(), 20);
    ASSERT_TRUE(ConnectDatabase(CreateConnection, {warehouse.Server(), true, "me", "secret"},
                                connection, errorText));
    EXPECT_EQ(connection->Property("Integrated Security"), "SSPI");
    EXPECT_EQ(connection->Property("User ID") + connection->Property("Password"), "");
}

TEST_F(DatabaseOperations, AFailedLoginNamesTheServerButNotThePassword) {
    for (const std::string& server : {warehouse.Server(), std::string("nowhere")}) {
        EXPECT_FALSE(Connect(server, "missing"));
        EXPECT_TRUE(Contains(errorText, "Error while connecting to : " + server + "\r\n"));
        EXPECT_FALSE(Contains(errorText, "secret"));
    }
    EXPECT_FALSE(connection->IsOpen());
}

TEST_F(DatabaseOperations, CreatesTheProgramsTablesWithTheirRow) {
    connection = warehouse.Connect();
    CreateArchiveTable(*connection);
    EXPECT_EQ(warehouse.Text("SELECT ID, Server, SecureLogin, SQLUserName, SQLPassword, DB "
                             "FROM dwm_archive"),
              "1|(local)|1|NULL|NULL|NULL");
    EXPECT_THROW(CreateMultiUseTable(*connection, "o'neill"), DatabaseError);
    EXPECT_FALSE(connection->TableExists("dwm_multiuse")) << "no table without its row";
    CreateMultiUseTable(*connection, "anna");
    EXPECT_EQ(warehouse.LockRow(), "1|anna");
}

TEST(NullConverters, ReplaceOnlyNullByTheDefault) {
    const Value null;
    EXPECT_EQ(NullToText(null, "none") + NullToText(Value(std::string()), "none"), "none");
    EXPECT_EQ(NullToInteger(null, 7), 7);
    EXPECT_THROW(NullToInteger(Value(std::int64_t{32768}), 7), std::out_of_range);
    EXPECT_TRUE(NullToBoolean(null, true));
    EXPECT_FALSE(NullToBoolean(Value(std::int64_t{0}), true));
}

}  // namespace morvane::testing
