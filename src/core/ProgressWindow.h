// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/ErrorTrap.h"

namespace morvane {

// The head of the window.
struct RunOverview {
    std::string Server;
    std::string Database;
    std::string StartTime;
    std::vector<std::string> TaskNames;  // the selected tasks, in the order of the settings window
};

// The two frames above the progress bar; one is visible at a time.
enum class ProgressFrame { OverallProgFrame, DetectProgFrame };
enum class ProgressControl { cmdOK, cmdCancel };

// Shows a run's progress and reports whether the user has cancelled. Implemented by the window, the
// console and a recorder for tests.
class ProgressWindow {
  public:
    virtual ~ProgressWindow() = default;

    // Starts a new run: clears an earlier cancel, fills the head and shows the window.
    void Load(const RunOverview& overview) {
        cancelReported_ = false;
        ShowOverview(overview);
    }

    virtual void Comment(std::string_view strComment) = 0;

    // The bar's value, rounded to the nearest integer, ties to even.
    virtual std::int32_t ProgressVal() const = 0;
    virtual void ProgressVal(std::int32_t lngNewVal) = 0;
    // prgProgress.Min, .Max and .Value; no range check.
    virtual void SetProgressRange(float minimum, float maximum) = 0;
    virtual void SetProgressValue(float value) = 0;

    virtual void HideFrame(ProgressFrame objFrame) = 0;
    virtual void ShowFrame(ProgressFrame objFrame) = 0;
    // lblPrimaryTable and lblForeignTable.
    virtual void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) = 0;

    // Marks the k-th listed task (from 0) as running in its caption, or checks it off.
    virtual void MarkTaskRunning(std::size_t k) = 0;
    virtual void MarkTaskCompleted(std::size_t k) = 0;

    // Polls the user's input; true if it asks to cancel. Cheap; called between units of work.
    bool CheckCancelState() {
        const bool cancelled = PollForCancel();
        cancelReported_ = cancelReported_ || cancelled;
        return cancelled;
    }
    // Whether a poll since Load() returned true; later polls may find no more input.
    bool CancelReported() const { return cancelReported_; }

    virtual void RemoveProgIndicator() = 0;
    // The run is over without all of its tasks: nothing may look as if it were still running. Done
    // if a cancel came after the last task.
    virtual void ShowStopped(Outcome outcome) = 0;
    virtual void ShowEndTime(std::string_view endTime) = 0;
    virtual void EnableObject(ProgressControl objControl) = 0;
    virtual void DisableObject(ProgressControl objControl) = 0;

    virtual void Refresh() = 0;        // repaint now
    virtual void ProcessEvents() = 0;  // one pass of the event loop

  protected:
    virtual void ShowOverview(const RunOverview& overview) = 0;
    virtual bool PollForCancel() = 0;

  private:
    bool cancelReported_ = false;
};

// The caption without its access key markers: removes every "&".
inline std::string RemUnderscore(std::string_view strCaption) {
    std::string plain(strCaption);
    std::erase(plain, '&');
    return plain;
}

}  // namespace morvane
