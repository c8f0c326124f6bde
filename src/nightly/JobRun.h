// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "nightly/Job.h"
#include "nightly/JobResult.h"
#include "nightly/MorvaneWords.h"
#include "nightly/Process.h"
#include "run/Environment.h"

namespace morvane {

// The exit codes of morvane-nightly.
enum class NightlyExit { Done = 0, NotDone = 1, NotStarted = 2 };

// The program morvane. Each run starts in a later second than the previous one ended, because the
// names of logs and reports contain the start time.
class Morvane {
  public:
    Morvane(std::string program, const Clock& clock)
        : program_(std::move(program)), clock_(clock) {}

    // Runs it and waits for its end; cancels it when `cancelled` returns true. Returns
    // Process::Failure(). Throws FileError if it cannot be started.
    std::string Run(const std::vector<std::string>& words, const Variables& variables,
                    const std::function<bool()>& cancelled);

  private:
    std::string program_;
    const Clock& clock_;
    std::optional<std::chrono::sys_seconds> lastEnd_;
};

// The services that jobs depend on. The caller owns them.
struct JobServices {
    morvane::Morvane& Morvane;
    const morvane::Environment& Environment;
    const morvane::Clock& Clock;
    std::ostream& Errors;
};

// The run for one warehouse, with the checks before it and what is done with its result.
class JobRun {
  public:
    // Checks everything that can be checked before a run. Throws NotStarted or FileError.
    JobRun(Job job, const JobServices& services);

    NightlyExit Perform();

    // The metrics after Perform() and the file for them; no value if nothing was run.
    const std::optional<JobMetrics>& Metrics() const { return metrics_; }
    const std::string& MetricsFile() const { return job_.Options.MetricsFile; }

    // Writes a line to standard error.
    void Say(const std::string& text) const;

  private:
    void CheckFiles() const;
    void FindPasswords();
    std::string FindPassword(const std::string& user, const std::string& given,
                             const std::string& file,
                             const LoginPasswords::Password& fromEnvironment) const;
    bool Cancelled() const;

    JsonObject Work(const std::string& resultPath, const std::string& folder);
    JsonObject WorkInTwoSteps(const std::string& folder);
    JsonObject RunMorvane(std::vector<std::string> words, const std::string& resultPath,
                          bool lastStep);
    JsonObject EmptyResult() const;
    JsonObject EndEarly(JsonObject result) const;
    std::vector<std::string> LookForObjections();
    void WriteStatus(std::string_view word) const;
    void Conclude(const JsonObject& result, const std::string& resultPath) const;
    // Runs an operation whose failure does not change the outcome.
    void Attempt(const std::function<void()>& operation) const;

    Job job_;
    const JobServices& services_;
    MorvaneWords words_;
    std::optional<std::chrono::sys_seconds> deadline_;
    std::vector<std::string> reasons_;  // why the job ended early
    std::optional<JobMetrics> metrics_;
};

}  // namespace morvane
