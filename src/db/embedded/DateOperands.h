// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/embedded/Catalogue.h"
#include "db/embedded/Tokens.h"

namespace morvane::embedded {

enum class OperandForm {
    Expression,
    Value,        // a text literal or a parameter, which is converted to the type of what it meets
    DateColumn,   // a column of dates, or a function that gives what one holds
    OtherColumn,  // a column that holds no dates
};

// One side of an operator: the tokens [Begin, End). Kind is None for anything but a date.
struct Operand {
    std::size_t Begin = 0;
    std::size_t End = 0;
    DateKind Kind = DateKind::None;
    OperandForm Form = OperandForm::Expression;
    std::string Table{};  // of a column that was found in one
};

// Finds out which operands of a statement are dates: columns, by the queries around them from the
// inside out, and the functions that give dates.
class DateOperands {
  public:
    DateOperands(const std::vector<Token>& tokens, const SqliteDatabase& catalogue)
        : tokens_(tokens), catalogue_(catalogue) {}

    // The operand that ends before `end`, or begins at `begin`; an empty one when none does.
    Operand Before(std::size_t end) const;
    Operand From(std::size_t begin) const;
    // The operand before a word such as IN or BETWEEN, with or without NOT.
    Operand BeforeWord(std::size_t word) const;
    // The operands of the BETWEEN at `between`; empty ones for expressions of another form.
    struct BetweenOperands {
        Operand Subject;
        Operand Low;
        Operand High;
    };
    BetweenOperands Range(std::size_t between) const;
    // True for the "=" of "column = value" in the SET clause of an UPDATE.
    bool IsAssignment(std::size_t i) const;

  private:
    struct FoundColumn {
        std::string Table;
        DateKind Kind;
    };

    bool Is(std::size_t i, std::string_view word) const {
        return i < tokens_.size() && tokens_[i].Is(word);
    }
    Operand Call(std::size_t open, std::size_t close) const;
    Operand Column(std::size_t begin, std::size_t end) const;
    DateKind CallKind(std::size_t open, std::size_t close) const;
    DateKind ComputedKind(const std::string& table, const std::string& column) const;
    std::optional<FoundColumn> FindInQuery(std::size_t begin, std::size_t end,
                                           const std::string& table,
                                           const std::string& column) const;
    std::optional<FoundColumn> FindInFrom(std::size_t i, std::size_t end, const std::string& table,
                                          const std::string& column) const;

    const std::vector<Token>& tokens_;
    const SqliteDatabase& catalogue_;
};

}  // namespace morvane::embedded
