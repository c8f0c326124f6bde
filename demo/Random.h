// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace morvane::demo {

// What a sequence of random numbers is for; each table draws from its own.
enum class Stream : std::uint64_t {
    Geography = 1,
    Store,
    StoreText,
    Category,
    Price,
    Product,
    Promotion,
    Customer,
    CustomerName,
    CustomerStart,
    CustomerPeriod,
    Employee,
    Carrier,
    Sale,
    Shipment,
    Inventory,
};

// SplitMix64, seeded by a stream and a row number: every row is a function of its number alone, so
// that any row can be made again without keeping it. The standard library's distributions give
// other numbers on other platforms and are not used.
class Random {
  public:
    Random(Stream stream, std::int64_t row)
        : state_(Scramble(static_cast<std::uint64_t>(stream) * kStep) +
                 static_cast<std::uint64_t>(row) * kRowStep) {}

    std::uint64_t Next() {
        state_ += kStep;
        return Scramble(state_);
    }

    // 0 to bound - 1; a bound of up to 32 bits.
    std::int64_t Below(std::int64_t bound) {
        return static_cast<std::int64_t>(((Next() >> 32) * static_cast<std::uint64_t>(bound)) >>
                                         32);
    }
    std::int64_t Between(std::int64_t first, std::int64_t last) {
        return first + Below(last - first + 1);
    }
    bool OneIn(std::int64_t n) { return Below(n) == 0; }

  private:
    static constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15U;
    // Not a multiple of kStep, else one row's sequence would be the next row's, shifted by one.
    static constexpr std::uint64_t kRowStep = 0xd1342543de82ef95U;

    static constexpr std::uint64_t Scramble(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }

    std::uint64_t state_;
};

}  // namespace morvane::demo
