// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace morvane {

// A run's log. WriteLine() never throws; write errors are reported at the end of the run.
class LogStream {
  public:
    virtual ~LogStream() = default;
    virtual void WriteLine(std::string_view text) = 0;
};

}  // namespace morvane
