// SPDX-License-Identifier: Apache-2.0
#include "ui/frmMain.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QComboBox>
#include <QSignalSpy>
#include <filesystem>

#include "UiTest.h"
#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "db/modDatabaseOperations.h"
#include "run/CommandLine.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"
#include "ui/frmProgress.h"

namespace morvane::testing {
namespace {

class MainWindow : public UiFixture {
  protected:
    MainWindow()
        : WithRunWindow{Clock, Prompt, RunWindow, Services.Connect, Output, Errors, {}, {}} {
        FillStar(Warehouse);
        EnsureFolder(Files / "my logs");
    }

    frmMain& Open() {
        Window = std::make_unique<frmMain>(State, WithRunWindow, Browse);
        QObject::connect(&RunWindow, &frmProgress::Closed, Window.get(), &frmMain::ShowAgain);
        Window->show();
        QApplication::processEvents();
        return *Window;
    }

    // Chooses a server, its database and a log folder.
    frmMain& OpenConnected() {
        frmMain& window = Open();
        Type(window, "txtServer", ToQString(Warehouse.Server()));
        Click(window, "cmdDBRefresh");
        ChooseDatabase("dw");
        Type(window, "txtLogFile", ToQString(Files / "my logs"));
        return window;
    }

    void ChooseDatabase(const char* name) {
        auto& list = Find<QComboBox>(*Window, "cboDB");
        list.setCurrentIndex(list.findText(name));
    }

    void OpenConfig(const std::string& login = "-usr sa -pwd \"p w\"") {
        const std::string line = "-config " + (Files / "run.cfg") + " -mac " + Warehouse.Server() +
                                 " -db dw " + login +
                                 " -clsf -del -datom -bkmac old"
                                 " -bkdb hist -bkusr arch -log \"" +
                                 (Files / "my logs") + "\"";
        ParseCommandLine(line, kMaxArgs, kPlatformSlashPaths, State.GlobalSettings, State);
        Open();
    }

    bool IsEnabled(const char* name) const { return Find<QWidget>(*Window, name).isEnabled(); }
    bool IsChecked(const char* name) const { return Find<QCheckBox>(*Window, name).isChecked(); }

