#include "db/embedded/Translation.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <vector>

#include "core/DatabaseError.h"
#include "core/Text.h"
#include "core/modFileFunctions.h"
#include "db/embedded/Databases.h"
#include "db/embedded/DateDefault.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/DateTime.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Tokens.h"

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

// Words that SQLite reserves and the server does not: there they can only be names.
constexpr std::array<std::string_view, 9> kReservedBySqliteAlone = {
    "limit",      "autoincrement", "notnull", "isnull", "returning",
    "deferrable", "indexed",       "glob",    "regexp",
};

template <std::size_t N>
bool Contains(const std::array<std::string_view, N>& words, std::string_view word) {
    return std::any_of(words.begin(), words.end(),
                       [&](std::string_view known) { return EqualsIgnoreCase(known, word); });
}

// The server's collations tell by their name whether they ignore letter case.
std::string SqliteCollation(const Token& written) {
    const std::string name = written.NameText();
    if (name.find('_') == std::string::npos) {
        return written.Text;
    }
    return ToUpper(name).find("_CI_") != std::string::npos ? "NOCASE" : "BINARY";
}

class Translator {
  public:
    Translator(std::string_view sql, const TranslationContext& context)
        : sql_(sql), context_(context), tokens_(Tokenize(sql, context.LinkedServers)) {}

    Translation Run() {
        RequireShallow();
        while (!tokens_.empty() && tokens_.back().Is(";")) {
            tokens_.pop_back();
        }
        const StatementKind kind = FindKind();
        if (kind == StatementKind::Alter) {
            return {kind, std::string(sql_), {}};
        }
        definition_ = kind == StatementKind::Definition;
        if (kind != StatementKind::NoExecOn && kind != StatementKind::NoExecOff) {
            NormalizeDates();
            Rewrite(0, tokens_.size(), kind == StatementKind::Select);
        }
        return {kind, std::move(out_), std::move(attachedFiles_)};
    }

  private:
    [[noreturn]] void Fail(const std::string& text) const {
        throw DatabaseError({text}, std::string(sql_));
    }

    [[noreturn]] void FailUnknown(const std::string& what) const {
        Fail("The embedded warehouse does not know " + what + ".");
    }

    // Parentheses are rewritten one inside the other. SQLite takes no more either.
    void RequireShallow() const {
        constexpr int kDeepest = 1000;
        int depth = 0;
        for (const Token& token : tokens_) {
            depth += token.Is("(") ? 1 : token.Is(")") ? -1 : 0;
            if (depth > kDeepest) {
                Fail("The statement has too many parentheses one inside the other.");
            }
        }
    }

    bool IsAt(std::size_t i, std::string_view text) const {
        return i < tokens_.size() && tokens_[i].Is(text);
    }

    bool IsNumber(std::size_t i) const {
        return i < tokens_.size() && tokens_[i].Kind == TokenKind::Number;
    }

