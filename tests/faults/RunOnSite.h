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

// How a run ended, by what it left.
struct RunOutcome {
    bool Died = false;
    bool Result = false;
    bool Asked = false;  // whether to go on although the lock is set
    std::string ErrorText;
    std::string Status;   // the word in the status file
    std::string Log;      // empty if there is none
    std::string Reports;  // all three, without the folder of the site
};

// Everything else about a run than its settings.
struct RunConditions {
    // Whether the run starts one minute after the fixed clock's moment, so that its files and its
    // date of archiving differ from those of an earlier run.
    bool Later = false;
    bool MayBreakLock = false;    // the answer to the question; otherwise there is none
    RunState* State = nullptr;    // of a process that runs more than once
    bool InChildProcess = false;  // which may die
};

RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan,
                     const RunConditions& conditions);

bool IsLocked(const Site& site);

// A site, a copy of it that an undisturbed run has cleaned, and the oracle that knows both.
class OnSite : public ::testing::Test {
  protected:
    OnSite() { Original.Fill(); }
    void RunUndisturbed(bool linkedServer, bool atomicDeletion, bool mayBreakLock = false);
    // A later run has completed what a disturbed run had left.
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
