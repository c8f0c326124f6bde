// SPDX-License-Identifier: Apache-2.0
#include "ui/frmMain.h"

#include <sys/stat.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QSignalSpy>
#include <QWheelEvent>
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
        EnsureFolder(Logs);
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
        ChooseDatabase();
        Type(window, "txtLogFile", ToQString(Logs));
        return window;
    }

    void ChooseDatabase() {
        Click(*Window, "cmdDBRefresh");
        auto& list = Find<QComboBox>(*Window, "cboDB");
        list.setCurrentIndex(list.findText("dw"));
    }

    void OpenConfig(const std::string& login = "-usr sa -pwd \"p w\"") {
        ParseCommandLine(
            "-config " + (Files / "run.cfg") + " -mac " + Warehouse.Server() + " -db dw " + login +
                " -clsf -del -datom -bkmac old -bkdb hist -bkusr arch -log \"" + Logs + "\"",
            kMaxArgs, kPlatformSlashPaths, State.GlobalSettings, State);
        Open();
    }

    bool IsEnabled(const char* name) const { return Find<QWidget>(*Window, name).isEnabled(); }
    bool IsChecked(const char* name) const { return Find<QCheckBox>(*Window, name).isChecked(); }

    frmProgress RunWindow{{}};
    RunServices WithRunWindow;
    std::unique_ptr<frmMain> Window;
    const std::string User = CurrentUserName();
    const std::string Logs = Files / "my logs";
};

TEST_F(MainWindow, EnablesItsButtonsOnceServerDatabaseAndLogFolderAreKnown) {
    frmMain& window = Open();
    EXPECT_TRUE(IsChecked("chkOptions0"));
    Type(window, "txtLogFile", ToQString(Logs));
    EXPECT_FALSE(IsEnabled("cmdProcess") || IsEnabled("cmdFacts") || IsEnabled("cmdDimensions"));
    QTest::keyClick(&Find<QLineEdit>(window, "txtLogFile"), 'p', Qt::AltModifier);
    EXPECT_EQ(ToText(Find<QLineEdit>(window, "txtLogFile").text()), Logs) << "no letter is typed";
    Type(window, "txtServer", ToQString(Warehouse.Server()));
    PressAccessKey(window, 'r');
    ASSERT_TRUE(QTest::qWaitFor([&] { return IsEnabled("cmdProcess"); }));
    Click(window, "cmdProcess");
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Database must be specified");
    ChooseDatabase();
    Click(window, "cmdDBRefresh");
    EXPECT_EQ(Find<QComboBox>(window, "cboDB").currentText(), "dw");
    Click(window, "optSQLLogin");
    EXPECT_FALSE(IsEnabled("cmdProcess")) << "another login";
    for (const std::string& server : {std::string("sqlite:/missing"), "sqlite:" + Files.Path()}) {
        Type(window, "txtServer", ToQString(server));
        Click(window, "cmdDBRefresh");
        EXPECT_FALSE(IsEnabled("cmdFacts"));
    }
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
    ASSERT_EQ(Prompt.Shown.size(), 2U);
    EXPECT_TRUE(Contains(Prompt.Shown[1], "Error while connecting to : sqlite:/missing"));
}

TEST_F(MainWindow, TakesOnlyAnExistingLogFolder) {
    frmMain& window = OpenConnected();
    EXPECT_TRUE(IsEnabled("cmdProcess"));
    Type(window, "txtLogFile", ToQString(Files / "gone"));
    EXPECT_FALSE(IsEnabled("cmdProcess"));
    EXPECT_TRUE(IsEnabled("cmdFacts"));
    Click(window, "cmdLogFile");
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|Entered Folder doesnt exist.");
#ifndef _WIN32
    EnsureFolder(Files / "closed/logs");
    std::filesystem::permissions(Files / "closed", std::filesystem::perms::none);
    Type(window, "txtLogFile", ToQString(Files / "closed/logs"));
    ASSERT_TRUE(geteuid() != 0 || seteuid(65534) == 0);  // root ignores permissions
    Click(window, "cmdLogFile");
    ASSERT_EQ(seteuid(getuid()), 0);
    EXPECT_EQ(Prompt.Shown.back(), "Morvane|The entered folder cannot be used: Permission denied");
#endif
    Type(window, "txtLogFile", "");
    Browse.Answers = {ToQString(Files.Path()), "", "dw02"};
    Click(window, "cmdLogFile");
    EXPECT_TRUE(IsEnabled("cmdProcess"));
    Click(window, "cmdServer");
    EXPECT_TRUE(IsEnabled("cmdProcess")) << "nothing was chosen";
    Click(window, "cmdServer");
    EXPECT_EQ(Find<QLineEdit>(window, "txtServer").text(), "dw02");
    EXPECT_FALSE(IsEnabled("cmdFacts"));
}

