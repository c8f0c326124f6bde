// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Translation.h"

#include "db/embedded/DateDefault.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Translator.h"

namespace morvane::embedded {

namespace {

// Words that SQLite reserves and the server does not: there they can only be names.
constexpr std::array<std::string_view, 9> kReservedBySqliteAlone = {
    "limit",      "autoincrement", "notnull", "isnull", "returning",
    "deferrable", "indexed",       "glob",    "regexp",
};

// Of a session's order of dates only this matters: the year is told by its four digits.
struct NamedOrder {
    std::string_view Name;
    DateOrder Order;
};
constexpr std::array kDateFormats = {
    NamedOrder{"mdy", DateOrder::MonthFirst}, NamedOrder{"dmy", DateOrder::DayFirst},
    NamedOrder{"ymd", DateOrder::MonthFirst}, NamedOrder{"ydm", DateOrder::DayFirst},
    NamedOrder{"myd", DateOrder::MonthFirst}, NamedOrder{"dym", DateOrder::DayFirst},
};
constexpr std::array kLanguages = {
    NamedOrder{"us_english", DateOrder::MonthFirst},
    NamedOrder{"English", DateOrder::MonthFirst},
    NamedOrder{"British", DateOrder::DayFirst},
    NamedOrder{"British English", DateOrder::DayFirst},
    NamedOrder{"German", DateOrder::DayFirst},
    NamedOrder{"Deutsch", DateOrder::DayFirst},
    NamedOrder{"French", DateOrder::DayFirst},
    NamedOrder{"Français", DateOrder::DayFirst},
};

template <std::size_t N>
std::optional<DateOrder> FindOrder(const std::array<NamedOrder, N>& orders, std::string_view name) {
    for (const NamedOrder& known : orders) {
        if (EqualsIgnoreCase(known.Name, name)) {
            return known.Order;
        }
    }
    return std::nullopt;
}

// The server's collations tell by their name whether they ignore letter case.
std::string SqliteCollation(const Token& written) {
    const std::string name = written.NameText();
    if (name.find('_') == std::string::npos) {
        return written.Text;
    }
    return ToUpper(name).find("_CI_") != std::string::npos ? "NOCASE" : "BINARY";
}

}  // namespace

Translation Translator::Run() {
    RequireShallow();
    while (!tokens_.empty() && tokens_.back().Is(";")) {
        tokens_.pop_back();
    }
    if (IsAt(0, "set") && tokens_.size() == 3) {
        return ReadSetting();
    }
    const StatementKind kind = FindKind();
    if (kind == StatementKind::Alter) {
        return {kind, std::string(sql_), {}, {}, {}};
    }
    definition_ = kind == StatementKind::Definition;
    NormalizeDates();
    Rewrite(0, tokens_.size(), kind == StatementKind::Select);
    return {kind, std::move(out_), std::move(attachedFiles_), std::move(parameterDates_), {}};
}

void Translator::RequireShallow() const {
    constexpr int kDeepest = 1000;
    int depth = 0;
    for (const Token& token : tokens_) {
        depth += token.Is("(") ? 1 : token.Is(")") ? -1 : 0;
        if (depth > kDeepest) {
            Fail("The statement has too many parentheses one inside the other.");
        }
    }
}

StatementKind Translator::FindKind() const {
    if (tokens_.empty()) {
        Fail("The statement is empty.");
    }
    struct Verb {
        std::string_view Word;
        StatementKind Kind;
    };
    constexpr std::array kVerbs = {
        Verb{"select", StatementKind::Select},     Verb{"insert", StatementKind::Insert},
        Verb{"update", StatementKind::Update},     Verb{"delete", StatementKind::Delete},
        Verb{"create", StatementKind::Definition}, Verb{"drop", StatementKind::Definition},
        Verb{"alter", StatementKind::Alter},
    };
    for (const Verb& verb : kVerbs) {
        if (tokens_[0].Is(verb.Word)) {
            return verb.Kind;
        }
    }
    FailUnknown("a statement that begins with \"" + tokens_[0].Text + "\"");
}

Translation Translator::ReadSetting() const {
    const std::string value =
        tokens_[2].Kind == TokenKind::Text ? LiteralText(tokens_[2].Text) : tokens_[2].NameText();
    const bool on = IsAt(2, "on");
    if (on || IsAt(2, "off")) {
        if (IsAt(1, "noexec")) {
            return {on ? StatementKind::NoExecOn : StatementKind::NoExecOff, {}, {}, {}, {}};
        }
        if (IsAt(1, "nocount")) {
            return {StatementKind::Setting, {}, {}, {}, {}};
        }
    }
    if (IsAt(1, "dateformat")) {
        if (const auto order = FindOrder(kDateFormats, value)) {
            return {StatementKind::Setting, {}, {}, {}, order};
        }
        Fail("SET DATEFORMAT date order '" + value + "' is invalid.");
    }
    if (IsAt(1, "language")) {
        if (const auto order = FindOrder(kLanguages, value)) {
            return {StatementKind::Setting, {}, {}, {}, order};
        }
        FailUnknown("the language '" + value + "'");
    }
    FailUnknown("the setting " + tokens_[1].Text + " " + tokens_[2].Text);
}

void Translator::Emit(std::string_view text, bool spaceBefore) {
    const bool quote = text.starts_with('\'') || text.starts_with('"');
    const bool touches = quote && !out_.empty() && out_.back() == text[0];
    if ((spaceBefore && !out_.empty()) || touches) {
        out_ += ' ';
    }
    out_ += text;
}

void Translator::Rewrite(std::size_t begin, std::size_t end, bool nameColumns) {
    std::string limit;
    std::size_t i = begin;
    while (i < end) {
        if (tokens_[i].Is("select")) {
            i = RewriteSelectHead(i, limit);
            if (nameColumns) {
                i = RewriteSelectList(i, end);
                nameColumns = false;
            }
        } else {
            if (!limit.empty() && tokens_[i].Is("union")) {
                FailUnknown("TOP together with UNION");
            }
            i = RewriteOne(i, end);
        }
    }
    out_ += limit;
}

std::size_t Translator::RewriteSelectHead(std::size_t i, std::string& limit) {
    Emit("SELECT", tokens_[i].SpaceBefore);
    ++i;
    if (IsAt(i, "distinct") || IsAt(i, "all")) {
        Emit(tokens_[i].Text, true);
        ++i;
    }
    if (!IsAt(i, "top")) {
        return i;
    }
    ++i;
    const bool parenthesis = IsAt(i, "(");
    i += parenthesis ? 1 : 0;
    if (i >= tokens_.size() || tokens_[i].Kind != TokenKind::Number) {
        FailUnknown("TOP without a number");
    }
    limit = " LIMIT " + tokens_[i].Text;
    ++i;
    if (parenthesis && !IsAt(i++, ")")) {
        FailUnknown("TOP without a number");
    }
    if (IsAt(i, "percent") || IsAt(i, "with")) {
        FailUnknown("TOP with PERCENT or WITH TIES");
    }
    if (i < tokens_.size()) {
        tokens_[i].SpaceBefore = true;
    }
    return i;
}

std::size_t Translator::RewriteSelectList(std::size_t i, std::size_t end) {
    while (true) {
        const std::size_t item = i;
        while (i < end && !tokens_[i].Is(",") && !EndsSelectList(i)) {
            i = RewriteOne(i, end);
        }
        if (IsUnnamedExpression(item, i)) {
            Emit("AS \"\"", true);
        }
        if (i >= end || !tokens_[i].Is(",")) {
            return i;
        }
        Emit(",", false);
        ++i;
    }
}

bool Translator::EndsSelectList(std::size_t i) const {
    constexpr std::array<std::string_view, 9> kEnds = {
        "select", "from", "where", "group", "order", "union", "except", "intersect", "into"};
    return tokens_[i].Kind == TokenKind::Word && ContainsWord(kEnds, tokens_[i].Text);
}

bool Translator::IsUnnamedExpression(std::size_t begin, std::size_t end) const {
    if (begin >= end || tokens_[end - 1].Is("*")) {
        return false;
    }
    bool column = true;  // a, t.a, [t].[a]
    for (std::size_t i = begin; i < end; ++i) {
        const bool name = (i - begin) % 2 == 0;
        column = column && (name ? tokens_[i].IsName() : tokens_[i].Is("."));
    }
    if (column) {
        return false;
    }
    const Token& last = tokens_[end - 1];
    const Token& before = tokens_[end - 2];
    const bool named = last.IsName() && !last.Is("end") && !last.Is("null") &&
                       (before.IsName() || before.Is(")") || before.Kind == TokenKind::Number ||
                        before.Kind == TokenKind::Text);
    return !named;
}

std::size_t Translator::RewriteOne(std::size_t i, std::size_t end) {
    if (const std::size_t next = definition_ ? RewriteInDefinition(i, end) : i; next != i) {
        return next;
    }
    const Token& token = tokens_[i];
    if (token.Is("(")) {
        return RewriteParenthesis(i);
    }
    if (token.Is("{")) {
        return RewriteEscape(i);
    }
    if (token.Is("+") && JoinsTexts(i)) {
        Emit("||", token.SpaceBefore);
        return i + 1;
    }
    if (token.Is("!<") || token.Is("!>")) {
        FailUnknown("the operator " + token.Text);
    }
    if (!token.IsName()) {
        Emit(token.Text, token.SpaceBefore);
        return i + 1;
    }
    if (token.Text[0] == '@') {
        FailUnknown("variables such as " + token.Text);
    }
    if (IsAt(i + 1, ".") && i + 1 < end) {
        return RewriteNameChain(i);
    }
    if (token.Kind == TokenKind::Word && IsAt(i + 1, "(")) {
        return RewriteCall(i);
    }
    if (token.Is("current_timestamp")) {
        Emit("tsql_getdate()", token.SpaceBefore);
    } else if (token.Kind == TokenKind::Word && ContainsWord(kReservedBySqliteAlone, token.Text)) {
        Emit(QuotedName(token.Text), token.SpaceBefore);
    } else {
        Emit(token.Text, token.SpaceBefore);
    }
    return i + 1;
}

std::size_t Translator::RewriteInDefinition(std::size_t i, std::size_t end) {
    const Token& token = tokens_[i];
    const bool nameFollows = i + 1 < end && tokens_[i + 1].IsName();
    if (token.Is("clustered") || token.Is("nonclustered")) {
        return i + 1;
    }
    if (token.Is("on") && nameFollows && i > 0 && tokens_[i - 1].Is(")") &&
        !tokens_[i + 1].Is("delete") && !tokens_[i + 1].Is("update")) {
        return i + 2;  // a file group
    }
    if (IsAt(i + 1, "(") && IsAt(i + 2, "max") && IsAt(i + 3, ")")) {
        Emit(token.Text + "(2147483647)", token.SpaceBefore);
        return i + 4;
    }
    if (token.Is("collate") && nameFollows) {
        Emit("COLLATE " + SqliteCollation(tokens_[i + 1]), token.SpaceBefore);
        return i + 2;
    }
    const bool getDate = token.Is("getdate") && IsAt(i + 1, "(") && IsAt(i + 2, ")");
    if (getDate || token.Is("current_timestamp")) {
        Emit("(" + std::string(kLocalTimeDefault) + ")", token.SpaceBefore);
        return i + (getDate ? 3 : 1);
    }
    return i;
}

void Translator::NormalizeDates() {
    if (context_.Catalogue == nullptr) {
        return;
    }
    try {
        parameterDates_ = NormalizeDateTexts(tokens_, *context_.Catalogue, context_.Order);
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.Descriptions(), std::string(sql_));
    }
}

