// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef _WIN32
#include "run/SessionEndWatch.h"
#else
#include <array>
#include <csignal>
#endif

namespace morvane {

#ifndef _WIN32
// The signals that cancel a run.
inline constexpr std::array kCancelSignals{SIGINT, SIGTERM, SIGHUP};
#endif

// Handles signals during its lifetime. The first SIGINT or SIGTERM is recorded, the second one ends
// the process. SIGHUP is only recorded, even if it is repeated, and stays ignored if it was. On
// Windows the signals are Ctrl+C and Ctrl+Break; closing the console, logging off and shutting down
// are recorded too, but the system ends the process a few seconds later.
class CancelSignals {
  public:
    CancelSignals();
    ~CancelSignals();
    CancelSignals(const CancelSignals&) = delete;
    CancelSignals& operator=(const CancelSignals&) = delete;

    // Whether a signal was received since the construction.
    static bool Received();
    // Acts as if a signal was received. Thread-safe.
    static void Note();

#ifdef _WIN32
    // Cancels the run of another process of this user, which needs no console for that. False if
    // that process handles no signals.
    static bool Send(unsigned long process);

  private:
    void* event_;  // set by Send()
    void* wait_ = nullptr;
    SessionEndWatch sessionEnd_{Note};
#else

  private:
    std::array<struct sigaction, kCancelSignals.size()> former_{};
#endif
};

}  // namespace morvane
