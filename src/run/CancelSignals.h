// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifndef _WIN32
#include <array>
#include <csignal>
#endif

namespace morvane {

#ifndef _WIN32
// Those that are noted.
inline constexpr std::array kCancelSignals{SIGINT, SIGTERM, SIGHUP};
#endif

// While one exists, the first SIGINT or SIGTERM is only noted, and a second ends the process as it
// would have at first. SIGHUP is only noted however often it comes, and stays ignored where it is.
// On Windows Ctrl+C and Ctrl+Break are these signals; the end of the console or of the user's
// session is noted too, but leaves the process only the few seconds that the system allows.
class CancelSignals {
  public:
    CancelSignals();
    ~CancelSignals();
    CancelSignals(const CancelSignals&) = delete;
    CancelSignals& operator=(const CancelSignals&) = delete;

    // Whether a signal has come. Stays so.
    static bool Received();
    // As if one had come; from any thread.
    static void Note();

#ifndef _WIN32

  private:
    std::array<struct sigaction, kCancelSignals.size()> former_{};
#endif
};

}  // namespace morvane
