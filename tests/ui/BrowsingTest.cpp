// SPDX-License-Identifier: Apache-2.0
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QNetworkDatagram>
#include <QPushButton>
#include <QSettings>
#include <filesystem>
#include <fstream>
#include <map>

#include "UiTest.h"
#include "support/ScopedVariable.h"
#include "ui/BrowsingDialogs.h"
#include "ui/Controls.h"

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

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// Answers what asks for servers, on a port of its own.
class Responder {
  public:
    std::vector<QByteArray> Answers;
    QByteArray Asked;

    Responder() {
        EXPECT_TRUE(socket_.bind(QHostAddress::AnyIPv4));
        QObject::connect(&socket_, &QUdpSocket::readyRead, &socket_, [this] {
            while (socket_.hasPendingDatagrams()) {
                const QNetworkDatagram request = socket_.receiveDatagram();
                Asked += request.data();
                for (const QByteArray& answer : Answers) {
                    socket_.writeDatagram(request.makeReply(answer));
                }
            }
        });
    }
    quint16 Port() const { return socket_.localPort(); }
    void Add(const std::string& answer) { Answers.push_back(QByteArray::fromStdString(answer)); }

  private:
    QUdpSocket socket_;
};

QStringList Rows(const QListWidget& list) {
    QStringList rows;
    for (int i = 0; i < list.count(); ++i) {
        rows << list.item(i)->text();
    }
    return rows;
}

QPoint RowOf(const QListWidget& list, int row) {
    return list.visualItemRect(list.item(row)).center();
}

void ChooseShownFolder(QWidget& folders) {
    auto& buttons = Find<QDialogButtonBox>(folders, "buttonBox");
    QTest::mouseClick(buttons.button(QDialogButtonBox::Open), Qt::LeftButton);
}

struct BrowsingTest : public UiFixture {
    Responder Network;
    DataSourcePlaces Places;

    QString BrowseServer(std::function<void(QWidget&)> act) {
        BrowsingDialogs browsing([this] {
            return ServerSources{{{QHostAddress("127.255.255.255")},
                                  {QHostAddress(QHostAddress::LocalHost)},
                                  Network.Port()},
                                 Places};
        });
        WhenModalOpens(std::move(act));
        return browsing.BrowseForComputer("Select a server...", nullptr);
    }
};

TEST(ServerAnswer, NamesTheInstancesOfAServer) {
    const std::string three = Instance("DW01", "MSSQLSERVER", "1433") +
                              Instance("DW01", "ARCHIVE", "49172") +
                              Instance("DW02", "mssqlserver", "14330");
    EXPECT_EQ(ParseServerAnswer(Answer(three)), (Servers{"DW01", "DW01\\ARCHIVE", "DW02,14330"}));
}

TEST(ServerAnswer, WhatIsBrokenOrHostileNamesNothing) {
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

TEST_F(BrowsingTest, ListsWhatAnswersWhileItIsSearching) {
    Network.Add(Answer(Instance("zeta", "MSSQLSERVER", "1433") + Instance("dw01", "B", "2000")));
    Network.Add("garbage");
    Network.Add(Answer(Instance("DW01", "b", "2000")));
    const QString chosen = BrowseServer([&](QWidget& dialog) {
        auto& list = Find<QListWidget>(dialog, "lstServers");
        auto& state = Find<QLabel>(dialog, "lblState");
        EXPECT_EQ(dialog.windowTitle(), "Select a server...");
        EXPECT_EQ(state.text(), "Searching...");
        EXPECT_TRUE(QTest::qWaitFor([&] { return list.count() == 3; }));
        EXPECT_FALSE(Find<QPushButton>(dialog, "cmdOK").isEnabled());
        EXPECT_TRUE(QTest::qWaitFor([&] { return state.text() == "2 servers found."; }));
        EXPECT_EQ(Rows(list), (QStringList{"Embedded warehouse folder...", "dw01\\B", "zeta"}));
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, RowOf(list, 1));
        QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, RowOf(list, 1));
    });
    EXPECT_EQ(chosen, "dw01\\B");
    EXPECT_TRUE(Network.Asked.contains('\x02'));
    EXPECT_TRUE(Network.Asked.contains('\x03'));
}

TEST_F(BrowsingTest, EscapeLeavesWhileItIsSearching) {
    EXPECT_EQ(BrowseServer([](QWidget& dialog) {
                  QTest::keyClick(&Find<QListWidget>(dialog, "lstServers"), Qt::Key_Escape);
                  EXPECT_EQ(Find<QLabel>(dialog, "lblState").text(), "Searching...");
              }),
              "");
}

TEST_F(BrowsingTest, AnEmbeddedWarehouseAsksForItsFolder) {
    const ScopedVariable home("HOME", Files.Path());
    const QString chosen = BrowseServer([](QWidget& dialog) {
        auto& list = Find<QListWidget>(dialog, "lstServers");
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, RowOf(list, 0));
        WhenModalOpens([](QWidget& folders) { QTest::keyClick(&folders, Qt::Key_Escape); });
        Click(dialog, "cmdOK");
        EXPECT_TRUE(dialog.isVisible());  // back at the list
        WhenModalOpens(ChooseShownFolder);
        QTest::keyClick(&list, Qt::Key_Return);
    });
    EXPECT_EQ(ToText(chosen), "sqlite:" + Files.Path());
}

