// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "core/ProgressWindow.h"

namespace morvane {

// Shows progress as one line on a terminal, redrawn on each change. Silent without a terminal.
class ConsoleProgress : public ProgressWindow {
  public:
    // `columns` is the width of the terminal, 0 for none. `inputWaits` returns whether the user has
    // asked to cancel, the only input on a console.
    ConsoleProgress(std::ostream& stream, int columns, std::function<bool()> inputWaits);
    ~ConsoleProgress() override;

    void Comment(std::string_view strComment) override;
    std::int32_t ProgressVal() const override;
    void ProgressVal(std::int32_t lngNewVal) override;
    void SetProgressRange(float minimum, float maximum) override;
    void SetProgressValue(float value) override;
    void HideFrame(ProgressFrame objFrame) override;
    void ShowFrame(ProgressFrame objFrame) override;
    void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) override;
    void MarkTaskRunning(std::size_t k) override;
    void MarkTaskCompleted(std::size_t k) override;
    void RemoveProgIndicator() override;
    void ShowStopped(Outcome outcome) override;
    void ShowEndTime(std::string_view endTime) override;
    // Enabling the OK button marks the end of a run: erases the line.
    void EnableObject(ProgressControl objControl) override;
    void DisableObject(ProgressControl objControl) override;
    void Refresh() override;
    void ProcessEvents() override;

  protected:
    void ShowOverview(const RunOverview& overview) override;
    // Also true for a request from before Load(), while the run was connecting.
    bool PollForCancel() override;

  private:
    int Percent() const;
    std::string Line() const;
    void Draw();
    void Erase();

    std::ostream& stream_;
    int columns_;
    std::function<bool()> inputWaits_;

    std::vector<std::string> taskNames_;
    std::string_view ending_;
    std::size_t listed_ = 0;
    std::string comment_;
    std::string relation_;
    ProgressFrame shownFrame_ = ProgressFrame::OverallProgFrame;
    float minimum_ = 0;
    float maximum_ = 0;
    float value_ = 0;
    int drawnPercent_ = -1;
    std::size_t drawnLength_ = 0;
};

// The width of the terminal on standard error; 0 if it is not a terminal.
int ErrorTerminalColumns();

}  // namespace morvane
