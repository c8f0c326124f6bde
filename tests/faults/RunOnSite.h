#pragma once

#include <string>

#include "InjectingConnection.h"
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
// question gets the answer Yes when the run is `told` to go on, and none otherwise.
RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                     bool told);
// The same with the state of a process that has run before, or will run again.
RunOutcome RunOnSite(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                     bool told, RunState& state);
// An unattended run in a process of its own, which may die.
RunOutcome RunInChild(const Site& site, const RunSettings& settings, FaultPlan& plan, int minutes,
                      bool told);

// Whether the table of the lock says so.
bool IsLocked(const Site& site);

// The files of the run that began at this moment.
std::string ReadLog(const Site& site, const LocalMoment& start);
std::string ReadReports(const Site& site, const LocalMoment& start);
// Whether every one of the three reports is there and has its end.
::testing::AssertionResult ReportsAreWhole(const std::string& reports);

}  // namespace morvane::testing
