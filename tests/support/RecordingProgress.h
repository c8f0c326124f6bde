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
    float Minimum = 0;
    float Maximum = 0;
    float Value = 0;

    void Comment(std::string_view strComment) override {
        Log.push_back("comment " + std::string(strComment));
    }
    std::int32_t ProgressVal() const override {
        return static_cast<std::int32_t>(std::lrint(Value));
    }
    void ProgressVal(std::int32_t lngNewVal) override { Value = static_cast<float>(lngNewVal); }
    void SetProgressRange(float minimum, float maximum) override {
        Minimum = minimum;
        Maximum = maximum;
        Log.push_back("range " + std::to_string(std::lrint(minimum)) + ".." +
                      std::to_string(std::lrint(maximum)));
    }
    void SetProgressValue(float value) override {
        Log.push_back("value " + std::to_string(std::lrint(Value)) + " to " +
                      std::to_string(std::lrint(value)));
        Value = value;
    }
    void HideFrame(ProgressFrame objFrame) override { Log.push_back("hide " + Name(objFrame)); }
    void ShowFrame(ProgressFrame objFrame) override { Log.push_back("show " + Name(objFrame)); }
    void ShowRelation(std::string_view primaryTable, std::string_view foreignTable) override {
        Log.push_back("relation " + std::string(primaryTable) + " <- " + std::string(foreignTable));
    }
    void MarkTaskRunning(std::size_t k) override { Log.push_back("run " + std::to_string(k)); }
    void MarkTaskCompleted(std::size_t k) override { Log.push_back("done " + std::to_string(k)); }
    void RemoveProgIndicator() override { Log.push_back("remove indicator"); }
    void ShowEndTime(std::string_view endTime) override {
        Log.push_back("end " + std::string(endTime));
    }
    void EnableObject(ProgressControl objControl) override {
        Log.push_back("enable " + Name(objControl));
    }
    void DisableObject(ProgressControl objControl) override {
        Log.push_back("disable " + Name(objControl));
    }
    void Refresh() override {}
    void ProcessEvents() override {}

  protected:
    void ShowOverview(const RunOverview& overview) override {
        Log.push_back("load " + overview.Server + " " + overview.Database + " " +
                      overview.StartTime);
        for (const std::string& task : overview.TaskNames) {
            Log.push_back("listed " + task);
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
    static std::string Name(ProgressFrame frame) {
        return frame == ProgressFrame::OverallProgFrame ? "OverallProgFrame" : "DetectProgFrame";
    }
    static std::string Name(ProgressControl control) {
        return control == ProgressControl::cmdOK ? "cmdOK" : "cmdCancel";
    }
};

}  // namespace morvane::testing
