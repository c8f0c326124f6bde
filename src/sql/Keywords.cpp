// SPDX-License-Identifier: Apache-2.0
#include "sql/Keywords.h"

#include <algorithm>
#include <array>

#include "base/Text.h"

namespace morvane {

namespace {

struct Keyword {
    std::string_view Word;
    unsigned Roles;
};

constexpr auto kReserved = static_cast<unsigned>(KeywordRole::Reserved);
constexpr auto kWriting = static_cast<unsigned>(KeywordRole::Writing);
constexpr auto kFollowsTable = static_cast<unsigned>(KeywordRole::FollowsTable);
constexpr auto kAggregate = static_cast<unsigned>(KeywordRole::Aggregate);
constexpr auto kClause = static_cast<unsigned>(KeywordRole::Clause);

constexpr std::array kKeywords = {
    Keyword{"add", kReserved},
    Keyword{"all", kReserved},
    Keyword{"alter", kReserved | kWriting},
    Keyword{"and", kReserved},
    Keyword{"any", kReserved},
    Keyword{"as", kReserved | kFollowsTable},
    Keyword{"asc", kReserved},
    Keyword{"avg", kAggregate},
    Keyword{"backup", kReserved | kWriting},
    Keyword{"begin", kWriting},
    Keyword{"between", kReserved},
    Keyword{"break", kReserved},
    Keyword{"bulk", kReserved},
    Keyword{"by", kReserved},
    Keyword{"case", kReserved},
    Keyword{"check", kReserved},
    Keyword{"checkpoint", kWriting},
    Keyword{"checksum_agg", kAggregate},
    Keyword{"close", kReserved},
    Keyword{"column", kReserved},
    Keyword{"commit", kWriting},
    Keyword{"count", kAggregate},
    Keyword{"count_big", kAggregate},
    Keyword{"create", kReserved | kWriting},
    Keyword{"cross", kReserved | kFollowsTable},
    Keyword{"current", kReserved},
    Keyword{"cursor", kReserved},
    Keyword{"database", kReserved},
    Keyword{"dbcc", kWriting},
    Keyword{"default", kReserved},
    Keyword{"delete", kReserved | kWriting},
    Keyword{"deny", kWriting},
    Keyword{"desc", kReserved},
    Keyword{"distinct", kReserved},
    Keyword{"drop", kReserved | kWriting},
    Keyword{"dump", kWriting},
    Keyword{"else", kReserved},
    Keyword{"end", kReserved},
    Keyword{"except", kFollowsTable | kClause},
    Keyword{"exec", kWriting},
    Keyword{"execute", kWriting},
    Keyword{"exists", kReserved},
    Keyword{"external", kReserved},
    Keyword{"fetch", kReserved},
    Keyword{"file", kReserved},
    Keyword{"for", kReserved | kFollowsTable},
    Keyword{"from", kReserved | kFollowsTable | kClause},
    Keyword{"full", kReserved | kFollowsTable},
    Keyword{"function", kReserved},
    Keyword{"goto", kReserved},
    Keyword{"grant", kReserved | kWriting},
    Keyword{"group", kReserved | kFollowsTable | kClause},
    Keyword{"grouping", kAggregate},
    Keyword{"hash", kFollowsTable},
    Keyword{"having", kReserved | kFollowsTable},
    Keyword{"identity", kReserved},
    Keyword{"if", kReserved},
    Keyword{"in", kReserved},
    Keyword{"index", kReserved},
    Keyword{"inner", kReserved | kFollowsTable},
    Keyword{"insert", kReserved | kWriting},
    Keyword{"intersect", kFollowsTable | kClause},
    Keyword{"into", kReserved | kWriting | kClause},
    Keyword{"is", kReserved},
    Keyword{"join", kReserved | kFollowsTable},
    Keyword{"key", kReserved},
    Keyword{"kill", kReserved | kWriting},
    Keyword{"left", kReserved | kFollowsTable},
    Keyword{"like", kReserved},
    Keyword{"load", kReserved | kWriting},
    Keyword{"loop", kFollowsTable},
    Keyword{"max", kAggregate},
    Keyword{"merge", kReserved | kWriting | kFollowsTable},
    Keyword{"min", kAggregate},
    Keyword{"national", kReserved},
    Keyword{"not", kReserved},
    Keyword{"null", kReserved},
    Keyword{"of", kReserved},
    Keyword{"off", kReserved},
    Keyword{"on", kReserved | kFollowsTable},
    Keyword{"open", kReserved},
    Keyword{"option", kReserved | kFollowsTable},
    Keyword{"or", kReserved},
    Keyword{"order", kReserved | kFollowsTable | kClause},
    Keyword{"outer", kReserved | kFollowsTable},
    Keyword{"over", kReserved},
    Keyword{"percent", kReserved},
    Keyword{"pivot", kReserved | kFollowsTable},
    Keyword{"plan", kReserved},
    Keyword{"primary", kReserved},
    Keyword{"print", kReserved},
    Keyword{"proc", kReserved},
    Keyword{"public", kReserved},
    Keyword{"read", kReserved},
    Keyword{"reconfigure", kWriting},
    Keyword{"restore", kWriting},
    Keyword{"return", kReserved},
    Keyword{"revoke", kWriting},
    Keyword{"right", kReserved | kFollowsTable},
    Keyword{"rollback", kWriting},
    Keyword{"rule", kReserved},
    Keyword{"save", kReserved | kWriting},
    Keyword{"schema", kReserved},
    Keyword{"select", kReserved | kFollowsTable | kClause},
    Keyword{"set", kReserved | kWriting | kFollowsTable},
    Keyword{"setuser", kWriting},
    Keyword{"shutdown", kWriting},
    Keyword{"some", kReserved},
    Keyword{"stdev", kAggregate},
    Keyword{"stdevp", kAggregate},
    Keyword{"string_agg", kAggregate},
    Keyword{"sum", kAggregate},
    Keyword{"table", kReserved},
    Keyword{"tablesample", kFollowsTable},
    Keyword{"then", kReserved},
    Keyword{"to", kReserved},
    Keyword{"top", kReserved},
    Keyword{"tran", kReserved},
    Keyword{"trigger", kReserved},
    Keyword{"truncate", kWriting},
    Keyword{"union", kReserved | kFollowsTable | kClause},
    Keyword{"unique", kReserved},
    Keyword{"unpivot", kFollowsTable},
    Keyword{"update", kReserved | kWriting},
    Keyword{"updatetext", kWriting},
    Keyword{"use", kReserved | kWriting},
    Keyword{"user", kReserved},
    Keyword{"values", kReserved},
    Keyword{"var", kAggregate},
    Keyword{"varp", kAggregate},
    Keyword{"view", kReserved},
    Keyword{"when", kReserved},
    Keyword{"where", kReserved | kFollowsTable | kClause},
    Keyword{"while", kReserved},
    Keyword{"with", kReserved | kFollowsTable},
    Keyword{"writetext", kWriting},
};

}  // namespace

bool HasRole(std::string_view word, KeywordRole role) {
    const auto* const found =
        std::find_if(kKeywords.begin(), kKeywords.end(),
                     [&](const Keyword& known) { return EqualsIgnoreCase(known.Word, word); });
    return found != kKeywords.end() && (found->Roles & static_cast<unsigned>(role)) != 0;
}

bool HasRole(const Token& token, KeywordRole role) {
    return token.Kind == TokenKind::Word && HasRole(token.Text, role);
}

}  // namespace morvane
