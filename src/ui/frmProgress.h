// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <functional>

#include "core/ProgressWindow.h"

class QDialogButtonBox;
class QGroupBox;
class QPushButton;

namespace morvane {

class ElidedLabel;
class ProgressIndicator;
class TaskList;

// The window that shows a run, and takes the wish to cancel it. One object serves all runs: each
// Load() shows it as new. It is modal to the program, hidden until the first Load(), and hides
// itself when the user has pressed OK; a program without a user hides it when the run is over.
class frmProgress : public QDialog, public ProgressWindow {
    Q_OBJECT

  public:
    // `cancelSignalled`, which may be null, tells whether the process was asked to stop by a
    // signal.
    explicit frmProgress(std::function<bool()> cancelSignalled, QWidget* parent = nullptr);

    bool mUserCancel = false;  // the user has pressed Cancel since the window was loaded

    void Comment(std::string_view strComment) override;
    std::int32_t ProgressVal() const override;
    void ProgressVal(std::int32_t lngNewVal) override;
    void SetProgressRange(float minimum, float maximum) override;
    void SetProgressValue(float value) override;
    // The window gives up, or takes, exactly the height of the frame.
    void HideFrame(ProgressFrame objFrame) override;
    void ShowFrame(ProgressFrame objFrame) override;
    void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) override;
    void MarkTaskRunning(std::size_t k) override;
    void MarkTaskCompleted(std::size_t k) override;
    void RemoveProgIndicator() override;
    void ShowEndTime(std::string_view endTime) override;
    // An enabled OK button means that the run is over.
    void EnableObject(ProgressControl objControl) override;
    void DisableObject(ProgressControl objControl) override;
    void Refresh() override;
    void ProcessEvents() override;

    // Escape and the close box: what Cancel does during a run, what OK does after it.
    void reject() override;

  signals:
    // The user has pressed OK, and the window is hidden.
    void Closed();

  protected:
    void ShowOverview(const RunOverview& overview) override;
    // One pass of the event loop, which also keeps the window painted. True when input was waiting
    // for it and Cancel has been pressed, by that input or before. A pass with nothing to do takes
    // some microseconds, so that no poll goes without one.
    bool PollForCancel() override;

  private:
    QGroupBox* MakeWarehouseFrame();
    QGroupBox* MakeTimeFrame();
    QDialogButtonBox* MakeButtons();
    void AlignCaptions();
    void ResetControls();
    void SettleLayout();
    void Centre();
    QPushButton& Button(ProgressControl objControl) const;
    void ChangeHeight(const std::function<void()>& change);
    void CloseWindow();

    std::function<bool()> cancelSignalled_;
    ElidedLabel* lblServer_ = nullptr;
    ElidedLabel* lblDatabase_ = nullptr;
    ElidedLabel* lblStartTime_ = nullptr;
    ElidedLabel* lblEndTime_ = nullptr;
    TaskList* tasks_ = nullptr;
    ProgressIndicator* indicator_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QPushButton* cmdCancel_ = nullptr;
    QMargins designedMargins_;
};

}  // namespace morvane
