// SPDX-License-Identifier: Apache-2.0
#include "db/odbc/OdbcBatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "base/Text.h"
#include "sql/Lexer.h"
#include "sql/MaskPasswords.h"
#include "sql/Quoting.h"

namespace morvane::odbc {

namespace {

// Large enough to make round trips negligible, small enough for the server's memory.
constexpr std::size_t kMostStatements = 500;
constexpr std::size_t kMostBytes = 100'000;

// The result columns of a request.
constexpr std::string_view kCounts = "morvane_counts";
constexpr std::string_view kFailed = "morvane_failed";

// A literal, as N'...' only for non-ASCII text: the index of a varchar column is not used for an
// nvarchar value.
std::string TextLiteral(std::string_view text) {
    return IsAscii(text) ? QuotedText(text) : WideLiteral(text);
}

// Replaces the "?" placeholders by "@P1", "@P2" and so on.
std::string WithNames(std::string_view sql) {
    std::string text;
    std::size_t copied = 0;
    int places = 0;
    Lexer lexer(sql);
    for (Lexeme lexeme; lexer.Next(lexeme);) {
        if (lexeme.Kind == TokenKind::Parameter) {
            const auto begin = static_cast<std::size_t>(lexeme.Text.data() - sql.data());
            text += sql.substr(copied, begin - copied);
            text += "@P" + std::to_string(++places);
            copied = begin + lexeme.Text.size();
        }
    }
    return text += sql.substr(copied);
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

// A parameter in the request: its declared type and its value. Text types have a fixed length, so
// that the server sees the same statement for texts of different lengths.
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
        return {text.size() > 8000 ? "varchar(max)" : "varchar(8000)", TextLiteral(text)};
    }
    return {Utf16Length(text) > 4000 ? "nvarchar(max)" : "nvarchar(4000)", TextLiteral(text)};
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
        // The sp_execute reference does not allow NULL.
        const bool hasNull = std::ranges::any_of(
            parameters, [](const Parameter& parameter) { return parameter.Value.IsNull(); });
        const std::string call =
            hasNull ? "sp_executesql " + WideLiteral(named) + "," + WideLiteral(types)
                    : "sp_execute " + HandleVariable(named, types);
        text_ += "exec " + call + values;
    }
    text_ += Counts() ? " set @n = @n + cast(@@rowcount as varchar(20)) + ' '\n" : "\n";
    statements_.emplace_back(sql);
    if (statements_.size() == kMostStatements || text_.size() > kMostBytes) {
        Finish();
    }
}

// The variable that holds the handle of a prepared statement. Prepares it on first use.
std::string OdbcBatch::HandleVariable(const std::string& sql, const std::string& types) {
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

// Sets `failed` to the number of the failed statement if the server reports it.
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
    ReportCounts(counts);
}

void OdbcBatch::ReportCounts(const std::string& counts) {
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
