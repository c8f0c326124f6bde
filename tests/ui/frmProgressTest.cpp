// SPDX-License-Identifier: Apache-2.0
#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>

#include "UiTest.h"
#include "ui/frmProgress.h"

namespace morvane::testing {
namespace {

const RunOverview kTwoTasks{"dw01", "sales", "Tuesday, Mar 5 2024 14:07:09", {"One", "Two"}};

struct ProgressWindowTest : ::testing::Test {
    bool Signalled = false;
    frmProgress Window{[this] { return Signalled; }};

    ProgressWindowTest() {
        Window.Load(kTwoTasks);
        Window.ProcessEvents();
    }

    QString Text(const char* name) const { return Find<QLabel>(Window, name).text(); }
    bool Shows(const char* name) const { return Find<QWidget>(Window, name).isVisible(); }
    bool CanUse(const char* name) const { return Find<QWidget>(Window, name).isEnabled(); }

    void Finish() {
        Window.RemoveProgIndicator();
        Window.ShowEndTime("later");
        Window.EnableObject(ProgressControl::cmdOK);
        Window.DisableObject(ProgressControl::cmdCancel);
    }

    // Posts input for the next event pass.
    void PostMouse(QEvent::Type type, const char* name = "lblServer") {
        auto& control = Find<QWidget>(Window, name);
        const QPointF place = control.rect().center();
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        const auto pressed = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
        QCoreApplication::postEvent(
            &control, new QMouseEvent(type, place, control.mapToGlobal(place), button, pressed,
                                      Qt::NoModifier));
    }
    void PostKey(Qt::Key key) {
        QCoreApplication::postEvent(Window.focusWidget(),
                                    new QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier));
    }
    void PostCloseButton() { QCoreApplication::postEvent(&Window, new QCloseEvent); }
};

TEST_F(ProgressWindowTest, ARunningTaskIsMarkedAndACompletedOneIsChecked) {
    EXPECT_EQ(Text("lblServer") + Text("lblDatabase"), "dw01sales");
    Window.MarkTaskRunning(0);
    EXPECT_EQ(Text("lblTaskName0"), "One....");
    Window.MarkTaskCompleted(0);
    Window.MarkTaskRunning(1);
    EXPECT_EQ(Text("lblTaskName0"), "One");
    EXPECT_TRUE(Shows("imgChecked0"));
    EXPECT_EQ(Text("lblTaskName1"), "Two....");
    Window.EnableObject(ProgressControl::cmdOK);  // after a cancel
    EXPECT_EQ(Text("lblTaskName1"), "Two");
    EXPECT_FALSE(Shows("imgChecked1"));

    Window.Load({"s", "d", "now", {}});
    EXPECT_EQ(Text("lblTaskName0"), "");
    EXPECT_EQ(Window.findChild<QWidget*>("lblTaskName1"), nullptr);
    Window.MarkTaskRunning(3);  // does not exist
    Window.MarkTaskCompleted(3);
}

TEST_F(ProgressWindowTest, TheWindowShrinksAndGrowsByTheHeightOfAFrame) {
    const QSize designed = Window.size();
    const int frame = Find<QWidget>(Window, "OverallProgFrame").height();
    const int list = Find<QWidget>(Window, "Frame3").height();
    Window.HideFrame(ProgressFrame::OverallProgFrame);
    Window.HideFrame(ProgressFrame::OverallProgFrame);
    EXPECT_EQ(Window.height(), designed.height() - frame);
    Window.ShowFrame(ProgressFrame::DetectProgFrame);
    Window.ShowRelation(std::string(300, 'p'), std::string(300, 'f'));
    Window.ProcessEvents();
    EXPECT_GT(Window.height(), designed.height());
    EXPECT_EQ(Find<QWidget>(Window, "Frame3").height(), list);
    Window.HideFrame(ProgressFrame::DetectProgFrame);
    Window.ShowFrame(ProgressFrame::OverallProgFrame);
    Window.Comment(std::string(300, 'c'));
    Window.ProcessEvents();
    EXPECT_EQ(Window.size(), designed);
    Finish();
    EXPECT_LT(Window.height(), designed.height() - frame);
    EXPECT_FALSE(Shows("ProgIndFrame"));
}

TEST_F(ProgressWindowTest, LoadResetsTheWindowForASecondRun) {
    const QSize designed = Window.size();
    Window.resize(Window.size() + QSize(50, 50));
    Window.MarkTaskCompleted(0);
    Window.HideFrame(ProgressFrame::OverallProgFrame);
    Window.ShowFrame(ProgressFrame::DetectProgFrame);
    Window.ShowRelation("p", "f");
    Window.SetProgressRange(0, 2);
    Window.ProgressVal(2);
    Click(Window, "cmdCancel");
    Finish();
    Click(Window, "cmdOK");
    Window.Load(kTwoTasks);
    EXPECT_EQ(Window.size(), designed);
    EXPECT_TRUE(Shows("OverallProgFrame") && Shows("ProgIndFrame") && !Shows("DetectProgFrame"));
    EXPECT_FALSE(Shows("imgChecked0"));
    EXPECT_EQ(Text("lblEndTime") + Text("lblPrimaryTable") + Text("lblForeignTable"), "");
    EXPECT_EQ(Window.ProgressVal(), 0);
    EXPECT_FALSE(Window.mUserCancel || CanUse("cmdOK"));
    EXPECT_TRUE(CanUse("cmdCancel"));
}

TEST_F(ProgressWindowTest, TheBarAcceptsAnyRangeAndValue) {
    const auto& bar = Find<QProgressBar>(Window, "prgProgress");
    const auto part = [&bar] { return bar.value() * 100 / (bar.maximum() - bar.minimum()); };
    Window.SetProgressRange(0, 4);
    Window.ProgressVal(1);
    EXPECT_EQ(part(), 25);
    Window.SetProgressValue(2.5F);
    EXPECT_EQ(Window.ProgressVal(), 2);  // rounds half to even
    Window.ProgressVal(9);
    EXPECT_EQ(Window.ProgressVal(), 9);
    EXPECT_EQ(part(), 100);
    Window.SetProgressRange(0, 0);
    EXPECT_LT(bar.minimum(), bar.maximum());  // otherwise Qt shows a busy indicator
    EXPECT_EQ(part(), 0);
}

TEST_F(ProgressWindowTest, APollReportsACancelIfInputIsWaiting) {
    EXPECT_FALSE(Window.CheckCancelState());
    PostMouse(QEvent::MouseButtonPress);
    EXPECT_FALSE(Window.CheckCancelState());  // input, but no cancel
    PostMouse(QEvent::MouseButtonPress, "cmdCancel");
    PostMouse(QEvent::MouseButtonRelease, "cmdCancel");
    EXPECT_TRUE(Window.CheckCancelState());

    EXPECT_FALSE(Window.CheckCancelState());
    PostMouse(QEvent::MouseMove);
    EXPECT_FALSE(Window.CheckCancelState());
    PostKey(Qt::Key_Shift);
    EXPECT_TRUE(Window.CheckCancelState());

    Window.Load(kTwoTasks);
    Signalled = true;
    EXPECT_TRUE(Window.CheckCancelState()) << "a signal needs no input";
}

TEST_F(ProgressWindowTest, ACancelFromAnotherEventPassIsReportedWithTheNextInput) {
    PostMouse(QEvent::MouseButtonPress, "cmdCancel");
    PostMouse(QEvent::MouseButtonRelease, "cmdCancel");
    Window.ProcessEvents();
    EXPECT_TRUE(Window.mUserCancel);
    EXPECT_FALSE(Window.CheckCancelState());
    PostMouse(QEvent::MouseButtonPress);
    EXPECT_TRUE(Window.CheckCancelState());
}

TEST_F(ProgressWindowTest, EscapeAndTheCloseButtonCancelARunAndTheWindowStaysOpen) {
    PostKey(Qt::Key_Escape);
    EXPECT_TRUE(Window.CheckCancelState());
    EXPECT_TRUE(Window.isVisible());
    Window.Load(kTwoTasks);
    PostCloseButton();
    EXPECT_TRUE(Window.CheckCancelState());
    EXPECT_TRUE(Window.isVisible());
    Window.Load(kTwoTasks);
    PostKey(Qt::Key_Return);  // presses only OK, which is disabled
    EXPECT_FALSE(Window.CheckCancelState());
    EXPECT_FALSE(Window.mUserCancel);
    EXPECT_TRUE(Window.isVisible());
}

TEST_F(ProgressWindowTest, EveryWayOutOfAFinishedRunIsOK) {
    QSignalSpy closed(&Window, &frmProgress::Closed);
    const std::vector<std::function<void()>> ways{
        [this] { Click(Window, "cmdOK"); }, [this] { PostKey(Qt::Key_Return); },
        [this] { PostKey(Qt::Key_Escape); }, [this] { PostCloseButton(); }};
    for (const auto& way : ways) {
        Window.Load(kTwoTasks);
        Finish();
        EXPECT_EQ(Window.focusWidget(), &Find<QWidget>(Window, "cmdOK"));
        closed.clear();
        way();
        EXPECT_TRUE(QTest::qWaitFor([&] { return closed.count() == 1; }));
        EXPECT_TRUE(Window.isHidden());
        EXPECT_FALSE(Window.mUserCancel);
    }
}

}  // namespace
}  // namespace morvane::testing
