// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "InjectingConnection.h"
#include "support/RunFixture.h"

namespace morvane::testing {

// A kind of run.
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
    std::string Reports;  // all three
};

struct Site : RunSite {
    // Copies the databases of another site.
    void CopyFrom(const Site& other) const;

    bool IsLocked() const;
    // The findings of the program's own verification, "check table count" each.
    std::vector<std::string> Findings() const;

    // Performs a run with all five tasks, in a child process if the plan kills it. A later run
    // starts one minute after the first one and may break its lock.
    RunOutcome Run(const Way& way, FaultPlan& plan, RunState& state, bool later) const;
};

}  // namespace morvane::testing
