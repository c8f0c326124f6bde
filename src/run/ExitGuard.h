// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace morvane {

// Cleans up if a library calls exit() in the middle of a run, as Qt does when it loses its display.
// exit() in the thread that created the guards then runs their work, the latest first, and ends the
// process with exit code 0, without unwinding the stack. Exceptions of the work are ignored.
class ExitGuard {
  public:
    explicit ExitGuard(std::function<void()> work);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;

    // Does the same for a library that ends the process by other means but announces it. Returns
    // only if there is no guard.
    static void ExitInOrder();

    // Whether the process is ending, so that the library must not be used any more.
    static bool ExitUnderWay();

  private:
    std::function<void()> work_;
};

}  // namespace morvane
