// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "core/ProgressWindow.h"

namespace morvane::testing {

// Records every operation as a line in `Log`. Cancels at poll number `CancelAtPoll` (from 1) and at
// every later one. `OnPoll` is called at each poll with its number.
class RecordingProgress : public ProgressWindow {
  public:
    std::vector<std::string> Log;
    int CancelAtPoll = 0;
    int Polls = 0;
    std::function<void(int)> OnPoll;

    void Comment(std::string_view text) override { Add("comment ", text); }
    std::int32_t ProgressVal() const override { return value_; }
    void ProgressVal(std::int32_t value) override { value_ = value; }
    void SetProgressRange(float minimum, float maximum) override {
        Add("range ", Text(minimum) + ".." + Text(maximum));
    }
    void SetProgressValue(float value) override {
        Add("value ", std::to_string(value_) + " to " + Text(value));
        value_ = static_cast<std::int32_t>(std::lrint(value));
    }
    void HideFrame(ProgressFrame frame) override { Add("hide ", Name(frame)); }
    void ShowFrame(ProgressFrame frame) override { Add("show ", Name(frame)); }
    void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) override {
        Add("relation ", std::string(primaryTable) + " <- " + std::string(foreignTable));
    }
    void MarkTaskRunning(std::size_t k) override { Add("run ", std::to_string(k)); }
    void MarkTaskCompleted(std::size_t k) override { Add("done ", std::to_string(k)); }
    void RemoveProgIndicator() override { Add("remove indicator", ""); }
    void ShowStopped(Outcome outcome) override {
        Add("stopped ", outcome == Outcome::Done        ? "done"
                        : outcome == Outcome::Cancelled ? "cancelled"
                                                        : "failed");
    }
    void ShowEndTime(std::string_view endTime) override { Add("end ", endTime); }
    void EnableObject(ProgressControl control) override { Add("enable ", Name(control)); }
    void DisableObject(ProgressControl control) override { Add("disable ", Name(control)); }
    void Refresh() override {}
    void ProcessEvents() override {}

  protected:
    void ShowOverview(const RunOverview& overview) override {
        Add("load ", overview.Server + " " + overview.Database + " " + overview.StartTime);
        for (const std::string& task : overview.TaskNames) {
            Add("listed ", task);
        }
    }
    bool PollForCancel() override {
        ++Polls;
        if (OnPoll) {
            OnPoll(Polls);
        }
        return CancelAtPoll > 0 && Polls >= CancelAtPoll;
    }

  private:
    void Add(std::string_view operation, std::string_view what) {
        Log.push_back(std::string(operation) + std::string(what));
    }
    static std::string Text(float value) { return std::to_string(std::lrint(value)); }
    static std::string Name(ProgressFrame frame) {
        return frame == ProgressFrame::OverallProgFrame ? "OverallProgFrame" : "DetectProgFrame";
    }
    static std::string Name(ProgressControl control) {
        return control == ProgressControl::cmdOK ? "cmdOK" : "cmdCancel";
    }

    std::int32_t value_ = 0;
};

}  // namespace morvane::testing
