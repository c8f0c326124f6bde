// SPDX-License-Identifier: Apache-2.0
#include "ui/frmProgress.h"

#include <QCoreApplication>
#include <QGroupBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

#include "ui/Controls.h"
#include "ui/ProgressFrames.h"
#include "ui/ScrollPanel.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace morvane {

namespace {

constexpr const char* kTitle = "Progress Of the Morvane Tool";
constexpr int kWidth = 72;  // in average characters
constexpr std::chrono::milliseconds kLongestAppearing{500};

void FixHeight(QWidget& part) {
    part.setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

// A window appears some time after show(). Without this wait the window would stay empty during the
// first statement of a run, which can be long. User input stays in the queue.
void AwaitAppearance(const QWidget& window) {
    QTimer longest;
    longest.setSingleShot(true);
    longest.start(kLongestAppearing);
    while (longest.isActive() && !window.windowHandle()->isExposed()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::WaitForMoreEvents);
    }
}

// Tells whether a mouse button, a key or a touch has reached any window of the program since this
// object was created, or the close button the given window. Mouse movement does not count. On
// Windows, input already in the thread's queue counts too.
class InputWatch : public QObject {
  public:
    explicit InputWatch(const QObject& window) : window_(window) {
        QCoreApplication::instance()->installEventFilter(this);
#ifdef _WIN32
        // Title bars and system menus take input that never becomes a Qt event.
        inputSeen_ = GetInputState() != 0;
#endif
    }

    bool InputSeen() const {
        return inputSeen_;
    }

  protected:
    bool eventFilter(QObject* receiver, QEvent* event) override {
        switch (event->type()) {
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonRelease:
            case QEvent::MouseButtonDblClick:
            case QEvent::ShortcutOverride:  // a shortcut key sends no other event
            case QEvent::KeyPress:
            case QEvent::KeyRelease:
            case QEvent::TouchBegin:
            case QEvent::TouchEnd:
            case QEvent::TabletPress:
            case QEvent::TabletRelease:
                inputSeen_ = true;
                break;
            case QEvent::Close:  // also sent to tool tips
                inputSeen_ = inputSeen_ || receiver == &window_;
                break;
            default:
                break;
        }
        return false;
    }

  private:
    const QObject& window_;
    bool inputSeen_ = false;
};

}  // namespace

