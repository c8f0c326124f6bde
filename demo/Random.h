// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace morvane::demo {

// Each purpose has its own sequence of random numbers.
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

// SplitMix64, seeded by a stream and a row number, so that each row is a function of its number.
// The standard library's distributions are not used: their results differ between platforms.
class Random {
  public:
    Random(Stream stream, std::int64_t row)
        : state_(Scramble(static_cast<std::uint64_t>(stream) * kStep) +
                 static_cast<std::uint64_t>(row) * kRowStep) {}

    std::uint64_t Next() {
        state_ += kStep;
        return Scramble(state_);
    }

    // 0 to bound - 1; the bound must fit in 32 bits.
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
    // Not a multiple of kStep, or a row's sequence would be its neighbour's shifted by one.
    static constexpr std::uint64_t kRowStep = 0xd1342543de82ef95U;

    static constexpr std::uint64_t Scramble(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
        return z ^ (z >> 31);
    }

    std::uint64_t state_;
};

}  // namespace morvane::demo
