// SPDX-License-Identifier: Apache-2.0
#include "ui/Messages.h"

#include <QMessageBox>

#include "UiTest.h"
#include "ui/frmMain.h"

namespace morvane::testing {
namespace {

constexpr const char* kNoMemory = "Morvane|There is not enough memory.";

using Slots = UiFixture;

TEST_F(Slots, ShowExceptionsAndKeepTheWindowOpen) {
    frmMain settings(State, Services, Browse);
    settings.show();
    Browse.Fails = true;
    Click(settings, "cmdServer");
    EXPECT_EQ(Prompt.Shown, std::vector<std::string>{kNoMemory});
    Prompt.Failures = 1;
    ::testing::internal::CaptureStderr();
    Click(settings, "cmdServer");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Morvane: an error has occurred and cannot be shown\n");
    EXPECT_TRUE(settings.isVisible());
}

TEST_F(Slots, KeepAWindowOpenThatFailsToClose) {
    State.WarehouseConnection = Warehouse.Connect();
    frmMain settings(State, Services, Browse);
    settings.show();
    State.LockHeld = true;
    Prompt.Failures = 1;  // of the message about the broken lock table
    Warehouse.Run("CREATE TABLE dwm_multiuse(other int); INSERT INTO dwm_multiuse VALUES(1)");
    settings.close();
    EXPECT_TRUE(settings.isVisible());
    EXPECT_EQ(Prompt.Shown, std::vector<std::string>{kNoMemory});
    settings.close();
    EXPECT_FALSE(settings.isVisible());
}

TEST(Application, DropsAnEventWhoseHandlerThrows) {
    struct : QObject {
        bool event(QEvent*) override { throw std::bad_alloc(); }
    } receiver;
    QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    QCoreApplication::processEvents();
    EXPECT_EQ(ApplicationPrompt().Shown, std::vector<std::string>{kNoMemory});
}

TEST(MessageBoxPrompt, ShowsALongMessageInDetailsThatScroll) {
    std::string text = std::string(900, 'x') + "\r\n";
    for (int line = 0; line < 300; ++line) {
        text += "table_type  Incorrect for TableName : product\r\n";
    }
    WhenModalOpens([](QWidget& box) {
        EXPECT_LT(box.height(), 600);
        EXPECT_LT(box.width(), 700) << "long words are wrapped";
        EXPECT_EQ(dynamic_cast<QMessageBox&>(box).detailedText().count("product"), 300);
        QTest::keyClick(&box, Qt::Key_Escape);
    });
    MessageBoxPrompt().ShowMessage("Morvane", text, MessageStyle::Critical);
}

TEST(MessageBoxPrompt, LeavesQuestionsUnansweredWhenTheProgramEnds) {
    bool ending = false;
    MessageBoxPrompt prompt([&] { return ending; });
    WhenModalOpens(
        [](QWidget& box) { qobject_cast<QMessageBox*>(&box)->button(QMessageBox::Yes)->click(); });
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?", DefaultAnswer::No), true);
    WhenModalOpens([](QWidget& box) { QTest::keyClick(&box, Qt::Key_Return); });
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?", DefaultAnswer::No), false);
    WhenModalOpens([](QWidget& box) { QTest::keyClick(&box, Qt::Key_Return); });
    EXPECT_EQ(prompt.AskYesNo("Query", "Go on?", DefaultAnswer::Yes), true);
    WhenModalOpens([&](QWidget&) { ending = true; });
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?", DefaultAnswer::No), std::nullopt);
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?", DefaultAnswer::No), std::nullopt) << "no box opens";
    ::testing::internal::CaptureStderr();
    prompt.ShowMessage("Morvane", "No \x1b[2J.", MessageStyle::Critical);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Morvane: No \\x1b[2J.\n");
}

}  // namespace
}  // namespace morvane::testing
