#pragma once

#include <csignal>

namespace morvane {

// While one exists, the first SIGINT or SIGTERM is only noted, and a second ends the process as it
// would have at first. Output to a reader that has gone is an error and not a signal.
class CancelSignals {
  public:
    CancelSignals();
    ~CancelSignals();
    CancelSignals(const CancelSignals&) = delete;
    CancelSignals& operator=(const CancelSignals&) = delete;

    // Whether a signal has come. Stays so.
    static bool Received();

  private:
#ifdef _WIN32
    using Handler = void (*)(int);
    Handler formerInterrupt_;
    Handler formerTerminate_;
#else
    struct sigaction formerInterrupt_ {};
    struct sigaction formerTerminate_ {};
    struct sigaction formerPipe_ {};
#endif
};

}  // namespace morvane
