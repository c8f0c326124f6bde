// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcDriver.h"

#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "db/odbc/OdbcHandle.h"
#include "support/ErrorOf.h"
#include "support/Texts.h"

namespace morvane::odbc {
namespace {

using testing::Contains;
using testing::ErrorOf;

const OdbcDriver kFreeTds{"FreeTDS", DriverFamily::FreeTds};
const OdbcDriver kMicrosoft{"ODBC Driver 18 for SQL Server", DriverFamily::Microsoft};

const ServerLogin kIntegrated{"host,1433", true, "", ""};

ServerLogin Sql(const std::string& server, const std::string& password = "p") {
    return {server, false, "u", password};
}

TEST(OdbcDriver, ThePreferredInstalledDriverIsPicked) {
    EXPECT_EQ(PickDriver({"SQLite3", "FreeTDS", "ODBC Driver 17 for SQL Server"}, {}).Name,
              "ODBC Driver 17 for SQL Server");
    EXPECT_EQ(PickDriver({"freetds"}, {}).Name, "freetds");
    EXPECT_EQ(PickDriver({"FreeTDS", "SQL Server"}, "sql server").Family, DriverFamily::OldWindows);
}

TEST(OdbcDriver, AMissingDriverIsNamedWithItsPackage) {
#ifdef _WIN32
    const std::vector<std::string> packages{"\"ODBC Driver 18 for SQL Server\""};
#else
    const std::vector<std::string> packages{"tdsodbc", "msodbcsql18"};
#endif
    for (const std::string& package : packages) {
        EXPECT_TRUE(Contains(ErrorOf([] { PickDriver({"SQLite3"}, {}); }), package));
    }
    EXPECT_TRUE(Contains(ErrorOf([] { PickDriver({"FreeTDS"}, "Oracle"); }), "Oracle"));
}

TEST(OdbcDriver, AConnectionStringHasTheDriversKeywordsAndTheUsersOptions) {
    const std::string freeTds = "Driver={FreeTDS};TDS_Version=7.4;ClientCharset=UTF-8;Server=";
    const std::string microsoft = "Driver={ODBC Driver 18 for SQL Server};";
    const std::string host = "Server={host,1433};";
    const std::string user = "UID={u};PWD={p};";
    const struct {
        OdbcDriver Driver;
        ServerLogin Login;
        std::string Options;
        std::string Expected;
    } cases[] = {
        {kFreeTds, Sql("host,14330"), "", freeTds + "host;Port=14330;Encryption=require;" + user},
        {kFreeTds, Sql("(local)\\SQL2"), "",
         freeTds + "localhost\\SQL2;Encryption=require;" + user},
        {kFreeTds, Sql("h"), "Encrypt=no", freeTds + "h;Port=1433;" + user + "Encryption=request;"},
        {kMicrosoft, Sql("tcp:host, 1433"), "", microsoft + host + "Encrypt=yes;" + user},
        {kMicrosoft, Sql("host,1433", "a;}b{ \"ü'"), "",
         microsoft + host + "Encrypt=yes;UID={u};PWD={a;}}b{ \"ü'};"},
        {kMicrosoft, Sql("host,1433"), "encrypt={strict};",
         microsoft + "encrypt={strict};" + host + user},
        {kMicrosoft, kIntegrated, "", microsoft + host + "Encrypt=yes;Trusted_Connection=yes;"},
        {kMicrosoft, kIntegrated, "APP={;Encrypt=no;Authentication=x}}}",
         microsoft + "APP={;Encrypt=no;Authentication=x}}};" + host +
             "Encrypt=yes;Trusted_Connection=yes;"},
        // Drivers refuse a method together with Trusted_Connection or an empty password.
        {kMicrosoft, kIntegrated, "Authentication=a",
         microsoft + "Authentication=a;" + host + "Encrypt=yes;"},
        {kMicrosoft, Sql("host,1433", ""), "Authentication=a",
         microsoft + "Authentication=a;" + host + "Encrypt=yes;UID={u};"},
        {kMicrosoft, Sql("host,1433"), "Authentication=a",
         microsoft + "Authentication=a;" + host + "Encrypt=yes;" + user},
    };
    for (const auto& [driver, login, options, expected] : cases) {
        EXPECT_EQ(BuildConnectionString(driver, {login, "", options, 0}), expected);
    }
}

TEST(OdbcDriver, AValueCannotInjectAKeyword) {
    const auto error = [](const OdbcDriver& driver, const ServerLogin& login) {
        return ErrorOf([&] { BuildConnectionString(driver, {login, "", "", 0}); });
    };
    EXPECT_TRUE(Contains(BuildConnectionString(kFreeTds, {Sql(".", "a;}b{ \"ü'"), "", "", 0}),
                         "PWD={a;}b{ \"\xFC'};"));
    EXPECT_NE(error(kFreeTds, Sql(".", "ü€")), "no error");
    // The second length overflows to a small number in 16 bits.
    for (const std::string& rest :
         {std::string("};UID={sa"), std::string(33000, 'x'), std::string(65600, 'x')}) {
        const std::string text = error(kFreeTds, Sql(".", "secret" + rest));
        EXPECT_NE(text, "no error");
        EXPECT_EQ(text.find("secret"), std::string::npos) << text;
    }
    for (const char* server : {"h;UID=sa", "h}", "{h", "h'", "h,port", "h,0", "h,70000", "h\n"}) {
        EXPECT_NE(error(kFreeTds, Sql(server)), "no error") << server;
        EXPECT_NE(error(kMicrosoft, Sql(server)), "no error") << server;
    }
}

TEST(OdbcHandle, ThrowsWithoutDiagnosticsToo) {
    EXPECT_THROW(OdbcHandle(SQL_HANDLE_DBC, OdbcHandle()), DatabaseError);
}

}  // namespace
}  // namespace morvane::odbc
