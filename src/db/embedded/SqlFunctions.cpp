// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/SqlFunctions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "base/Text.h"
#include "db/embedded/Catalogue.h"
#include "db/embedded/FunctionSupport.h"
#include "db/embedded/Names.h"
#include "db/embedded/SqliteCallbacks.h"

namespace morvane::embedded {

namespace {

void FirstSeen(sqlite3_context* context, int, Arguments arguments) {
    auto* shared = static_cast<FunctionContext*>(sqlite3_user_data(context));
    const bool isKey = sqlite3_value_type(arguments[0]) == SQLITE_INTEGER;
    const bool isNew = !isKey || shared->Keys().Add(sqlite3_value_int64(arguments[0]));
    sqlite3_result_int(context, isNew ? 1 : 0);
}

std::size_t CharacterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8) {
        count += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U ? 1U : 0U;
    }
    return count;
}

// The characters [begin, end) of a text, counted from 0. Positions outside the text are ignored.
std::string_view Characters(std::string_view utf8, std::int64_t begin, std::int64_t end) {
    if (end <= 0) {
        return {};
    }
    std::int64_t index = -1;
    std::size_t first = utf8.size();
    std::size_t last = utf8.size();
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if ((static_cast<unsigned char>(utf8[i]) & 0xC0U) == 0x80U) {
            continue;
        }
        ++index;
        if (index >= begin && first == utf8.size()) {
            first = i;
        }
        if (index == end) {
            last = i;
            break;
        }
    }
    return first >= last ? std::string_view() : utf8.substr(first, last - first);
}

void Len(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const std::string_view text = TextOf(arguments[0]);
    const std::string_view counted = text.substr(0, text.find_last_not_of(' ') + 1);
    sqlite3_result_int64(context, static_cast<std::int64_t>(CharacterCount(counted)));
}

bool NonNegative(sqlite3_context* context, std::int64_t length, const char* function) {
    if (length < 0) {
        ReturnError(context,
                    fmt::format("Invalid length parameter passed to the {} function.", function));
    }
    return length >= 0;
}

void Left(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const std::int64_t length = sqlite3_value_int64(arguments[1]);
    if (NonNegative(context, length, "left")) {
        ReturnText(context, Characters(TextOf(arguments[0]), 0, length));
    }
}

void Right(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const std::string_view text = TextOf(arguments[0]);
    const auto characters = static_cast<std::int64_t>(CharacterCount(text));
    const std::int64_t length = sqlite3_value_int64(arguments[1]);
    if (NonNegative(context, length, "right")) {
        ReturnText(context, Characters(text, characters - length, characters));
    }
}

void Substring(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    // Beyond any text, and the sum does not overflow.
    constexpr std::int64_t kFarthest = std::int64_t{1} << 40U;
    const std::int64_t start =
        std::clamp<std::int64_t>(sqlite3_value_int64(arguments[1]), -kFarthest, kFarthest) - 1;
    const std::int64_t length =
        std::min<std::int64_t>(sqlite3_value_int64(arguments[2]), kFarthest);
    if (NonNegative(context, length, "substring")) {
        ReturnText(context, Characters(TextOf(arguments[0]), start, start + length));
    }
}

void CharIndex(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const std::string text = ToLower(TextOf(arguments[1]));
    const std::size_t at = text.find(ToLower(TextOf(arguments[0])));
    sqlite3_result_int64(context,
                         at == std::string::npos
                             ? 0
                             : static_cast<std::int64_t>(CharacterCount(text.substr(0, at))) + 1);
}

void ConvertToInteger(sqlite3_context* context, sqlite3_value* value) {
    if (sqlite3_value_numeric_type(value) == SQLITE_TEXT) {
        ReturnError(context, "Conversion failed when converting the value '" +
                                 std::string(TextOf(value)) + "' to a whole number.");
        return;
    }
    sqlite3_result_int64(context, sqlite3_value_int64(value));
}

void ConvertToNumber(sqlite3_context* context, sqlite3_value* value, int scale) {
    if (sqlite3_value_numeric_type(value) == SQLITE_TEXT) {
        ReturnError(context, "Conversion failed when converting the value '" +
                                 std::string(TextOf(value)) + "' to a number.");
        return;
    }
    const double number = sqlite3_value_double(value);
    const double unit = std::pow(10.0, scale);
    sqlite3_result_double(context, scale < 0 ? number : std::round(number * unit) / unit);
}