frmProgress::frmProgress(std::function<bool()> cancelSignalled, QWidget* parent)
    : QDialog(parent), cancelSignalled_(std::move(cancelSignalled)) {
    setObjectName("frmProgress");
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    // Events processed during a run must reach only this window.
    setWindowModality(Qt::ApplicationModal);

    auto* head = new QWidget(this);
    auto* parts = new QVBoxLayout(head);
    parts->setContentsMargins({});
    parts->addWidget(MakeWarehouseFrame());
    parts->addWidget(MakeTimeFrame());
    // The task list takes the extra height of an enlarged window.
    parts->addWidget(tasks_ = new TaskList(this), 1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(head_ = new ScrollPanel(head, this), 1);
    layout->addWidget(indicator_ = new ProgressIndicator(this));
    layout->addWidget(MakeButtons());
    designedMargins_ = layout->contentsMargins();
    AlignCaptions();
    indicator_->setMinimumWidth(fontMetrics().averageCharWidth() * kWidth);
    ResetControls();
}

QGroupBox* frmProgress::MakeWarehouseFrame() {
    auto* frame = Named("Frame1", new QGroupBox("Data warehouse to be checked", this));
    FixHeight(*frame);
    lblServer_ = new ElidedLabel("lblServer", frame);
    lblDatabase_ = new ElidedLabel("lblDatabase", frame);
    LayOutLines(frame, {{"Label7", "Server:", lblServer_}, {"Label8", "Database:", lblDatabase_}});
    return frame;
}

QGroupBox* frmProgress::MakeTimeFrame() {
    auto* frame = Named("Frame2", new QGroupBox("Date && Time", this));
    FixHeight(*frame);
    lblStartTime_ = new ElidedLabel("lblStartTime", frame);
    lblEndTime_ = new ElidedLabel("lblEndTime", frame);
    LayOutLines(frame, {{"Label1", "Start Date && Time:", lblStartTime_},
                        {"Label3", "End Date && Time:", lblEndTime_}});
    return frame;
}

QWidget* frmProgress::MakeButtons() {
    const DialogButtons buttons = MakeDialogButtons("Cancel", this);
    cmdOK_ = buttons.cmdOK;
    cmdCancel_ = buttons.cmdCancel;
    // Cancel has the focus during a run, but Enter must not press it.
    cmdCancel_->setAutoDefault(false);
    connect(cmdOK_, &QPushButton::clicked, this, &frmProgress::CloseWindow);
    connect(cmdCancel_, &QPushButton::clicked, this, &frmProgress::TakeCancel);
    return buttons.Box;
}

// The values of the two top frames start in the same column.
void frmProgress::AlignCaptions() {
    int widest = 0;
    for (const char* name : {"Label7", "Label8", "Label1", "Label3"}) {
        widest = std::max(widest, findChild<QLabel*>(name)->sizeHint().width());
    }
    for (const char* name : {"Label7", "Label1"}) {
        findChild<QLabel*>(name)->setMinimumWidth(widest);
    }
}

void frmProgress::ShowOverview(const RunOverview& overview) {
    hide();
    mUserCancel = false;
    ResetControls();
    lblServer_->setText(ToQString(overview.Server));
    lblDatabase_->setText(ToQString(overview.Database));
    lblStartTime_->setText(ToQString(overview.StartTime));
    tasks_->Show(overview.TaskNames);
    SettleLayout();
    setWindowState(Qt::WindowNoState);
    ownHeights_.clear();
    ResizeWithoutLoss(layout()->totalSizeHint());
    Centre();
    cmdCancel_->setFocus();
    show();
    AwaitAppearance(*this);
}

// Undoes what an earlier run has changed.
void frmProgress::ResetControls() {
    setWindowTitle(kTitle);
    lblEndTime_->clear();
    indicator_->Reset();
    indicator_->show();
    layout()->setContentsMargins(designedMargins_);
    morvane::DisableObject(*cmdOK_);
    morvane::EnableObject(*cmdCancel_);
}

// Updates the size hints at once, innermost layouts first. Qt would do it in the next event pass.
void frmProgress::SettleLayout() {
    for (QLayout* part :
         {tasks_->layout(), head_->widget()->layout(), indicator_->layout(), layout()}) {
        part->activate();
    }
    head_->updateGeometry();
    layout()->activate();
}

void frmProgress::Centre() {
    const QRect room = screen()->geometry();
    const QSize size = frameGeometry().size();
    // The title bar of a window that is higher than the screen stays visible.
    move(room.x() + (room.width() - size.width()) / 2,
         room.y() + std::max(0, (room.height() - size.height()) / 2));
}

void frmProgress::Comment(std::string_view strComment) {
    indicator_->ShowComment(ToQString(strComment));
}

std::int32_t frmProgress::ProgressVal() const {
    return static_cast<std::int32_t>(std::lrint(indicator_->Value()));
}

void frmProgress::ProgressVal(std::int32_t lngNewVal) {
    SetProgressValue(static_cast<float>(lngNewVal));
}

void frmProgress::SetProgressRange(float minimum, float maximum) {
    indicator_->SetRange(minimum, maximum);
}

void frmProgress::SetProgressValue(float value) {
    indicator_->SetValue(value);
}

void frmProgress::HideFrame(ProgressFrame objFrame) {
    ChangeHeight([&] { indicator_->Frame(objFrame).hide(); });
}

void frmProgress::ShowFrame(ProgressFrame objFrame) {
    ChangeHeight([&] { indicator_->Frame(objFrame).show(); });
}

// Everything except the part with the task list has a fixed height. Keeping the window's height
// beyond its minimum keeps the height of that part, whatever size the user has given the window.
void frmProgress::ChangeHeight(const std::function<void()>& change) {
    const auto need = [this] {
        SettleLayout();
        return layout()->totalMinimumSize().height();
    };
    const int spare = ChosenHeight() + cutOff_ - need();
    const int oldWidth = width();
    change();
    const int wanted = need() + spare;
    if (!isMaximized() && !isFullScreen()) {
        ResizeWithoutLoss({oldWidth, wanted});
    }
    ShowRunningTask();
}

// The height as last set by the program or the user. A window manager can report one of the
// program's earlier heights late, rounded by the scale of the screen.
int frmProgress::ChosenHeight() const {
    const bool own =
        std::ranges::any_of(ownHeights_, [this](int set) { return std::abs(set - height()) <= 1; });
    return own ? ownHeights_.back() : height();
}

// Remembers the height for which the screen has no room. The window moves up if it would grow
// beyond the lower edge of the screen.
void frmProgress::ResizeWithoutLoss(const QSize& wanted) {
    const QSize size = wanted.boundedTo(RoomOnScreen(*this));
    cutOff_ = wanted.height() - size.height();
    resize(size);
    ownHeights_.push_back(height());
    const QRect room = screen()->availableGeometry();
    if (isVisible() && frameGeometry().bottom() > room.bottom()) {
        move(x(), std::max(room.top(), room.bottom() + 1 - frameGeometry().height()));
    }
}

void frmProgress::RemoveProgIndicator() {
    ChangeHeight([this] {
        if (!indicator_->isHidden()) {
            indicator_->hide();
            // The buttons move to the frame's place. The spacing that goes with the frame is added
            // below them, so that the window shrinks by exactly the frame's height.
            layout()->setContentsMargins(designedMargins_ + QMargins(0, 0, 0, layout()->spacing()));
        }
    });
}

void frmProgress::ShowStopped(Outcome outcome) {
    ChangeHeight([this] { indicator_->Clear(); });
    setWindowTitle(QString(kTitle) + (outcome == Outcome::Done        ? ""
                                      : outcome == Outcome::Cancelled ? " - Cancelled"
                                                                      : " - Failed"));
}

void frmProgress::ShowRelation(std::string_view primaryTable, std::string_view foreignTable) {
    indicator_->ShowRelation(ToQString(primaryTable), ToQString(foreignTable));
}

void frmProgress::MarkTaskRunning(std::size_t k) {
    tasks_->MarkRunning(k);
    runningTask_ = "lblTaskName" + QString::number(k);
    ShowRunningTask();
}

void frmProgress::ShowRunningTask() {
    if (auto* name = findChild<ElidedLabel*>(runningTask_)) {
        head_->ensureWidgetVisible(name);
    }
}

void frmProgress::MarkTaskCompleted(std::size_t k) {
    tasks_->MarkCompleted(k);
}

void frmProgress::ShowEndTime(std::string_view endTime) {
    lblEndTime_->setText(ToQString(endTime));
}

void frmProgress::EnableObject(ProgressControl objControl) {
    morvane::EnableObject(Button(objControl));
    if (objControl == ProgressControl::cmdOK) {
        tasks_->MarkNoneRunning();
        cmdOK_->setFocus();
    }
}

void frmProgress::DisableObject(ProgressControl objControl) {
    morvane::DisableObject(Button(objControl));
}

void frmProgress::Refresh() {
    repaint();
}

void frmProgress::ProcessEvents() {
    QCoreApplication::processEvents();
}

bool frmProgress::PollForCancel() {
    if (cancelSignalled_ && cancelSignalled_()) {
        return true;
    }
    const InputWatch watch(*this);
    QCoreApplication::processEvents();
    return watch.InputSeen() && mUserCancel;
}

// The running task notices the request at its next poll, after which it may have much to roll back.
// No event reaches the window before that, so it is repainted here.
void frmProgress::TakeCancel() {
    mUserCancel = true;
    morvane::DisableObject(*cmdCancel_);
    setWindowTitle(QString(kTitle) + " - Cancelling");
    indicator_->ShowCancelling();
    repaint();
}

void frmProgress::reject() {
    (cmdOK_->isEnabled() ? cmdOK_ : cmdCancel_)->click();
}

// Hides the window. close() would quit the program, since no other window is visible.
void frmProgress::CloseWindow() {
    hide();
    emit Closed();
}

QPushButton& frmProgress::Button(ProgressControl objControl) const {
    return *(objControl == ProgressControl::cmdOK ? cmdOK_ : cmdCancel_);
}

}  // namespace morvane
