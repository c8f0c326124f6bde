// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/Translation.h"

#include "db/embedded/CreateStatement.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Translator.h"
#include "sql/Keywords.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

// Reserved by SQLite but not by the server: in T-SQL they can only be names.
constexpr std::array<std::string_view, 9> kReservedBySqliteAlone = {
    "limit",      "autoincrement", "notnull", "isnull", "returning",
    "deferrable", "indexed",       "glob",    "regexp",
};

// Only the order of day and month matters: the year has four digits.
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

// The name of a server collation says whether it ignores case.
std::string SqliteCollation(const Token& written) {
    const std::string name = written.NameText();
    if (name.find('_') == std::string::npos) {
        return written.Text;
    }
    return ToUpper(name).find("_CI_") != std::string::npos ? "NOCASE" : "BINARY";
}

// True for a select item that is not a column and has no alias.
bool IsUnnamedExpression(TokenSpan item) {
    if (item.empty() || item.back().Is("*")) {
        return false;
    }
    bool column = true;  // a, t.a, [t].[a]
    for (std::size_t i = 0; i < item.size(); ++i) {
        column = column && (i % 2 == 0 ? item[i].IsName() : item[i].Is("."));
    }
    if (column) {
        return false;
    }
    if (item.size() < 2) {
        return true;
    }
    const Token& last = item.back();
    const Token& before = item[item.size() - 2];
    const bool named = last.IsName() && !last.Is("end") && !last.Is("null") &&
                       (before.IsName() || before.IsGroup() || before.Kind == TokenKind::Number ||
                        before.Kind == TokenKind::Text);
    return !named;
}

// True for the name of a temporary table.
bool IsTemporary(const Token& token) {
    return token.IsName() && token.NameText().starts_with('#');
}

// True for a "+" next to a text literal, which joins texts.
bool JoinsTexts(TokenSpan tokens, std::size_t i) {
    return (i > 0 && tokens[i - 1].Kind == TokenKind::Text) ||
           (i + 1 < tokens.size() && tokens[i + 1].Kind == TokenKind::Text);
}

}  // namespace

Translation Translator::Run() {
    while (!statement_.empty() && statement_.back().Is(";")) {
        statement_.pop_back();
    }
    if (IsAt(statement_, 0, "set") && statement_.size() == 3) {
        return ReadSetting();
    }
    const StatementKind kind = FindKind();
    if (kind == StatementKind::Alter) {
        return {.Kind = kind, .Sql = std::string(sql_)};
    }
    definition_ = kind == StatementKind::Definition;
    PrepareTokens(statement_);
    NormalizeDates();
    std::string newTable = kind == StatementKind::Select ? TakeInto() : "";
    Rewrite(statement_, kind == StatementKind::Select && newTable.empty());
    return {.Kind = kind,
            .Sql = std::move(out_),
            .AttachedFiles = std::move(attachedFiles_),
            .ParameterDates = std::move(parameterDates_),
            .NewTable = std::move(newTable)};
}

StatementKind Translator::FindKind() const {
    if (statement_.empty()) {
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
        if (statement_[0].Is(verb.Word)) {
            return verb.Kind;
        }
    }
    FailUnknown("a statement that begins with \"" + JoinTokens(TokenSpan(statement_).first(1)) +
                "\"");
}

Translation Translator::ReadSetting() const {
    const Token& setting = statement_[1];
    const std::string value = statement_[2].Kind == TokenKind::Text ? Unquoted(statement_[2].Text)
                                                                    : statement_[2].NameText();
    const bool on = statement_[2].Is("on");
    if (on || statement_[2].Is("off")) {
        if (setting.Is("noexec")) {
            return {.Kind = on ? StatementKind::NoExecOn : StatementKind::NoExecOff};
        }
        if (setting.Is("nocount")) {
            return {.Kind = StatementKind::Setting};
        }
    }
    if (setting.Is("dateformat")) {
        if (const auto order = FindOrder(kDateFormats, value)) {
            return {.Kind = StatementKind::Setting, .NewOrder = order};
        }
        Fail("SET DATEFORMAT date order '" + value + "' is invalid.");
    }
    if (setting.Is("language")) {
        if (const auto order = FindOrder(kLanguages, value)) {
            return {.Kind = StatementKind::Setting, .NewOrder = order};
        }
        FailUnknown("the language '" + value + "'");
    }
    FailUnknown("the setting " + JoinTokens(TokenSpan(statement_).subspan(1)));
}