TEST_F(MainWindow, KeepsWhatIsTypedAtEscapeEnterAndTheMouseWheel) {
    frmMain& window = OpenConnected();
    auto& list = Find<QComboBox>(window, "cboDB");
    list.addItem("other");
    const int chosen = list.currentIndex();
    QWheelEvent turn(QPointF(5, 5), list.mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton,
                     Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&list, &turn);
    EXPECT_EQ(list.currentIndex(), chosen);
    ASSERT_TRUE(IsEnabled("cmdProcess"));
    EXPECT_EQ(Find<QWidget>(window, "chkOptions1").nextInFocusChain()->objectName(), "cmdFacts");
    for (const char* name : {"txtLogFile", "cboDB", "chkOptions0", "optSecureLogin"}) {
        auto& control = Find<QWidget>(window, name);
        control.setFocus();
        QTest::keyClick(&control, Qt::Key_Return);
        QTest::keyClick(&control, Qt::Key_Escape);
    }
    QApplication::processEvents();
    EXPECT_TRUE(window.isVisible() && !RunWindow.isVisible());
    EXPECT_EQ(Warehouse.Text("SELECT name FROM sqlite_schema WHERE name = 'dwm_multiuse'"), "");
    list.setCurrentIndex(-1);
    list.showPopup();
    EXPECT_TRUE(list.view()->selectionModel()->isRowSelected(0))
        << "otherwise Down goes to the second row";
    list.hidePopup();
    Find<QWidget>(window, "cmdClose").setFocus();
    QTest::keyClick(&Find<QWidget>(window, "cmdClose"), Qt::Key_Return);
    EXPECT_TRUE(!window.isVisible() && !RunWindow.isVisible()) << "presses the focused button";
}

TEST_F(MainWindow, PerformsRunsAndIsShownAgain) {
    SqliteFile(Warehouse.Folder() + "/hist.db").Run("PRAGMA user_version = 1");
    CreateArchiveTable(*Warehouse.Connect());
    Warehouse.Run("UPDATE dwm_archive SET Server = '" + Warehouse.Server() +
                  "', SecureLogin = 0, SQLUserName = 'x', DB = 'hist'");
    frmMain& window = OpenConnected();
    for (const char* task : {"chkOptions1", "chkOptions2", "chkOptions4"}) {
        Click(window, task);
    }
    for (int run = 0; run < 2; ++run) {
        Click(window, "cmdProcess");
        EXPECT_FALSE(window.isVisible());
        EXPECT_TRUE(Find<QWidget>(RunWindow, "imgChecked3").isVisible());
        Click(RunWindow, "cmdOK");
        EXPECT_TRUE(window.isVisible());
    }
    EXPECT_TRUE(Prompt.Shown.empty() && Prompt.Asked.empty());
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(Products(Warehouse), "3|cap") << "the pen's only row is archived";
}

