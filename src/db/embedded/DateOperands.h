// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "db/embedded/Catalogue.h"
#include "sql/Tokens.h"

namespace morvane::embedded {

enum class OperandForm {
    Expression,
    Value,        // a text literal or a parameter, converted to the type it is compared with
    DateColumn,   // a column of dates, or a function that returns the value of one
    OtherColumn,  // a column that holds no dates
};

// One side of an operator: the tokens [Begin, End) of its list. Kind is None for anything but a
// date.
struct Operand {
    std::size_t Begin = 0;
    std::size_t End = 0;
    DateKind Kind = DateKind::None;
    OperandForm Form = OperandForm::Expression;
    std::string Table{};  // of a column that was found in one
};

// Finds the operands that are dates in a statement or in the contents of one pair of parentheses:
// columns, looked up in the enclosing queries from the inside out, and functions that return dates.
class DateOperands {
  public:
    // `outer` belongs to the tokens that contain these.
    DateOperands(const Tokens& tokens, const SqliteDatabase& catalogue,
                 const DateOperands* outer = nullptr)
        : tokens_(tokens), catalogue_(catalogue), outer_(outer) {}

    DateOperands Inside(const Token& group) const { return {group.Inside, catalogue_, this}; }

    // The operand that ends before `end`, or begins at `begin`. Empty if there is none.
    Operand Before(std::size_t end) const;
    Operand From(std::size_t begin) const;
    // The operand before a word such as IN or BETWEEN, with or without NOT.
    Operand BeforeWord(std::size_t word) const;
    // The operands of the BETWEEN at `between`; empty for other forms of expression.
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

    Operand Call(std::size_t group) const;
    Operand Column(std::size_t begin, std::size_t end) const;
    DateKind CallKind(const Token& name, const Token& group) const;
    DateKind ComputedKind(const std::string& table, const std::string& column) const;
    std::optional<FoundColumn> FindInQuery(const std::string& table,
                                           const std::string& column) const;
    std::optional<FoundColumn> FindInFrom(std::size_t i, const std::string& table,
                                          const std::string& column) const;

    const Tokens& tokens_;
    const SqliteDatabase& catalogue_;
    const DateOperands* outer_;
};

}  // namespace morvane::embedded
