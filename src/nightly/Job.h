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

// The command line, the configuration or a file is wrong, so nothing was started.
class NotStarted : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// How many rows of a dimension may be deleted: a number or a percentage of its rows.
struct DeleteLimit {
    double Value = 0;
    bool IsPercentage = false;

    bool Allows(std::int64_t marked, std::int64_t rows) const {
        const auto count = static_cast<double>(marked);
        return IsPercentage ? count * 100 <= Value * static_cast<double>(rows) : count <= Value;
    }
};

// Options of morvane-nightly itself. On the command line they override the keys of the
// configuration.
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
    std::string Name = {};                // of the section; empty for the one-line file
    std::vector<std::string> Words = {};  // options of morvane
    std::string PasswordFile = {};
    std::string ArchivePasswordFile = {};
    std::string StatusFile = {};
    std::string ResultFile = {};
    JobOptions Options = {};
};

enum class JobOptionKind { Flag, TakesValue, Unknown };
JobOptionKind KindOfJobOption(const std::string& name);
// Sets an option by its name without the hyphens, such as "max-delete"; a flag ignores the text.
// Throws NotStarted if the text is not a valid value. The message continues the option's name.
void SetJobOption(JobOptions& options, const std::string& name, const std::string& text);

// The options that are set in `given`, the others from the configuration.
JobOptions Override(JobOptions configured, const JobOptions& given);

// The next occurrence of a local time of day after `now`.
LocalMoment NextMoment(const LocalMoment& now, std::chrono::seconds timeOfDay);

// Local time as a point in time, to compare and subtract. Ignores changes of daylight saving.
std::chrono::sys_seconds OnScale(const LocalMoment& moment);

}  // namespace morvane