// Numbers the parameters, since an operand can be written more than once, and quotes the names of
// temporary tables.
void Translator::PrepareTokens(Tokens& tokens) {
    for (Token& token : tokens) {
        if (token.Kind == TokenKind::Parameter) {
            token.Text = "?" + std::to_string(++parameters_);
        } else if (token.Kind == TokenKind::Word && IsTemporary(token)) {
            token = {TokenKind::Name, QuotedName(token.Text), token.SpaceBefore, token.Begin,
                     token.End};
        }
        PrepareTokens(token.Inside);
    }
}

// Removes INTO and the name of a temporary table, and returns the name; empty if there is none.
std::string Translator::TakeInto() {
    const std::size_t into = FindWord(statement_, "into");
    if (into + 1 >= statement_.size() || !IsTemporary(statement_[into + 1])) {
        return {};
    }
    std::string name = statement_[into + 1].Text;
    const auto position = statement_.begin() + static_cast<std::ptrdiff_t>(into);
    statement_.erase(position, position + 2);
    return name;
}

void Translator::NormalizeDates() {
    if (context_.Catalogue == nullptr) {
        return;
    }
    parameterDates_.resize(parameters_);
    try {
        NormalizeDateTexts(statement_, *context_.Catalogue, context_.Order, parameterDates_);
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.Descriptions(), MaskPasswords(sql_));
    }
}

void Translator::Emit(std::string_view text, bool spaceBefore) {
    const bool quote = text.starts_with('\'') || text.starts_with('"');
    const bool touches = quote && !out_.empty() && out_.back() == text[0];
    if ((spaceBefore && !out_.empty()) || touches) {
        out_ += ' ';
    }
    out_ += text;
}

void Translator::Rewrite(TokenSpan tokens, bool nameColumns) {
    std::string limit;
    std::size_t i = 0;
    while (i < tokens.size()) {
        if (tokens[i].Is("select")) {
            i = RewriteSelectHead(tokens, i, limit);
            if (nameColumns) {
                i = RewriteSelectList(tokens, i);
                nameColumns = false;
            }
        } else {
            if (!limit.empty() && tokens[i].Is("union")) {
                FailUnknown("TOP together with UNION");
            }
            i = RewriteOne(tokens, i);
        }
    }
    out_ += limit;
}

std::size_t Translator::RewriteSelectHead(TokenSpan tokens, std::size_t i, std::string& limit) {
    Emit("SELECT", tokens[i].SpaceBefore);
    ++i;
    if (IsAt(tokens, i, "distinct") || IsAt(tokens, i, "all")) {
        Emit(tokens[i].Text, true);
        ++i;
    }
    if (!IsAt(tokens, i, "top")) {
        return i;
    }
    ++i;
    const TokenSpan count = IsGroupAt(tokens, i) ? TokenSpan(tokens[i].Inside)
                                                 : tokens.subspan(i, i < tokens.size() ? 1 : 0);
    if (count.size() != 1 || count[0].Kind != TokenKind::Number) {
        FailUnknown("TOP without a number");
    }
    limit = " LIMIT " + count[0].Text;
    ++i;
    if (IsAt(tokens, i, "percent") || IsAt(tokens, i, "with")) {
        FailUnknown("TOP with PERCENT or WITH TIES");
    }
    if (i < tokens.size() && !tokens[i].SpaceBefore) {
        out_ += ' ';
    }
    return i;
}

std::size_t Translator::RewriteSelectList(TokenSpan tokens, std::size_t i) {
    while (true) {
        const std::size_t item = i;
        while (i < tokens.size() && !tokens[i].Is(",") &&
               !HasRole(tokens[i], KeywordRole::Clause)) {
            i = RewriteOne(tokens, i);
        }
        if (IsUnnamedExpression(tokens.subspan(item, i - item))) {
            Emit("AS \"\"", true);
        }
        if (!IsAt(tokens, i, ",")) {
            return i;
        }
        Emit(",", false);
        ++i;
    }
}

