// SPDX-License-Identifier: Apache-2.0
#include "demo/CustomerHistories.h"

#include <array>
#include <string_view>

namespace morvane::demo {

namespace {

// One character a version, oldest first: "u" is used by sales, "-" is not. Most customers are used
// throughout; the others lost their sales at the start, in the middle, at the end, or everywhere.
constexpr std::array<std::string_view, 50> kHistories = {
    "u", "uu",   "uuu",    "-u", "uuuu",  "u",      "uu",   "-",    "uuuuu",  "uu",
    "u", "u-u",  "uuu",    "uu", "u-",    "uuuu",   "u",    "uu",   "-uu",    "uuuuuu",
    "u", "uuu",  "uu-uu",  "uu", "--",    "uuuu",   "u",    "uu-",  "uu",     "uuu",
    "u", "u--u", "uuuuu",  "uu", "u",     "uuuu--", "uuu",  "--uu", "-",      "uu",
    "u", "uuuu", "-u--u-", "uu", "uuuuu", "u",      "----", "uuu",  "uuuuu-", "uuuuuu",
};
constexpr auto kCustomersInBlock = static_cast<std::int64_t>(kHistories.size());
constexpr std::int64_t kBlocksAtScale1 = 40;

// The number of a block's versions that come before each history; the last is that of all.
constexpr auto kVersionsBefore = [] {
    std::array<std::int64_t, kHistories.size() + 1> before{};
    for (std::size_t i = 0; i < kHistories.size(); ++i) {
        before[i + 1] = before[i] + static_cast<std::int64_t>(kHistories[i].size());
    }
    return before;
}();
constexpr std::int64_t kVersionsInBlock = kVersionsBefore.back();
constexpr std::int64_t kMostVersions = 6;

// The history of each version of a block.
constexpr auto kHistoryOfVersion = [] {
    std::array<std::uint8_t, kVersionsInBlock> histories{};
    for (std::size_t i = 0; i < kHistories.size(); ++i) {
        for (auto v = kVersionsBefore[i]; v < kVersionsBefore[i + 1]; ++v) {
            histories[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(i);
        }
    }
    return histories;
}();

std::string_view HistoryOf(std::int64_t customer) {
    return kHistories[static_cast<std::size_t>(customer % kCustomersInBlock)];
}

// The day on which a version starts. The periods of a customer are of like lengths and none is
// short, so that every used version finds sales. Customers of many versions are old ones.
Day StartOf(std::int64_t customer, std::int64_t version, std::int64_t versions) {
    constexpr std::array<std::int64_t, 2> spreadOfFewVersions = {2700, 1200};
    constexpr std::int64_t spreadOfMany = 180;
    const std::int64_t spread =
        versions <= 2 ? spreadOfFewVersions[static_cast<std::size_t>(versions - 1)] : spreadOfMany;
    const Day first = DayOf(2015, 7, 1) + Random(Stream::CustomerStart, customer).Below(spread);
    if (version == 0) {
        return first;
    }
    const std::int64_t period = (kLastFactDay - first) / versions;
    Random random(Stream::CustomerPeriod, customer * kMostVersions + version);
    return first + version * period + random.Between(-period / 8, period / 8);
}

}  // namespace

CustomerHistories::CustomerHistories(std::int64_t scale) : blocks_(kBlocksAtScale1 * scale) {}

std::int64_t CustomerHistories::Customers() const {
    return blocks_ * kCustomersInBlock;
}

std::int64_t CustomerHistories::Versions() const {
    return blocks_ * kVersionsInBlock;
}

CustomerVersion CustomerHistories::At(std::int64_t version) const {
    const std::int64_t inBlock = version % kVersionsInBlock;
    const std::size_t place = kHistoryOfVersion[static_cast<std::size_t>(inBlock)];
    const std::string_view history = kHistories[place];
    const auto versions = static_cast<std::int64_t>(history.size());
    CustomerVersion row{};
    row.Customer =
        version / kVersionsInBlock * kCustomersInBlock + static_cast<std::int64_t>(place);
    row.Version = inBlock - kVersionsBefore[place];
    row.Key = version + 1;
    row.IsCurrent = row.Version == versions - 1;
    row.Start = StartOf(row.Customer, row.Version, versions);
    row.End = row.IsCurrent ? kEndOfTime : StartOf(row.Customer, row.Version + 1, versions);
    row.IsUsed = history[static_cast<std::size_t>(row.Version)] == 'u';
    return row;
}

std::int64_t CustomerHistories::PickKey(Random& random, Day day) const {
    for (;;) {
        const std::int64_t customer = random.Below(Customers());
        const std::string_view history = HistoryOf(customer);
        const auto versions = static_cast<std::int64_t>(history.size());
        std::int64_t version = versions - 1;
        while (version >= 0 && StartOf(customer, version, versions) > day) {
            --version;
        }
        if (version >= 0 && history[static_cast<std::size_t>(version)] == 'u') {
            return customer / kCustomersInBlock * kVersionsInBlock +
                   kVersionsBefore[static_cast<std::size_t>(customer % kCustomersInBlock)] +
                   version + 1;
        }
    }
}

}  // namespace morvane::demo
