// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcDriver.h"

#include <gtest/gtest.h>

#include "core/DatabaseError.h"
#include "db/odbc/OdbcHandle.h"
#include "support/ErrorOf.h"

namespace morvane::odbc {
namespace {

const OdbcDriver kFreeTds{"FreeTDS", DriverFamily::FreeTds};
const OdbcDriver kMicrosoft{"ODBC Driver 18 for SQL Server", DriverFamily::Microsoft};

LoginDetails Login(const std::string& server, const std::string& password = "p") {
    return {{server, false, "u", password}, "", "", 0};
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
    try {
        PickDriver({"SQLite3"}, {});
        FAIL() << "no error";
    } catch (const DatabaseError& error) {
        for (const std::string& package : packages) {
            EXPECT_NE(std::string(error.what()).find(package), std::string::npos);
        }
    }
    EXPECT_THROW(PickDriver({"FreeTDS"}, "Oracle"), DatabaseError);
}

TEST(OdbcDriver, FreeTdsGetsItsOwnKeywords) {
    EXPECT_EQ(BuildConnectionString(kFreeTds, Login("host,14330")),
              "Driver={FreeTDS};TDS_Version=7.4;ClientCharset=UTF-8;Server=host;Port=14330;"
              "Encryption=require;UID={u};PWD={p};");
    EXPECT_EQ(BuildConnectionString(kFreeTds, Login("(local)\\SQL2")),
              "Driver={FreeTDS};TDS_Version=7.4;ClientCharset=UTF-8;Server=localhost\\SQL2;"
              "Encryption=require;UID={u};PWD={p};");
}

TEST(OdbcDriver, AValueCannotInjectAKeyword) {
    EXPECT_NE(
        BuildConnectionString(kFreeTds, Login(".", "a;}b{ \"ü'")).find("PWD={a;}b{ \"\xFC'};"),
        std::string::npos);
    EXPECT_THROW(BuildConnectionString(kFreeTds, Login(".", "ü€")), DatabaseError);
    const std::string error =
        testing::ErrorOf([] { BuildConnectionString(kFreeTds, Login(".", "secret};UID={sa")); });
    EXPECT_NE(error, "no error");
    EXPECT_EQ(error.find("secret"), std::string::npos) << error;
    for (const char* server : {"h;UID=sa", "h}", "{h", "h'", "h,port", "h,0", "h,70000", "h\n"}) {
        EXPECT_THROW(BuildConnectionString(kFreeTds, Login(server)), DatabaseError) << server;
        EXPECT_THROW(BuildConnectionString(kMicrosoft, Login(server)), DatabaseError) << server;
    }
}

TEST(OdbcHandle, ThrowsWithoutDiagnosticsToo) {
    EXPECT_THROW(OdbcHandle(SQL_HANDLE_DBC, OdbcHandle()), DatabaseError);
}

}  // namespace
}  // namespace morvane::odbc
