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

#include "UiTest.h"
#include "support/ScopedVariable.h"
#include "ui/Controls.h"
#include "ui/frmBrowseComputer.h"
#include "ui/modBrowsing.h"

namespace morvane::testing {
namespace {

// An answer that names one instance.
std::string Instance(const std::string& host, const std::string& name) {
    const std::string record = "ServerName;" + host + ";InstanceName;" + name + ";tcp;1433;;";
    return {"\x05" + std::string(1, static_cast<char>(record.size())) + '\0' + record};
}

// A network that answers requests for servers.
class Responder {
  public:
    std::vector<std::string> Answers;
    QByteArray Asked;

    Responder() {
        EXPECT_TRUE(socket_.bind(QHostAddress::AnyIPv4));
        QObject::connect(&socket_, &QUdpSocket::readyRead, &socket_, [this] {
            while (socket_.hasPendingDatagrams()) {
                const QNetworkDatagram request = socket_.receiveDatagram();
                Asked += request.data();
                for (const std::string& answer : Answers) {
                    socket_.writeDatagram(request.makeReply(QByteArray::fromStdString(answer)));
                }
            }
        });
    }
    quint16 Port() const { return socket_.localPort(); }

  private:
    QUdpSocket socket_;
};

QPoint RowOf(const QListWidget& list, int row) {
    return list.visualItemRect(list.item(row)).center();
}

void ChooseShownFolder(QWidget& folders) {
    auto& buttons = Find<QDialogButtonBox>(folders, "buttonBox");
    QTest::mouseClick(buttons.button(QDialogButtonBox::Open), Qt::LeftButton);
}

struct BrowsingDialog : public UiFixture {
    Responder Network;
    ServerSources Sources{{QHostAddress("127.255.255.255")},
                          {QHostAddress(QHostAddress::LocalHost)},
                          Network.Port(),
                          {}};

    QString BrowseServer(std::function<void(QWidget&)> act, const QString& entered = {}) {
        BrowsingDialogs browsing(Prompt, [this] { return Sources; });
        WhenModalOpens(std::move(act));
        return browsing.BrowseForComputer("Select a server...", nullptr, entered);
    }
};

TEST_F(BrowsingDialog, ListsServersAndDataSourcesWhileItSearches) {
    std::ofstream(Files / "freetds.conf") << "[central]\nhost = dw06\nport = 1433\n"
                                             "[Inst]\nhost = dw01\ninstance = B\n";
    Sources.Files.FreeTdsConf = {Files / "freetds.conf"};
    // The last server is also one of the data sources.
    Network.Answers = {Instance("zeta", "MSSQLSERVER"), "garbage", Instance("DW01", "b")};
    const QString chosen = BrowseServer([&](QWidget& dialog) {
        auto& list = Find<QListWidget>(dialog, "lstServers");
        auto& state = Find<QLabel>(dialog, "lblState");
        EXPECT_EQ(dialog.windowTitle(), "Select a server...");
        EXPECT_EQ(state.text(), "Searching...");
        EXPECT_TRUE(QTest::qWaitFor([&] { return list.count() == 4; }));
        EXPECT_TRUE(QTest::qWaitFor([&] { return state.text() == "3 servers found."; }));
        EXPECT_EQ(list.item(0)->text() + list.item(1)->text() + list.item(3)->text(),
                  "Embedded warehouse folder...central  (dw06,1433)zeta");
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, RowOf(list, 2));
        QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, RowOf(list, 2));
    });
    EXPECT_EQ(chosen, "dw01\\B");
    EXPECT_TRUE(Network.Asked.contains('\x02'));
    EXPECT_TRUE(Network.Asked.contains('\x03'));
}

TEST_F(BrowsingDialog, AsksForTheFolderOfAnEmbeddedWarehouse) {
    const ScopedVariable home("HOME", Files.Path());
    const std::string shop = Files / "shop";
    std::filesystem::create_directory(shop);
    std::ofstream(shop + "/notes.txt");
    std::ofstream(shop + "/retail.db");
    const auto choose = [&](QWidget& dialog) {
        auto& list = Find<QListWidget>(dialog, "lstServers");
        WhenModalOpens([](QWidget& folders) { QTest::keyClick(&folders, Qt::Key_Escape); });
        Click(dialog, "cmdOK");  // the first row is selected
        EXPECT_TRUE(dialog.isVisible()) << "back at the list";
        WhenModalOpens([](QWidget& folders) {
            const auto& files = Find<QListView>(folders, "listView");
            const auto shown = [&] { return files.model()->rowCount(files.rootIndex()); };
            EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == 1; }));
            const QModelIndex entry = files.model()->index(0, 0, files.rootIndex());
            EXPECT_EQ(entry.flags().testFlag(Qt::ItemIsSelectable), entry.data() == "shop")
                << "a file would disable Choose";
            ChooseShownFolder(folders);
        });
        QTest::keyClick(&list, Qt::Key_Return);
    };
    EXPECT_EQ(ToText(BrowseServer(choose, ToQString("SQLite:" + shop))), "sqlite:" + shop)
        << "shows the database, but no other file";
    EXPECT_EQ(ToText(BrowseServer(choose, "dw01")), "sqlite:" + Files.Path());
    EXPECT_EQ(BrowseServer([](QWidget& dialog) {
                  QTest::keyClick(&Find<QListWidget>(dialog, "lstServers"), Qt::Key_Escape);
              }),
              "");
}

TEST_F(BrowsingDialog, OpensTheParentOfAMissingFolderAndSavesNoHistory) {
    // Where Qt would save the history of its dialog.
    const QString usual = QFileInfo(QSettings("QtProject", "").fileName()).path();
    const std::string saved = Files / "saved";
    std::filesystem::create_directory(saved);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, ToQString(saved));
    BrowsingDialogs browsing(Prompt, [] { return ServerSources(); });
    const QFont usualFont = QApplication::font();
    QApplication::setFont(QFont(usualFont.family(), 48));
    WhenModalOpens([&](QWidget& folders) {
        EXPECT_EQ(folders.windowTitle(), "Select Log Directory");
        auto& dialog = dynamic_cast<QFileDialog&>(folders);
        EXPECT_EQ(ToText(dialog.directory().path()), Files.Path());
        EXPECT_LT(dialog.height(), dialog.screen()->availableSize().height());
        ChooseShownFolder(folders);
    });
    const QString chosen = browsing.BrowseForFolder(nullptr, "Select Log Directory",
                                                    ToQString(Files / "gone/further"));
    EXPECT_EQ(ToText(chosen), Files.Path());
    QApplication::setFont(usualFont);
    EXPECT_EQ(ListFiles(saved), "");
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, usual);
}

}  // namespace
}  // namespace morvane::testing
