// SPDX-License-Identifier: Apache-2.0
// What holds for every window: screen readers get a name for each control, and each control fits on
// a small screen.
#include <QAccessible>
#include <QAccessibleInterface>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QStyle>

#include "UiTest.h"
#include "db/modDatabaseOperations.h"
#include "support/Texts.h"
#include "ui/Controls.h"
#include "ui/frmBrowseComputer.h"
#include "ui/frmMain.h"
#include "ui/frmProgress.h"
#include "ui/frmSetFactTableFilters.h"
#include "ui/frmSustainRec.h"

namespace morvane::testing {
namespace {

QAccessibleInterface& Spoken(const QWidget& window, const char* name) {
    return *QAccessible::queryAccessibleInterface(&Find<QWidget>(window, name));
}

std::string Name(const QAccessibleInterface& control) {
    return ToText(control.text(QAccessible::Name));
}

bool NeedsName(QAccessible::Role role) {
    switch (role) {
        case QAccessible::Button:
        case QAccessible::CheckBox:
        case QAccessible::ComboBox:
        case QAccessible::Dialog:
        case QAccessible::EditableText:
        case QAccessible::List:
        case QAccessible::ProgressBar:
        case QAccessible::RadioButton:
        case QAccessible::Table:
        case QAccessible::Tree:
            return true;
        default:
            return false;
    }
}

struct EveryWindow : public UiFixture {
    std::vector<std::unique_ptr<QWidget>> Windows;

    EveryWindow() {
        FillStar(Warehouse);
        State.WarehouseConnection = Warehouse.Connect();
        CreateArchiveTable(*State.WarehouseConnection);
        Windows.push_back(std::make_unique<frmMain>(State, Services, Browse));
        Windows.push_back(
            std::make_unique<frmSetFactTableFilters>(State, Services, Browse, nullptr));
        auto checks = std::make_unique<frmSustainRec>(State, Services, nullptr);
        Prompt.Answers = {true};
        Find<QPlainTextEdit>(*checks, "txtWhereClause").setPlainText("Select * from product");
        Find<QPushButton>(*checks, "cmdExecuteQuery").click();
        Windows.push_back(std::move(checks));
        Windows.push_back(std::make_unique<frmBrowseComputer>(
            Prompt, "Servers", ServerSources(), [](QWidget*) { return ""; }, nullptr));
        Windows.push_back(std::make_unique<frmProgress>(std::function<bool()>()));
        auto& progress = dynamic_cast<frmProgress&>(*Windows.back());
        progress.Load({"dw01", "sales", "Tuesday", {"One", "Two", "Three", "Four", "Five"}});
        progress.MarkTaskCompleted(0);
        progress.MarkTaskRunning(1);
        for (const auto& window : Windows) {
            window->show();
            EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        }
        progress.HideFrame(ProgressFrame::OverallProgFrame);
        progress.ShowFrame(ProgressFrame::DetectProgFrame);  // which is higher
    }
};

// The controls that a screen reader cannot name, by their object names.
std::string Unnamed(const QAccessibleInterface& control) {
    if (control.state().invisible) {
        return "";
    }
    const bool filler = control.role() == QAccessible::Client && control.childCount() == 0 &&
                        control.object()->objectName() != "qt_scrollarea_viewport";
    std::string found;
    if (filler || (NeedsName(control.role()) && Name(control).empty())) {
        found = ToText(control.object()->objectName()) + " ";
    }
    for (int i = 0; i < control.childCount(); ++i) {
        found += Unnamed(*control.child(i));
    }
    return found;
}

TEST_F(EveryWindow, NamesItsControlsToScreenReaders) {
    for (const auto& window : Windows) {
        EXPECT_EQ(Unnamed(*QAccessible::queryAccessibleInterface(window.get())), "")
            << window->objectName().toStdString();
    }
    const QWidget& progress = *Windows.back();
    EXPECT_EQ(Name(Spoken(progress, "lblTaskName0")), "One, done");
    EXPECT_EQ(Name(Spoken(progress, "imgChecked0")), "Done");
    EXPECT_EQ(Name(Spoken(progress, "lblTaskName1")), "Two, running");
    EXPECT_EQ(Name(Spoken(progress, "lblTaskName4")), "Five, not done");
    for (const auto& [value, caption] :
         {std::pair("lblServer", "Server:"), std::pair("lblDatabase", "Database:"),
          std::pair("lblStartTime", "Start Date & Time:"),
          std::pair("lblEndTime", "End Date & Time:"),
          std::pair("lblPrimaryTable", "Primary Table :"),
          std::pair("lblForeignTable", "Foreign Table :")}) {
        std::string labels;
        for (const auto& [label, relation] :
             Spoken(progress, value).relations(QAccessible::Label)) {
            labels += Name(*label) + "|";
        }
        EXPECT_TRUE(Contains(labels, caption)) << value << ": " << labels;
    }
}

TEST_F(EveryWindow, FitsOnASmallScreenWithReadableButtonsAndToolTips) {
    const QSize screen = QGuiApplication::primaryScreen()->availableSize();
    for (const auto& window : Windows) {
        const std::string name = ToText(window->objectName());
        const int titleBar = window->style()->pixelMetric(QStyle::PM_TitleBarHeight);
        EXPECT_LE(window->height() + titleBar, screen.height()) << name;
        EXPECT_LE(window->width(), screen.width()) << name;
        EXPECT_TRUE(window->y() >= 0 && window->frameGeometry().bottom() < screen.height()) << name;
        for (const QPushButton* button : window->findChildren<QPushButton*>()) {
            const int text =
                button->fontMetrics().size(Qt::TextShowMnemonic, button->text()).width();
            EXPECT_GE(button->width() - text, 20) << name << ToText(button->text());
        }
        for (const QWidget* control : window->findChildren<QWidget*>()) {
            for (const QString& line : control->toolTip().split('\n')) {
                EXPECT_LE(line.size(), 90) << name << ToText(line);
            }
        }
    }
}

TEST(ToolTipText, IsWrappedAndNeverHtml) {
    EXPECT_EQ(ToolTipText("Start the process."), "Start the process.");
    EXPECT_EQ(ToolTipText("a\n  b & c"), "a\n  b & c");
    EXPECT_GT(ToolTipText(QString(500, 'x')).count('\n'), 4);
    EXPECT_LT(ToolTipText(QString(100000, 'x')).size(), 3000);
    EXPECT_EQ(ToolTipText("<b>x"), "<p style=\"white-space:pre\">&lt;b&gt;x</p>");
}

}  // namespace
}  // namespace morvane::testing
