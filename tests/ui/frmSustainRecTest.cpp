// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSustainRec.h"

#include <QHeaderView>
#include <QLabel>

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

    CheckListView& Tables() { return Find<CheckListView>(*Window, "lvwDimensionTables"); }
    CheckListView& Records() { return Find<CheckListView>(*Window, "lvwDimensionRecords"); }

    // Clicks the check box, or the text behind it.
    static void ClickRow(CheckListView& list, int row, bool onBox = true) {
        const QRect cell = list.visualRect(list.model()->index(row, 0));
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          {cell.left() + (onBox ? 10 : 45), cell.center().y()});
    }
    void ClickHeader(int column) {
        QHeaderView* header = Records().header();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          {header->sectionViewportPosition(column) + 12, header->height() / 2});
    }
    // The headers, then "|" and the cells of each row, with "x" for a check mark.
    static std::string Shown(CheckListView& list) {
        const QAbstractItemModel& model = *list.model();
        QString text;
        for (int column = 0; column < model.columnCount(); ++column) {
            text += model.headerData(column, Qt::Horizontal).toString() + " ";
        }
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex first = model.index(row, 0);
            text += first.data(Qt::CheckStateRole) == Qt::Checked ? "|x" : "|";
            for (int column = 0; column < model.columnCount(); ++column) {
                text += " " + first.siblingAtColumn(column).data().toString();
            }
        }
        return text.toStdString();
    }
    void Execute(const QString& sql) {
        Find<QPlainTextEdit>(*Window, "txtWhereClause").setPlainText(sql);
        Click(*Window, "cmdExecuteQuery");
    }
    std::string Selected() {
        return Warehouse.Text(
            "SELECT is_selected FROM dwm_tables WHERE table_type <> 'FACT'"
            " ORDER BY table_name");
    }
    std::string Sustained() {
        return Warehouse.Text("SELECT is_sustainable FROM item ORDER BY id");
    }
    // The text that counts the records, and whether they can be saved.
    std::string Unsaved() {
        return ToText(Find<QLabel>(*Window, "lblRecordsState").text()) +
               (Find<QWidget>(*Window, "cmdSaveSelection").isEnabled() ? ", enabled"
                                                                       : ", disabled");
    }
    std::string LastMessage() { return Prompt.Shown.empty() ? "" : Prompt.Shown.back(); }
};

TEST_F(SustainRec, SavesTheTablesCheckedByMouseOrKey) {
    Open();
    EXPECT_EQ(Shown(Tables()), "Table Name | area|x item| shop");
    ClickRow(Tables(), 1);
    ClickRow(Tables(), 2, false);
    QTest::keyClick(&Tables(), Qt::Key_Space);
    EXPECT_EQ(Shown(Tables()), "Table Name | area| item|x shop");
    Tables().selectAll();
    QTest::keyClick(&Tables(), Qt::Key_Space);
    QTest::keyClick(&Tables(), Qt::Key_Space);
    EXPECT_EQ(Shown(Tables()), "Table Name |x area|x item|x shop") << "all selected rows";
    ClickRow(Tables(), 0);
    ClickRow(Tables(), 1);
    auto& closed = Find<QComboBox>(*Window, "cboSelectedTables");
    EXPECT_EQ(closed.count(), 1) << "arrow keys choose from the closed list";
    EXPECT_EQ(closed.itemText(0), "shop");
    Warehouse.Run("UPDATE dwm_tables SET is_selected = 0 WHERE table_name = 'item'");
    Click(*Window, "cmdOK");
    EXPECT_TRUE(Window->isVisible()) << "another user has changed a row";
    EXPECT_TRUE(Contains(LastMessage(), "table_name = item, is_selected = 1"));
    EXPECT_EQ(Selected(), "NULL 0 0");
    EXPECT_EQ(Shown(Tables()), "Table Name | area| item|x shop") << "read again, with the marks";
    PressAccessKey(*Window, 'o');
    EXPECT_TRUE(QTest::qWaitFor([&] { return !Window->isVisible(); }));
    EXPECT_EQ(Selected(), "0 0 1");
}

TEST_F(SustainRec, EnterPressesOnlyTheFocusedButton) {
    Open();
    Click(*Window, "cmdUnselectAll");
    EXPECT_EQ(Shown(Tables()), "Table Name | area| item| shop");
    Click(*Window, "cmdSelectAll");
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
    auto& cancel = Find<QWidget>(*Window, "cmdCancel");
    cancel.setFocus();
    QTest::keyClick(&cancel, Qt::Key_Return);
    EXPECT_FALSE(Window->isVisible());
    EXPECT_EQ(Selected(), "NULL 1 0") << "Cancel saves nothing";
}

