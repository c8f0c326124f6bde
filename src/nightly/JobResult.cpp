// SPDX-License-Identifier: Apache-2.0
#include "nightly/JobResult.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/modFileFunctions.h"

namespace morvane {

namespace {

constexpr std::array<const char*, 4> kCounts = {"archived", "marked", "deleted", "relinked"};

bool IsTable(const JsonObject& table) {
    return table.is_object() && table.contains("table") && table["table"].is_string() &&
           table.contains("seconds") && table["seconds"].is_number() &&
           std::ranges::all_of(kCounts, [&](const char* count) {
               return table.contains(count) && (table[count].is_null() || table[count].is_number());
           });
}

bool IsResult(const JsonObject& result) {
    return result.is_object() && result.contains("outcome") && result["outcome"].is_string() &&
           result.contains("tables") && result["tables"].is_array() &&
           std::ranges::all_of(result["tables"], IsTable) && result.contains("errors") &&
           result["errors"].is_array() && result.contains("reports") &&
           result["reports"].is_array();
}

void MergeTable(JsonObject& table, const JsonObject& later) {
    for (const char* count : kCounts) {
        if (!later[count].is_null()) {
            table[count] = later[count];
        }
    }
    table["seconds"] = table["seconds"].get<double>() + later["seconds"].get<double>();
}

void Append(JsonObject& list, const JsonObject& more) {
    list.insert(list.end(), more.begin(), more.end());
}

std::string EscapeLabel(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\n') {
            escaped += "\\n";
            continue;
        }
        if (c == '\\' || c == '"') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string Head(std::string_view name, std::string_view help) {
    return fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name, help);
}

// A metric with one value per warehouse.
template <typename Value>
std::string Metric(std::string_view name, std::string_view help,
                   const std::vector<JobMetrics>& jobs, Value valueOf) {
    std::string text = Head(name, help);
    for (const JobMetrics& job : jobs) {
        text += fmt::format("{}{{warehouse=\"{}\"}} {}\n", name, EscapeLabel(job.Warehouse),
                            valueOf(job));
    }
    return text;
}

// A metric with one value per table, for tables that have the count.
std::string TableMetric(const char* count, const std::vector<JobMetrics>& jobs) {
    const std::string name = fmt::format("morvane_{}_rows", count);
    std::string text;
    for (const JobMetrics& job : jobs) {
        for (const JsonObject& table : job.Result["tables"]) {
            if (!table[count].is_null()) {
                text += fmt::format("{}{{warehouse=\"{}\",table=\"{}\"}} {}\n", name,
                                    EscapeLabel(job.Warehouse),
                                    EscapeLabel(table["table"].get<std::string>()),
                                    table[count].get<std::int64_t>());
            }
        }
    }
    return text.empty() ? "" : Head(name, fmt::format("Rows {} by the last run.", count)) + text;
}

}  // namespace

std::optional<JsonObject> ReadResult(const std::string& path) {
    try {
        JsonObject result = JsonObject::parse(ReadWholeFile(path));
        return IsResult(result) ? std::optional(std::move(result)) : std::nullopt;
    } catch (const FileError&) {
        return std::nullopt;
    } catch (const JsonObject::exception&) {
        return std::nullopt;
    }
}

std::string OutcomeOf(const JsonObject& result) {
    return result["outcome"].get<std::string>();
}

JsonObject Merge(const JsonObject& first, const JsonObject& second) {
    JsonObject merged = second;
    merged["start"] = first.value("start", JsonObject());
    merged["tables"] = first["tables"];
    for (const JsonObject& later : second["tables"]) {
        const auto table = std::ranges::find_if(merged["tables"], [&](const JsonObject& known) {
            return known["table"] == later["table"];
        });
        if (table == merged["tables"].end()) {
            merged["tables"].push_back(later);
        } else {
            MergeTable(*table, later);
        }
    }
    for (const char* list : {"errors", "reports"}) {
        merged[list] = first[list];
        Append(merged[list], second[list]);
    }
    return merged;
}

void EndWith(JsonObject& result, const std::string& outcome,
             const std::vector<std::string>& reasons) {
    result["outcome"] = outcome;
    for (const std::string& reason : reasons) {
        result["errors"].push_back(reason);
    }
}

std::string ToText(const JsonObject& result) {
    return result.dump(2, ' ', false, JsonObject::error_handler_t::replace) + "\n";
}

std::string MetricsText(const std::vector<JobMetrics>& jobs) {
    std::string text =
        Metric("morvane_success", "Whether the last run completed all its tasks.", jobs,
               [](const JobMetrics& job) { return OutcomeOf(job.Result) == "done" ? 1 : 0; });
    text += Metric("morvane_end_timestamp_seconds", "When the last run ended.", jobs,
                   [](const JobMetrics& job) { return static_cast<std::int64_t>(job.End); });
    text += Metric("morvane_duration_seconds", "How long the last run took.", jobs,
                   [](const JobMetrics& job) { return job.Seconds; });
    for (const char* count : kCounts) {
        text += TableMetric(count, jobs);
    }
    return text;
}

}  // namespace morvane