    frmProgress RunWindow{{}};
    RunServices WithRunWindow;
    std::unique_ptr<frmMain> Window;
    const std::string User = CurrentUserName();
};

TEST_F(MainWindow, EnablesItsButtonsOnceServerDatabaseAndLogFolderAreKnown) {
    frmMain& window = Open();
    EXPECT_TRUE(IsChecked("chkOptions0"));
    Type(window, "txtLogFile", ToQString(Files / "my logs"));
    for (const char* button : {"cmdProcess", "cmdFacts", "cmdDimensions"}) {
        EXPECT_FALSE(IsEnabled(button));
    }
    Type(window, "txtServer", ToQString(Warehouse.Server()));
    PressAccessKey(window, 'r');
    ASSERT_TRUE(QTest::qWaitFor([&] { return IsEnabled("cmdProcess"); }));
    EXPECT_EQ(Find<QComboBox>(window, "cboDB").currentText(), "");
    Click(window, "cmdProcess");
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Database must be specified");
    ChooseDatabase("dw");
    Click(window, "cmdDBRefresh");
    EXPECT_EQ(Find<QComboBox>(window, "cboDB").currentText(), "dw");
    std::filesystem::remove(Files / "my logs");
    Type(window, "txtLogFile", ToQString(Files / "my logs"));
    EXPECT_FALSE(IsEnabled("cmdProcess"));
    EXPECT_TRUE(IsEnabled("cmdFacts"));
    Click(window, "cmdLogFile");
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Entered Folder doesnt exist.");
    EnsureFolder(Files / "closed/logs");
    std::filesystem::permissions(Files / "closed", std::filesystem::perms::none);
    Type(window, "txtLogFile", ToQString(Files / "closed/logs"));
    ASSERT_TRUE(geteuid() != 0 || seteuid(65534) == 0);  // root ignores permissions
    Click(window, "cmdLogFile");
    ASSERT_EQ(seteuid(getuid()), 0);
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|The entered folder cannot be used: Permission denied");
    Type(window, "txtLogFile", "");
    Browse.Answers = {ToQString(Files.Path()), "", "dw02"};
    Click(window, "cmdLogFile");
    EXPECT_TRUE(IsEnabled("cmdProcess"));
    Click(window, "cmdServer");
    EXPECT_TRUE(IsEnabled("cmdProcess")) << "nothing was chosen";
    Click(window, "cmdServer");
    EXPECT_EQ(Find<QLineEdit>(window, "txtServer").text(), "dw02");
    EXPECT_FALSE(IsEnabled("cmdFacts"));
    EXPECT_EQ(Find<QComboBox>(window, "cboDB").count(), 0);
    EXPECT_EQ(Browse.Asked, (std::vector<std::string>{"Select Log Directory|", "Select a server...",
                                                      "Select a server..."}));
}

TEST_F(MainWindow, ShowsWhyAConnectionFails) {
    frmMain& window = OpenConnected();
    Click(window, "optSQLLogin");
    EXPECT_FALSE(IsEnabled("cmdProcess"));
    Type(window, "txtServer", "sqlite:/missing");
    Click(window, "cmdDBRefresh");
    EXPECT_EQ(Prompt.Shown.back().find("Morvane|Error while connecting to : sqlite:/missing"), 0U);
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_FALSE(IsEnabled("cmdFacts"));
    const TempFolder empty;
    Type(window, "txtServer", ToQString("sqlite:" + empty.Path()));
    Click(window, "cmdDBRefresh");
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    EXPECT_FALSE(IsEnabled("cmdProcess"));
}

TEST_F(MainWindow, AtomicDeletionNeedsDeletion) {
    frmMain& window = Open();
    EXPECT_FALSE(IsEnabled("chkOptions5"));
    Click(window, "chkOptions4");
    EXPECT_TRUE(IsEnabled("chkOptions5"));
    EXPECT_FALSE(IsChecked("chkOptions5"));
    Click(window, "chkOptions5");
    Click(window, "chkOptions4");
    EXPECT_FALSE(IsChecked("chkOptions5"));
    EXPECT_FALSE(IsEnabled("chkOptions5"));
}

TEST_F(MainWindow, PerformsRunsAndIsShownAgain) {
    SqliteFile(Warehouse.Folder() + "/hist.db").Run("PRAGMA user_version = 1");
    CreateArchiveTable(*Warehouse.Connect());
    Warehouse.Run("UPDATE dwm_archive SET Server = '" + Warehouse.Server() +
                  "', SecureLogin = 0, SQLUserName = 'x', DB = 'hist'");
    frmMain& window = OpenConnected();
    for (const char* task : {"chkOptions1", "chkOptions2", "chkOptions3", "chkOptions4"}) {
        Click(window, task);
    }
    Click(window, "cmdProcess");
    EXPECT_FALSE(window.isVisible());
    ASSERT_TRUE(RunWindow.isVisible());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    EXPECT_TRUE(Prompt.Shown.empty());
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(Products(Warehouse), "3|cap") << "the pen's only row is archived";
    for (const char* report : {"SummaryReport", "DetailedReport", "TableFilterReport"}) {
        EXPECT_TRUE(
            std::filesystem::exists(Files / "my logs/" + report + "05-03-202414-07-09.html"));
    }
    Click(RunWindow, "cmdOK");
    EXPECT_TRUE(window.isVisible());
    Click(window, "cmdProcess");
    EXPECT_TRUE(Find<QWidget>(RunWindow, "imgChecked4").isVisible());
    Click(RunWindow, "cmdOK");
    EXPECT_TRUE(Prompt.Asked.empty());
}

TEST_F(MainWindow, HoldsTheLockFromADialogUntilItCloses) {
    frmMain& window = OpenConnected();
    QSignalSpy closed(&window, &frmMain::Closed);
    std::vector<std::string> opened;
    for (const char* button : {"cmdFacts", "cmdDimensions"}) {
        WhenModalOpens([&](QWidget& dialog) {
            opened.push_back(dialog.objectName().toStdString());
            EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
            Click(dialog, "cmdCancel");
        });
        Click(window, button);
        EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
    }
    EXPECT_EQ(opened, (std::vector<std::string>{"frmSetFactTableFilters", "frmSustainRec"}));
    EXPECT_EQ(Warehouse.Text("SELECT * FROM dwm_archive"), "1|(local)|1|NULL|NULL|NULL");
    WhenModalOpens([&](QWidget& dialog) {
        window.close();  // like a signal
        EXPECT_FALSE(dialog.isVisible());
    });
    Click(window, "cmdFacts");
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(State.WarehouseConnection, nullptr);
}

TEST_F(MainWindow, OpensNoDialogIfTheMetaDataIsInvalid) {
    frmMain& window = OpenConnected();
    Warehouse.Run("UPDATE dwm_tables SET table_type='X' WHERE table_name='product'");
    Click(window, "cmdDimensions");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "table_type  Incorrect for TableName : product"));
    Warehouse.Run("DROP TABLE dwm_tables");
    Click(window, "cmdFacts");
    EXPECT_EQ(Prompt.Shown.back(),
              "Morvane|Table 'dwm_tables' does not exist in Datawarehouse Database");
    EXPECT_EQ(Prompt.Shown.size(), 2U);
    EXPECT_EQ(Warehouse.Text("SELECT count(*) FROM sqlite_master WHERE name='dwm_archive'"), "0");
}

