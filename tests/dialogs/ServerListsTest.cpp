// SPDX-License-Identifier: Apache-2.0
#include "dialogs/ServerLists.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/TempFolder.h"

namespace morvane::testing {
namespace {

using Servers = std::vector<std::string>;

std::string Answer(const std::string& records) {
    return std::string("\x05") + static_cast<char>(records.size() & 0xFF) +
           static_cast<char>(records.size() >> 8) + records;
}

std::string Instance(const std::string& host, const std::string& name, const std::string& port) {
    return "ServerName;" + host + ";InstanceName;" + name +
           ";IsClustered;No;Version;15.0.2000.5;tcp;" + port + ";;";
}

TEST(ServerAnswer, NamesTheInstancesOfAServer) {
    const std::string three = Instance("DW01", "MSSQLSERVER", "1433") +
                              Instance("DW01", "ARCHIVE", "49172") +
                              Instance("DW02", "mssqlserver", "14330");
    EXPECT_EQ(ParseServerAnswer(Answer(three)), (Servers{"DW01", "DW01\\ARCHIVE", "DW02,14330"}));
}

TEST(ServerAnswer, IsIgnoredIfMalformedOrHostile) {
    const std::string good = Instance("DW01", "A", "1433");
    for (const std::string& answer :
         {std::string(), std::string("\x05"), std::string("\x05\xFF\xFF", 3),
          "\x06" + Answer(good).substr(1), Answer(good).substr(0, 20), Answer(good) + "x",
          Answer(good.substr(0, good.size() - 1)), Answer(";;;;;;;;"),
          Answer("ServerName;;InstanceName;;;"), Answer("ServerName;DW01;;"),
          Answer("ServerName;DW01;InstanceName;;"), Answer(std::string(65535, ';')),
          Answer(Instance("DW\n01", "A", "1")), Answer(Instance("sqlite:/tmp", "A", "1")),
          Answer(Instance("DW01", "A\\B", "1")), Answer(Instance(std::string(300, 'x'), "A", "1")),
          Answer(Instance(std::string("DW\0", 3), "A", "1"))}) {
        EXPECT_EQ(ParseServerAnswer(answer), Servers{}) << ::testing::PrintToString(answer);
    }
    EXPECT_EQ(ParseServerAnswer(Answer(Instance("D;W", "A", "1") + good)), Servers{"DW01\\A"});
}

TEST(DataSources, AreReadFromTheConfigurationFiles) {
    const std::filesystem::path samples = MORVANE_DATA_SOURCES;
    const TempFolder files;
    std::ofstream(files / "user.ini", std::ios::binary)
        << "[dw]\r\nDriver=FreeTDS\r\nAddress=dw09,1600\r\nServer=x\r\n[none]";
    DataSourcePlaces places = {
        {files / "missing", samples, files / "user.ini", samples / "odbc.ini"},
        {"/dev/zero", samples / "freetds.conf"}};
    const std::vector<DataSource> expected = {{"dw", "dw09,1600"},
                                              {"Named", "tcp:dw02\\ARCHIVE"},
                                              {"Through", "dw06,1433"},
                                              {"central", "dw06,1433"},
                                              {"Inst", "dw07\\A"}};
    EXPECT_EQ(ReadDataSources(places), expected);
    places.OdbcIni.erase(places.OdbcIni.begin() + 2);
    EXPECT_EQ(ReadDataSources(places).front(), (DataSource{"DW", "dw01,1500"}));
}

TEST(DataSourcePlaces, AreWhereTheDriversLook) {
    using Paths = std::vector<std::filesystem::path>;
    const DataSourcePlaces usual = FindDataSourcePlaces({.Home = "/home/a"});
    EXPECT_EQ(usual.OdbcIni, (Paths{"/home/a/.odbc.ini", "/etc/odbc.ini"}));
    EXPECT_EQ(usual.FreeTdsConf, (Paths{"/home/a/.freetds.conf", "/etc/freetds/freetds.conf"}));
    const DataSourcePlaces other = FindDataSourcePlaces(
        {.OdbcIni = "/o.ini", .OdbcSysIni = "/s", .FreeTdsConf = "/f", .FreeTds = "/t"});
    EXPECT_EQ(other.OdbcIni, (Paths{"/o.ini", "/s/odbc.ini"}));
    EXPECT_EQ(Paths(other.FreeTdsConf.begin(), other.FreeTdsConf.begin() + 2),
              (Paths{"/f", "/t/etc/freetds.conf"}));
}

}  // namespace
}  // namespace morvane::testing
