// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcBatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"
#include "db/odbc/OdbcStatement.h"
#include "db/odbc/OdbcTypes.h"
#include "sql/MaskPasswords.h"

namespace morvane::odbc {

namespace {

// Enough that the time of a round trip no longer counts, and little for a server to hold.
constexpr std::size_t kMostStatements = 500;
constexpr std::size_t kMostBytes = 100'000;

// The columns in which a request tells how it went.
constexpr std::string_view kCounts = "morvane_counts";
constexpr std::string_view kFailed = "morvane_failed";

// Wide only where it must be: an index of a narrow column serves a narrow text alone.
std::string Quoted(std::string_view text) {
    const std::string wide = WideLiteral(text);
    return IsAscii(text) ? wide.substr(1) : wide;
}

// The end of the literal, quoted name or comment that begins at `start`, or `start` itself.
std::size_t SkipQuoted(std::string_view sql, std::size_t start) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kQuotes{
        {{"'", "'"}, {"\"", "\""}, {"[", "]"}, {"--", "\n"}, {"/*", "*/"}}};
    for (const auto& [open, close] : kQuotes) {
        if (sql.substr(start, open.size()) == open) {
            const std::size_t end = sql.find(close, start + open.size());
            return end == std::string_view::npos ? sql.size() : end + close.size();
        }
    }
    return start;
}

// The statement with "@P1", "@P2" ... at its "?" places.
std::string WithNames(std::string_view sql) {
    std::string text;
    int places = 0;
    for (std::size_t i = 0; i < sql.size();) {
        const std::size_t end = SkipQuoted(sql, i);
        if (end > i) {
            text += sql.substr(i, end - i);
            i = end;
        } else {
            text += sql[i] == '?' ? "@P" + std::to_string(++places) : std::string(1, sql[i]);
            ++i;
        }
    }
    return text;
}

std::string_view IntegerType(DataType type) {
    switch (type) {
        case DataType::Boolean:
            return "bit";
        case DataType::TinyInt:
            return "tinyint";
        case DataType::SmallInt:
            return "smallint";
        case DataType::Integer:
            return "int";
        default:
            return "bigint";
    }
}

bool IsHex(std::string_view text) {
    return text.starts_with("0x") &&
           text.find_first_not_of("0123456789ABCDEFabcdef", 2) == std::string_view::npos;
}

// A value as the request has it: the type of its parameter, and its literal. The types of texts
// have one length, so that texts of different lengths are one statement for the server.
struct Literal {
    std::string_view Type;
    std::string Text;
};

Literal LiteralOf(const Parameter& parameter) {
    const auto& value = parameter.Value.Data();
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return {IntegerType(parameter.Type), std::to_string(*integer)};
    }
    if (const auto* real = std::get_if<double>(&value)) {
        return {"float", fmt::format("{:e}", *real)};
    }
    if (parameter.Value.IsNull()) {
        return {"varchar(8000)", "null"};
    }
    const std::string& text = std::get<std::string>(value);
    const bool bytes = parameter.Type == DataType::Binary || parameter.Type == DataType::VarBinary;
    if (bytes && IsHex(text)) {
        return {"varbinary(max)", text};
    }
    if (IsAscii(text)) {
        return {text.size() > 8000 ? "varchar(max)" : "varchar(8000)", Quoted(text)};
    }
    return {Utf16Length(text) > 4000 ? "nvarchar(max)" : "nvarchar(4000)", Quoted(text)};
}

}  // namespace

