// SPDX-License-Identifier: Apache-2.0
#include "core/DatabaseError.h"

#include "base/Text.h"

namespace morvane {

namespace {

// Longer statements are cut in messages.
constexpr std::size_t kLongestStatement = 600;

std::string Compose(const std::vector<std::string>& descriptions, const std::string& statement) {
    std::string text = Join(descriptions, kCrLf);
    if (statement.empty()) {
        return text;
    }
    text += kCrLf;
    text += "Statement: ";
    text += OneLine(std::string_view(statement).substr(0, kLongestStatement));
    return statement.size() > kLongestStatement ? text + "..." : text;
}

}  // namespace

DatabaseError::DatabaseError(std::vector<std::string> descriptions, MaskedSql statement, int code)
    : std::runtime_error(Compose(descriptions, statement.Text)),
      descriptions_(std::move(descriptions)),
      statement_(std::move(statement)),
      code_(code) {}

}  // namespace morvane
