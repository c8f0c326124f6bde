// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "db/odbc/OdbcHandle.h"

namespace morvane::odbc {

// Whether the user has cancelled the run. Called from the watch's thread.
using CancelRequest = std::function<bool()>;

// Interrupts a connection's calls to an unresponsive server. When the user has cancelled, a running
// driver call is first cancelled with SQLCancel; some seconds later the connection's sockets are
// shut down, which drivers report as a lost connection. A login that takes too long ends the same
// way. On Windows the sockets cannot be found, so only SQLCancel is used.
class CallWatch {
  public:
    // How long a statement may run after the user has cancelled, and how long SQLCancel may take.
    static constexpr std::chrono::seconds kGrace{5};
    static constexpr std::chrono::seconds kCancelling{3};

    explicit CallWatch(CancelRequest cancelRequested);
    ~CallWatch();
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    // Call this after a successful login: the sockets opened since construction are the
    // connection's.
    void TakeSockets();

    // The scope of a driver call; one at a time.
    class Call {
      public:
        // `statement` is null for a call on the connection itself. After `limit` the call is given
        // up even if the user has not cancelled.
        explicit Call(CallWatch& watch, SQLHANDLE statement = SQL_NULL_HANDLE,
                      std::optional<std::chrono::seconds> limit = {});
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        // Whether the watch has shut the connection down.
        bool GivenUp() const;

      private:
        CallWatch& watch_;
    };

  private:
    using Clock = std::chrono::steady_clock;

    // File number and inode: the number may have been reused.
    struct Socket {
        int Number;
        unsigned long long Identity;
        bool operator==(const Socket&) const = default;
    };

    static std::vector<Socket> InternetSockets();
    void Run();
    void CheckCall();
    std::vector<Socket> OwnSockets() const;
    void ShutSockets();

    CancelRequest cancelRequested_;
    const std::vector<Socket> others_;        // opened before this connection
    std::optional<std::vector<Socket>> own_;  // not set before TakeSockets()

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;
    bool active_ = false;
    bool givenUp_ = false;
    SQLHANDLE statement_ = SQL_NULL_HANDLE;
    Clock::time_point started_;
    std::optional<Clock::time_point> limit_;
    std::optional<Clock::time_point> requested_;  // when the cancel was first seen
    std::thread canceller_;                       // SQLCancel may block until the call returns
    std::thread thread_;
};

}  // namespace morvane::odbc