// A date in a style of CONVERT: 23 and 120, 121 (ODBC canonical), 101 (US), 112 (ISO), 126 (ISO
// 8601).
std::optional<std::string> StyledDate(std::int64_t style, DateTime moment) {
    const std::string iso = FormatDateTime(moment);
    const std::string day = iso.substr(0, 10);
    switch (style) {
        case 23:
            return day;
        case 101:
            return day.substr(5, 2) + "/" + day.substr(8, 2) + "/" + day.substr(0, 4);
        case 112:
            return day.substr(0, 4) + day.substr(5, 2) + day.substr(8, 2);
        case 120:
            return iso.substr(0, 19);
        case 121:
            return iso.size() > 19 ? iso : iso + ".000";
        case 126:
            return day + "T" + iso.substr(11);
        default:
            return std::nullopt;
    }
}

void ConvertToText(sqlite3_context* context, sqlite3_value* value, std::int64_t length,
                   std::int64_t style) {
    std::string text(TextOf(value));
    if (style > 0) {
        const auto moment = ParseDateTime(text);
        const auto styled = moment ? StyledDate(style, *moment) : std::nullopt;
        if (!styled) {
            ReturnError(
                context,
                fmt::format("The embedded warehouse does not know the style {} here.", style));
            return;
        }
        text = *styled;
    }
    ReturnText(context, Characters(text, 0, length < 0 ? 30 : length));
}

void ConvertToDate(sqlite3_context* context, sqlite3_value* value, bool dayOnly) {
    if (const auto moment = DateArgument(context, value)) {
        const std::string text = FormatDateTime(*moment);
        ReturnText(context, dayOnly ? text.substr(0, 10) : text);
    }
}

// tsql_convert(type, length or precision, scale, value, style)
void Convert(sqlite3_context* context, int, Arguments arguments) {
    sqlite3_value* value = arguments[3];
    if (sqlite3_value_type(value) == SQLITE_NULL) {
        return;
    }
    const std::string type = ToLower(TextOf(arguments[0]));
    const std::int64_t length = sqlite3_value_int64(arguments[1]);
    switch (ParseColumnType(type).Type) {
        case DataType::Boolean:
            sqlite3_result_int(context, sqlite3_value_double(value) != 0 ? 1 : 0);
            break;
        case DataType::TinyInt:
        case DataType::SmallInt:
        case DataType::Integer:
        case DataType::BigInt:
            ConvertToInteger(context, value);
            break;
        case DataType::Single:
        case DataType::Double:
            ConvertToNumber(context, value, -1);
            break;
        case DataType::Currency:
            ConvertToNumber(context, value, 4);
            break;
        case DataType::Numeric:
            ConvertToNumber(context, value, sqlite3_value_int(arguments[2]));
            break;
        case DataType::Char:
        case DataType::VarChar:
        case DataType::WChar:
        case DataType::VarWChar:
            ConvertToText(context, value, length, sqlite3_value_int64(arguments[4]));
            break;
        case DataType::DBTimeStamp:
            ConvertToDate(context, value, type == "date");
            break;
        default:
            ReturnError(context, "The embedded warehouse cannot convert to the type " + type + ".");
    }
}

bool MatchesSet(std::string_view set, char c) {
    const bool negated = !set.empty() && set[0] == '^';
    if (negated) {
        set.remove_prefix(1);
    }
    bool found = false;
    for (std::size_t i = 0; i < set.size(); ++i) {
        if (i + 2 < set.size() && set[i + 1] == '-') {
            found = found || (c >= set[i] && c <= set[i + 2]);
            i += 2;
        } else {
            found = found || c == set[i];
        }
    }
    return found != negated;
}

// Matches one element of a LIKE pattern (_, [set], [^set] or a character) and removes it from both.
bool TakeMatch(std::string_view& pattern, std::string_view& text) {
    if (pattern.empty() || text.empty()) {
        return false;
    }
    const char p = pattern[0];
    const std::size_t setEnd = p == '[' ? pattern.find(']', 1) : std::string_view::npos;
    if (setEnd != std::string_view::npos) {
        if (!MatchesSet(pattern.substr(1, setEnd - 1), text[0])) {
            return false;
        }
        pattern.remove_prefix(setEnd);
    } else if (p != '_' && p != text[0]) {
        return false;
    }
    pattern.remove_prefix(1);
    // "_" matches all bytes of a character.
    text.remove_prefix(1);
    while (p == '_' && !text.empty() && (static_cast<unsigned char>(text[0]) & 0xC0U) == 0x80U) {
        text.remove_prefix(1);
    }
    return true;
}