TEST_F(MainWindow, HoldsTheLockFromADialogUntilItCloses) {
    frmMain& window = OpenConnected();
    QSignalSpy closed(&window, &frmMain::Closed);
    std::string opened;
    for (const char* button : {"cmdFacts", "cmdDimensions"}) {
        WhenModalOpens([&](QWidget& dialog) {
            opened += dialog.objectName().toStdString() + " ";
            Click(dialog, "cmdCancel");
        });
        Click(window, button);
        EXPECT_EQ(Warehouse.LockRow(), "1|" + User);
    }
    EXPECT_EQ(opened, "frmSetFactTableFilters frmSustainRec ");
    EXPECT_EQ(Warehouse.Text("SELECT * FROM dwm_archive"), "1|(local)|1|NULL|NULL|NULL");
    WhenModalOpens([&](QWidget& dialog) {
        window.close();  // like a signal
        EXPECT_FALSE(dialog.isVisible());
    });
    Click(window, "cmdFacts");
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
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
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "It is not possible to use Windows NT"));
    EXPECT_EQ(ListFiles(Logs), "");
}

TEST_F(MainWindow, SavesItsSettingsInTheConfigurationFileAndCloses) {
    OpenConfig();
    QSignalSpy closed(Window.get(), &frmMain::Closed);
    EXPECT_EQ(Find<QPushButton>(*Window, "cmdProcess").text(), "Sa&ve Settings");
    EXPECT_TRUE(IsChecked("chkOptions0") && IsChecked("chkOptions1") && IsChecked("chkOptions5"));
    EXPECT_FALSE(IsChecked("chkOptions2"));
    Click(*Window, "chkOptions4");
    EXPECT_FALSE(IsChecked("chkOptions5") || IsEnabled("chkOptions5")) << "without deletion";
    Click(*Window, "chkOptions4");
    Click(*Window, "chkOptions5");
    State.GlobalSettings.ArchiveDatabase = " ";
    Click(*Window, "chkOptions2");
    EXPECT_FALSE(IsEnabled("cmdProcess"));
    State.GlobalSettings.ArchiveDatabase = "hist";
    Click(*Window, "chkOptions2");
    EXPECT_TRUE(IsEnabled("cmdProcess"));
    Type(*Window, "txtSQLPassword", "a\"b");
    ChooseDatabase();
    Click(*Window, "cmdProcess");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "option -pwd"));
    Type(*Window, "txtSQLPassword", " x ");
    ChooseDatabase();
    for (const auto& [file, error] :
         {std::pair(std::string(" "), "Please specify the Config File Name"),
          std::pair(Files / "missing/run.cfg", "Cannot write the file"),
          std::pair(Warehouse.File(), "The configuration file cannot be")}) {
        State.ConfigFileName = file;
        Click(*Window, "cmdProcess");
        EXPECT_TRUE(Contains(Prompt.Shown.back(), error));
    }
    EXPECT_EQ(closed.count(), 0);
    State.ConfigFileName = Files / "run.cfg";
    Click(*Window, "cmdProcess");
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(Warehouse.LockRow(), "0|" + User);
    EXPECT_EQ(ReadWholeFile(Files / "run.cfg"),
              "-mac " + Warehouse.Server() +
                  " -db dw -usr sa -pwd \" x \" -chkmd -bkmac old -bkdb hist -bkusr arch -clsf "
                  "-del -datom -log \"" +
                  Logs + "\"\r\n");
}

TEST_F(MainWindow, UsesThePasswordOfTheEnvironmentButDoesNotSaveIt) {
    State.Passwords.Warehouse = {"", "no such file"};
    OpenConfig("-usr sa");
    EXPECT_TRUE(Contains(Prompt.Shown.back(), "no such file"));
    State.Passwords.Warehouse = {"s3cret", ""};
    ChooseDatabase();
    WhenModalOpens([&](QWidget& dialog) {
        EXPECT_EQ(State.WarehouseConnection->Property("Password"), "s3cret");
        Click(dialog, "cmdCancel");
    });
    Click(*Window, "cmdFacts");
    EXPECT_EQ(Find<QLineEdit>(*Window, "txtSQLPassword").text(), "");
    Click(*Window, "cmdProcess");
    EXPECT_TRUE(Contains(ReadWholeFile(Files / "run.cfg"), " -usr sa -chkmd "));
}

}  // namespace
}  // namespace morvane::testing
