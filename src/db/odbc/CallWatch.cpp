// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/CallWatch.h"

#include <algorithm>
#include <utility>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/stat.h>

#include <charconv>
#include <csignal>
#include <filesystem>
#endif

namespace morvane::odbc {

namespace {

constexpr std::chrono::milliseconds kInterval{200};

#ifndef _WIN32

// Threads inherit the signal mask. Signals must go to the main thread and interrupt its waits.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t former_{};
};

bool IsInternetSocket(int number) {
    sockaddr_storage address{};
    socklen_t size = sizeof(address);
    return getsockname(number, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
           (address.ss_family == AF_INET || address.ss_family == AF_INET6);
}

#else

struct SignalsBlocked {};

#endif

}  // namespace

CallWatch::CallWatch(CancelRequest cancelRequested)
    : cancelRequested_(std::move(cancelRequested)), others_(InternetSockets()) {
    [[maybe_unused]] const SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
}

CallWatch::~CallWatch() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void CallWatch::TakeSockets() {
    std::vector<Socket> own = OwnSockets();
    const std::lock_guard lock(mutex_);
    own_ = std::move(own);
}

std::vector<CallWatch::Socket> CallWatch::OwnSockets() const {
    std::vector<Socket> sockets = InternetSockets();
    std::erase_if(sockets, [this](const Socket& socket) {
        return std::find(others_.begin(), others_.end(), socket) != others_.end() ||
               (own_ && std::find(own_->begin(), own_->end(), socket) == own_->end());
    });
    return sockets;
}

CallWatch::Call::Call(CallWatch& watch, SQLHANDLE statement,
                      std::optional<std::chrono::seconds> limit)
    : watch_(watch) {
    const std::lock_guard lock(watch_.mutex_);
    watch_.active_ = true;
    watch_.statement_ = statement;
    watch_.started_ = Clock::now();
    watch_.limit_ = limit ? std::optional(watch_.started_ + *limit) : std::nullopt;
}

CallWatch::Call::~Call() {
    std::unique_lock lock(watch_.mutex_);
    if (watch_.canceller_.joinable()) {
        // The statement must not be freed while it is being cancelled.
        std::thread canceller = std::move(watch_.canceller_);
        lock.unlock();
        canceller.join();
        lock.lock();
    }
    watch_.active_ = false;
}

bool CallWatch::Call::GivenUp() const {
    const std::lock_guard lock(watch_.mutex_);
    return watch_.givenUp_;
}

void CallWatch::Run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        wake_.wait_for(lock, kInterval);
        try {
            if (!requested_ && cancelRequested_ && cancelRequested_()) {
                requested_ = Clock::now();
            }
            if (active_ && !ending_) {
                CheckCall();
            }
        } catch (...) {
            // Out of memory or threads; try again.
        }
    }
}

void CallWatch::CheckCall() {
    const Clock::time_point now = Clock::now();
    if (limit_ && now >= *limit_) {
        ShutSockets();
    }
    if (!requested_) {
        return;
    }
    const Clock::time_point cancelAt = std::max(*requested_, started_) + kGrace;
    if (now >= cancelAt && statement_ != SQL_NULL_HANDLE) {
        const SQLHANDLE statement = std::exchange(statement_, SQLHANDLE{});
        canceller_ = std::thread([statement] { SQLCancel(statement); });
    }
    if (now >= cancelAt + kCancelling) {
        ShutSockets();
    }
}

#ifdef _WIN32

std::vector<CallWatch::Socket> CallWatch::InternetSockets() {
    return {};
}

void CallWatch::ShutSockets() {}

#else

std::vector<CallWatch::Socket> CallWatch::InternetSockets() {
    std::vector<Socket> sockets;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd", ignored)) {
        const std::string name = entry.path().filename().string();
        int number = -1;
        std::from_chars(name.data(), name.data() + name.size(), number);
        struct stat status {};
        if (number >= 0 && IsInternetSocket(number) && fstat(number, &status) == 0) {
            sockets.push_back({number, status.st_ino});
        }
    }
    return sockets;
}

void CallWatch::ShutSockets() {
    for (const Socket& socket : OwnSockets()) {
        shutdown(socket.Number, SHUT_RDWR);
        givenUp_ = true;
    }
}

#endif

}  // namespace morvane::odbc
