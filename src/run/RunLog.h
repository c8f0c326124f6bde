// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/modFileFunctions.h"
#include "core/LogStream.h"
#include "core/UserPrompt.h"

namespace morvane {

// The log file of a run. A line is in the file when it is written, so that the log of a run that
// dies tells how far it came. A disk that fills up later never stops the run half-way: the first
// failure is kept for the end.
class RunLog : public LogStream {
  public:
    // Makes the file and takes room for it. Throws FileError, and leaves no file, when that fails.
    void Open(const std::string& path);
    bool IsOpen() const { return file_.has_value(); }

    void WriteLine(std::string_view text) override;
    void Close();

    // Empty until Open(); stays after Close().
    const std::string& Path() const { return path_; }
    // Why the log is incomplete; empty when it is not.
    const std::string& Failure() const { return failure_; }

  private:
    std::string path_;
    std::string failure_;
    std::optional<TextFile> file_;
};

// The one way in which a run reports: a message box unless `quiet`, and a line of an open log.
void ReportMessage(UserPrompt& prompt, RunLog& log, std::string_view text, bool quiet,
                   MessageStyle style);

}  // namespace morvane
