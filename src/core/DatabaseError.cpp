// SPDX-License-Identifier: Apache-2.0
#include "core/DatabaseError.h"

#include "base/Text.h"
#include "core/MaskPasswords.h"

namespace morvane {

namespace {

// A statement can be as long as a user's condition; a message need not be.
constexpr std::size_t kLongestStatement = 600;

std::string Compose(const std::vector<std::string>& descriptions, const std::string& statement) {
    std::string text = Join(descriptions, kCrLf);
    if (statement.empty()) {
        return text;
    }
    text += kCrLf;
    text += "Statement: ";
    bool blank = false;
    for (const char c : statement.substr(0, kLongestStatement)) {
        const bool isBlank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (!isBlank) {
            text += c;
        } else if (!blank) {
            text += ' ';
        }
        blank = isBlank;
    }
    return statement.size() > kLongestStatement ? text + "..." : text;
}

}  // namespace

DatabaseError::DatabaseError(std::vector<std::string> descriptions, const std::string& statement,
                             int code)
    : std::runtime_error(Compose(descriptions, MaskPasswords(statement))),
      descriptions_(std::move(descriptions)),
      statement_(MaskPasswords(statement)),
      code_(code) {}

}  // namespace morvane
