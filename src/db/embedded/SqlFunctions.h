// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

// The integer keys that a statement has seen, as bits up to a bound: memory does not grow with the
// table.
class SeenKeys {
  public:
    // True if the key is new. A key beyond the bound always is.
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

    // Also frees the memory.
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

// State shared by the functions of one connection.
class FunctionContext {
  public:
    // Call before each statement: all its calls of getdate() return the same time.
    void StartStatement() {
        statementTime_.reset();
        seenKeys_.Clear();
    }
    DateTime StatementTime();
    // The keys passed to first_seen() in the statement.
    SeenKeys& Keys() { return seenKeys_; }

  private:
    SeenKeys seenKeys_;
    std::optional<DateTime> statementTime_;
};

// Registers the server's functions. Their names begin with "tsql_", since SQLite has keywords and
// functions of the same names; the translation adds the prefix. Also registers first_seen(key),
// which returns false for an integer that the statement has passed before. `context` must outlive
// the database.
void RegisterFunctions(const SqliteDatabase& database, FunctionContext& context);

}  // namespace morvane::embedded
