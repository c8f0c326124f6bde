// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <functional>

namespace morvane::embedded {

// How a connection waits for a database that another process has locked. A wait ends with an error
// after `Seconds`, or when the user asks to cancel the run while it lasts. A wait that begins after
// that request takes its whole time: it belongs to the orderly end of the run, such as the release
// of the lock.
class BusyWait {
  public:
    explicit BusyWait(std::function<bool()> cancelRequested)
        : cancelRequested_(std::move(cancelRequested)) {}
    BusyWait(const BusyWait&) = delete;
    BusyWait& operator=(const BusyWait&) = delete;

    int Seconds() const { return limit_ / 1000; }
    void SetSeconds(int seconds) { limit_ = seconds * 1000; }

    // Makes the database wait so. It must not outlive this object.
    void Serve(sqlite3* database);

  private:
    bool TryAgain(bool isFirst);
    bool CancelRequested() const noexcept;

    std::function<bool()> cancelRequested_;
    int limit_ = 15 * 1000;  // milliseconds
    int waited_ = 0;         // in the present wait
    bool cancelledBefore_ = false;
};

}  // namespace morvane::embedded
