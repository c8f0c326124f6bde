// SPDX-License-Identifier: Apache-2.0
#include "db/embedded/SqlFunctions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "base/Text.h"
#include "db/embedded/Caught.h"
#include "db/embedded/ColumnTypes.h"
#include "db/embedded/DateForms.h"
#include "db/embedded/DateLiterals.h"
#include "db/embedded/NameOrder.h"

namespace morvane::embedded {

namespace {

constexpr const char* kBadDate =
    "Conversion failed when converting date and/or time from character string.";

using Arguments = sqlite3_value**;

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
    // A null pointer would be NULL.
    sqlite3_result_text64(context, text.empty() ? "" : text.data(), text.size(), SQLITE_TRANSIENT,
                          SQLITE_UTF8);
}

void ReturnError(sqlite3_context* context, const std::string& text) {
    sqlite3_result_error(context, text.c_str(), static_cast<int>(text.size()));
}

std::optional<DateTime> DateArgument(sqlite3_context* context, sqlite3_value* value) {
    const auto moment = ParseDateTime(TextOf(value));
    if (!moment) {
        ReturnError(context, kBadDate);
    }
    return moment;
}

// The part of a date, the first argument of its functions: a constant, looked up once a statement.
std::optional<DatePart> PartArgument(sqlite3_context* context, sqlite3_value* value) {
    if (const void* known = sqlite3_get_auxdata(context, 0)) {
        return *static_cast<const DatePart*>(known);
    }
    const auto part = ParseDatePart(TextOf(value));
    if (!part) {
        ReturnError(context, "'" + std::string(TextOf(value)) + "' is not a recognized date part.");
        return part;
    }
    sqlite3_set_auxdata(context, 0, std::make_unique<DatePart>(*part).release(), [](void* held) {
        std::unique_ptr<DatePart>(static_cast<DatePart*>(held)).reset();
    });
    return part;
}

void GetDate(sqlite3_context* context, int, Arguments) {
    auto* shared = static_cast<FunctionContext*>(sqlite3_user_data(context));
    ReturnText(context, FormatDateTime(shared->StatementTime()));
}

// tsql_day_first(type, value): a text as a date of the type, read as in a session whose day comes
// first.
void DayFirst(sqlite3_context* context, int, Arguments arguments) {
    if (sqlite3_value_type(arguments[1]) != SQLITE_TEXT) {
        sqlite3_result_value(context, arguments[1]);
        return;
    }
    ReturnText(context, DateForColumn(TextOf(arguments[1]), DateKindOfType(TextOf(arguments[0])),
                                      DateOrder::DayFirst));
}

// tsql_date_form(date, form): see InDateForm. What is no date, NULL among it, stays as it is.
void DateFormFunction(sqlite3_context* context, int, Arguments arguments) {
    const std::string_view date = TextOf(arguments[0]);
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL || !ParseDateTime(date)) {
        sqlite3_result_value(context, arguments[0]);
        return;
    }
    const auto form = static_cast<DateForm>(sqlite3_value_int(arguments[1]));
    const std::string text = InDateForm(date, form);
    if (IsCompact(text)) {
        sqlite3_result_int64(context, std::stoll(text));
    } else {
        ReturnText(context, text);
    }
}

// tsql_compare_dates(value, date, table, column): see CompareDates. The value is the column's.
void CompareDatesFunction(sqlite3_context* context, int, Arguments arguments) {
    if (AnyNull(2, arguments)) {
        return;
    }
    const std::string_view value = TextOf(arguments[0]);
    if (const auto order = CompareDates(value, TextOf(arguments[1]))) {
        sqlite3_result_int(context, *order);
    } else if (ParseDateTime(value) || TextOf(arguments[3]).empty()) {
        ReturnError(context, kBadDate);
    } else {
        ReturnError(context, fmt::format("The column {} of {} holds '{}', which is no date.",
                                         TextOf(arguments[3]), TextOf(arguments[2]), value));
    }
}

void FirstSeen(sqlite3_context* context, int, Arguments arguments) {
    auto* shared = static_cast<FunctionContext*>(sqlite3_user_data(context));
    const bool isKey = sqlite3_value_type(arguments[0]) == SQLITE_INTEGER;
    const bool isNew = !isKey || shared->Keys().Add(sqlite3_value_int64(arguments[0]));
    sqlite3_result_int(context, isNew ? 1 : 0);
}

void DateDiffFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    if (!part) {
        return;
    }
    const auto from = DateArgument(context, arguments[1]);
    if (const auto to = from ? DateArgument(context, arguments[2]) : std::nullopt) {
        sqlite3_result_int64(context, DateDiff(*part, *from, *to));
    }
}

void DateAddFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    const auto moment = part ? DateArgument(context, arguments[2]) : std::nullopt;
    if (!moment) {
        return;
    }
    if (const auto sum = DateAdd(*part, sqlite3_value_int64(arguments[1]), *moment)) {
        ReturnText(context, FormatDateTime(*sum));
    } else {
        ReturnError(context, "Adding a value to a date caused an overflow.");
    }
}

void DatePartFunction(sqlite3_context* context, int count, Arguments arguments) {
    if (AnyNull(count, arguments)) {
        return;
    }
    const auto part = PartArgument(context, arguments[0]);
    if (const auto moment = part ? DateArgument(context, arguments[1]) : std::nullopt) {
        sqlite3_result_int64(context, DatePartOf(*part, *moment));
    }
}

std::size_t CharacterCount(std::string_view utf8) {
    std::size_t count = 0;
    for (const char c : utf8) {
        count += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U ? 1U : 0U;
    }
    return count;
}

// Characters [begin, end) of a text, counted from 0; what lies outside the text is nothing.
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
    // No text is longer, and their sum is a number still.
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

// The styles of convert that write a date as text: 112 "20240305", 120 and 121 (ODBC canonical),
// 126 (ISO 8601); cut to the length of the type as the server does.
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

// One step of a LIKE pattern: _, [set], [^set] or a plain character. Both texts lose what matched.
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
    // A character may be several bytes; "_" takes them all.
    text.remove_prefix(1);
    while (p == '_' && !text.empty() && (static_cast<unsigned char>(text[0]) & 0xC0U) == 0x80U) {
        text.remove_prefix(1);
    }
    return true;
}

// Letter case is the caller's. Only the last "%" is tried again: whatever the ones before it take
// more, it can take as well. So the time does not grow with the number of ways to match.
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

DateTime FunctionContext::StatementTime() {
    if (statementTime_) {
        return *statementTime_;
    }
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &seconds);
    const std::time_t shifted = _mkgmtime(&local);
#else
    localtime_r(&seconds, &local);
    const std::time_t shifted = timegm(&local);
#endif
    const auto fraction = now - std::chrono::floor<std::chrono::seconds>(now);
    statementTime_ = DateTime(std::chrono::seconds(shifted)) +
                     std::chrono::floor<std::chrono::milliseconds>(fraction);
    return *statementTime_;
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
