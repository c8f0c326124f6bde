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

struct ProgressForm : ::testing::Test {
    bool Signalled = false;
    frmProgress Window{[this] { return Signalled; }};

    ProgressForm() {
        Window.Load(kTwoTasks);
        Window.ProcessEvents();
    }

    QString Text(const char* name) const { return Find<QLabel>(Window, name).text(); }
    bool Shows(const char* name) const { return Find<QWidget>(Window, name).isVisible(); }

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
    void PostClick(const char* name) {
        PostMouse(QEvent::MouseButtonPress, name);
        PostMouse(QEvent::MouseButtonRelease, name);
    }
    void PostKey(Qt::Key key) {
        QWidget* receiver = Window.focusWidget() != nullptr ? Window.focusWidget() : &Window;
        QCoreApplication::postEvent(receiver, new QKeyEvent(QEvent::KeyPress, key, Qt::NoModifier));
    }
    void PostCloseButton() { QCoreApplication::postEvent(&Window, new QCloseEvent); }
};

TEST_F(ProgressForm, MarksTheRunningTaskAndChecksCompletedOnes) {
    EXPECT_EQ(Text("lblServer") + Text("lblDatabase"), "dw01sales");
    Window.MarkTaskRunning(0);
    EXPECT_EQ(Text("lblTaskName0"), "One....");
    Window.MarkTaskCompleted(0);
    Window.MarkTaskRunning(1);
    EXPECT_EQ(Text("lblTaskName0") + Text("lblTaskName1"), "OneTwo....");
    Window.EnableObject(ProgressControl::cmdOK);  // after a cancel
    EXPECT_EQ(Text("lblTaskName1"), "Two");
    EXPECT_TRUE(Shows("imgChecked0") && !Shows("imgChecked1"));

    Window.Load({"s", "d", "now", std::vector<std::string>(40, "Task")});
    Window.MarkTaskRunning(39);
    Window.ShowFrame(ProgressFrame::DetectProgFrame);  // takes room from the list
    EXPECT_FALSE(Find<QLabel>(Window, "lblTaskName39").visibleRegion().isEmpty());
}

TEST_F(ProgressForm, LoadResetsItForASecondRun) {
    const QSize designed = Window.size();
    Window.MarkTaskCompleted(0);
    Window.HideFrame(ProgressFrame::OverallProgFrame);
    EXPECT_LT(Window.height(), designed.height());
    Window.ShowFrame(ProgressFrame::DetectProgFrame);
    EXPECT_GT(Window.height(), designed.height());
    Window.ShowRelation("p", "f");
    Window.SetProgressRange(0, 2);
    Window.ProgressVal(2);
    Click(Window, "cmdCancel");
    Finish();
    EXPECT_LT(Window.height(), designed.height());
    Click(Window, "cmdOK");
    Window.Load(kTwoTasks);
    EXPECT_EQ(Window.size(), designed);
    EXPECT_TRUE(Shows("OverallProgFrame") && Shows("ProgIndFrame") && !Shows("DetectProgFrame"));
    EXPECT_FALSE(Shows("imgChecked0"));
    EXPECT_EQ(Text("lblEndTime") + Text("lblPrimaryTable") + Text("lblForeignTable"), "");
    EXPECT_EQ(Window.ProgressVal(), 0);
    EXPECT_FALSE(Window.mUserCancel || Find<QWidget>(Window, "cmdOK").isEnabled());
    EXPECT_TRUE(Find<QWidget>(Window, "cmdCancel").isEnabled());
    Window.Load({"s", "d", "now", {}});
    EXPECT_EQ(Text("lblTaskName0"), "");
    EXPECT_EQ(Window.findChild<QWidget*>("lblTaskName1"), nullptr);
}

TEST_F(ProgressForm, AcceptsAnyProgressRangeAndValue) {
    const auto& bar = Find<QProgressBar>(Window, "prgProgress");
    const auto part = [&bar] { return bar.value() * 100 / (bar.maximum() - bar.minimum()); };
    Window.SetProgressRange(0, 4);
    Window.ProgressVal(1);
    EXPECT_EQ(part(), 25);
    Window.ProgressVal(9);
    EXPECT_EQ(Window.ProgressVal(), 9);
    EXPECT_EQ(part(), 100);
    Window.SetProgressRange(0, 0);
    EXPECT_LT(bar.minimum(), bar.maximum()) << "Qt would show a busy indicator";
    EXPECT_EQ(part(), 0);
}

