// SPDX-License-Identifier: Apache-2.0
#include "ui/Messages.h"

#include <QMessageBox>

#include "UiTest.h"
#include "db/modDatabaseOperations.h"
#include "support/Texts.h"
#include "ui/frmMain.h"
#include "ui/frmSetFactTableFilters.h"
#include "ui/frmSustainRec.h"

namespace morvane::testing {
namespace {

constexpr const char* kNoMemory = "Morvane|There is not enough memory.";

struct Slots : UiFixture {
    Slots() {
        FillStar(Warehouse);
        State.WarehouseConnection = Warehouse.Connect();
        CreateArchiveTable(*State.WarehouseConnection);
    }
};

// Each window with a control whose work finds no memory, and the second time cannot say so either.
TEST_F(Slots, ShowWhatIsThrownAndTheWindowStays) {
    Browse.Fails = true;
    frmMain settings(State, Services, Browse);
    frmSetFactTableFilters conditions(State, Services, Browse, nullptr);
    frmSustainRec checks(State, Services, nullptr);
    for (const auto& [window, control] : {std::pair<QWidget*, const char*>{&settings, "cmdServer"},
                                          {&settings, "cmdLogFile"},
                                          {&conditions, "cmdServer"},
                                          {&checks, "cmdParseQuery"}}) {
        window->show();
        // Parsing nothing shows a message, and that fails; browsing fails by itself.
        const int first = window == &checks ? 1 : 0;
        for (const int failures : {first, first + 2}) {
            Prompt.Failures = failures;
            Click(*window, control);
            EXPECT_TRUE(window->isVisible());
            EXPECT_TRUE(Contains(Prompt.Shown.back(), kNoMemory));
        }
        EXPECT_LT(Prompt.Shown.size(), 2U) << "the second time nothing can be shown";
        Prompt.Shown.clear();
        Prompt.Failures = 0;
    }
}

TEST_F(Slots, AWindowThatFailsToCloseStaysAndCanBeClosedAgain) {
    frmMain settings(State, Services, Browse);
    settings.show();
    State.LockHeld = true;
    Prompt.Failures = 1;  // the lock's table is missing, so that there is something to show
    Warehouse.Run("CREATE TABLE dwm_multiuse(other int); INSERT INTO dwm_multiuse VALUES(1)");
    settings.close();
    EXPECT_TRUE(settings.isVisible());
    EXPECT_EQ(Prompt.Shown, std::vector<std::string>{kNoMemory});
    settings.close();
    EXPECT_FALSE(settings.isVisible());
}

TEST(ApplicationTest, GivesAnEventUpWhoseHandlerThrows) {
    struct : QObject {
        bool event(QEvent*) override { throw std::bad_alloc(); }
    } receiver;
    QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    QCoreApplication::processEvents();
    EXPECT_EQ(ApplicationPrompt().Shown, std::vector<std::string>{kNoMemory});
}

TEST(MessageBoxes, AreClosedUnansweredWhenTheProgramIsToEnd) {
    bool nobody = false;
    MessageBoxPrompt prompt([&] { return nobody; });
    WhenModalOpens(
        [](QWidget& box) { qobject_cast<QMessageBox*>(&box)->button(QMessageBox::Yes)->click(); });
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?"), true);
    WhenModalOpens([&](QWidget&) { nobody = true; });
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?"), std::nullopt);
    EXPECT_EQ(prompt.AskYesNo("Lock", "Go on?"), std::nullopt) << "nor is it opened";
    ::testing::internal::CaptureStderr();
    prompt.ShowMessage("Morvane", "No \x1b[2J.", MessageStyle::Critical);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Morvane: No \\x1b[2J.\n");
}

}  // namespace
}  // namespace morvane::testing
