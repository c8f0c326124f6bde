// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSustainRec.h"

#include <QHeaderView>

#include "UiTest.h"
#include "db/ConnectionFactory.h"
#include "db/modDatabaseOperations.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

class SustainRec : public UiFixture {
  protected:
    std::unique_ptr<frmSustainRec> Window;

    SustainRec() {
        Warehouse.AddDimension("item", "id int PRIMARY KEY, name varchar(20), price int");
        Warehouse.Run(
            "INSERT INTO item VALUES(1, 'pear', 5, 0, 0), (2, 'apple', 7, 1, 0),"
            "(3, ' cherry ', 3, NULL, 0)");
        Warehouse.AddDimension("shop", "id int", false);
        Warehouse.AddFact("sales", "item int");
        Warehouse.Run("INSERT INTO dwm_tables VALUES('area', 'Dimension', NULL, NULL)");
        std::string errorText;
        EXPECT_TRUE(ConnectDatabase(CreateConnection, {Warehouse.Server(), true, "", ""},
                                    State.WarehouseConnection, errorText, Warehouse.Database()));
        Prompt.Answers = {true, true, true, true};
    }

    void Open() {
        Window = std::make_unique<frmSustainRec>(State, Services, nullptr);
        ShowActive(*Window);
    }

    CheckListView& List(const char* name) { return Find<CheckListView>(*Window, name); }
    CheckListView& Tables() { return List("lvwDimensionTables"); }
    CheckListView& Records() { return List("lvwDimensionRecords"); }

    // Clicks the check box, or the text behind it.
    static void ClickRow(CheckListView& list, int row, bool onBox = true) {
        const QRect cell = list.visualRect(list.model()->index(row, 0));
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          onBox ? QPoint(cell.left() + 10, cell.center().y())
                                : QPoint(cell.left() + 45, cell.center().y()));
    }
    void ClickHeader(int column) {
        QHeaderView* header = Records().header();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          {header->sectionViewportPosition(column) + 12, header->height() / 2});
    }
    // The headers, then "|" and the cells of each row, with "x" for a check mark.
    static std::string Shown(CheckListView& list) {
        const QAbstractItemModel& model = *list.model();
        std::string text;
        for (int column = 0; column < model.columnCount(); ++column) {
            text += model.headerData(column, Qt::Horizontal).toString().toStdString() + " ";
        }
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex first = model.index(row, 0);
            text += first.data(Qt::CheckStateRole) == Qt::Checked ? "|x" : "|";
            for (int column = 0; column < model.columnCount(); ++column) {
                text += " " + first.siblingAtColumn(column).data().toString().toStdString();
            }
        }
        return text;
    }
    void Execute(const QString& sql) {
        Find<QPlainTextEdit>(*Window, "txtWhereClause").setPlainText(sql);
        Click(*Window, "cmdExecuteQuery");
    }
    void Choose(const QString& table) {
        auto& list = Find<QComboBox>(*Window, "cboSelectedTables");
        list.showPopup();
        const int row = list.findText(table);
        ASSERT_GE(row, 0);
        QTest::keyClick(list.view(), Qt::Key_Home);
        for (int i = 0; i < row; ++i) {
            QTest::keyClick(list.view(), Qt::Key_Down);
        }
        QTest::keyClick(list.view(), Qt::Key_Return);
    }
    std::string Selected() {
        return Warehouse.Text(
            "SELECT is_selected FROM dwm_tables WHERE table_type <> 'FACT'"
            " ORDER BY table_name");
    }
    std::string Sustained() {
        return Warehouse.Text("SELECT is_sustainable FROM item ORDER BY id");
    }
    std::string LastMessage() { return Prompt.Shown.empty() ? "" : Prompt.Shown.back(); }
};

TEST_F(SustainRec, TablesAreCheckedByMouseOrKeyAndSavedWithOk) {
    Open();
    EXPECT_EQ(Shown(Tables()), "Table Name | area|x item| shop");
    ClickRow(Tables(), 1);
    ClickRow(Tables(), 2, false);
    QTest::keyClick(&Tables(), Qt::Key_Space);
    EXPECT_EQ(Shown(Tables()), "Table Name | area| item|x shop");
    Tables().selectAll();
    QTest::keyClick(&Tables(), Qt::Key_Space);
    EXPECT_EQ(Shown(Tables()), "Table Name | area| item| shop");
    QTest::keyClick(&Tables(), Qt::Key_Space);
    EXPECT_EQ(Shown(Tables()), "Table Name |x area|x item|x shop") << "all selected rows";
    ClickRow(Tables(), 0);
    ClickRow(Tables(), 1);
    EXPECT_EQ(Selected(), "NULL 1 0");
    PressAccessKey(*Window, 'o');
    ASSERT_TRUE(QTest::qWaitFor([&] { return !Window->isVisible(); }));
    EXPECT_EQ(Selected(), "0 0 1");
    EXPECT_TRUE(Prompt.Shown.empty());
}

TEST_F(SustainRec, CancelSavesNothingAndEnterPressesOnlyTheFocusedButton) {
    Open();
    Click(*Window, "cmdSelectAll");
    EXPECT_EQ(Shown(Tables()), "Table Name |x area|x item|x shop");
    for (const char* name : {"lvwDimensionTables", "lvwDimensionRecords", "cboSelectedTables"}) {
        auto& control = Find<QWidget>(*Window, name);
        control.setFocus();
        QTest::keyClick(&control, Qt::Key_Return);
    }
    auto& query = Find<QPlainTextEdit>(*Window, "txtWhereClause");
    query.setFocus();
    QTest::keyClicks(&query, "a\rb");
    EXPECT_EQ(query.toPlainText(), "a\nb");
    QTest::keyClick(&query, Qt::Key_Tab);
    EXPECT_EQ(Window->focusWidget()->objectName(), "cmdExecuteQuery");
    EXPECT_TRUE(Window->isVisible());
    EXPECT_EQ(LastMessage(), "");
    Find<QWidget>(*Window, "cmdCancel").setFocus();
    QTest::keyClick(&Find<QWidget>(*Window, "cmdCancel"), Qt::Key_Return);
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(Selected(), "NULL 1 0");
}

