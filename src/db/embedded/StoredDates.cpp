// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/StoredDates.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/DateForms.h"
#include "db/embedded/DateOperands.h"

namespace morvane::embedded {

namespace {

using Tokens = std::vector<Token>;

constexpr std::array kFormsOfAMoment = {
    DateForm::Full,           DateForm::WithT,       DateForm::Milliseconds,
    DateForm::Microseconds,   DateForm::SevenDigits, DateForm::ShortFraction,
    DateForm::WithoutSeconds, DateForm::Day,         DateForm::Compact};

std::ptrdiff_t Offset(std::size_t i) {
    return static_cast<std::ptrdiff_t>(i);
}

bool IsColumn(const Operand& operand) {
    return operand.Form == OperandForm::DateColumn;
}

// A date, or what has been made one.
bool IsDate(const Operand& operand) {
    return operand.Kind != DateKind::None || operand.Form == OperandForm::Value;
}

class StoredDates {
  public:
    StoredDates(Tokens& tokens, const SqliteDatabase& catalogue)
        : tokens_(tokens), catalogue_(catalogue), operands_(tokens, catalogue) {}

    // From the end, since what is rewritten moves what follows it.
    void Run() {
        // Their ORDER BY can name only a column of the result.
        const bool joinsQueries =
            std::any_of(tokens_.begin(), tokens_.end(),
                        [](const Token& token) { return IsOneOf(token, kQueryJoins); });
        for (next_ = tokens_.size(); next_-- > 0;) {
            const std::size_t i = next_;
            if (IsOneOf(tokens_[i], kEqualities) && !operands_.IsAssignment(i)) {
                FindAllForms(i);
            } else if (IsOneOf(tokens_[i], kOrders)) {
                CompareByOrder(i);
            } else if (tokens_[i].Is("between")) {
                CompareWithRange(i);
            } else if (tokens_[i].Is("in") && i + 2 < tokens_.size() && tokens_[i + 1].Is("(")) {
                FindListed(i);
            } else if (tokens_[i].Is("by") && !joinsQueries) {
                SortByMoment(i + 1);
            }
        }
    }

  private:
    static constexpr std::array<std::string_view, 3> kEqualities = {"=", "<>", "!="};
    static constexpr std::array<std::string_view, 3> kQueryJoins = {"union", "except", "intersect"};
    static constexpr std::array<std::string_view, 2> kDirections = {"asc", "desc"};
    static constexpr std::array<std::string_view, 4> kOrders = {"<", "<=", ">", ">="};

    // The operand's text. It may be written several times, so that its parameters get numbers.
    std::string Sql(const Operand& operand) const {
        Tokens copy(tokens_.begin() + Offset(operand.Begin), tokens_.begin() + Offset(operand.End));
        const auto isParameter = [](const Token& token) {
            return token.Kind == TokenKind::Parameter;
        };
        auto number =
            std::count_if(tokens_.begin(), tokens_.begin() + Offset(operand.Begin), isParameter);
        for (Token& token : copy) {
            token.Text += isParameter(token) ? std::to_string(++number) : "";
        }
        return JoinTokens(copy, 0, copy.size());
    }

    std::string InForm(const Operand& operand, DateForm form) const {
        const Token& token = tokens_[operand.Begin];
        if (operand.Form != OperandForm::Value || token.Kind != TokenKind::Text) {
            return fmt::format("tsql_date_form({}, {})", Sql(operand), static_cast<int>(form));
        }
        const std::string text = InDateForm(LiteralText(token.Text), form);
        return IsCompact(text) ? text : QuotedText(text);
    }

    // Puts SQL in the place of the tokens [begin, end), which is not looked at again.
    void Replace(std::size_t begin, std::size_t end, const std::string& sql) {
        Tokens made = Tokenize(sql);
        for (Token& token : made) {
            // With its number it counts no longer.
            token.Kind = token.Kind == TokenKind::Parameter ? TokenKind::Symbol : token.Kind;
        }
        made.front().SpaceBefore = tokens_[begin].SpaceBefore;
        const auto at =
            tokens_.erase(tokens_.begin() + Offset(begin), tokens_.begin() + Offset(end));
        tokens_.insert(at, made.begin(), made.end());
        next_ = begin;
    }

    // The operand and its other forms, as a list.
    std::string AllForms(const Operand& operand) const {
        std::vector<std::string> forms{Sql(operand)};
        for (const DateForm form : kFormsOfAMoment) {
            std::string text = InForm(operand, form);
            if (std::find(forms.begin(), forms.end(), text) == forms.end()) {
                forms.push_back(std::move(text));
            }
        }
        return Join(forms, ", ");
    }

    bool IsUpdate() const { return tokens_[0].Is("update"); }
    bool IsOfUpdated(const Operand& column) const {
        return IsUpdate() && EqualsIgnoreCase(column.Table, tokens_[1].NameText());
    }

