// SPDX-License-Identifier: Apache-2.0
#include "nightly/OldFiles.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>

#include "base/modFileFunctions.h"
#include "nightly/Job.h"
#include "reports/modGenerateReports.h"
#include "run/RunLog.h"

namespace morvane {

namespace {

// The inverse of FileStamp().
std::optional<LocalMoment> ParseStamp(std::string_view stamp) {
    // The position and length of the six numbers.
    constexpr std::array<std::array<std::size_t, 2>, 6> kFields{
        {{0, 2}, {3, 2}, {6, 4}, {10, 2}, {13, 2}, {16, 2}}};
    std::array<int, kFields.size()> numbers{};
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        const std::string_view field = stamp.substr(kFields.at(i)[0], kFields.at(i)[1]);
        const char* end = field.data() + field.size();
        if (std::from_chars(field.data(), end, numbers.at(i)).ptr != end) {
            return std::nullopt;
        }
    }
    const std::chrono::year_month_day date = std::chrono::day(static_cast<unsigned>(numbers[0])) /
                                             std::chrono::month(static_cast<unsigned>(numbers[1])) /
                                             std::chrono::year(numbers[2]);
    if (!date.ok()) {
        return std::nullopt;
    }
    return LocalMoment{date, std::chrono::hours(numbers[3]) + std::chrono::minutes(numbers[4]) +
                                 std::chrono::seconds(numbers[5])};
}

// The start of the run whose log or report has this name.
std::optional<LocalMoment> StartOfRun(const std::string& name) {
    constexpr std::size_t kStampLength = std::string_view("05-03-202414-07-09").size();
    const std::size_t end = name.rfind('.');
    if (end == std::string::npos || end < kStampLength) {
        return std::nullopt;
    }
    const auto start = ParseStamp(std::string_view(name).substr(end - kStampLength, kStampLength));
    if (!start) {
        return std::nullopt;
    }
    RunState state;
    state.RunStartDate = start->Date;
    state.RunStartTime = start->TimeOfDay;
    constexpr std::array kReports{Report::Summary, Report::Detailed, Report::TableFilter};
    const bool known =
        name == LogFileName(state) || std::ranges::any_of(kReports, [&](Report report) {
            return name == ReportFileName(report, state);
        });
    return known ? start : std::nullopt;
}

}  // namespace

bool IsOldRunFile(const std::string& name, std::chrono::sys_seconds limit) {
    const auto start = StartOfRun(name);
    return start && OnScale(*start) < limit;
}

void DeleteOldFiles(const std::string& folder, int days, const LocalMoment& now) {
    namespace fs = std::filesystem;
    const std::chrono::sys_seconds limit = OnScale(now) - std::chrono::days(days);
    std::error_code error;
    for (fs::directory_iterator entry(ToPath(folder), error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->symlink_status(ignored).type() == fs::file_type::regular &&
            IsOldRunFile(entry->path().filename().string(), limit)) {
            fs::remove(entry->path(), error);
            if (error) {
                break;
            }
        }
    }
    if (error) {
        throw FileError("Cannot delete the old files in \"" + folder + "\": " + error.message());
    }
}

}  // namespace morvane
