// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateLiterals.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "core/DatabaseError.h"
#include "db/embedded/DateOperands.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/StoredDates.h"

namespace morvane::embedded {

namespace {

using Tokens = std::vector<Token>;

constexpr std::size_t kDayLength = std::string_view("yyyy-mm-dd").size();

bool IsComparison(const Token& token) {
    constexpr std::array<std::string_view, 7> kOperators = {"=", "<>", "!=", "<", "<=", ">", ">="};
    return token.Kind == TokenKind::Symbol &&
           std::find(kOperators.begin(), kOperators.end(), token.Text) != kOperators.end();
}

bool IsOrder(const Token& comparison) {
    return (comparison.Text[0] == '<' || comparison.Text[0] == '>') && comparison.Text != "<>";
}

bool IsParameter(const Token& token) {
    return token.Kind == TokenKind::Parameter;
}

bool IsValue(const Token& token) {
    return token.Kind == TokenKind::Text || IsParameter(token);
}

bool IsWholeNumber(const Token& token) {
    return token.Kind == TokenKind::Number &&
           token.Text.find_first_not_of("0123456789") == std::string::npos;
}

std::ptrdiff_t Offset(std::size_t i) {
    return static_cast<std::ptrdiff_t>(i);
}

struct Range {
    std::size_t Begin;
    std::size_t End;
};

// Functions with dates among their arguments; the first of those, counted from 0.
struct DateFunction {
    std::string_view Name;
    std::size_t FirstDate;
};
constexpr std::array kDateFunctions = {
    DateFunction{"datediff", 1}, DateFunction{"dateadd", 2}, DateFunction{"datepart", 1},
    DateFunction{"year", 0},     DateFunction{"month", 0},   DateFunction{"day", 0},
};

class DateTexts {
  public:
    DateTexts(Tokens& tokens, const SqliteDatabase& catalogue, DateOrder order)
        : tokens_(tokens),
          catalogue_(catalogue),
          order_(order),
          operands_(tokens, catalogue),
          parameters_(
              static_cast<std::size_t>(std::count_if(tokens.begin(), tokens.end(), IsParameter))) {}

    std::vector<DateParameter> Run() {
        ReadInserted();
        for (std::size_t i = 1; i < tokens_.size(); ++i) {
            if (tokens_[i].Is("+") || tokens_[i].Is("-")) {
                AddDays(i);
            }
        }
        // From the end, since an operand that is wrapped moves what follows it.
        for (std::size_t i = tokens_.size(); i-- > 0;) {
            if (operands_.IsAssignment(i)) {
                Assign(operands_.Before(i), operands_.From(i + 1));
            } else if (IsComparison(tokens_[i])) {
                Unify({operands_.Before(i), operands_.From(i + 1)}, !IsOrder(tokens_[i]));
            } else if (tokens_[i].Is("between")) {
                const auto [subject, low, high] = operands_.Range(i);
                Unify({subject, low, high});
            } else if (tokens_[i].Is("in") && Is(i + 1, "(")) {
                UnifyList(operands_.BeforeWord(i), i + 1);
            } else if ((tokens_[i].Is("isnull") || tokens_[i].Is("coalesce")) && Is(i + 1, "(")) {
                UnifyList(operands_.From(i + 2), i + 1);
            } else if (tokens_[i].Kind == TokenKind::Word && Is(i + 1, "(")) {
                ReadArguments(i);
            }
        }
        CompareStoredDates(tokens_, catalogue_);
        return std::move(parameters_);
    }

  private:
    bool Is(std::size_t i, std::string_view word) const {
        return i < tokens_.size() && tokens_[i].Is(word);
    }

    // d - 5 becomes dateadd(day, -5, d).
    void AddDays(std::size_t& sign) {
        const Operand date = operands_.Before(sign);
        if (date.Kind == DateKind::None) {
            if (operands_.From(sign + 1).Kind != DateKind::None) {
                FailArithmetic();
            }
            return;
        }
        const bool whole = sign + 1 < tokens_.size() && IsWholeNumber(tokens_[sign + 1]) &&
                           !Is(sign + 2, "*") && !Is(sign + 2, "/") && !Is(sign + 2, "%");
        if (!whole) {
            FailArithmetic();
        }
        const std::string head =
            "dateadd(day, " + tokens_[sign].Text + tokens_[sign + 1].Text + ", x)";
        tokens_.erase(tokens_.begin() + Offset(sign), tokens_.begin() + Offset(sign + 2));
        sign = PutInPlaceOfX(Tokenize(head), date) - 1;
    }

    [[noreturn]] static void FailArithmetic() {
        throw DatabaseError(
            {"The embedded warehouse adds nothing to dates but whole days; for anything else there"
             " is dateadd."});
    }

