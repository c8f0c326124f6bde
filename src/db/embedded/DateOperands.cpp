// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateOperands.h"

#include <algorithm>
#include <array>

#include "base/Text.h"

namespace morvane::embedded {

namespace {

bool IsValue(const Token& token) {
    return token.Kind == TokenKind::Text || token.Kind == TokenKind::Parameter;
}

// What can stand behind a table's name without being its alias.
constexpr std::array<std::string_view, 16> kNoAlias = {
    "where", "on",  "inner", "left",  "right", "full",   "cross", "outer",
    "join",  "set", "group", "order", "union", "having", "as",    "select"};
constexpr std::array<std::string_view, 3> kBeforeTables = {"from", "join", "update"};
// Functions whose value is of the type of their first argument.
constexpr std::array<std::string_view, 5> kLikeTheirArgument = {"isnull", "ifnull", "coalesce",
                                                                "min", "max"};

// datetime is SQLite's own. In the definition of a computed column dateadd has the engine's name.
constexpr std::array<std::string_view, 4> kGiveDateTimes = {"getdate", "dateadd", "datetime",
                                                            "tsql_dateadd"};

// The parenthesis that opens before `i` and is still open there; no value outside of any.
std::optional<std::size_t> EnclosingParenthesis(const std::vector<Token>& tokens, std::size_t i) {
    int depth = 0;
    while (i-- > 0) {
        if (tokens[i].Is(")")) {
            ++depth;
        } else if (tokens[i].Is("(") && depth-- == 0) {
            return i;
        }
    }
    return std::nullopt;
}

}  // namespace

Operand DateOperands::Before(std::size_t end) const {
    if (end == 0) {
        return {};
    }
    const Token& last = tokens_[end - 1];
    if (last.Is(")")) {
        const auto open = EnclosingParenthesis(tokens_, end - 1);
        return open ? Call(*open, end - 1) : Operand{};
    }
    if (last.Is("}") && end >= 4 && Is(end - 4, "{")) {
        return {end - 4, end, DateKind::SessionDateTime};
    }
    if (IsValue(last)) {
        return {end - 1, end, DateKind::None, OperandForm::Value};
    }
    if (!last.IsName()) {
        return {};
    }
    std::size_t begin = end - 1;
    while (begin >= 2 && tokens_[begin - 1].Is(".") && tokens_[begin - 2].IsName()) {
        begin -= 2;
    }
    return Column(begin, end);
}

Operand DateOperands::From(std::size_t begin) const {
    if (begin >= tokens_.size()) {
        return {};
    }
    if (tokens_[begin].Is("(")) {
        return Call(begin, ClosingParenthesis(tokens_, begin));
    }
    if (tokens_[begin].IsName() && Is(begin + 1, "(")) {
        return Call(begin + 1, ClosingParenthesis(tokens_, begin + 1));
    }
    if (tokens_[begin].Is("{") && Is(begin + 3, "}")) {
        return {begin, begin + 4, DateKind::SessionDateTime};
    }
    if (IsValue(tokens_[begin])) {
        return {begin, begin + 1, DateKind::None, OperandForm::Value};
    }
    if (!tokens_[begin].IsName()) {
        return {};
    }
    std::size_t end = begin + 1;
    while (Is(end, ".") && end + 1 < tokens_.size() && tokens_[end + 1].IsName()) {
        end += 2;
    }
    return Column(begin, end);
}

Operand DateOperands::BeforeWord(std::size_t word) const {
    return Before(word > 0 && tokens_[word - 1].Is("not") ? word - 1 : word);
}

// Both bounds may be any expressions without an AND of their own.
DateOperands::BetweenOperands DateOperands::Range(std::size_t between) const {
    std::size_t conjunction = between + 1;
    while (conjunction < tokens_.size() && !tokens_[conjunction].Is("and")) {
        conjunction = tokens_[conjunction].Is("(") ? ClosingParenthesis(tokens_, conjunction) + 1
                                                   : conjunction + 1;
    }
    const Operand low = From(between + 1);
    return {BeforeWord(between), low.End == conjunction ? low : Operand{}, From(conjunction + 1)};
}

bool DateOperands::IsAssignment(std::size_t i) const {
    if (!Is(i, "=") || !Is(0, "update")) {
        return false;
    }
    const std::size_t column = Before(i).Begin;
    return column > 0 && (Is(column - 1, "set") || Is(column - 1, ","));
}

// A function with its arguments, or one operand in parentheses.
Operand DateOperands::Call(std::size_t open, std::size_t close) const {
    if (open > 0 && tokens_[open - 1].Kind == TokenKind::Word) {
        const DateKind kind = CallKind(open, close);
        if (kind != DateKind::None) {
            const bool stored = IsOneOf(tokens_[open - 1], kLikeTheirArgument);
            return {open - 1, close + 1, kind,
                    stored ? OperandForm::DateColumn : OperandForm::Expression};
        }
    }
    const Operand inner = From(open + 1);
    return {open, close + 1, inner.End == close ? inner.Kind : DateKind::None};
}

DateKind DateOperands::CallKind(std::size_t open, std::size_t close) const {
    const Token& name = tokens_[open - 1];
    if (IsOneOf(name, kGiveDateTimes)) {
        return DateKind::SessionDateTime;
    }
    if (name.Is("date")) {
        return DateKind::Date;
    }
    if (name.Is("tsql_convert")) {
        return DateKindOfType(LiteralText(tokens_[open + 1].Text));
    }
    if (name.Is("convert") && open + 1 < close) {
        return DateKindOfType(tokens_[open + 1].NameText());
    }
    if (name.Is("cast") && close >= open + 3) {
        // A date's type is one word.
        return Is(close - 2, "as") ? DateKindOfType(tokens_[close - 1].NameText()) : DateKind::None;
    }
    if (IsOneOf(name, kLikeTheirArgument)) {
        const Operand first = From(open + 1);
        return first.End == close || Is(first.End, ",") ? first.Kind : DateKind::None;
    }
    return DateKind::None;
}

Operand DateOperands::Column(std::size_t begin, std::size_t end) const {
    if (end - begin == 1 && tokens_[begin].Is("current_timestamp")) {
        return {begin, end, DateKind::SessionDateTime};
    }
    const std::string table = end - begin >= 3 ? tokens_[end - 3].NameText() : "";
    const std::string column = tokens_[end - 1].NameText();
    std::size_t inside = begin;
    while (true) {
        const auto open = EnclosingParenthesis(tokens_, inside);
        const std::size_t first = open ? *open + 1 : 0;
        const std::size_t last = open ? ClosingParenthesis(tokens_, *open) : tokens_.size();
        if (const auto found = FindInQuery(first, last, table, column)) {
            const bool date = found->Kind != DateKind::None;
            return {begin, end, found->Kind,
                    date ? OperandForm::DateColumn : OperandForm::OtherColumn, found->Table};
        }
        if (!open) {
            return {begin, end};
        }
        inside = *open;
    }
}

// As the server gives a computed column the type of its expression.
DateKind DateOperands::ComputedKind(const std::string& table, const std::string& column) const {
    const std::string expression = UntypedExpression(catalogue_, table, column);
    if (expression.empty()) {
        return DateKind::None;
    }
    const std::vector<Token> query =
        Tokenize("SELECT " + expression + " FROM " + QuotedName(table));
    const Operand operand = DateOperands(query, catalogue_).From(1);
    return operand.End + 2 == query.size() ? operand.Kind : DateKind::None;
}

// The tables of the query at [begin, end), without those of the queries in it.
std::optional<DateOperands::FoundColumn> DateOperands::FindInQuery(
    std::size_t begin, std::size_t end, const std::string& table, const std::string& column) const {
    for (std::size_t i = begin; i < end; ++i) {
        if (tokens_[i].Is("(")) {
            i = ClosingParenthesis(tokens_, i);
        } else if (IsOneOf(tokens_[i], kBeforeTables)) {
            if (const auto found = FindInFrom(i + 1, end, table, column)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

// The tables of a list "t, dbo.u x" that begins at `i`.
std::optional<DateOperands::FoundColumn> DateOperands::FindInFrom(std::size_t i, std::size_t end,
                                                                  const std::string& table,
                                                                  const std::string& column) const {
    while (i < end && tokens_[i].IsName()) {
        while (i + 2 < end && tokens_[i + 1].Is(".") && tokens_[i + 2].IsName()) {
            i += 2;
        }
        const std::string name = tokens_[i].NameText();
        ++i;
        i += Is(i, "as") ? 1U : 0U;
        std::string alias = name;
        if (i < end && tokens_[i].IsName() && !IsOneOf(tokens_[i], kNoAlias)) {
            alias = tokens_[i].NameText();
            ++i;
        }
        if (table.empty() || EqualsIgnoreCase(table, alias)) {
            if (const auto kind = DateKindOf(catalogue_, name, column)) {
                const bool date = *kind != DateKind::None;
                return FoundColumn{name, date ? *kind : ComputedKind(name, column)};
            }
        }
        if (!Is(i, ",")) {
            break;
        }
        ++i;
    }
    return std::nullopt;
}

}  // namespace morvane::embedded
