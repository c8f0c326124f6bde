// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/BusyWait.h"

#include <algorithm>

namespace morvane::embedded {

namespace {

// Milliseconds. Short at first, since most locks are held for one statement.
constexpr int kShortest = 1;
constexpr int kLongest = 100;

}  // namespace

void BusyWait::Serve(sqlite3* database) {
    sqlite3_busy_handler(
        database,
        [](void* self, int tries) {
            return static_cast<BusyWait*>(self)->TryAgain(tries == 0) ? 1 : 0;
        },
        this);
}

bool BusyWait::TryAgain(bool isFirst) {
    if (isFirst) {
        waited_ = 0;
        cancelledBefore_ = limit_ > 0 && CancelRequested();
    }
    if (waited_ >= limit_ || (!cancelledBefore_ && CancelRequested())) {
        return false;
    }
    const int pause = std::min({std::max(kShortest, waited_ / 4), kLongest, limit_ - waited_});
    sqlite3_sleep(pause);
    waited_ += pause;
    return true;
}

// SQLite calls it, which knows no exceptions.
bool BusyWait::CancelRequested() const noexcept {
    try {
        return cancelRequested_ && cancelRequested_();
    } catch (...) {
        return false;
    }
}

}  // namespace morvane::embedded
