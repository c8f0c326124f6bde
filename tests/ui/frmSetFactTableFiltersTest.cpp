// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSetFactTableFilters.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>

#include "UiTest.h"
#include "db/modDatabaseOperations.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"
#include "ui/ConditionsGrid.h"
#include "ui/Controls.h"

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
    void ChooseDatabase() {
        Click(*Window, "cmdDBRefresh");
        Find<QComboBox>(*Window, "cboDB").setCurrentIndex(0);
    }
    bool CanAccept() { return Find<QPushButton>(*Window, "cmdOK").isEnabled(); }
    std::string Offered() {
        const auto& list = Find<QComboBox>(*Window, "cboDB");
        QString names;
        for (int i = 0; i < list.count(); ++i) {
            names += list.itemText(i) + " ";
        }
        return ToText(names + "> " + list.currentText());
    }
};

TEST_F(FactTableFilters, SaveAConditionAsSoonAsItIsAccepted) {
    Open();
    EXPECT_EQ(Grid().rowCount(), 2);
    EXPECT_FALSE(Grid().item(0, 0)->flags().testFlag(Qt::ItemIsEditable));
    EnterCondition(1, "  amount < 3 ");
    EXPECT_EQ(Stored() + Cell(1), "amount > 5 amount < 3amount < 3");
    EnterCondition(0, " ");
    EXPECT_EQ(Warehouse.Text("SELECT where_clause = '' FROM dwm_tables LIMIT 1"), "1");
    EXPECT_TRUE(Window->isVisible()) << "Enter closes only the editor";
    EXPECT_TRUE(Prompt.Shown.empty());
    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'amount > 7' WHERE table_name = 'stock'");
    EnterCondition(1, "amount > 6");
    EXPECT_TRUE(Contains(Prompt.Shown.at(0), "meanwhile")) << "changed by another user";
    Click(*Window, "cmdCancel");
    EXPECT_EQ(Stored() + Cell(1), "amount > 7amount > 7") << "shows what that user has saved";
}

TEST_F(FactTableFilters, DoNotWriteUneditedConditions) {
    Warehouse.Run(
        "UPDATE dwm_tables SET where_clause = ' x ' || char(13) || char(10)"
        " WHERE table_name = 'sales'");
    const std::string before = Stored();
    Open();
    Grid().setCurrentCell(0, 1);
    QTest::keyClick(&Grid(), Qt::Key_F2);
    QTest::keyClick(&Editor(), Qt::Key_Return);
    TypeCondition(0, "amount > 9");
    QTest::keyClick(&Editor(), Qt::Key_Escape);
    QCoreApplication::processEvents();
    EXPECT_TRUE(Window->isVisible());
    QTest::keyClick(Window.get(), Qt::Key_Escape);
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(Stored(), before);
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, SubmitAnOpenCellWithTheNextAction) {
    Open();
    TypeCondition(0, "amount >");
    Click(*Window, "cmdOK");
    QCoreApplication::processEvents();
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    TypeCondition(0, "amount =");
    PressAccessKey(*Window, 'c');
    EXPECT_TRUE(QTest::qWaitFor([&] { return Prompt.Shown.size() == 2; }));
    EXPECT_TRUE(Window->isVisible());
    EXPECT_EQ(Cell(0) + "/" + Stored(), "amount > 5/amount > 5 NULL");
    EnterCondition(0, " ");
    EXPECT_EQ(Stored(), "NULL") << "the connection has left compile-only mode";

    TypeCondition(1, "amount > 1");
    Find<QComboBox>(*Window, "cboDB").showPopup();
    EXPECT_EQ(Stored(), "amount > 1");
    TypeCondition(1, "amount > 2");
    Find<QPushButton>(*Window, "cmdOK").click();  // without taking the focus from the editor
    EXPECT_EQ(Stored(), "amount > 2");
    EXPECT_FALSE(Window->isVisible());
}

TEST_F(FactTableFilters, KeepACellOpenWhileAnotherWindowIsActive) {
    Open();
    TypeCondition(0, "amount >");
    QWidget other;
    ShowActive(other);
    ShowActive(*Window);
    QTest::keyClicks(&Editor(), " 8");
    QTest::keyClick(&Editor(), Qt::Key_Return);
    EXPECT_EQ(Stored(), "amount > 8 NULL");
}

