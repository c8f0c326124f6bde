#include "db/embedded/DateLiterals.h"

#include <algorithm>
#include <array>
#include <optional>

#include "core/DatabaseError.h"
#include "core/Text.h"
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

// A column as a statement names it: "c" or "t.c", the tokens [Begin, End).
struct Column {
    std::size_t Begin;
    std::size_t End;
    DateKind Kind;
};

class Comparisons {
  public:
    Comparisons(Tokens& tokens, const DateKindLookup& kindOf) : tokens_(tokens), kindOf_(kindOf) {}

    void Run() {
        // From the end, since a column that is wrapped moves what follows it.
        for (std::size_t i = tokens_.size(); i-- > 0;) {
            if (tokens_[i].Kind == TokenKind::Text) {
                NormalizeText(i);
            } else if (IsComparison(tokens_[i])) {
                WrapDay(i);
            }
        }
    }

  private:
    bool Is(std::size_t i, std::string_view word) const {
        return i < tokens_.size() && tokens_[i].Is(word);
    }

    std::optional<Column> ColumnAt(std::size_t begin, std::size_t end) const {
        const bool qualified = end - begin == 3;
        const std::string table = qualified ? tokens_[begin].NameText() : "";
        const DateKind kind = kindOf_(table, tokens_[end - 1].NameText());
        return kind == DateKind::None ? std::nullopt : std::optional(Column{begin, end, kind});
    }

    // The date column that ends before `end`.
    std::optional<Column> ColumnBefore(std::size_t end) const {
        if (end == 0 || !tokens_[end - 1].IsName()) {
            return std::nullopt;
        }
        std::size_t begin = end - 1;
        if (begin >= 2 && tokens_[begin - 1].Is(".") && tokens_[begin - 2].IsName()) {
            begin -= 2;
        }
        return ColumnAt(begin, end);
    }

    std::optional<Column> ColumnFrom(std::size_t begin) const {
        if (begin >= tokens_.size() || !tokens_[begin].IsName() || Is(begin + 1, "(")) {
            return std::nullopt;
        }
        const bool qualified =
            Is(begin + 1, ".") && begin + 2 < tokens_.size() && tokens_[begin + 2].IsName();
        return ColumnAt(begin, begin + (qualified ? 3 : 1));
    }

    // The column before a word such as IN or BETWEEN, with or without NOT.
    std::optional<Column> ColumnBeforeWord(std::size_t word) const {
        return ColumnBefore(word > 0 && tokens_[word - 1].Is("not") ? word - 1 : word);
    }

    // The column with which the text at `i` is compared.
    std::optional<Column> Partner(std::size_t i) const {
        if (i > 0 && IsComparison(tokens_[i - 1])) {
            return ColumnBefore(i - 1);
        }
        if (i + 1 < tokens_.size() && IsComparison(tokens_[i + 1])) {
            return ColumnFrom(i + 2);
        }
        if (i > 0 && tokens_[i - 1].Is("between")) {
            return ColumnBeforeWord(i - 1);
        }
        if (i > 0 && tokens_[i - 1].Is("and")) {
            return PartnerOfUpperBound(i - 1);
        }
        return PartnerOfListMember(i);
    }

    // "c between x and 'text'": x may be any expression without an AND of its own.
    std::optional<Column> PartnerOfUpperBound(std::size_t conjunction) const {
        int depth = 0;
        for (std::size_t i = conjunction; i-- > 0;) {
            depth += tokens_[i].Is(")") ? 1 : tokens_[i].Is("(") ? -1 : 0;
            if (depth < 0 || (depth == 0 && (tokens_[i].Is("and") || tokens_[i].Is("where")))) {
                return std::nullopt;
            }
            if (depth == 0 && tokens_[i].Is("between")) {
                return ColumnBeforeWord(i);
            }
        }
        return std::nullopt;
    }

    // "c in ('text', 'text')"
    std::optional<Column> PartnerOfListMember(std::size_t i) const {
        while (i > 0 && (tokens_[i].Kind == TokenKind::Text || tokens_[i].Is(","))) {
            --i;
        }
        return i > 0 && tokens_[i].Is("(") && tokens_[i - 1].Is("in") ? ColumnBeforeWord(i - 1)
                                                                      : std::nullopt;
    }

    void NormalizeText(std::size_t i) {
        const auto column = Partner(i);
        if (!column) {
            return;
        }
        const std::string& quoted = tokens_[i].Text;
        const auto moment = ParseDateTime(quoted.substr(1, quoted.size() - 2));
        if (!moment) {
            throw DatabaseError(
                {"Conversion failed when converting date and/or time from character string."});
        }
        const std::string text = FormatDateTime(*moment);
        tokens_[i].Text = QuotedText(column->Kind == DateKind::Date ? text.substr(0, 10) : text);
    }

    // The side of a comparison that is a call or an escape gives a date with a time of day.
    void WrapDay(std::size_t comparison) {
        const auto left = ColumnBefore(comparison);
        const auto right = ColumnFrom(comparison + 1);
        const bool callAfter = comparison + 2 < tokens_.size() &&
                               tokens_[comparison + 1].Kind == TokenKind::Word &&
                               tokens_[comparison + 2].Is("(");
        const bool callBefore = comparison > 0 && tokens_[comparison - 1].Is(")");
        if (left && left->Kind == DateKind::Date &&
            (callAfter || Is(comparison + 1, "{") || Is(comparison + 1, "current_timestamp"))) {
            Wrap(*left);
        } else if (right && right->Kind == DateKind::Date && callBefore) {
            Wrap(*right);
        }
    }

    // c becomes convert(datetime, c).
    void Wrap(const Column& column) {
        Tokens call = Tokenize("convert(datetime, x)");
        const Tokens name(tokens_.begin() + Offset(column.Begin),
                          tokens_.begin() + Offset(column.End));
        call.front().SpaceBefore = name.front().SpaceBefore;
        call.erase(call.end() - 2);
        call.insert(call.end() - 1, name.begin(), name.end());
        tokens_.erase(tokens_.begin() + Offset(column.Begin), tokens_.begin() + Offset(column.End));
        tokens_.insert(tokens_.begin() + Offset(column.Begin), call.begin(), call.end());
    }

    static std::ptrdiff_t Offset(std::size_t i) { return static_cast<std::ptrdiff_t>(i); }

    Tokens& tokens_;
    const DateKindLookup& kindOf_;
};

}  // namespace

void NormalizeDateComparisons(Tokens& tokens, const DateKindLookup& kindOf) {
    Comparisons(tokens, kindOf).Run();
}

}  // namespace morvane::embedded
