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

// Settings that check, mark, report and delete, with a log.
RunSettings EveryTask(const std::string& server, const std::string& logFolder);
// Adds archiving into the database "hist" of that server. Only one of the two connections can use
// integrated security: the archive's if it is a linked server, otherwise the warehouse's.
void AddArchiving(RunSettings& settings, const std::string& server, bool linkedServer);

// The services of a run in memory. The prompt has no answers.
struct TestServices {
    FixedClock Clock;
    ScriptedPrompt Prompt;
    RecordingProgress Progress;
    std::ostringstream Output;
    std::ostringstream Errors;
    RunServices Services;

    explicit TestServices(ConnectionFactory connect = {});
};

// Performs an unattended run and returns its error text.
std::string RunUnattended(const RunSettings& settings, ConnectionFactory connect = {});

// The star with an archive on another server.
class RunFixture : public ::testing::Test {
  protected:
    RunFixture();

    // Performs an unattended run with a fresh state.
    bool Run(const RunSettings& settings, const CommandLineReport& commandLine = {});
    // The log of the last run, with placeholders for the test's folders.
    std::string Log() const;
    std::string Status() const;

    void ArchiveToo(bool linkedServer = true) {
        AddArchiving(Settings, "sqlite:" + ArchiveFolder.Path(), linkedServer);
    }

    TestWarehouse Warehouse;
    TempFolder ArchiveFolder;
    SqliteFile Archive{ArchiveFolder / "hist.db"};
    TempFolder Files;
    TestServices World;
    RunState State;
    RunSettings Settings;
};

}  // namespace morvane::testing
