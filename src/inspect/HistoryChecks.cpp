// SPDX-License-Identifier: Apache-2.0
#include "inspect/HistoryChecks.h"

#include <set>

#include "base/Text.h"

namespace morvane {

namespace {

void CheckCurrentVersions(FindingCollector& found, const std::string& table,
                          const std::vector<std::string>& key) {
    const std::string columns = Join(key, ",");
    const std::string byCurrent = "SELECT " + columns + " FROM " + table + " GROUP BY " + columns +
                                  " HAVING SUM(CASE WHEN is_current = 1 THEN 1 ELSE 0 END) ";
    found.AddIfAny({"no_current", table, "elements without a current version"}, byCurrent + "= 0",
                   key);
    found.AddIfAny({"several_current", table, "elements with several current versions"},
                   byCurrent + "> 1", key);
}

void CheckPeriods(FindingCollector& found, const std::string& table,
                  const std::vector<std::string>& key) {
    const std::string columns = Join(key, ",");
    const std::string versions = "SELECT " + columns + ",start_date,end_date FROM (SELECT " +
                                 columns +
                                 ",start_date,end_date,LEAD(start_date) OVER (PARTITION BY " +
                                 columns + " ORDER BY start_date) AS next_start FROM " + table +
                                 " WHERE start_date IS NOT NULL) AS versions WHERE ";
    std::vector<std::string> shown = key;
    shown.insert(shown.end(), {"start_date", "end_date"});
    found.AddIfAny({"gaps", table, "versions that end before the day on which the next one starts"},
                   versions + "datediff(day, end_date, next_start) > 0", shown);
    found.AddIfAny({"overlaps", table, "versions that end after the next one starts"},
                   versions +
                       "next_start IS NOT NULL AND (end_date IS NULL OR datediff(day, end_date, "
                       "next_start) < 0)",
                   shown);
    found.AddIfAny({"reversed", table, "versions that end before they start"},
                   versions + "datediff(day, start_date, end_date) < 0", shown);
}

}  // namespace

void CheckHistories(FindingCollector& found, const StarSchema& star) {
    std::set<std::string> seen;
    for (const KeyRelation& relation : star.Relations) {
        const std::string& table = relation.PrimaryTable;
        if (!relation.ElementKey.empty() && seen.insert(ToLower(table)).second) {
            found.Report(table);
            CheckCurrentVersions(found, table, relation.ElementKey);
            CheckPeriods(found, table, relation.ElementKey);
        }
    }
}

}  // namespace morvane
