// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "core/ProgressWindow.h"

namespace morvane {

// Progress on a terminal: one line, drawn anew whenever what it says changes. Without a terminal it
// is silent.
class ConsoleProgress : public ProgressWindow {
  public:
    // `columns` is the width of the terminal, 0 where there is none. `inputWaits` tells whether the
    // user has asked to cancel, which on a console is all that he can put in.
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
    void ShowEndTime(std::string_view endTime) override;
    // The OK button can be pressed when the run is over: the line makes room for what follows.
    void EnableObject(ProgressControl objControl) override;
    void DisableObject(ProgressControl objControl) override;
    void Refresh() override;
    void ProcessEvents() override;

  protected:
    void ShowOverview(const RunOverview& overview) override;
    // A request to cancel made before Load(), while the run was connecting, still counts.
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

// The width of the terminal that standard error goes to; 0 when it is none.
int ErrorTerminalColumns();

}  // namespace morvane