TEST_F(ProgressForm, APollReportsACancelOnlyWithInputOrASignal) {
    PostMouse(QEvent::MouseButtonPress);
    EXPECT_FALSE(Window.CheckCancelState()) << "input, but no cancel";
    PostClick("cmdCancel");
    EXPECT_TRUE(Window.CheckCancelState());
    EXPECT_FALSE(Window.CheckCancelState());
    PostMouse(QEvent::MouseMove);
    EXPECT_FALSE(Window.CheckCancelState());
    PostKey(Qt::Key_Shift);
    EXPECT_TRUE(Window.CheckCancelState());

    Window.Load(kTwoTasks);
    PostClick("cmdCancel");
    Window.ProcessEvents();
    EXPECT_FALSE(Window.CheckCancelState()) << "cancelled in another event pass";
    PostMouse(QEvent::MouseButtonPress);
    EXPECT_TRUE(Window.CheckCancelState());

    Window.Load(kTwoTasks);
    Signalled = true;
    EXPECT_TRUE(Window.CheckCancelState());
}

TEST_F(ProgressForm, ShowsThatItIsCancellingAndHowTheRunEnded) {
    Window.Comment("Archiving");
    PostClick("cmdCancel");
    EXPECT_TRUE(Window.CheckCancelState());
    Window.Comment("Deleting");
    EXPECT_FALSE(Find<QWidget>(Window, "cmdCancel").isEnabled());
    EXPECT_EQ(Text("lblComment"), "Cancelling...");
    EXPECT_EQ(Window.windowTitle(), "Progress Of the Morvane Tool - Cancelling");
    for (const auto& [outcome, title] :
         {std::pair(Outcome::Cancelled, " - Cancelled"), std::pair(Outcome::Failed, " - Failed"),
          std::pair(Outcome::Done, "")}) {
        Window.Load(kTwoTasks);
        EXPECT_EQ(Window.windowTitle(), "Progress Of the Morvane Tool");
        const int height = Window.height();
        Window.HideFrame(ProgressFrame::OverallProgFrame);
        Window.resize(Window.width(), height);  // as reported late by a window manager
        Window.ShowFrame(ProgressFrame::DetectProgFrame);
        Window.SetProgressRange(0, 2);
        Window.ProgressVal(1);
        Window.ShowStopped(outcome);
        EXPECT_EQ(Window.height(), height);
        EXPECT_FALSE(Shows("DetectProgFrame"));
        EXPECT_EQ(Text("lblComment"), "");
        EXPECT_EQ(Find<QProgressBar>(Window, "prgProgress").value(), 0);
        EXPECT_EQ(Window.windowTitle(), QString("Progress Of the Morvane Tool") + title);
    }
}

TEST_F(ProgressForm, StaysOpenUntilTheRunIsFinished) {
    PostKey(Qt::Key_Escape);
    EXPECT_TRUE(Window.CheckCancelState());
    Window.Load(kTwoTasks);
    PostCloseButton();
    EXPECT_TRUE(Window.CheckCancelState());
    Window.Load(kTwoTasks);
    PostKey(Qt::Key_Return);  // presses only OK, which is disabled
    EXPECT_FALSE(Window.CheckCancelState());
    EXPECT_FALSE(Window.mUserCancel);
    EXPECT_TRUE(Window.isVisible());

    QSignalSpy closed(&Window, &frmProgress::Closed);
    for (const std::function<void()>& close : std::initializer_list<std::function<void()>>{
             [this] { Click(Window, "cmdOK"); }, [this] { PostKey(Qt::Key_Return); },
             [this] { PostKey(Qt::Key_Escape); }, [this] { PostCloseButton(); }}) {
        Window.Load(kTwoTasks);
        Finish();
        closed.clear();
        close();
        EXPECT_TRUE(QTest::qWaitFor([&] { return closed.count() == 1; }));
        EXPECT_TRUE(Window.isHidden());
        EXPECT_FALSE(Window.mUserCancel);
    }
}

}  // namespace
}  // namespace morvane::testing
