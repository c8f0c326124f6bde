// SPDX-License-Identifier: Apache-2.0
#include "dialogs/SelectQuery.h"

#include <algorithm>

#include "base/Text.h"
#include "db/SqlWords.h"

namespace morvane {

namespace {

using Words = std::vector<SqlWord>;

// The language needs no ";" between statements, but these words begin one (or write) wherever they
// stand outside parentheses.
const std::vector<std::string_view> kWriting = {
    "alter",  "backup",     "begin", "checkpoint", "commit",  "create",      "dbcc",
    "delete", "deny",       "drop",  "dump",       "exec",    "execute",     "grant",
    "insert", "into",       "kill",  "load",       "merge",   "reconfigure", "restore",
    "revoke", "rollback",   "save",  "set",        "setuser", "shutdown",    "truncate",
    "update", "updatetext", "use",   "writetext"};

// What may follow a table's name and is no alias.
const std::vector<std::string_view> kAfterTable = {
    "as",     "from",      "where", "group",   "having",      "order", "join",   "inner", "left",
    "right",  "full",      "cross", "outer",   "on",          "with",  "option", "for",   "union",
    "except", "intersect", "pivot", "unpivot", "tablesample", "merge", "hash",   "loop"};

const std::vector<std::string_view> kAggregates = {
    "avg",   "checksum_agg", "count",      "count_big", "grouping", "max", "min",
    "stdev", "stdevp",       "string_agg", "sum",       "var",      "varp"};

void DropEnd(Words& words) {
    while (!words.empty() && words.back().Is(";")) {
        words.pop_back();
    }
}

// MERGE is also a way to join.
bool Writes(const Words& words, std::size_t i) {
    const bool joins = words[i].Is("merge") && i + 1 < words.size() && words[i + 1].Is("join");
    return words[i].Depth <= 0 && words[i].IsOneOf(kWriting) && !joins;
}

bool HaveMatchingParentheses(const Words& words) {
    return words.back().Depth == 0 && !words.back().Is("(") &&
           std::all_of(words.begin(), words.end(),
                       [](const auto& word) { return word.Depth >= 0; });
}

std::string WhyRefused(const Words& words) {
    if (words.empty() || !words[0].Is("select")) {
        return "Only a query that begins with the word SELECT can be executed.";
    }
    // In the rebuilt query an open quote would turn what it holds into statements.
    if (!words.back().Closed) {
        return "A quotation mark or bracket of the query is not closed.";
    }
    if (!HaveMatchingParentheses(words)) {
        return "The parentheses of the query do not match.";
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i].Is(";")) {
            return "Only one query can be executed: nothing may follow the \";\".";
        }
        if (Writes(words, i)) {
            return "Only a query that reads records can be executed: the word " +
                   ToUpper(words[i].Text) + " is not allowed.";
        }
    }
    return "";
}

class Parser {
  public:
    Parser(std::string_view sql, Words words) : sql_(sql), words_(std::move(words)) {}

    SelectQuery Run() {
        std::size_t at = ReadHead();
        if (at < words_.size()) {
            query_.Rest = sql_.substr(words_[at].Begin, words_.back().End() - words_[at].Begin);
        }
        at = ReadItems(at);
        ReadTable(at + 1);
        for (; at < words_.size(); ++at) {
            Note(words_[at]);
        }
        if (query_.Table.empty()) {
            query_.TableName.clear();
        }
        return std::move(query_);
    }

  private:
    bool IsAt(std::size_t at, std::string_view word) const {
        return at < words_.size() && words_[at].Is(word);
    }

    // What TOP takes.
    bool IsCount(std::size_t at) const {
        return IsAt(at, "(") || (at < words_.size() && words_[at].Kind == SqlWordKind::Word &&
                                 words_[at].Text[0] >= '0' && words_[at].Text[0] <= '9');
    }

    void AddToHead(std::string_view text) {
        query_.Head += query_.Head.back() == ' ' ? "" : " ";
        query_.Head += text;
    }

    // Returns the position of the first select item.
    std::size_t ReadHead() {
        query_.Head = "Select ";
        std::size_t at = 1;
        if (IsAt(at, "distinct") || IsAt(at, "all")) {
            query_.RowByRow = IsAt(at, "all");
            AddToHead(words_[at++].Text);
        }
        if (!IsAt(at, "top") || !IsCount(at + 1)) {
            return at;
        }
        const std::size_t number = ++at;
        while (at + 1 < words_.size() && words_[number].Is("(") && words_[at].Depth >= 0 &&
               !(words_[at].Is(")") && words_[at].Depth == words_[number].Depth)) {
            ++at;
        }
        if (at < words_.size()) {
            const std::size_t begin = words_[number].Begin;
            AddToHead("TOP " + std::string(sql_.substr(begin, words_[at++].End() - begin)));
        }
        if (IsAt(at, "percent")) {
            AddToHead("PERCENT ");
            ++at;
        }
        if (IsAt(at, "with") && IsAt(at + 1, "ties")) {
            AddToHead("WITH TIES ");
            at += 2;
        }
        return at;
    }

