// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "demo/Dates.h"
#include "demo/Random.h"

namespace morvane::demo {

// One version of a customer. Versions adjoin; the last one, the current one, has no end yet.
struct CustomerVersion {
    std::int64_t Customer;  // the element, from 0
    std::int64_t Version;   // from 0
    std::int64_t Key;       // the surrogate key
    Day Start;
    Day End;
    bool IsCurrent;
    bool IsUsed;
};

// Which versions the customers have and which of them sales refer to. Customers come in blocks of
// the same histories, so that a version follows from its number without keeping any.
class CustomerHistories {
  public:
    explicit CustomerHistories(std::int64_t scale);

    std::int64_t Customers() const;
    std::int64_t Versions() const;

    // Versions are numbered from 0, customer by customer.
    CustomerVersion At(std::int64_t version) const;
    // The key of a used version that is valid on the day, of a customer taken at random.
    std::int64_t PickKey(Random& random, Day day) const;

  private:
    std::int64_t blocks_;
};

}  // namespace morvane::demo
