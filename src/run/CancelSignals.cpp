#include "run/CancelSignals.h"

namespace morvane {

namespace {

volatile std::sig_atomic_t signalReceived = 0;

extern "C" void NoteSignal(int number) {
    if (signalReceived != 0) {
        std::signal(number, SIG_DFL);
        std::raise(number);
        return;
    }
    signalReceived = 1;
#ifdef _WIN32
    std::signal(number, NoteSignal);  // the system has put the default back
#endif
}

#ifndef _WIN32

void Install(int number, void (*handler)(int), struct sigaction& former) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // Reads and writes under way go on: a signal must cost neither a line of the log nor the
    // console. What waits for the user waits in ppoll(), which a signal always ends.
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, &former);
}

#endif

}  // namespace

#ifdef _WIN32

CancelSignals::CancelSignals()
    : formerInterrupt_(std::signal(SIGINT, NoteSignal)),
      formerTerminate_(std::signal(SIGTERM, NoteSignal)) {
    signalReceived = 0;
}

CancelSignals::~CancelSignals() {
    std::signal(SIGINT, formerInterrupt_);
    std::signal(SIGTERM, formerTerminate_);
}

#else

CancelSignals::CancelSignals() {
    signalReceived = 0;
    Install(SIGINT, NoteSignal, formerInterrupt_);
    Install(SIGTERM, NoteSignal, formerTerminate_);
    Install(SIGPIPE, SIG_IGN, formerPipe_);
}

CancelSignals::~CancelSignals() {
    sigaction(SIGINT, &formerInterrupt_, nullptr);
    sigaction(SIGTERM, &formerTerminate_, nullptr);
    sigaction(SIGPIPE, &formerPipe_, nullptr);
}

#endif

bool CancelSignals::Received() {
    return signalReceived != 0;
}

}  // namespace morvane