    // d = x becomes d in (x, and x in all other forms). Two columns of one kind are left alone,
    // but in an UPDATE ... FROM: it decides what is deleted, and SemiJoin knows "f.x in (t.a, ...".
    void FindAllForms(std::size_t i) {
        Operand column = operands_.Before(i);
        Operand other = operands_.From(i + 1);
        const bool columns = IsColumn(column) && IsColumn(other);
        if (!(IsColumn(column) || IsColumn(other)) || !IsDate(column) || !IsDate(other) ||
            (columns && !IsUpdate() && column.Kind == other.Kind)) {
            return;
        }
        const std::size_t begin = column.Begin;
        const std::size_t end = other.End;
        const bool otherIsWider =
            IsOfUpdated(column) || (!IsOfUpdated(other) && column.Kind < other.Kind);
        if (columns ? otherIsWider : IsColumn(other)) {
            std::swap(column, other);
        }
        Replace(begin, end,
                Sql(column) + (tokens_[i].Is("=") ? " in (" : " not in (") + AllForms(other) + ")");
    }

    void FindListed(std::size_t in) {
        if (!IsColumn(operands_.BeforeWord(in)) || tokens_[in + 2].Is("select")) {
            return;
        }
        const std::size_t close = ClosingParenthesis(tokens_, in + 1);
        std::string list;
        for (std::size_t i = in + 2; i < close;) {
            std::size_t end = i;  // of the item that begins here
            while (end < close && !tokens_[end].Is(",")) {
                end = tokens_[end].Is("(") ? ClosingParenthesis(tokens_, end) + 1 : end + 1;
            }
            const Operand item = operands_.From(i);
            const bool date = IsDate(item) && !IsColumn(item) && item.End == end;
            list += (list.empty() ? "" : ", ") + (date ? AllForms(item) : Sql({i, end}));
            i = end + 1;
        }
        Replace(in + 2, close, list);
        next_ = in;
    }

    // d < x becomes "what comes before the end of that day, and exactly so". For d > x the rows are
    // added whose date SQLite holds as a number, unless it is known that there are none.
    std::string Ordered(const Operand& column, const std::string& comparison,
                        const Operand& other) const {
        if (!IsColumn(column)) {
            return Ordered(other, (comparison[0] == '<' ? ">" : "<") + comparison.substr(1),
                           column);
        }
        const std::string sql = Sql(column);
        const std::string name = column.Table.empty() ? "" : tokens_[column.End - 1].NameText();
        std::string days = sql + " < " + InForm(other, DateForm::EndOfDay);
        if (comparison[0] == '>') {
            days = sql + " >= " + InForm(other, DateForm::StartOfDay);
            if (name.empty() || MayHoldNumbers(catalogue_, column.Table, name)) {
                days = "(" + days + " or " + sql + " < '')";
            }
        }
        return fmt::format("({} and tsql_compare_dates({}, {}, {}, {}) {} 0)", days, sql,
                           Sql(other), QuotedText(column.Table), QuotedText(name), comparison);
    }

    void CompareByOrder(std::size_t i) {
        const Operand left = operands_.Before(i);
        const Operand right = operands_.From(i + 1);
        if (IsDate(left) && IsDate(right) && (IsColumn(left) || IsColumn(right))) {
            Replace(left.Begin, right.End, Ordered(left, tokens_[i].Text, right));
        }
    }

    void CompareWithRange(std::size_t between) {
        const auto [subject, low, high] = operands_.Range(between);
        if (IsDate(subject) && IsDate(low) && IsDate(high) &&
            (IsColumn(subject) || (IsColumn(low) && IsColumn(high)))) {
            Replace(subject.Begin, high.End,
                    (tokens_[between - 1].Is("not") ? "not (" : "(") + Ordered(subject, ">=", low) +
                        " and " + Ordered(subject, "<=", high) + ")");
        }
    }

    // The columns of GROUP BY or ORDER BY: one moment is one group, whatever its forms.
    void SortByMoment(std::size_t begin) {
        std::vector<Operand> columns;
        for (Operand next = operands_.From(begin); next.End != 0; next = operands_.From(begin)) {
            columns.push_back(next);
            begin = next.End;
            while (begin < tokens_.size() && IsOneOf(tokens_[begin], kDirections)) {
                ++begin;
            }
            if (begin == tokens_.size() || !tokens_[begin++].Is(",")) {
                break;
            }
        }
        for (auto column = columns.rbegin(); column != columns.rend(); ++column) {
            if (IsColumn(*column)) {
                Replace(column->Begin, column->End, InForm(*column, DateForm::Full));
            }
        }
    }

    Tokens& tokens_;
    const SqliteDatabase& catalogue_;
    DateOperands operands_;
    std::size_t next_ = 0;
};

}  // namespace

void CompareStoredDates(std::vector<Token>& tokens, const SqliteDatabase& catalogue) {
    StoredDates(tokens, catalogue).Run();
}

}  // namespace morvane::embedded