TEST_F(BrowsingTest, AFolderThatIsGoneOpensItsParentAndNothingIsRemembered) {
    // Where Qt would save what its dialog has shown.
    const QString usual = QFileInfo(QSettings("QtProject", "").fileName()).path();
    const std::string saved = Files / "saved";
    std::filesystem::create_directory(saved);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, ToQString(saved));
    BrowsingDialogs browsing;
    WhenModalOpens([&](QWidget& folders) {
        EXPECT_EQ(folders.windowTitle(), "Select Log Directory");
        auto& dialog = dynamic_cast<QFileDialog&>(folders);
        EXPECT_EQ(ToText(dialog.directory().path()), Files.Path());
        ChooseShownFolder(folders);
    });
    const QString chosen = browsing.BrowseForFolder(nullptr, "Select Log Directory",
                                                    ToQString(Files / "gone/further"));
    EXPECT_EQ(ToText(chosen), Files.Path());
    EXPECT_EQ(ListFiles(saved), "");
    EXPECT_EQ(QFileInfo(QSettings("QtProject", "").fileName()).path(), ToQString(saved));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, usual);
}

TEST_F(BrowsingTest, ServersOfTheConfigurationFilesCanBeTaken) {
    WriteText(Files / "odbc.ini",
              "; all of them\n"
              "[ODBC Data Sources]\nDW = warehouse\n"
              "[DW]\r\n DRIVER = /usr/lib/libtdsodbc.so ; path\r\nserver = \"dw01\" # here\r\n"
              "Port=1500\r\n"
              "[Named]\nDriver={ODBC Driver 18 for SQL Server}\nServer=tcp:dw02\\ARCHIVE\n"
              "[Through]\nDriver=FreeTDS\nServername=CENTRAL\nPort=7\n"
              "[Ledger]\nDriver=PostgreSQL\nServer=pg\n"
              "[Wrong]\nDriver=FreeTDS\nServer=dw03\nPort=http\n"
              "[Unsafe]\nDriver=FreeTDS\nServer=dw04=x\n"
              "[Cut\nDriver=FreeTDS\nServer=dw05\n");
    WriteText(Files / "user.ini", "[dw]\nDriver=FreeTDS\nAddress=dw09,1600\nServer=x\n[none]");
    WriteText(Files / "freetds.conf",
              "[global]\n\ttds version = 7.4\n\tport = 1433\n"
              "[central]\n\thost = dw06\n[Inst]\nHOST=dw07\nInstance=A\n[Old]\nhost=dw08\n"
              "tds version = 5.0\n");
    std::filesystem::create_directory(Files / "folder.ini");
    Places = {{Files / "missing", Files / "folder.ini", Files / "user.ini", Files / "odbc.ini"},
              {"/dev/zero", Files / "freetds.conf"}};
    const std::vector<DataSource> expected = {{"dw", "dw09,1600"},
                                              {"Named", "tcp:dw02\\ARCHIVE"},
                                              {"Through", "dw06,1433"},
                                              {"central", "dw06,1433"},
                                              {"Inst", "dw07\\A"}};
    EXPECT_EQ(ReadDataSources(Places), expected);
    Places.OdbcIni.erase(Places.OdbcIni.begin() + 2);
    EXPECT_EQ(ReadDataSources(Places).front(), (DataSource{"DW", "dw01,1500"}));

    Network.Add(Answer(Instance("DW07", "a", "2000")));  // known from a file already
    EXPECT_EQ(BrowseServer([](QWidget& dialog) {
                  auto& list = Find<QListWidget>(dialog, "lstServers");
                  auto& state = Find<QLabel>(dialog, "lblState");
                  EXPECT_EQ(list.item(1)->text(), "central  (dw06,1433)");
                  EXPECT_TRUE(QTest::qWaitFor([&] { return state.text() == "5 servers found."; }));
                  QTest::keyClick(&list, Qt::Key_End);
                  QTest::keyClick(&list, Qt::Key_Up);
                  QTest::keyClick(&list, Qt::Key_Up);
                  QTest::keyClick(&list, Qt::Key_Return);
              }),
              "dw07\\A");
}

TEST(DataSourcePlaces, AreWhereTheDriversLook) {
    const auto places = [](std::map<std::string, std::string> variables) {
        return FindDataSourcePlaces([=](const char* name) mutable { return variables[name]; });
    };
    const DataSourcePlaces usual = places({{"HOME", "/home/a"}});
    EXPECT_EQ(usual.OdbcIni,
              (std::vector<std::filesystem::path>{"/home/a/.odbc.ini", "/etc/odbc.ini"}));
    EXPECT_EQ(usual.FreeTdsConf, (std::vector<std::filesystem::path>{"/home/a/.freetds.conf",
                                                                     "/etc/freetds/freetds.conf"}));
    const DataSourcePlaces other = places(
        {{"ODBCINI", "/o.ini"}, {"ODBCSYSINI", "/s"}, {"FREETDSCONF", "/f"}, {"FREETDS", "/t"}});
    EXPECT_EQ(other.OdbcIni, (std::vector<std::filesystem::path>{"/o.ini", "/s/odbc.ini"}));
    EXPECT_EQ(other.FreeTdsConf[0], "/f");
    EXPECT_EQ(other.FreeTdsConf[1], "/t/etc/freetds.conf");
}

}  // namespace
}  // namespace morvane::testing