    // Returns the position of FROM, or the end.
    std::size_t ReadItems(std::size_t at) {
        std::size_t begin = at;
        for (; at < words_.size() && !(words_[at].Depth == 0 && words_[at].Is("from")); ++at) {
            if (words_[at].Depth == 0 && words_[at].Is(",")) {
                query_.Items.push_back(ReadItem(begin, at));
                begin = at + 1;
            }
            if (words_[at].IsOneOf(kAggregates) && IsAt(at + 1, "(")) {
                query_.RowByRow = false;
            }
        }
        if (begin < at) {
            query_.Items.push_back(ReadItem(begin, at));
        }
        return at;
    }

    // a, t.a, *, t.*, dbo.t.a; everything else is an expression.
    SelectItem ReadItem(std::size_t begin, std::size_t end) const {
        SelectItem item;
        for (std::size_t i = begin; i < end; ++i) {
            const bool isDot = (i - begin) % 2 == 1;
            const bool last = i + 1 == end;
            if (isDot ? !words_[i].Is(".") || last
                      : !words_[i].IsName() && !(last && words_[i].Is("*"))) {
                return {};
            }
        }
        if (end - begin >= 3) {
            item.Qualifier = words_[end - 3].Named();
        }
        const SqlWord& last = words_[end - 1];
        item.Kind = last.Is("*") ? SelectItem::Kind::Everything : SelectItem::Kind::Column;
        item.Column = last.Named();
        return item;
    }

    // A name, perhaps with its schema and database, and an alias.
    void ReadTable(std::size_t at) {
        if (at >= words_.size() || !words_[at].IsName()) {
            return;
        }
        const std::size_t first = at;
        while (IsAt(at + 1, ".")) {
            const std::size_t dots = IsAt(at + 2, ".") ? 2 : 1;  // database..table
            if (at + dots + 1 >= words_.size() || !words_[at + dots + 1].IsName()) {
                return;
            }
            at += dots + 1;
        }
        query_.Table = sql_.substr(words_[first].Begin, words_[at].End() - words_[first].Begin);
        query_.TableName = words_[at].Named();
        query_.Qualifier = words_[at].Text;
        at += IsAt(at + 1, "as") ? 2U : 1U;
        if (at < words_.size() && words_[at].IsName() && !words_[at].IsOneOf(kAfterTable)) {
            query_.Qualifier = words_[at].Text;
        }
    }

    // What stands behind the select list and decides what a row is.
    void Note(const SqlWord& word) {
        if (word.Depth > 0) {
            return;
        }
        if (word.IsOneOf({"union", "except", "intersect", "pivot", "unpivot", "for"})) {
            query_.Table.clear();
        }
        if (word.IsOneOf({"group", "having"})) {
            query_.RowByRow = false;
        }
        inTables_ = inTables_ && !word.IsOneOf({"where", "group", "having", "order", "option"});
        if (inTables_ && word.IsOneOf({"join", "apply", ","})) {
            query_.Joined = true;
        }
    }

    std::string_view sql_;
    Words words_;
    SelectQuery query_;
    bool inTables_ = true;
};

}  // namespace

std::optional<SelectQuery> ParseSelect(std::string_view sql, std::string& errorText) {
    Words words = SplitSql(sql);
    DropEnd(words);
    errorText = WhyRefused(words);
    if (!errorText.empty()) {
        return std::nullopt;
    }
    SelectQuery query = Parser(sql, std::move(words)).Run();
    if (query.Items.empty()) {
        errorText = "The query names nothing to select.";
        return std::nullopt;
    }
    return query;
}

std::string OrderedBy(std::string_view sql, std::string_view column) {
    Words words = SplitSql(sql);
    DropEnd(words);
    std::size_t end = words.empty() ? 0 : words.back().End();
    for (std::size_t i = 2; i < words.size(); ++i) {
        if (words[i].Depth == 0 && words[i].Is("by") && words[i - 1].Is("order")) {
            end = words[i - 2].End();
        }
    }
    return std::string(sql.substr(0, end)) + " ORDER BY " + SqlName(column);
}

}  // namespace morvane
