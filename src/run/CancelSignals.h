#pragma once

#ifndef _WIN32
#include <csignal>
#endif

namespace morvane {

// While one exists, the first SIGINT or SIGTERM is only noted, and a second ends the process as it
// would have at first. Output to a reader that has gone is an error and not a signal. On Windows
// Ctrl+C and Ctrl+Break are these signals; the end of the console or of the user's session is noted
// too, but leaves the process only the few seconds that the system allows.
class CancelSignals {
  public:
    CancelSignals();
    ~CancelSignals();
    CancelSignals(const CancelSignals&) = delete;
    CancelSignals& operator=(const CancelSignals&) = delete;

    // Whether a signal has come. Stays so.
    static bool Received();

#ifndef _WIN32

  private:
    struct sigaction formerInterrupt_ {};
    struct sigaction formerTerminate_ {};
    struct sigaction formerPipe_ {};
#endif
};

}  // namespace morvane
