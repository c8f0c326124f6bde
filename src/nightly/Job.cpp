// SPDX-License-Identifier: Apache-2.0
#include "nightly/Job.h"

#include <array>
#include <charconv>
#include <string_view>

#include "base/Text.h"

namespace morvane {

namespace {

// The text as a non-negative number; no value if any of it is something else.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const bool valid = error == std::errc() && rest == end && number >= 0;
    return valid ? std::optional(number) : std::nullopt;
}

void SetMaxDelete(JobOptions& options, const std::string& text) {
    std::optional<DeleteLimit> limit;
    if (text.ends_with('%')) {
        const auto share = ParseNumber<double>(std::string_view(text).substr(0, text.size() - 1));
        if (share && *share <= 100) {
            limit = DeleteLimit{*share, true};
        }
    } else if (const auto count = ParseNumber<std::int64_t>(text)) {
        limit = DeleteLimit{static_cast<double>(*count), false};
    }
    if (!limit) {
        throw NotStarted("must be a number of rows or a percentage such as 10%, not \"" + text +
                         "\"");
    }
    options.MaxDelete = limit;
}

void SetUntil(JobOptions& options, const std::string& text) {
    constexpr std::array<int, 3> kLimits = {24, 60, 60};
    const std::vector<std::string> pieces = Split(text, ':');
    std::chrono::seconds time{0};
    bool valid = pieces.size() == 2 || pieces.size() == 3;
    for (std::size_t i = 0; valid && i < kLimits.size(); ++i) {
        const std::string piece = i < pieces.size() ? pieces[i] : "00";
        const auto number = ParseNumber<int>(piece);
        valid = piece.size() == 2 && number && *number < kLimits.at(i);
        time = time * 60 + std::chrono::seconds(number.value_or(0));
    }
    if (!valid) {
        throw NotStarted("must be a time of day such as 05:00, not \"" + text + "\"");
    }
    options.Until = time;
}

void SetKeep(JobOptions& options, const std::string& text) {
    const auto days = ParseNumber<int>(text);
    if (!days || *days < 1) {
        throw NotStarted("must be a positive number of days, not \"" + text + "\"");
    }
    options.KeepDays = days;
}

void SetText(std::string& target, const std::string& text) {
    if (Trim(text).empty()) {
        throw NotStarted("needs a value");
    }
    target = text;
}

struct JobOption {
    std::string_view Name;
    JobOptionKind Kind;
    void (*Set)(JobOptions&, const std::string&);
};

constexpr std::array kJobOptions{
    JobOption{"max-delete", JobOptionKind::TakesValue, SetMaxDelete},
    JobOption{"check-references", JobOptionKind::Flag,
              [](JobOptions& options, const std::string&) { options.CheckReferences = true; }},
    JobOption{"until", JobOptionKind::TakesValue, SetUntil},
    JobOption{"keep", JobOptionKind::TakesValue, SetKeep},
    JobOption{
        "on-result", JobOptionKind::TakesValue,
        [](JobOptions& options, const std::string& text) { SetText(options.OnResult, text); }},
    JobOption{
        "metrics", JobOptionKind::TakesValue,
        [](JobOptions& options, const std::string& text) { SetText(options.MetricsFile, text); }},
};

const JobOption* FindJobOption(std::string_view name) {
    for (const JobOption& option : kJobOptions) {
        if (option.Name == name) {
            return &option;
        }
    }
    return nullptr;
}

}  // namespace

JobOptionKind KindOfJobOption(const std::string& name) {
    const JobOption* option = FindJobOption(name);
    return option == nullptr ? JobOptionKind::Unknown : option->Kind;
}

void SetJobOption(JobOptions& options, const std::string& name, const std::string& text) {
    FindJobOption(name)->Set(options, text);
}

JobOptions Override(JobOptions configured, const JobOptions& given) {
    const auto take = [](auto& target, const auto& value) {
        if (value != std::remove_cvref_t<decltype(value)>()) {
            target = value;
        }
    };
    if (given.MaxDelete) {
        configured.MaxDelete = given.MaxDelete;
    }
    take(configured.CheckReferences, given.CheckReferences);
    take(configured.Until, given.Until);
    take(configured.KeepDays, given.KeepDays);
    take(configured.OnResult, given.OnResult);
    take(configured.MetricsFile, given.MetricsFile);
    return configured;
}

LocalMoment NextMoment(const LocalMoment& now, std::chrono::seconds timeOfDay) {
    const auto today = std::chrono::sys_days(now.Date);
    return {timeOfDay > now.TimeOfDay ? today : today + std::chrono::days(1), timeOfDay};
}

std::chrono::sys_seconds OnScale(const LocalMoment& moment) {
    return std::chrono::sys_days(moment.Date) + moment.TimeOfDay;
}

}  // namespace morvane
