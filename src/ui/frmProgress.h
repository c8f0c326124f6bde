// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <functional>
#include <vector>

#include "core/ProgressWindow.h"

class QGroupBox;
class QPushButton;

namespace morvane {

class ElidedLabel;
class ProgressIndicator;
class ScrollPanel;
class TaskList;

// Shows the progress of a run and lets the user cancel it. One object serves all runs: Load()
// resets and shows it, and pressing OK after the run hides it. It is application-modal.
class frmProgress : public QDialog, public ProgressWindow {
    Q_OBJECT

  public:
    // `cancelSignalled`, which may be null, tells whether a signal has asked the process to stop.
    explicit frmProgress(std::function<bool()> cancelSignalled, QWidget* parent = nullptr);

    bool mUserCancel = false;  // Cancel has been pressed since Load()

    void Comment(std::string_view strComment) override;
    std::int32_t ProgressVal() const override;
    void ProgressVal(std::int32_t lngNewVal) override;
    void SetProgressRange(float minimum, float maximum) override;
    void SetProgressValue(float value) override;
    // The window shrinks or grows by exactly the height of the frame.
    void HideFrame(ProgressFrame objFrame) override;
    void ShowFrame(ProgressFrame objFrame) override;
    void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) override;
    void MarkTaskRunning(std::size_t k) override;
    void MarkTaskCompleted(std::size_t k) override;
    void RemoveProgIndicator() override;
    // Clears the indicator and shows in the title how the run ended.
    void ShowStopped(Outcome outcome) override;
    void ShowEndTime(std::string_view endTime) override;
    // Enabling OK also removes the running mark from the tasks, since the run is over.
    void EnableObject(ProgressControl objControl) override;
    void DisableObject(ProgressControl objControl) override;
    void Refresh() override;
    void ProcessEvents() override;

    // Escape and the close button act as Cancel during a run and as OK after it.
    void reject() override;

  signals:
    // Emitted after OK has hidden the window.
    void Closed();

  protected:
    void ShowOverview(const RunOverview& overview) override;
    // Processes pending events, which also repaints the window. Returns true if they include user
    // input and Cancel has been pressed, by that input or before. Cheap enough for every poll: with
    // nothing to do it takes microseconds.
    bool PollForCancel() override;

  private:
    QGroupBox* MakeWarehouseFrame();
    QGroupBox* MakeTimeFrame();
    QWidget* MakeButtons();
    void AlignCaptions();
    void ResetControls();
    void SettleLayout();
    void Centre();
    QPushButton& Button(ProgressControl objControl) const;
    void ResizeWithoutLoss(const QSize& wanted);
    void ChangeHeight(const std::function<void()>& change);
    int ChosenHeight() const;
    void ShowRunningTask();
    void TakeCancel();
    void CloseWindow();

    std::function<bool()> cancelSignalled_;
    ElidedLabel* lblServer_ = nullptr;
    ElidedLabel* lblDatabase_ = nullptr;
    ElidedLabel* lblStartTime_ = nullptr;
    ElidedLabel* lblEndTime_ = nullptr;
    ScrollPanel* head_ = nullptr;
    TaskList* tasks_ = nullptr;
    ProgressIndicator* indicator_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
    QMargins designedMargins_;
    int cutOff_ = 0;
    QString runningTask_ = "none";  // name of its label
    std::vector<int> ownHeights_;   // to which the program has set the window in this run
};

}  // namespace morvane
