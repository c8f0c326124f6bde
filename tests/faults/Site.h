// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "InjectingConnection.h"
#include "core/RunState.h"
#include "support/SqliteFile.h"

namespace morvane::testing {

// How a site is cleaned.
struct Way {
    const char* Name;
    bool LinkedServer;  // otherwise OPENROWSET
    bool AtomicDeletion;
    bool Locked;    // by a crashed run; otherwise the lock is free
    bool Attended;  // the next run happens in the same process, with its connection
};

// What a run returned and left behind.
struct RunOutcome {
    bool Died = false;
    bool Result = false;
    bool Asked = false;  // whether to break the lock
    std::string ErrorText;
    std::string Status;  // the word in the status file
    std::string Log;
    std::string Reports;  // all three, with a placeholder for the site's folder
};

// A folder with everything that a run works on: the warehouse, the archive on another server, the
// logs and reports, the status file.
class Site {
  public:
    explicit Site(std::string folder);

    // Creates the databases, with something for every task and every case of re-linking.
    void Fill() const;
    // Copies the databases of another site.
    void CopyFrom(const Site& other) const;

    SqliteFile Warehouse() const { return SqliteFile(folder_ + "/warehouse/dw.db"); }
    SqliteFile Archive() const { return SqliteFile(folder_ + "/archive/hist.db"); }
    bool IsLocked() const;

    // Performs a run with all five tasks, in a child process if the plan kills it. A later run
    // starts one minute after the first one and may break its lock.
    RunOutcome Run(const Way& way, FaultPlan& plan, RunState& state, bool later) const;

  private:
    std::string folder_;
};

}  // namespace morvane::testing
