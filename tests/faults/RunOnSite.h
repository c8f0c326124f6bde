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

// MORVANE_FAULTS=all disturbs a run at every point that it passes. Otherwise the tests take a
// sample of them, since each point is two runs.
bool EveryFaultIsWanted();

// How a run ended, by what it left.
struct RunOutcome {
    bool Died = false;
    bool Result = false;
    bool Asked = false;  // whether it asked to go on in spite of the lock
    std::string ErrorText;
    std::string Status;   // the word in the status file
    std::string Log;      // empty without one
    std::string Reports;  // all three, without what differs between sites and moments
};

// An unattended run on a site at the fixed clock's moment and `minutes` later, in this process. A
// question gets the answer Yes when the run is `told` to go on, and none otherwise. The state may
// be that of a process that has run before, or will run again.
RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                     bool told, RunState* state = nullptr);
// An unattended run in a process of its own, which may die.
RunOutcome RunInChild(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                      bool told);

// Whether the table of the lock says so.
bool IsLocked(const Site& site);

// A site, what an undisturbed run makes of a copy of it, and the oracle that knows both.
class OnSite {
  protected:
    OnSite() { Original.Fill(); }
    void RunUndisturbed(bool linkedServer, bool atomicDeletion, bool told = false);
    // A later run has completed what a disturbed one had left.
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