TEST_F(FactTableFilters, ReadAndSaveTheArchiveSettings) {
    Open();
    EXPECT_EQ(Find<QLineEdit>(*Window, "txtServer").text().toStdString(), Warehouse.Server());
    EXPECT_EQ(Offered(), "archive > archive");
    Type(*Window, "txtSQLUsername", "anna");
    Type(*Window, "txtSQLPassword", "p', DB = 'other");
    Click(*Window, "cmdOK");
    ASSERT_EQ(Prompt.Shown.size(), 1U);
    EXPECT_TRUE(Contains(Prompt.Shown[0], "the Password holds a single quote"));
    EXPECT_FALSE(Contains(Prompt.Shown[0], "other"));
    EXPECT_EQ(StoredArchive(), "0|me|x|archive");
    Type(*Window, "txtSQLPassword", " p;w ");
    Click(*Window, "cmdOK");
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(StoredArchive(), "0|anna| p;w |archive");
    Warehouse.Run("UPDATE dwm_archive SET DB = 'ARCHIVE'");
    Open();
    EXPECT_EQ(Offered(), "ARCHIVE > ARCHIVE");
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > ") << "names are compared with case";
    Click(*Window, "optSecureLogin");
    ChooseDatabase();
    Warehouse.Run("CREATE TABLE kept AS SELECT * FROM dwm_archive; DELETE FROM dwm_archive");
    Click(*Window, "cmdOK");
    EXPECT_TRUE(Window->isVisible()) << "the settings could not be saved";
    EXPECT_EQ(Prompt.Shown.size(), 2U);
    Warehouse.Run("INSERT INTO dwm_archive SELECT * FROM kept");
    Click(*Window, "cmdOK");
    EXPECT_EQ(Warehouse.Text("SELECT SecureLogin <> 0, DB FROM dwm_archive"), "1|archive");
}

TEST_F(FactTableFilters, OfferDatabasesOfTheEnteredLoginExceptTheWarehouse) {
    Open();
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > archive");
    EXPECT_TRUE(CanAccept());
    Click(*Window, "optSecureLogin");
    EXPECT_EQ(Offered(), "> ");
    Browse.Answers = {"", QString::fromStdString(Warehouse.Server()) + "/"};
    Click(*Window, "cmdDBRefresh");
    EXPECT_FALSE(CanAccept());
    Click(*Window, "cmdServer");
    EXPECT_EQ(Offered(), "archive > ") << "nothing was chosen";
    Click(*Window, "cmdServer");
    EXPECT_EQ(Browse.Asked.back(), "Select an archive server...|" + Warehouse.Server());
    EXPECT_EQ(Offered(), "> ");
    Click(*Window, "cmdDBRefresh");
    EXPECT_EQ(Offered(), "archive > ") << "the same folder under another name";
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(FactTableFilters, EditTheRunSettingsInConfigurationMode) {
    State.ConfigMode = true;
    PutArchiveSettings({{"dw01", false, "o'neill", "p"}, "old"}, State.GlobalSettings);
    Open();
    EXPECT_EQ(Offered(), "old > old");
    Type(*Window, "txtServer", ToQString(Warehouse.Server()));
    Click(*Window, "optSecureLogin");
    ChooseDatabase();
    Click(*Window, "cmdOK");
    EXPECT_EQ(ArchiveSettingsOf(State.GlobalSettings),
              (ArchiveSettings{{Warehouse.Server(), true, "o'neill", "p"}, "archive"}));
    EXPECT_EQ(StoredArchive(), "0|me|x|archive");
}

TEST_F(FactTableFilters, AllowOnlyASqlLoginBesideIntegratedSecurityOfTheWarehouse) {
    Warehouse.Run("UPDATE dwm_archive SET SecureLogin = 1");
    State.WarehouseConnection->SetProperty("Integrated Security", "SSPI");
    Open();
    EXPECT_FALSE(Find<QRadioButton>(*Window, "optSecureLogin").isEnabled());
    EXPECT_TRUE(Find<QRadioButton>(*Window, "optSQLLogin").isChecked());
    EXPECT_TRUE(Find<QLineEdit>(*Window, "txtSQLPassword").isEnabled());
    EXPECT_FALSE(CanAccept()) << "the stored database belongs to the other login";
}

TEST_F(FactTableFilters, SaveNothingWithoutTheFactTables) {
    Warehouse.Run("DROP TABLE dwm_tables");
    Open();
    EXPECT_EQ(Prompt.Shown.size(), 1U);
    Type(*Window, "txtServer", ToQString(Warehouse.Server()));
    ChooseDatabase();
    EXPECT_FALSE(CanAccept());
}

TEST_F(FactTableFilters, OpenALongConditionAtItsHeightAndEmptyItByDelete) {
    Warehouse.Run("UPDATE dwm_tables SET where_clause = 'amount in (1" + std::string(400, '0') +
                  ")\n and 1 = 1\n and 2 = 2\n and 3 = 3' WHERE table_name = 'sales'");
    Open();
    Grid().setFocus();
    Grid().setCurrentCell(0, 1);
    QTest::keyClick(&Grid(), Qt::Key_F2);
    QCoreApplication::processEvents();
    EXPECT_GT(Editor().height(), 6 * Grid().fontMetrics().lineSpacing());
    EXPECT_EQ(dynamic_cast<QPlainTextEdit&>(Editor()).verticalScrollBar()->maximum(), 0);
    EXPECT_GT(Editor().height(), Grid().visualItemRect(Grid().item(0, 1)).height());
    QTest::keyClick(&Editor(), Qt::Key_Escape);
    QTest::keyClick(&Grid(), Qt::Key_Delete);
    QCoreApplication::processEvents();
    EXPECT_EQ(Cell(0), "");
}

}  // namespace
}  // namespace morvane::testing