    // The texts of a list are compared with `partner`.
    void UnifyList(const Operand& partner, std::size_t open) {
        if (partner.Kind == DateKind::None) {
            return;
        }
        const std::size_t close = ClosingParenthesis(tokens_, open);
        for (std::size_t i = open + 1; i < close; ++i) {
            const bool alone =
                (i == open + 1 || Is(i - 1, ",")) && (i + 1 == close || Is(i + 1, ","));
            if (IsValue(tokens_[i]) && alone) {
                ReadValue(i, partner.Kind);
            } else if (tokens_[i].Is("(")) {
                i = ClosingParenthesis(tokens_, i);
            }
        }
    }

    // The sides of one comparison, in their order. Where a time of day is among them, all get one,
    // but for two columns that are compared for equality: CompareStoredDates knows all forms.
    void Unify(std::initializer_list<Operand> sides, bool equality = false) {
        DateKind kind = DateKind::None;
        for (const Operand& side : sides) {
            kind = std::max(kind, side.Kind);
        }
        if (equality && std::all_of(sides.begin(), sides.end(), [](const Operand& side) {
                return side.Form == OperandForm::DateColumn;
            })) {
            return;
        }
        for (auto side = std::rbegin(sides); side != std::rend(sides); ++side) {
            if (side->Kind == DateKind::Date && kind != DateKind::Date) {
                PutInPlaceOfX(Tokenize("convert(datetime, x)"), *side);
            } else {
                ReadAs(*side, kind);
            }
        }
    }

    void Assign(const Operand& column, const Operand& value) {
        const bool holdsDay = column.Kind == DateKind::Date;
        if (value.Form == OperandForm::Value && IsParameter(tokens_[value.Begin])) {
            ReadValue(value.Begin, column.Kind, true);
        } else if (value.Kind == DateKind::None) {
            ReadAs(value, column.Kind);
        } else if (column.Kind != DateKind::None && holdsDay != (value.Kind == DateKind::Date)) {
            PutInPlaceOfX(Tokenize(holdsDay ? "convert(date, x)" : "convert(datetime, x)"), value);
        }
    }

    // The pieces of [begin, end) between its commas.
    std::vector<Range> SplitList(std::size_t begin, std::size_t end) const {
        std::vector<Range> pieces{{begin, end}};
        for (std::size_t i = begin; i < end; ++i) {
            if (tokens_[i].Is("(")) {
                i = ClosingParenthesis(tokens_, i);
            } else if (tokens_[i].Is(",")) {
                pieces.back().End = i;
                pieces.push_back({i + 1, end});
            }
        }
        return pieces;
    }

    // The functions read a text as a session does whose month comes first: in any other, what
    // they are given is converted before.
    void ReadArguments(std::size_t name) {
        const auto* const function =
            std::find_if(kDateFunctions.begin(), kDateFunctions.end(),
                         [&](const DateFunction& known) { return tokens_[name].Is(known.Name); });
        if (tokens_[name].Is("cast")) {
            ReadCast(name + 2, ClosingParenthesis(tokens_, name + 1));
        } else if (function != kDateFunctions.end()) {
            const auto arguments = SplitList(name + 2, ClosingParenthesis(tokens_, name + 1));
            for (std::size_t i = arguments.size(); i-- > function->FirstDate;) {
                ReadArgument(arguments[i], DateKind::SessionDateTime);
            }
        } else if (tokens_[name].Is("convert")) {
            const auto arguments = SplitList(name + 2, ClosingParenthesis(tokens_, name + 1));
            // A third one, the style, would tell the form whatever the session.
            if (arguments.size() == 2) {
                ReadArgument(arguments[1], DateKindOfType(tokens_[name + 2].NameText()));
            }
        }
    }

    // "value as type" in [begin, end).
    void ReadCast(std::size_t begin, std::size_t end) {
        std::size_t as = begin;
        while (as < end && !tokens_[as].Is("as")) {
            as = Is(as, "(") ? ClosingParenthesis(tokens_, as) + 1 : as + 1;
        }
        if (as + 1 < end) {
            ReadArgument({begin, as}, DateKindOfType(tokens_[as + 1].NameText()));
        }
    }

    void ReadArgument(Range argument, DateKind kind) {
        const Operand operand = operands_.From(argument.Begin);
        const bool parameter =
            operand.Form == OperandForm::Value && IsParameter(tokens_[operand.Begin]);
        if (operand.End == argument.End && (parameter || order_ == DateOrder::DayFirst)) {
            ReadAs(operand, kind);
        }
    }

    // The values of an INSERT, each by the column that it goes to.
    void ReadInserted() {
        std::size_t i = 2;
        while (Is(i, ".") || Is(i + 1, ".")) {
            ++i;
        }
        if (!Is(0, "insert") || !Is(1, "into") || i >= tokens_.size()) {
            return;
        }
        const std::string table = tokens_[i].NameText();
        std::vector<DateKind> kinds;
        if (Is(++i, "(")) {
            const std::size_t close = ClosingParenthesis(tokens_, i);
            for (const Range& column : SplitList(i + 1, close)) {
                const std::string name = tokens_[column.Begin].NameText();
                kinds.push_back(DateKindOf(catalogue_, table, name).value_or(DateKind::None));
            }
            i = close + 1;
        } else {
            kinds = DateKindsOfInserted(catalogue_, table);
        }
        if (!Is(i, "values")) {
            return;
        }
        while (Is(++i, "(")) {
            const std::size_t close = ClosingParenthesis(tokens_, i);
            ReadRow(SplitList(i + 1, close), kinds);
            i = close + 1;  // the comma before the next row, or the end
        }
    }

