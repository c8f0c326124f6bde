// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace morvane::embedded {

// Integer keys that a statement has met: a bit for each, up to a bound, so that memory does not
// follow a table.
class SeenKeys {
  public:
    // True unless the key is known to have been added before: a key beyond the bound always is new.
    bool Add(std::int64_t key) {
        if (key < 0 || key >= kEnd) {
            return true;
        }
        const auto word = static_cast<std::size_t>(key) / kBits;
        if (word >= words_.size()) {
            words_.resize(word + 1);
        }
        const std::uint64_t bit = std::uint64_t{1} << (static_cast<std::size_t>(key) % kBits);
        const bool isNew = (words_[word] & bit) == 0;
        words_[word] |= bit;
        return isNew;
    }

    // Gives the memory back too.
    void Clear() {
        if (!words_.empty()) {
            words_ = {};
        }
    }

  private:
    static constexpr std::int64_t kEnd = std::int64_t{1} << 26;  // 8 MB of bits
    static constexpr std::size_t kBits = 64;

    std::vector<std::uint64_t> words_;
};

}  // namespace morvane::embedded
