// SPDX-License-Identifier: Apache-2.0
// Translates calls of the server's functions.

#include "db/embedded/Translator.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

namespace {

struct Renamed {
    std::string_view From;
    std::string_view To;
};

// Functions that SQLite has under another name, or that the engine registers.
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

// Functions whose first argument is a date part, a bare word.
constexpr std::array<std::string_view, 3> kDatePartFunctions = {"datediff", "dateadd", "datepart"};

// year(d) is datepart(year, d), and so on.
constexpr std::array<std::string_view, 3> kPartNames = {"year", "month", "day"};

}  // namespace

std::size_t Translator::RewriteCall(TokenSpan tokens, std::size_t i) {
    const Token& function = tokens[i];
    const std::string& name = function.Text;
    const Token& group = tokens[i + 1];
    const TokenSpan arguments = group.Inside;
    const std::size_t next = i + 2;
    if (function.Is("convert")) {
        RewriteConvert(arguments, function.SpaceBefore);
        return next;
    }
    if (function.Is("openrowset")) {
        RewriteRowset(function, arguments);
        return next;
    }
    if (function.Is("cast")) {
        RewriteCast(arguments, function.SpaceBefore);
        return next;
    }
    if (ContainsWord(kPartNames, name)) {
        Emit("tsql_datepart('" + ToLower(name) + "', ", function.SpaceBefore);
        Rewrite(arguments);
        out_ += ')';
        return next;
    }
    const auto* const renamed =
        std::find_if(kFunctions.begin(), kFunctions.end(),
                     [&](const Renamed& known) { return EqualsIgnoreCase(known.From, name); });
    Emit(renamed == kFunctions.end() ? name : renamed->To, function.SpaceBefore);
    if (!ContainsWord(kDatePartFunctions, name)) {
        RewriteGroup(group);
        return next;
    }
    if (arguments.empty() || arguments[0].Kind != TokenKind::Word) {
        Fail("Invalid parameter 1 specified for " + ToLower(name) + ".");
    }
    Emit("(" + QuotedText(arguments[0].Text), false);
    Rewrite(arguments.subspan(1));
    out_ += ')';
    return next;
}

std::size_t Translator::EmitType(TokenSpan tokens, std::size_t i) {
    if (i >= tokens.size() || !tokens[i].IsName()) {
        FailUnknown("this form of CONVERT or CAST");
    }
    std::string length = "-1";
    std::string scale = "0";
    const std::string type = tokens[i].NameText();
    ++i;
    if (IsGroupAt(tokens, i)) {
        const Tokens& size = tokens[i].Inside;
        const auto isNumber = [&](std::size_t at) { return size[at].Kind == TokenKind::Number; };
        const bool scaled = size.size() == 3 && size[1].Is(",") && isNumber(2);
        if ((size.size() != 1 && !scaled) || (!isNumber(0) && !size[0].Is("max"))) {
            FailUnknown("this length of a type");
        }
        length = isNumber(0) ? size[0].Text : "2147483647";
        scale = scaled ? size[2].Text : scale;
        ++i;
    }
    out_ += QuotedText(type) + ", " + length + ", " + scale;
    return i;
}

void Translator::RewriteConvert(TokenSpan arguments, bool space) {
    Emit("tsql_convert(", space);
    const std::size_t comma = EmitType(arguments, 0);
    if (!IsAt(arguments, comma, ",")) {
        FailUnknown("this form of CONVERT");
    }
    const bool hasStyle = SplitAtCommas(arguments.subspan(comma)).size() > 2;
    Rewrite(arguments.subspan(comma));
    out_ += hasStyle ? ")" : ", 0)";
}

void Translator::RewriteCast(TokenSpan arguments, bool space) {
    std::size_t as = arguments.size();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        as = arguments[i].Is("as") ? i : as;
    }
    Emit("tsql_convert(", space);
    if (as == arguments.size() || EmitType(arguments, as + 1) != arguments.size()) {
        FailUnknown("this form of CAST");
    }
    out_ += ", ";
    Rewrite(arguments.first(as));
    out_ += ", 0)";
}

}  // namespace morvane::embedded
