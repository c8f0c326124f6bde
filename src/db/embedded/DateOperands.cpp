// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateOperands.h"

#include <array>

#include "base/Text.h"
#include "sql/Keywords.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

bool IsValue(const Token& token) {
    return token.Kind == TokenKind::Text || token.Kind == TokenKind::Parameter;
}

constexpr std::array<std::string_view, 3> kBeforeTables = {"from", "join", "update"};

// Functions that return the type of their first argument.
constexpr std::array<std::string_view, 5> kLikeTheirArgument = {"isnull", "ifnull", "coalesce",
                                                                "min", "max"};

// datetime is SQLite's own. Definitions of computed columns hold the engine's name of dateadd.
constexpr std::array<std::string_view, 4> kReturnDateTimes = {"getdate", "dateadd", "datetime",
                                                              "tsql_dateadd"};

}  // namespace

Operand DateOperands::Before(std::size_t end) const {
    if (end == 0) {
        return {};
    }
    const Token& last = tokens_[end - 1];
    if (last.IsGroup()) {
        return Call(end - 1);
    }
    if (last.Is("}") && end >= 4 && tokens_[end - 4].Is("{")) {
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
    if (tokens_[begin].IsGroup()) {
        return Call(begin);
    }
    if (tokens_[begin].IsName() && IsGroupAt(tokens_, begin + 1)) {
        return Call(begin + 1);
    }
    if (tokens_[begin].Is("{") && IsAt(tokens_, begin + 3, "}")) {
        return {begin, begin + 4, DateKind::SessionDateTime};
    }
    if (IsValue(tokens_[begin])) {
        return {begin, begin + 1, DateKind::None, OperandForm::Value};
    }
    if (!tokens_[begin].IsName()) {
        return {};
    }
    std::size_t end = begin + 1;
    while (IsAt(tokens_, end, ".") && end + 1 < tokens_.size() && tokens_[end + 1].IsName()) {
        end += 2;
    }
    return Column(begin, end);
}

Operand DateOperands::BeforeWord(std::size_t word) const {
    return Before(word > 0 && tokens_[word - 1].Is("not") ? word - 1 : word);
}

// Both bounds can be any expressions without an AND of their own.
DateOperands::BetweenOperands DateOperands::Range(std::size_t between) const {
    const std::size_t conjunction = FindWord(tokens_, "and", between + 1);
    const Operand low = From(between + 1);
    return {BeforeWord(between), low.End == conjunction ? low : Operand{}, From(conjunction + 1)};
}

bool DateOperands::IsAssignment(std::size_t i) const {
    if (!tokens_[i].Is("=") || !tokens_[0].Is("update")) {
        return false;
    }
    const std::size_t column = Before(i).Begin;
    return column > 0 && (tokens_[column - 1].Is("set") || tokens_[column - 1].Is(","));
}

// A function call, or one operand in parentheses.
Operand DateOperands::Call(std::size_t group) const {
    const Token& arguments = tokens_[group];
    if (group > 0 && tokens_[group - 1].Kind == TokenKind::Word) {
        const Token& name = tokens_[group - 1];
        const DateKind kind = CallKind(name, arguments);
        if (kind != DateKind::None || !HasRole(name, KeywordRole::Reserved)) {
            const bool stored = kind != DateKind::None && IsOneOf(name, kLikeTheirArgument);
            return {group - 1, group + 1, kind,
                    stored ? OperandForm::DateColumn : OperandForm::Expression};
        }
    }
    const Operand inner = Inside(arguments).From(0);
    return {group, group + 1, inner.End == arguments.Inside.size() ? inner.Kind : DateKind::None};
}

DateKind DateOperands::CallKind(const Token& name, const Token& group) const {
    const Tokens& arguments = group.Inside;
    if (IsOneOf(name, kReturnDateTimes)) {
        return DateKind::SessionDateTime;
    }
    if (name.Is("date")) {
        return DateKind::Date;
    }
    if (arguments.empty()) {
        return DateKind::None;
    }
    if (name.Is("tsql_convert")) {
        return DateKindOfType(Unquoted(arguments[0].Text));
    }
    if (name.Is("convert")) {
        return DateKindOfType(arguments[0].NameText());
    }
    if (name.Is("cast") && arguments.size() >= 3) {
        // The name of a date type is one word.
        return arguments[arguments.size() - 2].Is("as")
                   ? DateKindOfType(arguments.back().NameText())
                   : DateKind::None;
    }
    if (IsOneOf(name, kLikeTheirArgument)) {
        const Operand first = Inside(group).From(0);
        const bool whole = first.End == arguments.size() || IsAt(arguments, first.End, ",");
        return whole ? first.Kind : DateKind::None;
    }
    return DateKind::None;
}

Operand DateOperands::Column(std::size_t begin, std::size_t end) const {
    if (end - begin == 1 && tokens_[begin].Is("current_timestamp")) {
        return {begin, end, DateKind::SessionDateTime};
    }
    const std::string table = end - begin >= 3 ? tokens_[end - 3].NameText() : "";
    const std::string column = tokens_[end - 1].NameText();
    for (const DateOperands* level = this; level != nullptr; level = level->outer_) {
        if (const auto found = level->FindInQuery(table, column)) {
            const bool date = found->Kind != DateKind::None;
            return {begin, end, found->Kind,
                    date ? OperandForm::DateColumn : OperandForm::OtherColumn, found->Table};
        }
    }
    return {begin, end};
}

// On the server a computed column has the type of its expression.
DateKind DateOperands::ComputedKind(const std::string& table, const std::string& column) const {
    const std::string expression = UntypedExpression(catalogue_, table, column);
    if (expression.empty()) {
        return DateKind::None;
    }
    const Tokens query = Tokenize("SELECT " + expression + " FROM " + QuotedName(table));
    const Operand operand = DateOperands(query, catalogue_).From(1);
    return operand.End + 2 == query.size() ? operand.Kind : DateKind::None;
}

std::optional<DateOperands::FoundColumn> DateOperands::FindInQuery(
    const std::string& table, const std::string& column) const {
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
        if (IsOneOf(tokens_[i], kBeforeTables)) {
            if (const auto found = FindInFrom(i + 1, table, column)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

// The tables of a list "t, dbo.u x" that begins at `i`.
std::optional<DateOperands::FoundColumn> DateOperands::FindInFrom(std::size_t i,
                                                                  const std::string& table,
                                                                  const std::string& column) const {
    while (i < tokens_.size() && tokens_[i].IsName()) {
        while (IsAt(tokens_, i + 1, ".") && i + 2 < tokens_.size() && tokens_[i + 2].IsName()) {
            i += 2;
        }
        const std::string name = tokens_[i].NameText();
        ++i;
        i += IsAt(tokens_, i, "as") ? 1U : 0U;
        std::string alias = name;
        if (i < tokens_.size() && tokens_[i].IsName() &&
            !HasRole(tokens_[i], KeywordRole::FollowsTable)) {
            alias = tokens_[i].NameText();
            ++i;
        }
        if (table.empty() || EqualsIgnoreCase(table, alias)) {
            if (const auto kind = DateKindOf(catalogue_, name, column)) {
                const bool date = *kind != DateKind::None;
                return FoundColumn{name, date ? *kind : ComputedKind(name, column)};
            }
        }
        if (!IsAt(tokens_, i, ",")) {
            break;
        }
        ++i;
    }
    return std::nullopt;
}

}  // namespace morvane::embedded
