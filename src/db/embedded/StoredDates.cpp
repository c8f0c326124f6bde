// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/DateLiterals.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/DateOperands.h"
#include "db/embedded/DateTime.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

constexpr std::array kFormsOfAMoment = {
    DateForm::Full,           DateForm::WithT,       DateForm::Milliseconds,
    DateForm::Microseconds,   DateForm::SevenDigits, DateForm::ShortFraction,
    DateForm::WithoutSeconds, DateForm::Day,         DateForm::Compact};

bool IsColumn(const Operand& operand) {
    return operand.Form == OperandForm::DateColumn;
}

// A date, or a value that has been converted to one.
bool IsDate(const Operand& operand) {
    return operand.Kind != DateKind::None || operand.Form == OperandForm::Value;
}

constexpr std::array<std::string_view, 3> kEqualities = {"=", "<>", "!="};
constexpr std::array<std::string_view, 4> kOrders = {"<", "<=", ">", ">="};
constexpr std::array<std::string_view, 2> kDirections = {"asc", "desc"};
constexpr std::array<std::string_view, 3> kQueryJoins = {"union", "except", "intersect"};

bool JoinsQueries(TokenSpan tokens) {
    return std::any_of(tokens.begin(), tokens.end(), [](const Token& token) {
        return IsOneOf(token, kQueryJoins) || JoinsQueries(token.Inside);
    });
}

// What all lists of a statement share.
struct StatementContext {
    const SqliteDatabase& Catalogue;
    std::string UpdatedTable;  // empty if the statement is not an UPDATE
    bool JoinsQueries;         // its ORDER BY can name only columns of the result
};

// Works on one list of tokens: the statement or the contents of a pair of parentheses.
class StoredDates {
  public:
    StoredDates(Tokens& tokens, const DateOperands& operands, const StatementContext& context)
        : tokens_(tokens), operands_(operands), context_(context) {}

    // From the end, since a rewritten comparison moves what follows it.
    void Run() {
        for (next_ = tokens_.size(); next_-- > 0;) {
            const std::size_t i = next_;
            if (tokens_[i].IsGroup()) {
                Inside(tokens_[i], [](StoredDates& inside) { inside.Run(); });
            } else if (IsOneOf(tokens_[i], kEqualities) && !operands_.IsAssignment(i)) {
                FindAllForms(i);
            } else if (IsOneOf(tokens_[i], kOrders)) {
                CompareByOrder(i);
            } else if (tokens_[i].Is("between")) {
                CompareWithRange(i);
            } else if (tokens_[i].Is("in") && IsGroupAt(tokens_, i + 1)) {
                FindListed(i);
            } else if (tokens_[i].Is("by") && !context_.JoinsQueries) {
                SortByMoment(i + 1);
            }
        }
    }

  private:
    template <typename Action>
    void Inside(Token& group, Action action) {
        const DateOperands operands = operands_.Inside(group);
        StoredDates inside(group.Inside, operands, context_);
        action(inside);
    }

    std::string Sql(const Operand& operand) const {
        return JoinTokens(TokenSpan(tokens_).subspan(operand.Begin, operand.End - operand.Begin));
    }

    std::string InForm(const Operand& operand, DateForm form) const {
        const Token& token = tokens_[operand.Begin];
        if (operand.Form != OperandForm::Value || token.Kind != TokenKind::Text) {
            return fmt::format("tsql_date_form({}, {})", Sql(operand), static_cast<int>(form));
        }
        const std::string text = InDateForm(Unquoted(token.Text), form);
        return IsCompact(text) ? text : QuotedText(text);
    }

    // Replaces the tokens [begin, end) by SQL, which is not rewritten again.
    void Replace(std::size_t begin, std::size_t end, const std::string& sql) {
        Tokens made = Tokenize(sql);
        made.front().SpaceBefore = tokens_[begin].SpaceBefore;
        const auto first = tokens_.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto at = tokens_.erase(first, first + static_cast<std::ptrdiff_t>(end - begin));
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

    bool IsUpdate() const { return !context_.UpdatedTable.empty(); }
    bool IsOfUpdated(const Operand& column) const {
        return IsUpdate() && EqualsIgnoreCase(column.Table, context_.UpdatedTable);
    }

    // d = x becomes "d in (x, x in its other forms)". Two columns of one kind are left alone,
    // except in an UPDATE: its FROM decides what is deleted, and SemiJoin handles "f.x in (t.a,
    // ...".
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
        Token& group = tokens_[in + 1];
        if (!IsColumn(operands_.BeforeWord(in)) || group.Inside.empty() ||
            group.Inside[0].Is("select")) {
            return;
        }
        std::vector<std::string> items;
        Inside(group, [&](const StoredDates& list) {
            for (const TokenSpan item : SplitAtCommas(list.tokens_)) {
                const auto begin = static_cast<std::size_t>(item.data() - list.tokens_.data());
                const Operand operand = list.operands_.From(begin);
                const bool date =
                    IsDate(operand) && !IsColumn(operand) && operand.End == begin + item.size();
                items.push_back(date ? list.AllForms(operand) : JoinTokens(item));
            }
        });
        group.Inside = Tokenize(Join(items, ", "));
    }

    // d < x becomes "before the end of that day, and exactly before x". For d > x, dates that
    // SQLite holds as numbers are included, unless it is known that there are none.
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
            if (name.empty() || MayHoldNumbers(context_.Catalogue, column.Table, name)) {
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

    // The columns of GROUP BY or ORDER BY: equal moments form one group, whatever their form.
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
    const DateOperands& operands_;
    const StatementContext& context_;
    std::size_t next_ = 0;
};

}  // namespace

void CompareStoredDates(Tokens& statement, const SqliteDatabase& catalogue) {
    const bool update = IsAt(statement, 0, "update") && statement.size() > 1;
    const StatementContext context{catalogue, update ? statement[1].NameText() : "",
                                   JoinsQueries(statement)};
    const DateOperands operands(statement, catalogue);
    StoredDates(statement, operands, context).Run();
}

}  // namespace morvane::embedded