    void ReadRow(const std::vector<Range>& values, const std::vector<DateKind>& kinds) {
        for (std::size_t i = 0; i < std::min(values.size(), kinds.size()); ++i) {
            const auto [begin, end] = values[i];
            if (end != begin + 1 || kinds[i] == DateKind::None) {
                continue;
            }
            if (IsParameter(tokens_[begin])) {
                ReadValue(begin, kinds[i], true);
            } else if (tokens_[begin].Kind == TokenKind::Text) {
                const std::string text = LiteralText(tokens_[begin].Text);
                tokens_[begin].Text = QuotedText(ValueForColumn(text, {kinds[i], true}, order_));
            }
        }
    }

    // What is no date itself and is taken for one.
    void ReadAs(const Operand& operand, DateKind kind) {
        if (kind == DateKind::None) {
            return;
        }
        if (operand.Form == OperandForm::Value) {
            ReadValue(operand.Begin, kind);
        } else if (operand.Form == OperandForm::OtherColumn && order_ == DateOrder::DayFirst) {
            const char* type = kind == DateKind::Date              ? "date"
                               : kind == DateKind::SessionDateTime ? "datetime"
                                                                   : "datetime2";
            PutInPlaceOfX(Tokenize("tsql_day_first('" + std::string(type) + "', x)"), operand);
        }
    }

    void ReadValue(std::size_t i, DateKind kind, bool written = false) {
        if (IsParameter(tokens_[i])) {
            const auto before =
                std::count_if(tokens_.begin(), tokens_.begin() + Offset(i), IsParameter);
            parameters_[static_cast<std::size_t>(before)] = {kind, written};
        } else {
            const std::string text = LiteralText(tokens_[i].Text);
            tokens_[i].Text = QuotedText(DateForColumn(text, kind, order_));
        }
    }

    // Puts a call around an operand, in the place of the call's last argument, which is "x".
    // Returns the position after it.
    std::size_t PutInPlaceOfX(Tokens call, const Operand& operand) {
        const auto begin = tokens_.begin() + Offset(operand.Begin);
        const auto end = tokens_.begin() + Offset(operand.End);
        call.front().SpaceBefore = begin->SpaceBefore;
        begin->SpaceBefore = true;
        call.erase(call.end() - 2);
        call.insert(call.end() - 1, begin, end);
        const std::size_t after = operand.Begin + call.size();
        tokens_.insert(tokens_.erase(begin, end), call.begin(), call.end());
        return after;
    }

    Tokens& tokens_;
    const SqliteDatabase& catalogue_;
    DateOrder order_;
    DateOperands operands_;
    std::vector<DateParameter> parameters_;
};

std::optional<std::string> StoredDate(std::string_view text, DateKind kind, DateOrder order) {
    const bool bySession = kind == DateKind::SessionDateTime;
    const auto moment = ParseDateTime(text, {order, bySession ? order : DateOrder::MonthFirst});
    if (!moment) {
        return std::nullopt;
    }
    std::string stored = FormatDateTime(*moment);
    if (kind == DateKind::Date) {
        stored.resize(kDayLength);
    }
    return stored;
}

[[noreturn]] void FailConversion(std::string_view text, DateKind kind) {
    throw DatabaseError({kind == DateKind::SessionDateTime && HasDateForm(text)
                             ? "The conversion of a varchar data type to a datetime data type"
                               " resulted in an out-of-range value."
                             : "Conversion failed when converting date and/or time from"
                               " character string."});
}

}  // namespace

std::vector<DateParameter> NormalizeDateTexts(Tokens& tokens, const SqliteDatabase& catalogue,
                                              DateOrder order) {
    return DateTexts(tokens, catalogue, order).Run();
}

std::string DateForColumn(std::string_view text, DateKind kind, DateOrder order) {
    const auto stored = StoredDate(text, kind, order);
    if (!stored) {
        FailConversion(text, kind);
    }
    return *stored;
}

std::string ValueForColumn(std::string_view text, DateParameter meets, DateOrder order) {
    if (order == DateOrder::DayFirst) {
        return DateForColumn(text, meets.Kind, order);
    }
    const bool readAlike = BeginsReadAlike(text);
    if (!readAlike && !meets.Written) {
        return std::string(text);
    }
    if (auto stored = StoredDate(text, meets.Kind, order)) {
        return std::move(*stored);
    }
    if (readAlike && HasDateForm(text)) {
        FailConversion(text, meets.Kind);
    }
    return std::string(text);
}

}  // namespace morvane::embedded