TEST_F(MainWindow, StartsNoRunWithoutAUsableArchive) {
    frmMain& window = OpenConnected();
    Click(window, "chkOptions1");
    WhenModalOpens([](QWidget& dialog) { Click(dialog, "cmdCancel"); });
    Click(window, "cmdProcess");
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Indicate Connectivity Details For Archive Database");
    Warehouse.Run("UPDATE dwm_archive SET DB='hist'");
    Click(window, "cmdProcess");
    EXPECT_EQ(Prompt.Shown.back(),
              "Morvane|It is not possible to use Windows NT Authentication for both the Data "
              "Warehouse database and the archive database.");
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(std::filesystem::exists(Files / "my logs/Morvane_Log05-03-202414-07-09.txt"));
}

TEST_F(MainWindow, WritesItsSettingsToTheConfigurationFileAndCloses) {
    OpenConfig();
    frmMain& window = *Window;
    QSignalSpy closed(&window, &frmMain::Closed);
    ASSERT_TRUE(IsEnabled("cmdProcess"));
    EXPECT_EQ(Find<QPushButton>(window, "cmdProcess").text(), "Sa&ve Settings");
    EXPECT_TRUE(IsChecked("chkOptions0") && IsChecked("chkOptions1") && IsChecked("chkOptions5"));
    EXPECT_FALSE(IsChecked("chkOptions2"));
    Type(window, "txtSQLPassword", "a\"b");
    Click(window, "cmdDBRefresh");
    ChooseDatabase("dw");
    Click(window, "cmdProcess");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "option -pwd"));
    EXPECT_EQ(closed.count(), 0);
    Type(window, "txtSQLPassword", " x ");
    Click(window, "cmdDBRefresh");
    ChooseDatabase("dw");
    Click(window, "cmdProcess");
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(ReadWholeFile(Files / "run.cfg"),
              "-mac " + Warehouse.Server() +
                  " -db dw -usr sa -pwd \" x \" -chkmd -bkmac old -bkdb hist -bkusr arch -clsf "
                  "-del -datom -log \"" +
                  (Files / "my logs") + "\"\r\n");
}

TEST_F(MainWindow, UsesThePasswordOfTheEnvironmentButDoesNotSaveIt) {
    State.Passwords.Warehouse = {"", "no such file"};
    OpenConfig("-usr sa");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "no such file"));
    State.Passwords.Warehouse = {"s3cret", ""};
    Click(*Window, "cmdDBRefresh");
    ChooseDatabase("dw");
    WhenModalOpens([&](QWidget& dialog) {
        EXPECT_EQ(State.WarehouseConnection->Property("Password"), "s3cret");
        Click(dialog, "cmdCancel");
    });
    Click(*Window, "cmdFacts");
    EXPECT_EQ(Find<QLineEdit>(*Window, "txtSQLPassword").text(), "");
    const std::string line = Files / "run.cfg";
    State.ConfigFileName = Warehouse.File();
    Click(*Window, "cmdProcess");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "The configuration file cannot be"));
    State.ConfigFileName = line;
    Click(*Window, "cmdProcess");
    EXPECT_TRUE(Contains(ReadWholeFile(line), " -usr sa -chkmd "));
}

TEST_F(MainWindow, SavingNeedsAnArchiveDatabaseAndAConfigurationFile) {
    OpenConfig();
    frmMain& window = *Window;
    State.GlobalSettings.ArchiveDatabase = " ";
    Click(window, "chkOptions2");
    EXPECT_FALSE(IsEnabled("cmdProcess"));
    Click(window, "chkOptions1");
    EXPECT_TRUE(IsEnabled("cmdProcess"));
    State.ConfigFileName = " ";
    Click(window, "cmdProcess");
    EXPECT_TRUE(
        Contains(Prompt.Shown.back(), "When in Config Mode Please specify the Config File Name"));
    State.ConfigFileName = Files / "missing/run.cfg";
    Click(window, "cmdProcess");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "Cannot write the file"));
    EXPECT_TRUE(window.isVisible());
    QTest::keyClick(&window, Qt::Key_Escape);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window.isVisible(); }));
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
}

}  // namespace
}  // namespace morvane::testing
