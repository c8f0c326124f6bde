// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace morvane {

using JsonObject = nlohmann::ordered_json;

// The content of a result file of morvane; no value if it is not there or is not one.
std::optional<JsonObject> ReadResult(const std::string& path);

// The outcome of a result.
std::string OutcomeOf(const JsonObject& result);

// One result for two runs, the second of which continued the first.
JsonObject Merge(const JsonObject& first, const JsonObject& second);

// Ends a result with another outcome and its reasons.
void EndWith(JsonObject& result, const std::string& outcome,
             const std::vector<std::string>& reasons);

std::string ToText(const JsonObject& result);

// What monitoring is told about a warehouse.
struct JobMetrics {
    std::string Warehouse;
    std::time_t End = 0;
    double Seconds = 0;
    JsonObject Result;
};

// The jobs in Prometheus' text format.
std::string MetricsText(const std::vector<JobMetrics>& jobs);

}  // namespace morvane
