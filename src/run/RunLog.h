// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Clock.h"
#include "base/modFileFunctions.h"
#include "core/LogStream.h"
#include "core/RunSettings.h"
#include "core/RunState.h"
#include "core/UserPrompt.h"

namespace morvane {

// The log file of a run. Lines are written immediately, so that the log of a run that dies is up to
// date. If the disk fills up during a run, the run goes on and the first error is kept.
class RunLog : public LogStream {
  public:
    // Creates the file and reserves disk space for it. Throws FileError and removes the file if
    // that fails.
    void Open(const std::string& path);
    bool IsOpen() const { return file_.has_value(); }

    void WriteLine(std::string_view text) override;
    void Close();

    // Empty before Open(); kept after Close().
    const std::string& Path() const { return path_; }
    // Why the log is incomplete; empty if it is complete.
    const std::string& Failure() const { return failure_; }

  private:
    std::string path_;
    std::string failure_;
    std::optional<TextFile> file_;
};

// The name of a run's log without a folder: "Morvane_Log05-03-202414-07-09.txt".
std::string LogFileName(const RunState& state);

// Reports a text: in a message box unless `quiet`, and as a line of the log if it is open.
void ReportMessage(UserPrompt& prompt, RunLog& log, std::string_view text, bool quiet,
                   MessageStyle style);

// A date and time as in "Tuesday, Mar 5 2024 At : 14:07:09".
std::string SummaryMoment(const LocalMoment& moment);

// The end of the log: the head line, the tasks and reports whose flags are still set, and the end
// time of the run.
std::string SummaryText(const std::string& headLine, const RunSettings& settings,
                        const RunState& state, const LocalMoment& end);

}  // namespace morvane
