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

// Everything that a run works on: an empty warehouse, an archive on another server, a folder for
// logs and the status file.
struct RunSite {
    TestWarehouse Warehouse;
    TempFolder ArchiveFolder;
    SqliteFile Archive{ArchiveFolder / "hist.db"};
    TempFolder Files;
    RunSettings Settings;

    RunSite();
    void ArchiveToo(bool linkedServer = true) {
        AddArchiving(Settings, "sqlite:" + ArchiveFolder.Path(), linkedServer);
    }
    // A file of the log folder, with placeholders for the test's folders; empty if it is missing.
    std::string Output(const std::string& name) const;
    std::string Status() const;
};

// A site with the star.
class RunFixture : public ::testing::Test, protected RunSite {
  protected:
    RunFixture() { FillStar(Warehouse); }

    // Performs an unattended run with a fresh state.
    bool Run(const RunSettings& settings, const CommandLineReport& commandLine = {});
    // The log of the last run.
    std::string Log() const { return Output("Morvane_Log05-03-202414-07-09.txt"); }

    TestServices World;
    RunState State;
};

}  // namespace morvane::testing
