// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "db/odbc/OdbcApi.h"

namespace morvane::odbc {

// Whether the user has asked to end the run. Called from a thread of the watch.
using CancelRequest = std::function<bool()>;

// Ends the waits of one connection for a server that does not answer. A driver's call that runs on
// after the user has asked to cancel is first cancelled as ODBC has it, and some seconds later the
// connection's sockets are shut down, which every driver takes for a lost server. The same ends a
// login that takes too long. On Windows, where sockets cannot be found, only the first is done.
class CallWatch {
  public:
    // A statement may go on this long after a request to cancel, and its cancellation take so long.
    static constexpr std::chrono::seconds kGrace{5};
    static constexpr std::chrono::seconds kCancelling{3};

    explicit CallWatch(CancelRequest cancelRequested);
    ~CallWatch();
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    // To be called once the login has succeeded: the sockets opened since this object was made are
    // the connection's.
    void TakeSockets();

    // A call of the driver that is under way for as long as this object lives; one at a time.
    class Call {
      public:
        // `statement` is null for a call on the connection itself. `limit` is the time after which
        // the call is given up whether or not the user has asked for it.
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

    // A socket by its number and identity: the number may be another file's by now.
    struct Socket {
        int Number;
        unsigned long long Identity;
        bool operator==(const Socket&) const = default;
    };

    static std::vector<Socket> InternetSockets();
    void Run();
    void LookAtCall();
    std::vector<Socket> OwnSockets() const;
    void ShutSockets();

    CancelRequest cancelRequested_;
    const std::vector<Socket> others_;        // open before this connection
    std::optional<std::vector<Socket>> own_;  // without a value until the login is done

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;
    bool active_ = false;
    bool givenUp_ = false;
    SQLHANDLE statement_ = SQL_NULL_HANDLE;
    Clock::time_point started_;
    std::optional<Clock::time_point> limit_;
    std::optional<Clock::time_point> requested_;  // when the wish to cancel was first seen
    std::thread canceller_;                       // SQLCancel may wait for the call itself
    std::thread thread_;
};

}  // namespace morvane::odbc
