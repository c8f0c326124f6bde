// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSetFactTableFilters.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include "UiTest.h"
#include "db/modDatabaseOperations.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"
#include "ui/ConditionsGrid.h"

namespace morvane::testing {
namespace {

class FactTableFilters : public UiFixture {
  protected:
    std::unique_ptr<frmSetFactTableFilters> Window;

    FactTableFilters() {
        Warehouse.AddFact("sales", "day datetime, amount int", "amount > 5");
        Warehouse.AddFact("stock", "day datetime, amount int");
        Warehouse.AddDimension("item", "id int");
        SqliteFile(Warehouse.Folder() + "/archive.db").Run("CREATE TABLE t(a)");
        State.WarehouseConnection = Warehouse.Connect();
        CreateArchiveTable(*State.WarehouseConnection);
        Warehouse.Run("UPDATE dwm_archive SET Server = '" + Warehouse.Server() +
                      "', SecureLogin = 0, SQLUserName = 'me', SQLPassword = 'x', DB = 'archive'");
    }

    void Open() {
        Window = std::make_unique<frmSetFactTableFilters>(State, Services, Browse, nullptr);
        ShowActive(*Window);
        QCoreApplication::processEvents();
    }

    ConditionsGrid& Grid() { return Find<ConditionsGrid>(*Window, "dgdFactTables"); }
    QWidget& Editor() {
        QWidget* editor = Grid().indexWidget(Grid().currentIndex());
        return editor != nullptr ? *editor : throw std::runtime_error("no cell is being edited");
    }
    // The first key opens the editor.
    void TypeCondition(int row, const QString& text) {
        Grid().setFocus();
        Grid().setCurrentCell(row, 1);
        QTest::keyClicks(&Grid(), text.left(1));
        QTest::keyClicks(&Editor(), text.mid(1));
    }
    void EnterCondition(int row, const QString& text) {
        TypeCondition(row, text);
        QTest::keyClick(&Editor(), Qt::Key_Return);
        QCoreApplication::processEvents();
    }
    std::string Cell(int row) { return Grid().item(row, 1)->text().toStdString(); }
    std::string Stored() {
        return Warehouse.Text(
            "SELECT where_clause FROM dwm_tables WHERE table_type = 'FACT' ORDER BY table_name");
    }
    std::string StoredArchive() {
        return Warehouse.Text("SELECT SecureLogin, SQLUserName, SQLPassword, DB FROM dwm_archive");
    }
    bool CanAccept() { return Find<QPushButton>(*Window, "cmdOK").isEnabled(); }
    std::string Offered() {
        const auto& list = Find<QComboBox>(*Window, "cboDB");
        std::string names;
        for (int i = 0; i < list.count(); ++i) {
            names += list.itemText(i).toStdString() + " ";
        }
        return names + "> " + list.currentText().toStdString();
    }
};

TEST_F(FactTableFilters, AConditionIsSavedAsSoonAsItIsAccepted) {
    Open();
    EXPECT_EQ(Grid().rowCount(), 2);
    EXPECT_FALSE(Grid().item(0, 0)->flags().testFlag(Qt::ItemIsEditable));
    EXPECT_EQ(Cell(1), "");
    EnterCondition(1, "  amount < 3 ");
    EXPECT_EQ(Stored() + Cell(1), "amount > 5 amount < 3amount < 3");
    EnterCondition(0, " ");
    EXPECT_EQ(Stored(), "amount < 3");
    EXPECT_EQ(Warehouse.Text("SELECT where_clause IS NULL FROM dwm_tables LIMIT 1"), "0");
    EXPECT_TRUE(Window->isVisible());  // Enter only closed the editor
    Click(*Window, "cmdCancel");
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(Stored(), "amount < 3");
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, AConditionChangedByAnotherUserIsNotOverwritten) {
    Open();
    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'amount > 7' WHERE table_name = 'sales'");
    EnterCondition(0, "amount > 6");
    ASSERT_EQ(Prompt.Shown.size(), 1U);
    EXPECT_TRUE(Contains(Prompt.Shown[0], "meanwhile"));
    EXPECT_EQ(Cell(0) + "/" + Stored(), "amount > 5/amount > 7 NULL");
}

TEST_F(FactTableFilters, UneditedConditionsAreNotWritten) {
    Warehouse.Run(
        "UPDATE dwm_tables SET where_clause = ' x ' || char(13) || char(10)"
        " WHERE table_name = 'sales'");
    const std::string before = Stored();
    Open();
    for (int row = 0; row < 2; ++row) {
        Grid().setCurrentCell(row, 1);
        QTest::keyClick(&Grid(), Qt::Key_F2);
        QTest::keyClick(&Editor(), Qt::Key_Return);
    }
    TypeCondition(0, "amount > 9");
    QTest::keyClick(&Editor(), Qt::Key_Escape);
    QCoreApplication::processEvents();
    EXPECT_TRUE(Window->isVisible());
    EXPECT_EQ(Stored(), before);
    QTest::keyClick(Window.get(), Qt::Key_Escape);
    EXPECT_FALSE(Window->isVisible());
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, TheNextActionSubmitsAnOpenCell) {
    Open();
    TypeCondition(0, "amount >");
    Click(*Window, "cmdOK");
    QCoreApplication::processEvents();
    EXPECT_TRUE(Window->isVisible());
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    TypeCondition(0, "amount =");
    PressAccessKey(*Window, 'c');
    EXPECT_TRUE(QTest::qWaitFor([&] { return Prompt.Shown.size() == 2; }));
    EXPECT_TRUE(Window->isVisible());
    EXPECT_EQ(Cell(0) + "/" + Stored(), "amount > 5/amount > 5 NULL");
    EnterCondition(0, " ");  // not compiled, but the connection must run statements again
    EXPECT_EQ(Stored(), "NULL");

    TypeCondition(1, "amount > 1");
    Find<QComboBox>(*Window, "cboDB").showPopup();
    EXPECT_EQ(Stored(), "amount > 1");
    TypeCondition(1, "amount > 2");
    Find<QPushButton>(*Window, "cmdOK").click();  // without taking the focus from the editor
    EXPECT_EQ(Stored(), "amount > 2");
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(Prompt.Shown.size(), 2U);
}

TEST_F(FactTableFilters, AnOpenCellStaysOpenWhileAnotherWindowIsActive) {
    Open();
    TypeCondition(0, "amount >");
    QWidget other;
    ShowActive(other);
    ShowActive(*Window);
    QTest::keyClicks(&Editor(), " 8");
    QTest::keyClick(&Editor(), Qt::Key_Return);
    EXPECT_EQ(Stored(), "amount > 8 NULL");
}

TEST_F(FactTableFilters, TheArchiveSettingsAreReadAndSaved) {
    Open();
    EXPECT_EQ(Find<QLineEdit>(*Window, "txtServer").text().toStdString(), Warehouse.Server());
    EXPECT_EQ(Offered(), "archive > archive");
    Type(*Window, "txtSQLUsername", "anna");
    Type(*Window, "txtSQLPassword", " p;w ");
    EXPECT_TRUE(CanAccept());
    Click(*Window, "cmdOK");
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(StoredArchive(), "0|anna| p;w |archive");
    Open();
    Click(*Window, "optSecureLogin");
    EXPECT_FALSE(CanAccept());
    Click(*Window, "cmdDBRefresh");
    Find<QComboBox>(*Window, "cboDB").setCurrentIndex(0);
    Click(*Window, "cmdOK");
    EXPECT_EQ(Warehouse.Text("SELECT SecureLogin <> 0 FROM dwm_archive"), "1");
    Warehouse.Run("UPDATE dwm_archive SET DB = 'ARCHIVE'");
    Open();
    EXPECT_EQ(Offered(), "ARCHIVE > ARCHIVE");
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > ") << "names are compared with case";
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, AFailedSaveKeepsTheWindowOpen) {
    Open();
    Type(*Window, "txtSQLPassword", "p', DB = 'other");
    Click(*Window, "cmdOK");
    ASSERT_EQ(Prompt.Shown.size(), 1U);
    EXPECT_TRUE(Contains(Prompt.Shown[0], "the Password holds a single quote"));
    EXPECT_FALSE(Contains(Prompt.Shown[0], "other"));
    EXPECT_EQ(StoredArchive(), "0|me|x|archive");
    Type(*Window, "txtSQLPassword", "p");
    Warehouse.Run("DELETE FROM dwm_archive");
    Click(*Window, "cmdOK");
    EXPECT_EQ(Prompt.Shown.size(), 2U);
    EXPECT_TRUE(Window->isVisible());
}

TEST_F(FactTableFilters, ANewServerOrLoginClearsTheListWhichNeverOffersTheWarehouse) {
    Open();
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > archive");
    EXPECT_TRUE(CanAccept());
    Click(*Window, "optSecureLogin");
    EXPECT_EQ(Offered(), "> ");
    EXPECT_FALSE(CanAccept());
    Browse.Answers = {"", QString::fromStdString(Warehouse.Server()) + "/"};
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > ");
    EXPECT_FALSE(CanAccept());
    Click(*Window, "cmdServer");
    EXPECT_EQ(Offered(), "archive > ");
    Click(*Window, "cmdServer");
    EXPECT_EQ(Browse.Asked.back(), "Select an archive server...");
    EXPECT_EQ(Offered(), "> ");
    Click(*Window, "cmdDBRefresh");  // the same folder under another name
    EXPECT_EQ(Offered(), "archive > ");
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, InConfigurationModeTheRunSettingsAreEdited) {
    State.ConfigMode = true;
    PutArchiveSettings({{"dw01", false, "o'neill", "p"}, "old"}, State.GlobalSettings);
    const ArchiveSettings before = ArchiveSettingsOf(State.GlobalSettings);
    Open();
    Click(*Window, "cmdOK");
    EXPECT_EQ(ArchiveSettingsOf(State.GlobalSettings), before);
    Open();
    Type(*Window, "txtServer", QString::fromStdString(Warehouse.Server()));
    Click(*Window, "optSecureLogin");
    Click(*Window, "cmdDBRefresh");
    Find<QComboBox>(*Window, "cboDB").setCurrentIndex(0);
    Click(*Window, "cmdOK");
    EXPECT_EQ(ArchiveSettingsOf(State.GlobalSettings),
              (ArchiveSettings{{Warehouse.Server(), true, "o'neill", "p"}, "archive"}));
    EXPECT_EQ(StoredArchive(), "0|me|x|archive");
}

TEST_F(FactTableFilters, IntegratedSecurityOfTheWarehouseAllowsOnlyASqlLogin) {
    Warehouse.Run("UPDATE dwm_archive SET SecureLogin = 1");
    State.WarehouseConnection->SetProperty("Integrated Security", "SSPI");
    Open();
    EXPECT_FALSE(Find<QRadioButton>(*Window, "optSecureLogin").isEnabled());
    EXPECT_TRUE(Find<QRadioButton>(*Window, "optSQLLogin").isChecked());
    EXPECT_TRUE(Find<QLineEdit>(*Window, "txtSQLPassword").isEnabled());
    EXPECT_FALSE(CanAccept());  // the stored database belongs to the other login
}

TEST_F(FactTableFilters, WithoutTheFactTablesNothingCanBeSaved) {
    Warehouse.Run("DROP TABLE dwm_tables");
    Open();
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    Type(*Window, "txtServer", QString::fromStdString(Warehouse.Server()));
    Click(*Window, "cmdDBRefresh");
    Find<QComboBox>(*Window, "cboDB").setCurrentIndex(0);
    EXPECT_FALSE(CanAccept());
}

}  // namespace
}  // namespace morvane::testing
