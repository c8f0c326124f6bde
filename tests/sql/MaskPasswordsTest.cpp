// SPDX-License-Identifier: Apache-2.0
#include "sql/MaskPasswords.h"

#include "support/Texts.h"

namespace morvane::testing {
namespace {

constexpr const char* kRows = ") select *, {ts '2024-03-05 14:07:09'} from t where a = 'x;y'";

std::string Statement(const std::string& user, const std::string& password) {
    return "insert into OPENROWSET('SQLOLEDB', 'host'; '" + user + "'; '" + password +
           "', db.dbo.t" + kRows;
}

std::string Masked(const std::string& sql) {
    return MaskPasswords(sql).Text;
}

TEST(MaskPasswords, HidesTheLoginOfARowset) {
    const std::string masked =
        "insert into OPENROWSET('SQLOLEDB', 'host'; ***" + std::string(kRows);
    for (const std::string password :
         {"secret", "", "se;cret", "se'cret", "se''cret", ") select *", ") select *, {ts '",
          "', db.dbo.t) select *, {ts '2024-01-01'} from secret", "openrowset(", "a\nb"}) {
        EXPECT_EQ(Masked(Statement("u", password)), masked) << password;
    }
    EXPECT_EQ(Masked(Statement("u; 'x') select *, {ts ", "secret")), masked);
}

TEST(MaskPasswords, HidesTheRestOfAnotherStatementWithARowset) {
    EXPECT_EQ(Masked("INSERT INTO OpenRowset('SQLOLEDB', 'h'; 'u'; 'p', d.dbo.t) select 1"),
              "INSERT INTO OpenRowset('SQLOLEDB', 'h'; ***");
    EXPECT_EQ(Masked("select * from openrowset('SQLOLEDB', 'uid=u,pwd=p')"),
              "select * from OPENROWSET(***");
}

TEST(MaskPasswords, HidesThePasswordOfTheArchiveSettings) {
    EXPECT_EQ(Masked("update t set SQLUserName = 'u', SQLPassword = 'p', DB = 'd'"),
              "update t set SQLUserName = 'u', SQLPassword = '***', DB = 'd'");
}

TEST(MaskPasswords, LeavesOtherStatementsUnchanged) {
    const std::string sql = "delete from t where a = 'x;y' -- ) select *, {ts ";
    EXPECT_EQ(Masked(sql), sql);
    EXPECT_EQ(Masked(""), "");
}

// An error shows the beginning and the end of a long statement.
TEST(MaskPasswords, HidesALongPasswordBeforeAStatementIsCut) {
    const std::string password = std::string(700, 'p') + "secret";
    const DatabaseError error({"No."}, MaskPasswords(Statement("u", password)));
    for (const std::string& text : {std::string(error.what()), error.Statement()}) {
        EXPECT_FALSE(Contains(text, "pp"));
        EXPECT_TRUE(Contains(text, "from t where a"));
    }
}

}  // namespace
}  // namespace morvane::testing