// Case-sensitive. Backtracks only to the last "%", since it can match whatever an earlier one
// could: the time is at most proportional to the product of the lengths.
bool MatchesLike(std::string_view pattern, std::string_view text) {
    std::optional<std::string_view> afterPercent;
    std::string_view untaken = text;  // by the last "%"
    while (!pattern.empty() || !text.empty()) {
        if (!pattern.empty() && pattern[0] == '%') {
            pattern.remove_prefix(1);
            afterPercent = pattern;
            untaken = text;
        } else if (!TakeMatch(pattern, text)) {
            if (!afterPercent || untaken.empty()) {
                return false;
            }
            untaken.remove_prefix(1);
            pattern = *afterPercent;
            text = untaken;
        }
    }
    return true;
}

// SQLite calls like(pattern, text) for "text LIKE pattern".
void Like(sqlite3_context* context, int count, Arguments arguments) {
    if (!AnyNull(count, arguments)) {
        sqlite3_result_int(
            context,
            MatchesLike(ToLower(TextOf(arguments[0])), ToLower(TextOf(arguments[1]))) ? 1 : 0);
    }
}

}  // namespace

bool AnyNull(int count, Arguments arguments) {
    for (int i = 0; i < count; ++i) {
        if (sqlite3_value_type(arguments[i]) == SQLITE_NULL) {
            return true;
        }
    }
    return false;
}

std::string_view TextOf(sqlite3_value* value) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text == nullptr
               ? std::string_view()
               : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

void ReturnText(sqlite3_context* context, std::string_view text) {
    // A null pointer would return NULL.
    sqlite3_result_text64(context, text.empty() ? "" : text.data(), text.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8);
}

void ReturnError(sqlite3_context* context, const std::string& text) {
    sqlite3_result_error(context, text.c_str(), static_cast<int>(text.size()));
}

void RegisterFunctions(const SqliteDatabase& database, FunctionContext& context) {
    struct Entry {
        const char* Name;
        int Arguments;
        SqlFunction Function;
        int Flags = SQLITE_DETERMINISTIC;
    };
    constexpr Entry kFunctions[] = {
        {"tsql_getdate", 0, Caught<GetDate>},
        {"tsql_datediff", 3, Caught<DateDiffFunction>},
        {"tsql_dateadd", 3, Caught<DateAddFunction>},
        {"tsql_datepart", 2, Caught<DatePartFunction>},
        {"tsql_day_first", 2, Caught<DayFirst>},
        {"tsql_date_form", 2, Caught<DateFormFunction>},
        {"tsql_compare_dates", 4, Caught<CompareDatesFunction>},
        {"tsql_len", 1, Caught<Len>},
        {"tsql_left", 2, Caught<Left>},
        {"tsql_right", 2, Caught<Right>},
        {"tsql_substring", 3, Caught<Substring>},
        {"tsql_charindex", 2, Caught<CharIndex>},
        {"tsql_convert", 5, Caught<Convert>},
        {"like", 2, Caught<Like>},
        {"first_seen", 1, Caught<FirstSeen>, 0},
    };
    for (const Entry& entry : kFunctions) {
        const int result =
            sqlite3_create_function_v2(database.Handle(), entry.Name, entry.Arguments,
                                       SQLITE_UTF8 | SQLITE_INNOCUOUS | entry.Flags, &context,
                                       entry.Function, nullptr, nullptr, nullptr);
        if (result != SQLITE_OK) {
            ThrowSqliteError(database.Handle(), {});
        }
    }
    const auto compare = [](void*, int sizeA, const void* a, int sizeB, const void* b) {
        return CompareNames({static_cast<const char*>(a), static_cast<std::size_t>(sizeA)},
                            {static_cast<const char*>(b), static_cast<std::size_t>(sizeB)});
    };
    if (sqlite3_create_collation_v2(database.Handle(), kNameOrder, SQLITE_UTF8, nullptr, compare,
                                    nullptr) != SQLITE_OK) {
        ThrowSqliteError(database.Handle(), {});
    }
}

}  // namespace morvane::embedded
