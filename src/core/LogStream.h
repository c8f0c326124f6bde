// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane {

// Where a run writes what it did, line by line. A line that cannot be written is told at the end
// of the run, not by the writer.
class LogStream {
  public:
    virtual ~LogStream() = default;
    virtual void WriteLine(std::string_view text) = 0;
};

}  // namespace morvane
