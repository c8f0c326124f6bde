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

// Reads a result file of morvane; no value if it is missing or invalid.
std::optional<JsonObject> ReadResult(const std::string& path);

std::string OutcomeOf(const JsonObject& result);

// Merges the results of two runs, the second of which continued the first.
JsonObject Merge(const JsonObject& first, const JsonObject& second);

// Changes the outcome of a result and adds the reasons to its errors.
void EndWith(JsonObject& result, const std::string& outcome,
             const std::vector<std::string>& reasons);

std::string ToText(const JsonObject& result);

// The metrics of a warehouse.
struct JobMetrics {
    std::string Warehouse;
    std::time_t End = 0;
    double Seconds = 0;
    JsonObject Result;
};

// The metrics in the text format of Prometheus.
std::string MetricsText(const std::vector<JobMetrics>& jobs);

}  // namespace morvane
