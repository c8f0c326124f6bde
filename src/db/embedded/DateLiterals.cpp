#include "db/embedded/DateLiterals.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "core/DatabaseError.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"

namespace morvane::embedded {

namespace {

using Tokens = std::vector<Token>;

bool IsComparison(const Token& token) {
    constexpr std::array<std::string_view, 7> kOperators = {"=", "<>", "!=", "<", "<=", ">", ">="};
    return token.Kind == TokenKind::Symbol &&
           std::find(kOperators.begin(), kOperators.end(), token.Text) != kOperators.end();
}

bool IsWholeNumber(const Token& token) {
    return token.Kind == TokenKind::Number &&
           token.Text.find_first_not_of("0123456789") == std::string::npos;
}

std::ptrdiff_t Offset(std::size_t i) {
    return static_cast<std::ptrdiff_t>(i);
}

class Comparisons {
  public:
    Comparisons(Tokens& tokens, const DateKindLookup& kindOf)
        : tokens_(tokens), operands_(tokens, kindOf) {}

    void Run() {
        for (std::size_t i = 1; i < tokens_.size(); ++i) {
            if (tokens_[i].Is("+") || tokens_[i].Is("-")) {
                AddDays(i);
            }
        }
        // From the end, since an operand that is wrapped moves what follows it.
        for (std::size_t i = tokens_.size(); i-- > 0;) {
            if (IsComparison(tokens_[i])) {
                Unify({operands_.Before(i), operands_.From(i + 1)});
            } else if (tokens_[i].Is("between")) {
                UnifyRange(i);
            } else if (tokens_[i].Is("in") && Is(i + 1, "(")) {
                UnifyList(BeforeWord(i), i + 1);
            } else if ((tokens_[i].Is("isnull") || tokens_[i].Is("coalesce")) && Is(i + 1, "(")) {
                UnifyList(operands_.From(i + 2), i + 1);
            }
        }
    }

  private:
    bool Is(std::size_t i, std::string_view word) const {
        return i < tokens_.size() && tokens_[i].Is(word);
    }

    // The operand before a word such as IN or BETWEEN, with or without NOT.
    Operand BeforeWord(std::size_t word) const {
        return operands_.Before(word > 0 && tokens_[word - 1].Is("not") ? word - 1 : word);
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

    // "d between x and y": both may be any expressions without an AND of their own.
    void UnifyRange(std::size_t between) {
        std::size_t conjunction = between + 1;
        while (conjunction < tokens_.size() && !tokens_[conjunction].Is("and")) {
            conjunction = tokens_[conjunction].Is("(")
                              ? ClosingParenthesis(tokens_, conjunction) + 1
                              : conjunction + 1;
        }
        Operand low = operands_.From(between + 1);
        low = low.End == conjunction ? low : Operand{};
        Unify({BeforeWord(between), low, operands_.From(conjunction + 1)});
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
            if (tokens_[i].Kind == TokenKind::Text && alone) {
                NormalizeText(i, partner.Kind);
            } else if (tokens_[i].Is("(")) {
                i = ClosingParenthesis(tokens_, i);
            }
        }
    }

    // The sides of one comparison, in their order. Where a time of day is among them, all get one.
    void Unify(std::initializer_list<Operand> sides) {
        DateKind kind = DateKind::None;
        for (const Operand& side : sides) {
            kind = side.Kind == DateKind::DateTime || kind == DateKind::None ? side.Kind : kind;
        }
        if (kind == DateKind::None) {
            return;
        }
        for (auto side = std::rbegin(sides); side != std::rend(sides); ++side) {
            if (side->IsText) {
                NormalizeText(side->Begin, kind);
            } else if (side->Kind == DateKind::Date && kind == DateKind::DateTime) {
                PutInPlaceOfX(Tokenize("convert(datetime, x)"), *side);
            }
        }
    }

    void NormalizeText(std::size_t i, DateKind kind) {
        const std::string& quoted = tokens_[i].Text;
        const auto moment = ParseDateTime(quoted.substr(1, quoted.size() - 2));
        if (!moment) {
            throw DatabaseError(
                {"Conversion failed when converting date and/or time from character string."});
        }
        const std::string text = FormatDateTime(*moment);
        tokens_[i].Text = QuotedText(kind == DateKind::Date ? text.substr(0, 10) : text);
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
    DateOperands operands_;
};

}  // namespace

void NormalizeDateComparisons(Tokens& tokens, const DateKindLookup& kindOf) {
    Comparisons(tokens, kindOf).Run();
}

}  // namespace morvane::embedded
