// SPDX-License-Identifier: Apache-2.0
#include "db/SqlWords.h"

#include <algorithm>

#include "base/Text.h"

namespace morvane {

namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsWordPart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_' || c == '@' ||
           c == '#' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

// Walks over a text; every function takes where to begin and returns where it stopped.
class Scanner {
  public:
    explicit Scanner(std::string_view sql) : sql_(sql) {}

    std::size_t SkipBlanks(std::size_t at) const {
        while (at < sql_.size()) {
            if (IsBlank(sql_[at])) {
                ++at;
            } else if (sql_.substr(at, 2) == "--") {
                at = std::min(sql_.find('\n', at), sql_.size());
            } else if (sql_.substr(at, 2) == "/*") {
                at = SkipComment(at);
            } else {
                break;
            }
        }
        return at;
    }

    SqlWord Next(std::size_t at) const {
        const char c = sql_[at];
        const bool national = (c == 'N' || c == 'n') && sql_.substr(at + 1, 1) == "'";
        std::size_t end = at + 1;
        auto kind = SqlWordKind::Symbol;
        if (c == '\'' || national) {
            kind = SqlWordKind::Text;
            end = SkipQuoted(at + (national ? 1 : 0), '\'');
        } else if (c == '"' || c == '[') {
            kind = SqlWordKind::Name;
            end = SkipQuoted(at, c == '[' ? ']' : c);
        } else if (IsWordPart(c)) {
            kind = SqlWordKind::Word;
            while (end < sql_.size() &&
                   (IsWordPart(sql_[end]) || (IsDigit(c) && sql_[end] == '.'))) {
                ++end;
            }
        }
        const bool closed = end <= sql_.size();
        return {kind, sql_.substr(at, end - at), at, 0, closed};
    }

  private:
    std::size_t SkipComment(std::size_t at) const {
        int depth = 0;
        do {
            const std::string_view two = sql_.substr(at, 2);
            depth += two == "/*" ? 1 : two == "*/" ? -1 : 0;
            at += two == "/*" || two == "*/" ? 2U : 1U;
        } while (depth > 0 && at < sql_.size());
        return std::min(at, sql_.size());
    }

    // Past the end of the text where the quote has no end.
    std::size_t SkipQuoted(std::size_t at, char quote) const {
        for (++at; at < sql_.size(); ++at) {
            if (sql_[at] == quote) {
                if (sql_.substr(at + 1, 1) != std::string_view(&quote, 1)) {
                    return at + 1;
                }
                ++at;
            }
        }
        return sql_.size() + 1;
    }

    std::string_view sql_;
};

bool IsReserved(const SqlWord& word) {
    static const std::vector<std::string_view> kReserved = {
        "add",      "all",    "alter",   "and",      "any",      "as",       "asc",     "backup",
        "between",  "break",  "bulk",    "by",       "case",     "check",    "close",   "column",
        "create",   "cross",  "current", "cursor",   "database", "default",  "delete",  "desc",
        "distinct", "drop",   "else",    "end",      "exists",   "external", "fetch",   "file",
        "for",      "from",   "full",    "function", "goto",     "grant",    "group",   "having",
        "identity", "if",     "in",      "index",    "inner",    "insert",   "into",    "is",
        "join",     "key",    "kill",    "left",     "like",     "load",     "merge",   "national",
        "not",      "null",   "of",      "off",      "on",       "open",     "option",  "or",
        "order",    "outer",  "over",    "percent",  "pivot",    "plan",     "primary", "print",
        "proc",     "public", "read",    "return",   "right",    "rule",     "save",    "schema",
        "select",   "set",    "some",    "table",    "then",     "to",       "top",     "tran",
        "trigger",  "union",  "unique",  "update",   "use",      "user",     "values",  "view",
        "when",     "where",  "while",   "with"};
    return word.IsOneOf(kReserved);
}

}  // namespace

bool SqlWord::Is(std::string_view word) const {
    return (Kind == SqlWordKind::Word || Kind == SqlWordKind::Symbol) &&
           EqualsIgnoreCase(Text, word);
}

bool SqlWord::IsOneOf(const std::vector<std::string_view>& words) const {
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return Is(word); });
}

bool SqlWord::IsName() const {
    return Kind == SqlWordKind::Name || (Kind == SqlWordKind::Word && !IsDigit(Text[0]));
}

std::string SqlWord::Named() const {
    if (Kind != SqlWordKind::Name) {
        return std::string(Text);
    }
    const char quote = Text.back();
    std::string name;
    for (std::size_t i = 1; i + 1 < Text.size(); ++i) {
        name += Text[i];
        i += Text[i] == quote ? 1U : 0U;  // a doubled quote is one
    }
    return name;
}

std::vector<SqlWord> SplitSql(std::string_view sql) {
    const Scanner scanner(sql);
    std::vector<SqlWord> words;
    int depth = 0;
    for (std::size_t at = scanner.SkipBlanks(0); at < sql.size();) {
        SqlWord word = scanner.Next(at);
        depth -= word.Is(")") ? 1 : 0;
        word.Depth = depth;
        depth += word.Is("(") ? 1 : 0;
        at = scanner.SkipBlanks(word.End());
        words.push_back(word);
    }
    return words;
}

std::string SqlName(std::string_view name) {
    const bool plain = !name.empty() && !IsDigit(name[0]) && name[0] != '$' &&
                       std::all_of(name.begin(), name.end(), IsWordPart);
    if (plain && !IsReserved({SqlWordKind::Word, name})) {
        return std::string(name);
    }
    std::string quoted = "[";
    for (const char c : name) {
        quoted += c;
        if (c == ']') {
            quoted += c;
        }
    }
    return quoted + "]";
}

}  // namespace morvane