TEST_F(SustainRec, AFailedSaveOfTheTablesKeepsTheWindowOpen) {
    Open();
    Click(*Window, "cmdUnselectAll");
    Warehouse.Run("UPDATE dwm_tables SET is_selected = 0 WHERE table_name = 'item'");
    Click(*Window, "cmdOK");
    EXPECT_TRUE(Window->isVisible());
    EXPECT_TRUE(Contains(LastMessage(), "table_name = item, is_selected = 1"));
    EXPECT_EQ(Selected(), "NULL 0 0");
}

TEST_F(SustainRec, TheRecordsOfACheckedTableAreQueriedAndSaved) {
    State.WarehouseConnection->Close();  // the window reopens it
    Open();
    Choose("item");
    EXPECT_EQ(Find<QComboBox>(*Window, "cboSelectedTables").count(), 1);
    EXPECT_EQ(Find<QPlainTextEdit>(*Window, "txtWhereClause").toPlainText(), "Select * from item");
    EXPECT_EQ(Shown(Records()), "id name price is_deletable ");
    Click(*Window, "cmdSaveSelection");
    EXPECT_EQ(LastMessage(), "Morvane|No Records to be saved.");
    PressAccessKey(*Window, 'e');
    ASSERT_TRUE(QTest::qWaitFor([&] { return !Prompt.Asked.empty(); }));
    EXPECT_EQ(Prompt.Asked.back(), "Query Execution|Do you wish to execute this query?");
    EXPECT_EQ(Shown(Records()),
              "id name price is_deletable | 1 pear 5 0|x 2 apple 7 0| 3 cherry 3 0");
    ClickRow(Records(), 0);
    Click(*Window, "cmdSaveSelection");
    EXPECT_EQ(Sustained(), "1 1 0");
    Click(*Window, "cmdUnsustainAll");
    Click(*Window, "cmdSaveSelection");
    EXPECT_EQ(Sustained(), "0 0 0");
    Click(*Window, "cmdSustainAll");
    Click(*Window, "cmdCancel");
    EXPECT_EQ(Sustained(), "0 0 0");
}

TEST_F(SustainRec, SortedRecordsKeepTheirMarksAndAreSavedByKey) {
    Open();
    Execute("select name, price Price from item where price > 0 order by id");
    ClickRow(Records(), 0);
    ClickHeader(0);
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x apple 7|x pear 5");
    ClickHeader(1);
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x pear 5|x apple 7");
    EXPECT_EQ(Records().header()->sortIndicatorSection(), 1);
    EXPECT_EQ(Records().header()->sortIndicatorOrder(), Qt::AscendingOrder);
    ClickRow(Records(), 2);
    Click(*Window, "cmdSaveSelection");
    EXPECT_EQ(Sustained(), "1 0 0");

    Warehouse.Run("ALTER TABLE item RENAME COLUMN name TO title");
    ClickHeader(0);
    EXPECT_EQ(LastMessage().find("Morvane|The records cannot be sorted by name:\r\n"), 0U);
    EXPECT_EQ(Records().header()->sortIndicatorSection(), 1);
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x pear 5| apple 7");
}

TEST_F(SustainRec, QueriesThatCannotBeExecutedShowAMessage) {
    Open();
    Execute(" \n ");
    EXPECT_EQ(LastMessage(), "Morvane|Please enter the SQL Query first.");
    Execute("select * from item, shop");
    EXPECT_EQ(LastMessage(), "Morvane|Join Queries are not allowed");
    EXPECT_TRUE(Prompt.Asked.empty());

    Prompt.Answers = {true, false, true, true};
    Execute("Select * from item");
    const std::string shown = Shown(Records());
    Execute("Select * from shop");
    EXPECT_EQ(Shown(Records()), shown) << "the answer was No";
    Execute("Select * from dwm_tables");
    EXPECT_TRUE(Contains(LastMessage(), "is_sustainable"));
    EXPECT_EQ(Shown(Records()), "");
    EXPECT_EQ(Prompt.Shown.size(), 3U);
}

TEST_F(SustainRec, AQueryIsCompiledWithoutRunning) {
    Open();
    Click(*Window, "cmdParseQuery");
    EXPECT_EQ(LastMessage(), "Morvane|No Query to Parse");
    auto& query = Find<QPlainTextEdit>(*Window, "txtWhereClause");
    query.setPlainText("delete from item");
    PressAccessKey(*Window, 'p');
    ASSERT_TRUE(QTest::qWaitFor([&] { return Prompt.Shown.size() == 2; }));
    EXPECT_EQ(LastMessage(), "Morvane|The Query was compiled successfully");
    query.setPlainText("select nothing from item");
    Click(*Window, "cmdParseQuery");
    EXPECT_TRUE(Contains(LastMessage(), "nothing"));
    EXPECT_EQ(Sustained(), "0 1 NULL");
    State.WarehouseConnection->Execute("update item set is_sustainable = 1");
    EXPECT_EQ(Sustained(), "1 1 1") << "the connection has left compile-only mode";
}

}  // namespace
}  // namespace morvane::testing
