// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateLiterals.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

#include "core/DatabaseError.h"
#include "db/embedded/DateOperands.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

constexpr std::size_t kDayLength = std::string_view("yyyy-mm-dd").size();

bool IsComparison(const Token& token) {
    constexpr std::array<std::string_view, 7> kOperators = {"=", "<>", "!=", "<", "<=", ">", ">="};
    return token.Kind == TokenKind::Symbol && IsOneOf(token, kOperators);
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

// Functions with date arguments, and the position of the first of those.
struct DateFunction {
    std::string_view Name;
    std::size_t FirstDate;
};
constexpr std::array kDateFunctions = {
    DateFunction{"datediff", 1}, DateFunction{"dateadd", 2}, DateFunction{"datepart", 1},
    DateFunction{"year", 0},     DateFunction{"month", 0},   DateFunction{"day", 0},
};

// The items of a list as positions, since the tokens move.
struct Range {
    std::size_t Begin;
    std::size_t End;
};
std::vector<Range> ItemsOf(const Tokens& list) {
    std::vector<Range> items;
    for (const TokenSpan item : SplitAtCommas(list)) {
        const auto begin = static_cast<std::size_t>(item.data() - list.data());
        items.push_back({begin, begin + item.size()});
    }
    return items;
}

// What all lists of a statement share.
struct DateContext {
    const SqliteDatabase& Catalogue;
    DateOrder Order;
    std::vector<DateParameter>& Parameters;
};

// Works on one list of tokens: the statement or the contents of a pair of parentheses.
class DateTexts {
  public:
    DateTexts(Tokens& tokens, const DateOperands& operands, const DateContext& context)
        : tokens_(tokens), operands_(operands), context_(context) {}

    // d - 5 becomes dateadd(day, -5, d).
    void AddDays() {
        for (std::size_t i = 0; i < tokens_.size(); ++i) {
            if (tokens_[i].IsGroup()) {
                Inside(tokens_[i], &DateTexts::AddDays);
            } else if (i > 0 && (tokens_[i].Is("+") || tokens_[i].Is("-"))) {
                i = AddDaysAt(i);
            }
        }
    }

    void Compare() {
        for (next_ = tokens_.size(); next_ > 0;) {
            CompareAt(--next_);
        }
    }

    // The values of an INSERT, each by the column it goes to.
    void ReadInserted() {
        std::size_t i = 2;
        while (IsAt(tokens_, i, ".") || IsAt(tokens_, i + 1, ".")) {
            ++i;
        }
        if (!IsAt(tokens_, 0, "insert") || !IsAt(tokens_, 1, "into") || i >= tokens_.size()) {
            return;
        }
        const std::string table = tokens_[i].NameText();
        std::vector<DateKind> kinds;
        if (IsGroupAt(tokens_, ++i)) {
            for (const TokenSpan column : SplitAtCommas(tokens_[i++].Inside)) {
                const std::string name = column.empty() ? "" : column[0].NameText();
                kinds.push_back(
                    DateKindOf(context_.Catalogue, table, name).value_or(DateKind::None));
            }
        } else {
            kinds = DateKindsOfInserted(context_.Catalogue, table);
        }
        if (IsAt(tokens_, i, "values")) {
            while (IsGroupAt(tokens_, ++i)) {
                ReadRow(tokens_[i].Inside, kinds);
                ++i;  // the comma before the next row
            }
        }
    }

  private:
    void Inside(Token& group, void (DateTexts::*pass)()) {
        const DateOperands operands = operands_.Inside(group);
        (DateTexts(group.Inside, operands, context_).*pass)();
    }

    void CompareAt(std::size_t i) {
        if (tokens_[i].IsGroup()) {
            Inside(tokens_[i], &DateTexts::Compare);
        } else if (operands_.IsAssignment(i)) {
            Assign(operands_.Before(i), operands_.From(i + 1));
        } else if (IsComparison(tokens_[i])) {
            Unify({operands_.Before(i), operands_.From(i + 1)}, !IsOrder(tokens_[i]));
        } else if (tokens_[i].Is("between")) {
            const auto [subject, low, high] = operands_.Range(i);
            Unify({subject, low, high});
        } else if (!IsGroupAt(tokens_, i + 1)) {
            return;
        } else if (tokens_[i].Is("in")) {
            ReadList(operands_.BeforeWord(i).Kind, tokens_[i + 1].Inside);
        } else if (tokens_[i].Is("isnull") || tokens_[i].Is("coalesce")) {
            ReadList(operands_.Inside(tokens_[i + 1]).From(0).Kind, tokens_[i + 1].Inside);
        } else if (tokens_[i].Kind == TokenKind::Word) {
            ReadArguments(tokens_[i], tokens_[i + 1]);
        }
    }

    std::size_t AddDaysAt(std::size_t sign) {
        const Operand date = operands_.Before(sign);
        if (date.Kind == DateKind::None) {
            if (operands_.From(sign + 1).Kind != DateKind::None) {
                FailArithmetic();
            }
            return sign;
        }
        const bool whole = sign + 1 < tokens_.size() && IsWholeNumber(tokens_[sign + 1]) &&
                           !IsAt(tokens_, sign + 2, "*") && !IsAt(tokens_, sign + 2, "/") &&
                           !IsAt(tokens_, sign + 2, "%");
        if (!whole) {
            FailArithmetic();
        }
        const std::string call =
            "dateadd(day, " + tokens_[sign].Text + tokens_[sign + 1].Text + ", x)";
        const auto at = tokens_.begin() + static_cast<std::ptrdiff_t>(sign);
        tokens_.erase(at, at + 2);
        WrapIn(call, date);
        return date.Begin + 1;
    }

    [[noreturn]] static void FailArithmetic() {
        throw DatabaseError(
            {"The embedded warehouse adds nothing to dates but whole days; for anything else there"
             " is dateadd."});
    }

    // Literals and parameters of a list that is compared with a date.
    void ReadList(DateKind kind, Tokens& list) {
        if (kind == DateKind::None) {
            return;
        }
        for (const auto& [begin, end] : ItemsOf(list)) {
            if (end == begin + 1 && IsValue(list[begin])) {
                ReadValue(list[begin], kind);
            }
        }
    }

    // The sides of one comparison, from left to right. If one of them has a time of day, all get
    // one, except two columns compared for equality: CompareStoredDates handles all their forms.
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
                WrapIn("convert(datetime, x)", *side);
            } else {
                ReadAs(*side, kind);
            }
        }
    }

    void Assign(const Operand& column, const Operand& value) {
        const bool holdsDay = column.Kind == DateKind::Date;
        if (value.Form == OperandForm::Value && IsParameter(tokens_[value.Begin])) {
            ReadValue(tokens_[value.Begin], column.Kind, true);
        } else if (value.Kind == DateKind::None) {
            ReadAs(value, column.Kind);
        } else if (column.Kind != DateKind::None && holdsDay != (value.Kind == DateKind::Date)) {
            WrapIn(holdsDay ? "convert(date, x)" : "convert(datetime, x)", value);
        }
    }

    // The functions read texts with the month first. In other sessions their arguments are
    // converted before the call.
    void ReadArguments(const Token& name, Token& group) {
        const DateOperands operands = operands_.Inside(group);
        DateTexts inside(group.Inside, operands, context_);
        const auto* const function =
            std::find_if(kDateFunctions.begin(), kDateFunctions.end(),
                         [&](const DateFunction& known) { return name.Is(known.Name); });
        if (name.Is("cast")) {
            const std::size_t as = FindWord(group.Inside, "as");
            if (as + 1 < group.Inside.size()) {
                inside.ReadArgument({0, as}, DateKindOfType(group.Inside[as + 1].NameText()));
            }
        } else if (function != kDateFunctions.end()) {
            const auto arguments = ItemsOf(group.Inside);
            for (std::size_t i = arguments.size(); i-- > function->FirstDate;) {
                inside.ReadArgument(arguments[i], DateKind::SessionDateTime);
            }
        } else if (name.Is("convert")) {
            const auto arguments = ItemsOf(group.Inside);
            // A third argument, the style, gives the form whatever the session.
            if (arguments.size() == 2) {
                inside.ReadArgument(arguments[1], DateKindOfType(group.Inside[0].NameText()));
            }
        }
    }

    void ReadArgument(Range argument, DateKind kind) {
        const Operand operand = operands_.From(argument.Begin);
        const bool parameter =
            operand.Form == OperandForm::Value && IsParameter(tokens_[operand.Begin]);
        if (operand.End == argument.End && (parameter || context_.Order == DateOrder::DayFirst)) {
            ReadAs(operand, kind);
        }
    }

    void ReadRow(Tokens& row, const std::vector<DateKind>& kinds) {
        const std::vector<Range> values = ItemsOf(row);
        for (std::size_t i = 0; i < std::min(values.size(), kinds.size()); ++i) {
            const auto [begin, end] = values[i];
            if (end != begin + 1 || kinds[i] == DateKind::None) {
                continue;
            }
            if (IsParameter(row[begin])) {
                ReadValue(row[begin], kinds[i], true);
            } else if (row[begin].Kind == TokenKind::Text) {
                const std::string text = Unquoted(row[begin].Text);
                row[begin].Text =
                    QuotedText(ValueForColumn(text, {kinds[i], true}, context_.Order));
            }
        }
    }

    // Something that is not a date and is used as one.
    void ReadAs(const Operand& operand, DateKind kind) {
        if (kind == DateKind::None) {
            return;
        }
        if (operand.Form == OperandForm::Value) {
            ReadValue(tokens_[operand.Begin], kind);
        } else if (operand.Form == OperandForm::OtherColumn &&
                   context_.Order == DateOrder::DayFirst) {
            const char* type = kind == DateKind::Date              ? "date"
                               : kind == DateKind::SessionDateTime ? "datetime"
                                                                   : "datetime2";
            WrapIn("tsql_day_first('" + std::string(type) + "', x)", operand);
        }
    }

    void ReadValue(Token& value, DateKind kind, bool written = false) {
        if (IsParameter(value)) {
            std::size_t number = 0;  // "?1" is the first
            std::from_chars(value.Text.data() + 1, value.Text.data() + value.Text.size(), number);
            context_.Parameters[number - 1] = {kind, written};
        } else {
            value.Text = QuotedText(DateForColumn(Unquoted(value.Text), kind, context_.Order));
        }
    }

    // Puts an operand in the place of "x", the last argument of a call.
    void WrapIn(const std::string& call, const Operand& operand) {
        Tokens wrapped = Tokenize(call);
        const auto begin = tokens_.begin() + static_cast<std::ptrdiff_t>(operand.Begin);
        const auto end = tokens_.begin() + static_cast<std::ptrdiff_t>(operand.End);
        wrapped.front().SpaceBefore = begin->SpaceBefore;
        begin->SpaceBefore = true;
        Tokens& arguments = wrapped.back().Inside;
        arguments.pop_back();
        arguments.insert(arguments.end(), std::move_iterator(begin), std::move_iterator(end));
        if (operand.End <= next_) {
            next_ = next_ + wrapped.size() - (operand.End - operand.Begin);
        }
        tokens_.insert(tokens_.erase(begin, end), std::move_iterator(wrapped.begin()),
                       std::move_iterator(wrapped.end()));
    }

    Tokens& tokens_;
    const DateOperands& operands_;
    const DateContext& context_;
    std::size_t next_ = 0;  // the tokens from here on have been compared
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

void NormalizeDateTexts(Tokens& statement, const SqliteDatabase& catalogue, DateOrder order,
                        std::vector<DateParameter>& parameters) {
    const DateContext context{catalogue, order, parameters};
    const DateOperands operands(statement, catalogue);
    DateTexts texts(statement, operands, context);
    texts.ReadInserted();
    texts.AddDays();
    texts.Compare();
    CompareStoredDates(statement, catalogue);
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
