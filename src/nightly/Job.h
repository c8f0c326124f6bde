// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/Clock.h"

namespace morvane {

// The command line, the configuration or a file does not allow a run: nothing was started.
class NotStarted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// How many rows of a dimension may be deleted: a share of its rows or a number.
struct DeleteLimit {
    double Value = 0;
    bool IsPercentage = false;

    bool Allows(std::int64_t marked, std::int64_t rows) const {
        const auto count = static_cast<double>(marked);
        return IsPercentage ? count * 100 <= Value * static_cast<double>(rows) : count <= Value;
    }
};

// What morvane-nightly itself does around a run. As options of the command line these override the
// keys of the configuration.
struct JobOptions {
    std::optional<DeleteLimit> MaxDelete = std::nullopt;
    bool CheckReferences = false;
    std::optional<std::chrono::seconds> Until = std::nullopt;  // local time of day
    std::optional<int> KeepDays = std::nullopt;
    std::string OnResult = {};
    std::string MetricsFile = {};
};

// A warehouse to run morvane on.
struct Job {
    std::string Name = {};                // of its section; empty for the one-line file
    std::vector<std::string> Words = {};  // options of morvane
    std::string PasswordFile = {};
    std::string ArchivePasswordFile = {};
    std::string StatusFile = {};
    std::string ResultFile = {};
    JobOptions Options = {};
};

// Sets an option by its name without the hyphens, such as "max-delete"; a flag ignores the text.
// Throws NotStarted if the text is not a valid value.
enum class JobOptionKind { Flag, TakesValue, Unknown };
JobOptionKind KindOfJobOption(const std::string& name);
void SetJobOption(JobOptions& options, const std::string& name, const std::string& text);

// The given options where they are set, else those of the configuration.
JobOptions Override(JobOptions configured, const JobOptions& given);

// The next time at which a local clock shows the time of day.
LocalMoment NextMoment(const LocalMoment& now, std::chrono::seconds timeOfDay);

// Local times on one scale, without regard to daylight saving.
std::chrono::sys_seconds OnScale(const LocalMoment& moment);

}  // namespace morvane
