// SPDX-License-Identifier: Apache-2.0
// How calls of the server's functions become calls of those that the engine has.

#include "db/embedded/Sqlite.h"
#include "db/embedded/Translator.h"

namespace morvane::embedded {

namespace {

struct Renamed {
    std::string_view From;
    std::string_view To;
};

// The server's functions that SQLite has under another name, or not at all.
constexpr std::array kFunctions = {
    Renamed{"getdate", "tsql_getdate"},
    Renamed{"datediff", "tsql_datediff"},
    Renamed{"dateadd", "tsql_dateadd"},
    Renamed{"datepart", "tsql_datepart"},
    Renamed{"isnull", "ifnull"},
    Renamed{"len", "tsql_len"},
    Renamed{"left", "tsql_left"},
    Renamed{"right", "tsql_right"},
    Renamed{"substring", "tsql_substring"},
    Renamed{"charindex", "tsql_charindex"},
};

// Functions that take the part of a date as their first argument, as a bare word.
constexpr std::array<std::string_view, 3> kDatePartFunctions = {"datediff", "dateadd", "datepart"};

// year(d) is datepart(year, d), and so on.
constexpr std::array<std::string_view, 3> kPartNames = {"year", "month", "day"};

}  // namespace

std::size_t Translator::RewriteCall(std::size_t i) {
    const std::string& name = tokens_[i].Text;
    const std::size_t open = i + 1;
    const std::size_t close = ClosingParenthesis(tokens_, open);
    const bool space = tokens_[i].SpaceBefore;
    if (EqualsIgnoreCase(name, "convert")) {
        return RewriteConvert(open, close, space);
    }
    if (EqualsIgnoreCase(name, "openrowset")) {
        return RewriteRowset(i, close);
    }
    if (EqualsIgnoreCase(name, "cast")) {
        return RewriteCast(open, close, space);
    }
    if (ContainsWord(kPartNames, name)) {
        Emit("tsql_datepart('" + ToLower(name) + "', ", space);
        Rewrite(open + 1, close, false);
        out_ += ')';
        return close + 1;
    }
    const auto* const renamed = std::find_if(
        kFunctions.begin(), kFunctions.end(),
        [&](const Renamed& function) { return EqualsIgnoreCase(function.From, name); });
    Emit(renamed == kFunctions.end() ? name : renamed->To, space);
    if (!ContainsWord(kDatePartFunctions, name)) {
        return RewriteParenthesis(open);
    }
    if (tokens_[open + 1].Kind != TokenKind::Word) {
        Fail("Invalid parameter 1 specified for " + ToLower(name) + ".");
    }
    Emit("(" + QuotedText(tokens_[open + 1].Text), false);
    Rewrite(open + 2, close, false);
    out_ += ')';
    return close + 1;
}

std::size_t Translator::EmitType(std::size_t i, std::size_t close) {
    if (i >= close || !tokens_[i].IsName()) {
        FailUnknown("this form of CONVERT or CAST");
    }
    std::string length = "-1";
    std::string scale = "0";
    const std::string type = tokens_[i].NameText();
    ++i;
    if (IsAt(i, "(")) {
        const std::size_t end = ClosingParenthesis(tokens_, i);
        const bool scaled = end == i + 4 && IsAt(i + 2, ",") && IsNumber(i + 3);
        if ((!IsNumber(i + 1) && !IsAt(i + 1, "max")) || (end != i + 2 && !scaled)) {
            FailUnknown("this length of a type");
        }
        length = IsNumber(i + 1) ? tokens_[i + 1].Text : "2147483647";
        scale = scaled ? tokens_[i + 3].Text : scale;
        i = end + 1;
    }
    out_ += QuotedText(type) + ", " + length + ", " + scale;
    return i;
}

std::size_t Translator::RewriteConvert(std::size_t open, std::size_t close, bool space) {
    Emit("tsql_convert(", space);
    const std::size_t comma = EmitType(open + 1, close);
    if (!IsAt(comma, ",")) {
        FailUnknown("this form of CONVERT");
    }
    int arguments = 0;
    for (std::size_t i = comma; i < close; ++i) {
        if (tokens_[i].Is("(")) {
            i = ClosingParenthesis(tokens_, i);
        } else if (tokens_[i].Is(",")) {
            ++arguments;
        }
    }
    Rewrite(comma, close, false);
    out_ += arguments == 1 ? ", 0)" : ")";
    return close + 1;
}

std::size_t Translator::RewriteCast(std::size_t open, std::size_t close, bool space) {
    std::size_t as = close;
    for (std::size_t i = open + 1; i < close; ++i) {
        if (tokens_[i].Is("(")) {
            i = ClosingParenthesis(tokens_, i);
        } else if (tokens_[i].Is("as")) {
            as = i;
        }
    }
    Emit("tsql_convert(", space);
    if (as == close || EmitType(as + 1, close) != close) {
        FailUnknown("this form of CAST");
    }
    out_ += ", ";
    Rewrite(open + 1, as, false);
    out_ += ", 0)";
    return close + 1;
}

}  // namespace morvane::embedded
