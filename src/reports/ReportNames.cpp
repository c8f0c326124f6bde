// SPDX-License-Identifier: Apache-2.0
#include "reports/ReportNames.h"

#include <array>

#include "base/Clock.h"
#include "base/modFileFunctions.h"

namespace morvane {

namespace {

struct Names {
    std::string_view FilePrefix;
    std::string_view LinkText;
};

const Names& NamesOf(Report report) {
    static constexpr std::array<Names, 3> kNames{{
        {"SummaryReport", "Summary Report"},
        {"DetailedReport", "Detailed Report"},
        {"TableFilterReport", "Table Filter Report"},
    }};
    return kNames.at(static_cast<std::size_t>(report));
}

}  // namespace

std::string ReportFileName(Report report, const RunState& state) {
    return std::string(NamesOf(report).FilePrefix) +
           FileStamp(state.RunStartDate, state.RunStartTime) + ".html";
}

std::string ReportPath(Report report, const RunState& state, const std::string& directory) {
    return directory + kPathSeparator + ReportFileName(report, state);
}

std::string_view ReportLinkText(Report report) {
    return NamesOf(report).LinkText;
}

}  // namespace morvane