TEST_F(SustainRec, QueriesAndSavesTheRecordsOfACheckedTable) {
    State.WarehouseConnection->Close();  // the window reopens it
    Open();
    auto& list = Find<QComboBox>(*Window, "cboSelectedTables");
    list.showPopup();
    EXPECT_EQ(list.count(), 1);
    QTest::keyClick(list.view(), Qt::Key_Home);
    QTest::keyClick(list.view(), Qt::Key_Return);
    EXPECT_EQ(Find<QPlainTextEdit>(*Window, "txtWhereClause").toPlainText(), "Select * from item");
    EXPECT_EQ(Shown(Records()), "id name price is_deletable ");
    QTest::keySequence(Window.get(), QKeySequence::Save);
    EXPECT_EQ(LastMessage(), "Morvane|No Records to be saved.");
    QTest::keyClick(&Find<QPlainTextEdit>(*Window, "txtWhereClause"), Qt::Key_Return,
                    Qt::ControlModifier);
    ASSERT_FALSE(Prompt.Asked.empty());
    EXPECT_EQ(Prompt.Asked.back(), "Query Execution|Do you wish to execute this query?");
    EXPECT_EQ(Shown(Records()),
              "id name price is_deletable | 1 pear 5 0|x 2 apple 7 0| 3 cherry 3 0");
    EXPECT_EQ(Unsaved(), "3 records, disabled");
    ClickRow(Records(), 0);
    EXPECT_EQ(Unsaved(), "3 records, 1 unsaved mark, enabled");
    Find<QWidget>(*Window, "cmdSaveSelection").setFocus();
    QTest::keyClick(&Find<QWidget>(*Window, "cmdSaveSelection"), Qt::Key_Space);
    EXPECT_EQ(Sustained(), "1 1 0");
    EXPECT_EQ(Unsaved(), "3 records, disabled");
    EXPECT_TRUE(Records().hasFocus()) << "and not the next button, which is OK";
    Click(*Window, "cmdUnsustainAll");
    EXPECT_EQ(Unsaved(), "3 records, 2 unsaved marks, enabled");
    QTest::keySequence(Window.get(), QKeySequence::Save);
    EXPECT_EQ(Sustained(), "0 0 0");
    Click(*Window, "cmdSustainAll");
    ClickRow(Records(), 1);
    EXPECT_EQ(Unsaved(), "3 records, 2 unsaved marks, enabled");
    Click(*Window, "cmdCancel");
    EXPECT_EQ(Sustained(), "0 0 0");
}

TEST_F(SustainRec, SortsRecordsWithTheirMarksByMouseAndKeyboard) {
    Open();
    Execute("select name, price Price from item where price > 0 order by id");
    ClickRow(Records(), 0);
    ClickHeader(0);
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x apple 7|x pear 5");
    for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Right, Qt::Key_F3}) {
        QTest::keyClick(&Records(), key);
    }
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x pear 5|x apple 7");
    EXPECT_EQ(Records().header()->sortIndicatorSection(), 1);
    EXPECT_EQ(Records().currentIndex().column(), 1);
    for (int column = 0; column < 2; ++column) {
        const bool right = column == 1;
        const QVariant cell = Records().model()->index(0, column).data(Qt::TextAlignmentRole);
        EXPECT_EQ(cell.toInt() & Qt::AlignRight, right ? Qt::AlignRight : 0);
    }
    ClickRow(Records(), 2);
    Click(*Window, "cmdSaveSelection");
    EXPECT_EQ(Sustained(), "1 0 0");

    Warehouse.Run("ALTER TABLE item RENAME COLUMN name TO title");
    ClickHeader(0);
    EXPECT_TRUE(Contains(LastMessage(), "The records cannot be sorted by name:\r\n"));
    EXPECT_EQ(Records().header()->sortIndicatorSection(), 1);
    EXPECT_EQ(Shown(Records()), "name Price | cherry 3|x pear 5| apple 7");
}

TEST_F(SustainRec, ExplainsWhyItExecutesNoQuery) {
    Open();
    Execute(" \n ");
    EXPECT_EQ(LastMessage(), "Morvane|Please enter the SQL Query first.");
    Execute("select * from item, shop");
    EXPECT_EQ(LastMessage(), "Morvane|Join Queries are not allowed");
    EXPECT_TRUE(Prompt.Asked.empty());

    Prompt.Answers = {false, true};
    Execute("Select * from item");
    EXPECT_EQ(Shown(Records()), "") << "the answer was No";
    Execute("Select * from dwm_tables");
    EXPECT_TRUE(Contains(LastMessage(), "is_sustainable"));
}

TEST_F(SustainRec, CompilesAQueryWithoutExecutingIt) {
    Open();
    auto& query = Find<QPlainTextEdit>(*Window, "txtWhereClause");
    for (const auto& [sql, message] :
         {std::pair("", "No Query to Parse"),
          std::pair("delete from item", "The Query was compiled successfully"),
          std::pair("select nothing from item", "nothing")}) {
        query.setPlainText(sql);
        Click(*Window, "cmdParseQuery");
        EXPECT_TRUE(Contains(LastMessage(), message));
    }
    EXPECT_EQ(Sustained(), "0 1 NULL");
    State.WarehouseConnection->Execute("update item set is_sustainable = 1");
    EXPECT_EQ(Sustained(), "1 1 1") << "the connection has left compile-only mode";
}

}  // namespace
}  // namespace morvane::testing
