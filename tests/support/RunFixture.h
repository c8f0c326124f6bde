// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "run/RunServices.h"
#include "run/RunTasks.h"
#include "support/FixedClock.h"
#include "support/RecordingProgress.h"
#include "support/ScriptedPrompt.h"
#include "support/Star.h"
#include "support/TempFolder.h"

namespace morvane::testing {

// Check, mark, report, delete, with a log; unattended.
RunSettings EveryTask(const std::string& server, const std::string& logFolder);
// Archiving too, into the database "hist" of that server. Integrated security is for one of the
// two connections alone: for the archive's when it is a linked server.
void AddArchiving(RunSettings& settings, const std::string& server, bool linkedServer);

// Everything that a run needs, with a prompt that nobody answers.
struct TestServices {
    FixedClock Clock;
    ScriptedPrompt Prompt;
    RecordingProgress Progress;
    std::ostringstream Output;
    std::ostringstream Errors;
    RunServices Services;

    explicit TestServices(ConnectionFactory connect = {});
};

// A run that no user attends; returns its error text.
std::string RunUnattended(const RunSettings& settings);

class RunFixture : public ::testing::Test {
  protected:
    RunFixture();

    // A run in a process of its own, so to speak: with a fresh state.
    bool Run(const RunSettings& settings, const CommandLineReport& commandLine = {});
    // The log of the last run, the test's folders replaced.
    std::string Log() const;
    std::string Status() const;

    TestWarehouse Warehouse;
    TempFolder Files;
    TestServices World;
    RunState State;
    RunSettings Settings;
};

}  // namespace morvane::testing
