// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/StatementCache.h"

#include <charconv>

#include "base/Text.h"

namespace morvane::embedded {

namespace {

void SkipBlanks(std::string_view& rest) {
    while (!rest.empty() &&
           (rest[0] == ' ' || rest[0] == '\t' || rest[0] == '\r' || rest[0] == '\n')) {
        rest.remove_prefix(1);
    }
}

bool IsNamePart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
}

// A bare name or keyword; empty when there is none.
std::string_view TakeWord(std::string_view& rest) {
    SkipBlanks(rest);
    std::size_t length = 0;
    while (length < rest.size() && IsNamePart(rest[length])) {
        ++length;
    }
    const std::string_view word = rest.substr(0, length);
    rest.remove_prefix(length);
    return !word.empty() && word[0] >= '0' && word[0] <= '9' ? std::string_view() : word;
}

bool TakeKeyword(std::string_view& rest, std::string_view keyword) {
    return EqualsIgnoreCase(TakeWord(rest), keyword);
}

// A text literal without its quotes, a doubled quote as one.
bool TakeText(std::string_view& rest, std::string& text) {
    text.clear();
    rest.remove_prefix(1);
    while (true) {
        const std::size_t quote = rest.find('\'');
        if (quote == std::string_view::npos) {
            return false;
        }
        text.append(rest.substr(0, quote));
        rest.remove_prefix(quote + 1);
        if (rest.empty() || rest[0] != '\'') {
            return true;
        }
        text += '\'';
        rest.remove_prefix(1);
    }
}

bool TakeInteger(std::string_view& rest, std::int64_t& number) {
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc()) {
        return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    // What goes on is another kind of number.
    return rest.empty() || (rest[0] != '.' && !IsNamePart(rest[0]));
}

}  // namespace

Value& DeleteByLiterals::NextLiteral() {
    if (literalCount_ == literals_.size()) {
        literals_.emplace_back();
    }
    return literals_[literalCount_++];
}

// Reads "name = literal".
bool DeleteByLiterals::ParseComparison(std::string_view& rest) {
    const std::string_view column = TakeWord(rest);
    SkipBlanks(rest);
    if (column.empty() || rest.empty() || rest[0] != '=') {
        return false;
    }
    rest.remove_prefix(1);
    SkipBlanks(rest);
    const bool national = rest.size() > 1 && (rest[0] == 'N' || rest[0] == 'n') && rest[1] == '\'';
    rest.remove_prefix(national ? 1 : 0);
    std::int64_t number = 0;
    if (!rest.empty() && rest[0] == '\'') {
        if (!TakeText(rest, text_)) {
            return false;
        }
        NextLiteral().SetText(text_);
    } else if (TakeInteger(rest, number)) {
        NextLiteral().SetInteger(number);
    } else {
        return false;
    }
    shape_ += column;
    shape_ += " = ?";
    return true;
}

bool DeleteByLiterals::Parse(std::string_view sql) {
    std::string_view rest = sql;
    if (!TakeKeyword(rest, "delete") || !TakeKeyword(rest, "from")) {
        return false;
    }
    const std::string_view table = TakeWord(rest);
    if (table.empty() || !TakeKeyword(rest, "where")) {
        return false;
    }
    shape_ = "DELETE FROM ";
    shape_ += table;
    shape_ += " WHERE ";
    literalCount_ = 0;
    while (ParseComparison(rest)) {
        SkipBlanks(rest);
        if (rest.empty()) {
            literals_.resize(literalCount_);
            return true;
        }
        if (!TakeKeyword(rest, "and")) {
            return false;
        }
        shape_ += " AND ";
    }
    return false;
}

}  // namespace morvane::embedded
