// SPDX-License-Identifier: Apache-2.0
#include "run/CancelSignals.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <atomic>
#include <string>

namespace morvane {

namespace {

// Lock-free, as a signal handler requires.
std::atomic<bool> signalReceived = false;
static_assert(std::atomic<bool>::is_always_lock_free);

#ifdef _WIN32

std::wstring CancelEventName(unsigned long process) {
    return L"Local\\morvane-cancel-" + std::to_wstring(process);
}

// Called by the system in a separate thread, as the next one.
void CALLBACK NoteEvent(void*, BOOLEAN) {
    signalReceived = true;
}

BOOL WINAPI NoteSignal(DWORD event) {
    const bool again = signalReceived.exchange(true);
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        return again ? FALSE : TRUE;  // after FALSE the system ends the process
    }
    // The console is closed. The system ends the process when this returns, or after some seconds.
    Sleep(INFINITE);
    return TRUE;
}

#else

std::atomic<bool> endAsked = false;

// When a session ends it may send several SIGHUPs and a SIGTERM: a SIGHUP does not count as a
// second request.
extern "C" void NoteSignal(int number) {
    signalReceived = true;
    if (number != SIGHUP && endAsked.exchange(true)) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
}

void Install(int number, struct sigaction& former) {
    sigaction(number, nullptr, &former);
    if (number == SIGHUP && former.sa_handler == SIG_IGN) {
        return;  // nohup(1)
    }
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    sigemptyset(&action.sa_mask);
    // Restarts interrupted reads and writes, so that no output is lost. User input is waited for in
    // ppoll(), which a signal always interrupts.
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

#endif

}  // namespace

#ifdef _WIN32

CancelSignals::CancelSignals()
    : event_(CreateEventW(nullptr, TRUE, FALSE, CancelEventName(GetCurrentProcessId()).c_str())) {
    signalReceived = false;
    SetConsoleCtrlHandler(NoteSignal, TRUE);
    if (event_ != nullptr) {
        RegisterWaitForSingleObject(&wait_, event_, NoteEvent, nullptr, INFINITE,
                                    WT_EXECUTEONLYONCE);
    }
}

CancelSignals::~CancelSignals() {
    SetConsoleCtrlHandler(NoteSignal, FALSE);
    if (wait_ != nullptr) {
        UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
    }
    if (event_ != nullptr) {
        CloseHandle(event_);
    }
}

bool CancelSignals::Send(unsigned long process) {
    const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, CancelEventName(process).c_str());
    if (event == nullptr) {
        return false;
    }
    const bool sent = SetEvent(event) != 0;
    CloseHandle(event);
    return sent;
}

#else

CancelSignals::CancelSignals() {
    signalReceived = false;
    endAsked = false;
    for (std::size_t i = 0; i < kCancelSignals.size(); ++i) {
        Install(kCancelSignals[i], former_[i]);
    }
}

CancelSignals::~CancelSignals() {
    for (std::size_t i = 0; i < kCancelSignals.size(); ++i) {
        sigaction(kCancelSignals[i], &former_[i], nullptr);
    }
}

#endif

bool CancelSignals::Received() {
    return signalReceived;
}

void CancelSignals::Note() {
    signalReceived = true;
}

}  // namespace morvane