void OdbcBatch::Add(std::string_view sql, const std::vector<Parameter>& parameters) {
    text_ += fmt::format("set @i = {} ", statements_.size());
    if (parameters.empty()) {
        text_ += "exec sp_executesql " + WideLiteral(sql);
    } else {
        std::string types;
        std::string values;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const Literal literal = LiteralOf(parameters[i]);
            types += fmt::format("{}@P{} {}", i == 0 ? "" : ",", i + 1, literal.Type);
            values += "," + literal.Text;
        }
        const std::string named = WithNames(sql);
        // The reference of sp_execute excludes NULL.
        const bool hasNull = std::ranges::any_of(
            parameters, [](const Parameter& parameter) { return parameter.Value.IsNull(); });
        const std::string call =
            hasNull ? "sp_executesql " + WideLiteral(named) + "," + WideLiteral(types)
                    : "sp_execute " + Handle(named, types);
        text_ += "exec " + call + values;
    }
    text_ += Counts() ? " set @n = @n + cast(@@rowcount as varchar(20)) + ' '\n" : "\n";
    statements_.emplace_back(sql);
    if (statements_.size() == kMostStatements || text_.size() > kMostBytes) {
        Finish();
    }
}

// The variable with the handle of a prepared text, which is prepared before its first execution.
std::string OdbcBatch::Handle(const std::string& sql, const std::string& types) {
    const auto [found, isNew] =
        handles_.emplace(std::pair(types, sql), fmt::format("@h{}", handles_.size()));
    if (isNew) {
        text_ += fmt::format("exec sp_prepare {} output,{},{} ", found->second, WideLiteral(types),
                             WideLiteral(sql));
    }
    return found->second;
}

void OdbcBatch::Finish() {
    if (statements_.empty()) {
        return;
    }
    std::string handles;
    std::string unprepare;
    for (const auto& [text, handle] : handles_) {
        handles += "," + handle + " int";
        unprepare += "exec sp_unprepare " + handle + "\n";
    }
    const std::string request = fmt::format(
        "declare @i int = 0,@n varchar(max) = ''{}\nbegin try\n{}{}select @n as {}\n"
        "end try begin catch select @i as {};throw end catch",
        handles, text_, unprepare, kCounts, kFailed);
    std::size_t failed = statements_.size();
    try {
        Send(request, failed);
    } catch (const DatabaseError& error) {
        std::vector<std::string> descriptions = error.Descriptions();
        if (failed >= statements_.size()) {
            failed = 0;
            descriptions.push_back(fmt::format(
                "{} statements were sent together, beginning with this one.", statements_.size()));
        }
        throw DatabaseError(std::move(descriptions), MaskPasswords(statements_[failed]),
                            error.Code());
    }
    executed_ += statements_.size();
    statements_.clear();
    handles_.clear();
    text_.clear();
}

// `failed` becomes the number of the statement that failed, when the server tells.
void OdbcBatch::Send(const std::string& request, std::size_t& failed) {
    OdbcStatement statement(session_, request);
    statement.ExecuteDirectly();
    std::string counts;
    do {
        SQLSMALLINT columns = 0;
        std::array<SQLCHAR, 64> name{};
        if (SQL_SUCCEEDED(SQLNumResultCols(statement.Get(), &columns)) && columns == 1) {
            SQLColAttribute(statement.Get(), 1, SQL_DESC_NAME, name.data(), name.size(), nullptr,
                            nullptr);
        }
        const std::string_view column = reinterpret_cast<const char*>(name.data());
        if (column == kCounts) {
            counts = statement.FetchSingleText();
        } else if (column == kFailed) {
            const std::string text = statement.FetchSingleText();
            std::from_chars(text.data(), text.data() + text.size(), failed);
        }
    } while (statement.Call([&] { return SQLMoreResults(statement.Get()); }) != SQL_NO_DATA);
    TellCounts(counts);
}

void OdbcBatch::TellCounts(const std::string& counts) {
    if (!Counts()) {
        return;
    }
    const std::vector<std::string> texts = Split(Trim(counts), ' ');
    if (texts.size() != statements_.size()) {
        throw DatabaseError({fmt::format("The server executed {} of {} statements.", texts.size(),
                                         statements_.size())});
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::int64_t rows = -1;
        std::from_chars(texts[i].data(), texts[i].data() + texts[i].size(), rows);
        counted_(executed_ + i, rows);
    }
}

}  // namespace morvane::odbc
