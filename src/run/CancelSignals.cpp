#include "run/CancelSignals.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <atomic>

namespace morvane {

namespace {

#ifdef _WIN32

std::atomic<bool> signalReceived = false;

// The system calls it in a thread of its own.
BOOL WINAPI NoteSignal(DWORD event) {
    const bool again = signalReceived.exchange(true);
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        return again ? FALSE : TRUE;  // FALSE leaves it to the system, which ends the process
    }
    // The console is closed or the user logs off. The system allows some seconds for that, but ends
    // the process as soon as this returns.
    Sleep(INFINITE);
    return TRUE;
}

#else

// Lock-free, so that the handler may write it and other threads read it.
std::atomic<int> signalReceived = 0;
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void NoteSignal(int number) {
    if (signalReceived != 0) {
        std::signal(number, SIG_DFL);
        std::raise(number);
        return;
    }
    signalReceived = 1;
}

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

CancelSignals::CancelSignals() {
    signalReceived = false;
    SetConsoleCtrlHandler(NoteSignal, TRUE);
}

CancelSignals::~CancelSignals() {
    SetConsoleCtrlHandler(NoteSignal, FALSE);
}

bool CancelSignals::Received() {
    return signalReceived;
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

bool CancelSignals::Received() {
    return signalReceived != 0;
}

#endif

}  // namespace morvane
