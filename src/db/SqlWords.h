// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

enum class SqlWordKind {
    Word,    // a keyword, a bare name or a number
    Name,    // a name in brackets or double quotes
    Text,    // a text literal
    Symbol,  // one character of punctuation
};

// A word of a statement and where it stands. It points into the statement's text.
struct SqlWord {
    SqlWordKind Kind = SqlWordKind::Symbol;
    std::string_view Text;  // with its quotes
    std::size_t Begin = 0;
    int Depth = 0;       // of the parentheses around it
    bool Closed = true;  // false for what is quoted and has no end

    std::size_t End() const { return Begin + Text.size(); }
    // A bare word or symbol, letter case ignored.
    bool Is(std::string_view word) const;
    bool IsOneOf(const std::vector<std::string_view>& words) const;
    bool IsName() const;
    // What a name names, without its quotes.
    std::string Named() const;
};

// The words of a statement; white space and comments (which nest) only part them. What is quoted
// and has no end reaches to the end of the text: the server refuses it.
std::vector<SqlWord> SplitSql(std::string_view sql);

// A name as a statement may carry it: in brackets unless it is a plain identifier and no word of
// the language.
std::string SqlName(std::string_view name);

}  // namespace morvane
