// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "inspect/StepReport.h"

namespace morvane {

// An inconsistency in one table of a warehouse.
struct Finding {
    std::string Check;  // an identifier, such as "orphans"
    std::string Table;
    std::string Detail;  // a phrase for people
    std::int64_t Count = 0;
    std::vector<std::string> Keys = {};  // "column = value, column = value", if they were requested
};

struct Verdict {
    std::vector<Finding> Findings;
    std::vector<std::string> NotChecked;  // what could not be checked, and why
};

// Collects what the checks of a warehouse find. The connection and `report` must outlive it.
class FindingCollector {
  public:
    // `listKeys`: findings list the keys of their rows.
    FindingCollector(Connection& connection, bool listKeys, const StepReport& report)
        : connection_(connection), listKeys_(listKeys), report_(report) {}

    Connection& Warehouse() const { return connection_; }
    void Report(const std::string& step) const { report_(step); }

    // Adds a finding. If keys are to be listed, reads them from the first columns of `keysQuery`,
    // whose names are `key`. Throws DatabaseError.
    void Add(Finding finding, const std::string& keysQuery, const std::vector<std::string>& key);
    void Add(Finding finding) { verdict_.Findings.push_back(std::move(finding)); }
    // Adds a finding with the number of rows of a query, unless it has none.
    void AddIfAny(Finding finding, const std::string& rowsQuery,
                  const std::vector<std::string>& key);

    void AddNotChecked(std::string what) { verdict_.NotChecked.push_back(std::move(what)); }
    // Runs a check. If it throws, `what` is added as not checked, with the message.
    void CheckIfPossible(const std::string& what, const std::function<void()>& check);

    Verdict Result() && { return std::move(verdict_); }

  private:
    Connection& connection_;
    bool listKeys_;
    const StepReport& report_;
    Verdict verdict_;
};

}  // namespace morvane
