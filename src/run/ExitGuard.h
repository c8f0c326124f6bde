// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace morvane {

// A library may call exit() in the middle of a run, as the toolkit does when it loses its display.
// While guards exist, exit() in the thread that made them first does their work, that of the latest
// first, and then ends the process with the exit code 0. The stack below the call is as it was, and
// stays. What the work throws is dropped.
class ExitGuard {
  public:
    explicit ExitGuard(std::function<void()> work);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;

    // For a library that says what it is about to do and ends the process without exit(): does the
    // same. Returns only where there is no guard.
    static void ExitInOrder();

    // Whether the process is ending: nothing may be asked of the library any more.
    static bool ExitUnderWay();

  private:
    std::function<void()> work_;
};

}  // namespace morvane
