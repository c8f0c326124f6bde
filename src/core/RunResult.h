// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"

namespace morvane {

// What a run did to a table. Numbers come from the statements of the tasks; a task without a
// statement that tells one leaves it out.
struct TableResult {
    std::string Table;
    std::optional<std::int64_t> Archived = {};  // rows
    std::optional<std::int64_t> Marked = {};    // rows
    std::optional<std::int64_t> Deleted = {};   // rows
    std::optional<std::int64_t> Relinked = {};  // changes of versions that remain
    std::chrono::duration<double> Time{};       // of all tasks
};

// How a run ended. Locked and OtherUser: it did nothing, because the lock is set or another user
// used the warehouse last.
enum class RunOutcome { NotStarted, Failed, Cancelled, Locked, OtherUser, Done };

// What a run did, for the result file.
struct RunResult {
    RunOutcome Outcome = RunOutcome::NotStarted;
    std::vector<TableResult> Tables;   // in the order of their first task
    std::vector<std::string> Reports;  // file names

    // The entry of a table, which is added if it is new.
    TableResult& Of(std::string_view table) {
        const std::string_view name = Trim(table);
        const auto found = std::ranges::find_if(
            Tables, [&](const TableResult& known) { return EqualsIgnoreCase(known.Table, name); });
        return found != Tables.end() ? *found : Tables.emplace_back(TableResult{std::string(name)});
    }
};

// Adds the time of its lifetime to a table's entry.
class TableTimer {
  public:
    TableTimer(RunResult& result, std::string table) : result_(result), table_(std::move(table)) {}
    ~TableTimer() {
        try {
            result_.Of(table_).Time += std::chrono::steady_clock::now() - start_;
        } catch (...) {
            // Out of memory: the time is missing.
        }
    }
    TableTimer(const TableTimer&) = delete;
    TableTimer& operator=(const TableTimer&) = delete;

  private:
    RunResult& result_;
    std::string table_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace morvane