std::size_t Translator::RewriteOne(TokenSpan tokens, std::size_t i) {
    if (const std::size_t next = definition_ ? RewriteInDefinition(tokens, i) : i; next != i) {
        return next;
    }
    const Token& token = tokens[i];
    if (token.Is("{")) {
        return RewriteEscape(tokens, i);
    }
    if (token.Is("!<") || token.Is("!>")) {
        FailUnknown("the operator " + token.Text);
    }
    if (token.IsName() && token.Text[0] == '@') {
        FailUnknown("variables such as " + token.Text);
    }
    if (token.IsName() && IsAt(tokens, i + 1, ".")) {
        return RewriteNameChain(tokens, i);
    }
    if (token.Kind == TokenKind::Word && IsGroupAt(tokens, i + 1)) {
        return RewriteCall(tokens, i);
    }
    if (token.IsGroup()) {
        RewriteGroup(token);
    } else if (token.Is("+") && JoinsTexts(tokens, i)) {
        Emit("||", token.SpaceBefore);
    } else if (token.Is("current_timestamp")) {
        Emit("tsql_getdate()", token.SpaceBefore);
    } else if (token.Kind == TokenKind::Word && ContainsWord(kReservedBySqliteAlone, token.Text)) {
        Emit(QuotedName(token.Text), token.SpaceBefore);
    } else {
        Emit(token);
    }
    return i + 1;
}

std::size_t Translator::RewriteInDefinition(TokenSpan tokens, std::size_t i) {
    const Token& token = tokens[i];
    const bool nameFollows = i + 1 < tokens.size() && tokens[i + 1].IsName();
    if (token.Is("clustered") || token.Is("nonclustered")) {
        return i + 1;
    }
    if (token.Is("on") && nameFollows && i > 0 && tokens[i - 1].IsGroup() &&
        !tokens[i + 1].Is("delete") && !tokens[i + 1].Is("update")) {
        return i + 2;  // a file group
    }
    if (token.IsName() && i > 0 && tokens[i - 1].Is("index") && IsAt(tokens, i + 1, "on") &&
        i + 2 < tokens.size() && IsTemporary(tokens[i + 2])) {
        Emit("temp." + token.Text, token.SpaceBefore);
        Emit(tokens[i + 1]);
        Emit(tokens[i + 2]);
        return i + 3;
    }
    const bool hasArguments = IsGroupAt(tokens, i + 1);
    if (hasArguments && tokens[i + 1].Inside.size() == 1 && tokens[i + 1].Inside[0].Is("max")) {
        Emit(token.Text + "(2147483647)", token.SpaceBefore);
        return i + 2;
    }
    if (token.Is("collate") && nameFollows) {
        Emit("COLLATE " + SqliteCollation(tokens[i + 1]), token.SpaceBefore);
        return i + 2;
    }
    const bool getDate = token.Is("getdate") && hasArguments && tokens[i + 1].Inside.empty();
    if (getDate || token.Is("current_timestamp")) {
        Emit("(" + std::string(kLocalTimeDefault) + ")", token.SpaceBefore);
        return i + (getDate ? 2 : 1);
    }
    return i;
}

void Translator::RewriteGroup(const Token& group) {
    Emit("(", group.SpaceBefore);
    const std::size_t start = out_.size();
    Rewrite(group.Inside);
    if (start < out_.size() && out_[start] == ' ') {
        out_.erase(start, 1);
    }
    out_ += ')';
}

std::size_t Translator::RewriteEscape(TokenSpan tokens, std::size_t i) {
    const bool shape = (IsAt(tokens, i + 1, "ts") || IsAt(tokens, i + 1, "d")) &&
                       IsAt(tokens, i + 3, "}") && tokens[i + 2].Kind == TokenKind::Text;
    if (!shape) {
        FailUnknown("this {...} form");
    }
    const auto moment = ParseDateTime(Unquoted(tokens[i + 2].Text));
    if (!moment) {
        Fail("Conversion failed when converting date and/or time from character string.");
    }
    Emit(QuotedText(FormatDateTime(*moment)), tokens[i].SpaceBefore);
    return i + 4;
}

Translation Translate(std::string_view sql, const TranslationContext& context) {
    return Translator(sql, context).Run();
}

}  // namespace morvane::embedded
