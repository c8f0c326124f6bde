// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/modFileFunctions.h"
#include "core/RunState.h"
#include "reports/modGenerateReports.h"

namespace morvane {

// Joins lines, each followed by CR LF.
std::string Lines(std::initializer_list<std::string_view> lines);

// A report being written. The file is ASCII: other characters become numeric character references.
// The destructor closes the file, but only Close() reports a full disk. Throws FileError.
class ReportFile {
  public:
    explicit ReportFile(const std::string& path) : file_(path) {}

    // Writes the text and CR LF in a single write.
    void WriteLine(std::string_view text);
    // Writes a text that contains its own line breaks in a single write.
    void Write(std::string_view text);
    void Close() { file_.Close(); }

  private:
    TextFile file_;
    std::string ascii_;  // a member so that its memory is reused
};

// Everything above a report's own table: style sheet, heading, start time of the run, warehouse,
// and links to the other two reports. Ends with a line break. Does not escape anything. Throws
// DatabaseError if the connection's properties cannot be read.
std::string BuildReportHead(const RunState& state, std::string_view title, std::string_view heading,
                            Report firstLink, Report secondLink);

// Everything from the end of a report's last table to the end of the file, without a final line
// break.
std::string BuildReportFoot();

}  // namespace morvane
