// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Names.h"

#include <algorithm>
#include <string>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

namespace {

// The tokens of a text in front of the rest of a statement. Empty if it does not end by itself.
Tokens TokensOf(std::string_view text) {
    using namespace std::string_view_literals;
    if (text.find_first_of("'\0"sv) != std::string_view::npos) {
        return {};
    }
    try {
        // An open comment would include the word.
        Tokens tokens = Tokenize(std::string(text) + " _");
        const bool whole = !tokens.empty() && tokens.back().Is("_");
        tokens.resize(whole ? tokens.size() - 1 : 0);
        return tokens;
    } catch (const DatabaseError&) {
        return {};
    }
}

bool IsIdentifier(const Token& token) {
    return token.IsName() && token.Text[0] != '@' && !token.NameText().empty();
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

int Folded(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
}

std::string_view TakeNumber(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

int CompareNumbers(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return a.size() < b.size() ? -1 : 1;
    }
    return a.compare(b);
}

}  // namespace

bool IsColumnName(std::string_view text) {
    const Tokens tokens = TokensOf(text);
    return tokens.size() == 1 && IsIdentifier(tokens[0]);
}

bool IsTableName(std::string_view text) {
    const Tokens tokens = TokensOf(text);
    const bool owned = tokens.size() == 3 && tokens[0].IsName() &&
                       EqualsIgnoreCase(tokens[0].NameText(), "dbo") && tokens[1].Is(".");
    return (tokens.size() == 1 || owned) && IsIdentifier(tokens.back());
}

int CompareNames(std::string_view a, std::string_view b) noexcept {
    std::string_view restA = a;
    std::string_view restB = b;
    while (!restA.empty() && !restB.empty()) {
        int order = 0;
        if (IsDigit(restA[0]) && IsDigit(restB[0])) {
            const std::string_view numberA = TakeNumber(restA);
            order = CompareNumbers(numberA, TakeNumber(restB));
        } else {
            order = Folded(restA[0]) - Folded(restB[0]);
            restA.remove_prefix(1);
            restB.remove_prefix(1);
        }
        if (order != 0) {
            return order;
        }
    }
    if (restA.empty() != restB.empty()) {
        return restA.empty() ? -1 : 1;
    }
    return a.compare(b);
}

}  // namespace morvane::embedded
