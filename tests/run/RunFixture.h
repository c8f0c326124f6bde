#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "run/RunServices.h"
#include "run/RunTasks.h"
#include "support/FixedClock.h"
#include "support/RecordingProgress.h"
#include "support/ScriptedPrompt.h"
#include "support/TempFolder.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {

// A small star with something for every task: two unused products, a customer some of whose
// versions are unused in the middle and at the end of their history, others wholly unused.
void FillStar(const TestWarehouse& warehouse);

// A dimension's rows without the mark, which says nothing about what was deleted.
std::string Products(const TestWarehouse& warehouse);
std::string Customers(const TestWarehouse& warehouse);

// Check, mark, report, delete, with a log; unattended.
RunSettings EveryTask(const TestWarehouse& warehouse, const std::string& logFolder);

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

class RunFixture : public ::testing::Test {
  protected:
    RunFixture();

    // A run in a process of its own, so to speak: with a fresh state.
    bool Run(const RunSettings& settings, const CommandLineReport& commandLine = {});
    // The log of the last run, the test's folders replaced.
    std::string Log() const;
    std::string Status() const;
    std::string LockRow() const {
        return Warehouse.Text("SELECT lock, user_name FROM dwm_multiuse");
    }

    TestWarehouse Warehouse;
    TempFolder Files;
    TestServices World;
    RunState State;
    RunSettings Settings;
};

}  // namespace morvane::testing
