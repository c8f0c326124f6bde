#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

// The kind of date in a column of a table; no value when there is no such table or column.
using DateKindLookup =
    std::function<std::optional<DateKind>(const std::string& table, const std::string& column)>;

// One side of an operator: the tokens [Begin, End). Kind is None for anything but a date.
struct Operand {
    std::size_t Begin = 0;
    std::size_t End = 0;
    DateKind Kind = DateKind::None;
    bool IsText = false;  // a text literal
};

// Finds out which operands of a statement are dates: columns, by the queries around them from the
// inside out, and the functions that give dates.
class DateOperands {
  public:
    DateOperands(const std::vector<Token>& tokens, const DateKindLookup& kindOf)
        : tokens_(tokens), kindOf_(kindOf) {}

    // The operand that ends before `end`, or begins at `begin`; an empty one when none does.
    Operand Before(std::size_t end) const;
    Operand From(std::size_t begin) const;

  private:
    bool Is(std::size_t i, std::string_view word) const {
        return i < tokens_.size() && tokens_[i].Is(word);
    }
    Operand Call(std::size_t open, std::size_t close) const;
    Operand Column(std::size_t begin, std::size_t end) const;
    DateKind CallKind(std::size_t open, std::size_t close) const;
    std::optional<DateKind> KindInQuery(std::size_t begin, std::size_t end,
                                        const std::string& table, const std::string& column) const;
    std::optional<DateKind> KindInFrom(std::size_t i, std::size_t end, const std::string& table,
                                       const std::string& column) const;

    const std::vector<Token>& tokens_;
    const DateKindLookup& kindOf_;
};

}  // namespace morvane::embedded
