// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "InjectingConnection.h"
#include "Oracle.h"
#include "Site.h"
#include "core/RunState.h"
#include "support/RunFixture.h"

namespace morvane::testing {

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

// The circumstances of a run.
struct RunConditions {
    // Start one minute after the fixed clock's time, with other file names and archiving date than
    // the first run.
    bool Later = false;
    bool MayBreakLock = false;    // answer Yes to the question about the lock; otherwise none
    RunState* State = nullptr;    // shared by several runs of one process
    bool InChildProcess = false;  // which may be killed
};

RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan,
                     const RunConditions& conditions);

bool IsLocked(const Site& site);

// A site, its copy after an undisturbed run, and the oracle made of both.
class OnSite : public ::testing::Test {
  protected:
    OnSite() { Original.Fill(); }
    void RunUndisturbed(bool linkedServer, bool atomicDeletion, bool mayBreakLock = false);
    // Expects that a run after a disturbed one did all that was left to do.
    void ExpectCompletion(const Site& site, const RunOutcome& outcome,
                          const Contents& disturbed) const;

    TempFolder Folder;
    Site Original{Folder / "original"};
    Site Cleaned{Folder / "cleaned"};
    RunOutcome Undisturbed;
    std::vector<FaultPoint> Points;
    std::unique_ptr<Oracle> Judge;
};

}  // namespace morvane::testing