std::size_t Translator::RewriteParenthesis(std::size_t open) {
    const std::size_t close = ClosingParenthesis(tokens_, open);
    Emit("(", tokens_[open].SpaceBefore);
    const std::size_t start = out_.size();
    Rewrite(open + 1, close, false);
    if (start < out_.size() && out_[start] == ' ') {
        out_.erase(start, 1);
    }
    out_ += ')';
    return close + 1;
}

std::size_t Translator::RewriteEscape(std::size_t i) {
    const bool shape = i + 3 < tokens_.size() && (IsAt(i + 1, "ts") || IsAt(i + 1, "d")) &&
                       tokens_[i + 2].Kind == TokenKind::Text && IsAt(i + 3, "}");
    if (!shape) {
        FailUnknown("this {...} form");
    }
    const std::string& quoted = tokens_[i + 2].Text;
    const auto moment = ParseDateTime(quoted.substr(1, quoted.size() - 2));
    if (!moment) {
        Fail("Conversion failed when converting date and/or time from character string.");
    }
    Emit(QuotedText(FormatDateTime(*moment)), tokens_[i].SpaceBefore);
    return i + 4;
}

bool Translator::JoinsTexts(std::size_t i) const {
    return (i > 0 && tokens_[i - 1].Kind == TokenKind::Text) ||
           (i + 1 < tokens_.size() && tokens_[i + 1].Kind == TokenKind::Text);
}

Translation Translate(std::string_view sql, const TranslationContext& context) {
    return Translator(sql, context).Run();
}

}  // namespace morvane::embedded