    StatementKind FindKind() const {
        if (tokens_.empty()) {
            Fail("The statement is empty.");
        }
        if (IsAt(0, "set") && IsAt(1, "noexec") && tokens_.size() == 3) {
            if (IsAt(2, "on")) {
                return StatementKind::NoExecOn;
            }
            if (IsAt(2, "off")) {
                return StatementKind::NoExecOff;
            }
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

    // Two quotes that touch would be one doubled quote.
    void Emit(std::string_view text, bool spaceBefore) {
        const bool quote = text.starts_with('\'') || text.starts_with('"');
        const bool touches = quote && !out_.empty() && out_.back() == text[0];
        if ((spaceBefore && !out_.empty()) || touches) {
            out_ += ' ';
        }
        out_ += text;
    }

    // Writes the tokens [begin, end), which hold whole parentheses, rewritten. `nameColumns`: they
    // are a query whose result columns somebody sees.
    void Rewrite(std::size_t begin, std::size_t end, bool nameColumns) {
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

    // SELECT [DISTINCT] [TOP n]; the limit goes to the end of the query.
    std::size_t RewriteSelectHead(std::size_t i, std::string& limit) {
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

    // The result columns; one without a name of its own gets the empty name, as on the server.
    std::size_t RewriteSelectList(std::size_t i, std::size_t end) {
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

    bool EndsSelectList(std::size_t i) const {
        constexpr std::array<std::string_view, 8> kEnds = {"from",  "where",  "group",     "order",
                                                           "union", "except", "intersect", "into"};
        return tokens_[i].Kind == TokenKind::Word && Contains(kEnds, tokens_[i].Text);
    }

    bool IsUnnamedExpression(std::size_t begin, std::size_t end) const {
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

    // Writes the token at `i` with all that belongs to it; returns the position after.
    std::size_t RewriteOne(std::size_t i, std::size_t end) {
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
        } else if (token.Kind == TokenKind::Word && Contains(kReservedBySqliteAlone, token.Text)) {
            Emit(QuotedName(token.Text), token.SpaceBefore);
        } else {
            Emit(token.Text, token.SpaceBefore);
        }
        return i + 1;
    }

    // What CREATE TABLE says only to the server goes; the rest of its words SQLite knows. Returns
    // `i` for a token without a meaning of its own here.
    std::size_t RewriteInDefinition(std::size_t i, std::size_t end) {
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

    void NormalizeDates() {
        if (context_.Catalogue == nullptr) {
            return;
        }
        NormalizeDateComparisons(tokens_, [&](const std::string& table, const std::string& column) {
            return DateKindOf(*context_.Catalogue, table, column);
        });
    }

    std::size_t RewriteParenthesis(std::size_t open) {
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

    // {ts '...'}, {d '...'}: a date as every server reads it.
    std::size_t RewriteEscape(std::size_t i) {
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

    // "+" next to a text literal joins texts.
    bool JoinsTexts(std::size_t i) const {
        return (i > 0 && tokens_[i - 1].Kind == TokenKind::Text) ||
               (i + 1 < tokens_.size() && tokens_[i + 1].Kind == TokenKind::Text);
    }

    // a.b, dbo.t, dbo.t.a, db.dbo.t, db..t: what stands before the table goes.
    std::size_t RewriteNameChain(std::size_t i) {
        const bool space = tokens_[i].SpaceBefore;
        std::vector<std::size_t> parts = {i};  // token positions; the end for an empty part
        std::size_t next = i + 1;
        while (IsAt(next, ".")) {
            ++next;
            const bool part = next < tokens_.size() && (tokens_[next].IsName() || IsAt(next, "*"));
            parts.push_back(part ? next : tokens_.size());
            next += part ? 1 : 0;
        }
        std::size_t first = 0;
        for (std::size_t part = 0; part + 1 < parts.size(); ++part) {
            if (parts[part] == tokens_.size() ||
                EqualsIgnoreCase(tokens_[parts[part]].NameText(), "dbo")) {
                first = part + 1;
            }
        }
        if (parts.back() == tokens_.size()) {
            Fail("Incorrect syntax near '.'.");
        }
        if (first + 1 == parts.size() && IsAt(parts.back(), "*")) {
            FailUnknown("\"*\" without a table before it here");
        }
        if (first >= 2 && ReplaceDatabase(parts, first, space)) {
            return next;
        }
        for (std::size_t part = first; part < parts.size(); ++part) {
            Emit(part > first ? "." : "", part == first && space);
            out_ += tokens_[parts[part]].Text;
        }
        return next;
    }

    // The database before "dbo." must be the one in use; the server's own list of databases is
    // made on the spot. True when the whole name has been written.
    bool ReplaceDatabase(const std::vector<std::size_t>& parts, std::size_t first, bool space) {
        if (first > 2) {
            const std::string folder = LinkedFolder(parts);
            EmitForeignTable(folder, tokens_[parts[1]].NameText(), tokens_[parts.back()].NameText(),
                             space);
            return true;
        }
        const std::string database = tokens_[parts[0]].NameText();
        if (EqualsIgnoreCase(database, "master") &&
            EqualsIgnoreCase(tokens_[parts[first]].NameText(), "sysdatabases")) {
            Emit(DatabaseList(context_.Folder), space);
            return true;
        }
        if (!EqualsIgnoreCase(database, context_.Database)) {
            Fail("The embedded warehouse cannot reach the database \"" + database + "\" from \"" +
                 context_.Database + "\".");
        }
        return false;
    }

    // The folder behind the first part of server.database.dbo.table.
    std::string LinkedFolder(const std::vector<std::size_t>& parts) const {
        const std::string server = tokens_[parts[0]].NameText();
        const auto& linked = context_.LinkedServers;
        const bool known = std::any_of(linked.begin(), linked.end(), [&](const std::string& name) {
            return EqualsIgnoreCase(name, server);
        });
        if (!known) {
            Fail("Could not find server '" + server + "'; it is not a linked server.");
        }
        if (parts.size() != 4 || parts[1] == tokens_.size()) {
            FailUnknown("this form of a four-part name");
        }
        return FolderOfServer(server);
    }

    // A table of another database file, which is then a schema by the name of the file.
    void EmitForeignTable(const std::string& folder, const std::string& database,
                          const std::string& table, bool space) {
        const std::string file = DatabaseFile(folder, database);
        std::error_code error;
        const bool own = std::filesystem::equivalent(
            ToPath(file), ToPath(DatabaseFile(context_.Folder, context_.Database)), error);
        if (!own) {
            attachedFiles_.push_back(file);
        }
        Emit(QuotedName(own ? "main" : file) + "." + QuotedName(table), space);
    }

    // OPENROWSET('SQLOLEDB', 'server'; 'user'; 'password', database.dbo.table)
    std::size_t RewriteRowset(std::size_t open, std::size_t close, bool space) {
        constexpr std::array<std::string_view, 4> kSeparators = {",", ";", ";", ","};
        std::size_t i = open + 1;
        std::string server;
        for (std::size_t part = 0; part < kSeparators.size(); ++part, i += 2) {
            if (i + 1 >= close || tokens_[i].Kind != TokenKind::Text ||
                !tokens_[i + 1].Is(kSeparators[part])) {
                FailUnknown("this form of OPENROWSET");
            }
            server = part == 1 ? LiteralText(tokens_[i].Text) : server;
        }
        const bool threeParts = close == i + 5 && tokens_[i + 1].Is(".") &&
                                tokens_[i + 2].Is("dbo") && tokens_[i + 3].Is(".");
        if (!threeParts) {
            FailUnknown("this form of OPENROWSET");
        }
        EmitForeignTable(FolderOfServer(server), tokens_[i].NameText(), tokens_[i + 4].NameText(),
                         space);
        return close + 1;
    }

    std::size_t RewriteCall(std::size_t i) {
        const std::string& name = tokens_[i].Text;
        const std::size_t open = i + 1;
        const std::size_t close = ClosingParenthesis(tokens_, open);
        const bool space = tokens_[i].SpaceBefore;
        if (EqualsIgnoreCase(name, "convert")) {
            return RewriteConvert(open, close, space);
        }
        if (EqualsIgnoreCase(name, "openrowset")) {
            return RewriteRowset(open, close, space);
        }
        if (EqualsIgnoreCase(name, "cast")) {
            return RewriteCast(open, close, space);
        }
        if (Contains(kPartNames, name)) {
            Emit("tsql_datepart('" + ToLower(name) + "', ", space);
            Rewrite(open + 1, close, false);
            out_ += ')';
            return close + 1;
        }
        const auto* const renamed = std::find_if(
            kFunctions.begin(), kFunctions.end(),
            [&](const Renamed& function) { return EqualsIgnoreCase(function.From, name); });
        Emit(renamed == kFunctions.end() ? name : renamed->To, space);
        if (!Contains(kDatePartFunctions, name)) {
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

    // A type at `i`: its name, length and scale as three arguments. Returns the position after.
    std::size_t EmitType(std::size_t i, std::size_t close) {
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

    // convert(type, value [, style])
    std::size_t RewriteConvert(std::size_t open, std::size_t close, bool space) {
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

    // cast(value as type)
    std::size_t RewriteCast(std::size_t open, std::size_t close, bool space) {
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

    std::string_view sql_;
    const TranslationContext& context_;
    std::vector<Token> tokens_;
    std::string out_;
    std::vector<std::string> attachedFiles_;
    bool definition_ = false;
};

}  // namespace

Translation Translate(std::string_view sql, const TranslationContext& context) {
    return Translator(sql, context).Run();
}

}  // namespace morvane::embedded
