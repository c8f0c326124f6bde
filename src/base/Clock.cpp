// SPDX-License-Identifier: Apache-2.0
#include "base/Clock.h"

#include <ctime>

namespace morvane {

LocalMoment SystemClock::Now() const {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    return {std::chrono::year(local.tm_year + 1900) /
                std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)) /
                std::chrono::day(static_cast<unsigned>(local.tm_mday)),
            std::chrono::hours(local.tm_hour) + std::chrono::minutes(local.tm_min) +
                std::chrono::seconds(local.tm_sec)};
}

}  // namespace morvane
