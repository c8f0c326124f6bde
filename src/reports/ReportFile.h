// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/modFileFunctions.h"

namespace morvane {

// The lines, each ended by CR LF.
std::string Lines(std::initializer_list<std::string_view> lines);

// A report on its way to the disk. What is written is ASCII: a character beyond it becomes a
// numeric reference. The destructor closes the file with what it holds; a full disk may show only
// in Close(). Throws FileError.
class ReportFile {
  public:
    explicit ReportFile(const std::string& path) : file_(path) {}

    // One write of the text and CR LF.
    void WriteLine(std::string_view text);
    // One write of a text that brings its own line ends.
    void Write(std::string_view text);
    void Close() { file_.Close(); }

  private:
    TextFile file_;
    std::string ascii_;  // kept for its memory
};

}  // namespace morvane
