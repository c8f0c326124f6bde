// SPDX-License-Identifier: Apache-2.0
#include "inspect/Why.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/Text.h"
#include "inspect/Forecast.h"
#include "inspect/Plan.h"
#include "sql/Quoting.h"

namespace morvane {

namespace {

struct KeyValue {
    std::string Column;
    std::string Text;
};

// A dimension as the meta tables describe it.
struct Dimension {
    std::string Name;
    bool Selected = false;
    std::vector<std::string> KeyColumns;  // of its first relation
};

Dimension FindDimension(Connection& connection, const std::string& table) {
    const auto rows = connection.OpenRecordset(
        "SELECT table_name,is_selected FROM dwm_tables WHERE Upper(table_type) = 'DIMENSION' AND "
        "table_name = " +
        QuotedText(table));
    if (rows->Eof()) {
        throw DatabaseError({"The table dwm_tables has no dimension \"" + table + "\"."});
    }
    Dimension dimension{std::string(Trim((*rows)[0].Text())), (*rows)[1].Flag(), {}};
    connection.RequireTableName(dimension.Name);
    const auto relations = connection.OpenRecordset(
        "SELECT primary_columns FROM dwm_star_relations WHERE primary_table = " +
        QuotedText(dimension.Name));
    if (!relations->Eof()) {
        connection.RequireColumnNames((*relations)[0].Text());
        dimension.KeyColumns = SplitColumnList((*relations)[0].Text());
    }
    return dimension;
}

// The key if all words have the form "column=value" and the table has the columns; else empty.
std::vector<KeyValue> NamedKey(Connection& connection, const Dimension& dimension,
                               const std::vector<std::string>& words) {
    std::vector<KeyValue> key;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        const std::string column = word.substr(0, equals);
        if (equals == std::string::npos || column.empty() ||
            !connection.ColumnExists(dimension.Name, column)) {
            return {};
        }
        connection.RequireColumnNames(column);
        key.push_back({column, word.substr(equals + 1)});
    }
    return key;
}

std::vector<KeyValue> ReadKey(Connection& connection, const Dimension& dimension,
                              const std::vector<std::string>& words) {
    std::vector<KeyValue> key = NamedKey(connection, dimension, words);
    if (!key.empty()) {
        return key;
    }
    if (dimension.KeyColumns.empty()) {
        throw DatabaseError({"No relation refers to the table " + dimension.Name +
                             ", so it has no key: give the key as column=value."});
    }
    if (words.size() != dimension.KeyColumns.size()) {
        throw DatabaseError({fmt::format("The key of {} has {} columns ({}), not {}.",
                                         dimension.Name, dimension.KeyColumns.size(),
                                         Join(dimension.KeyColumns, ", "), words.size())});
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        key.push_back({dimension.KeyColumns[i], words[i]});
    }
    return key;
}

// A literal, which the server converts to the type of the column.
std::string Literal(const std::string& text) {
    return IsAscii(text) ? QuotedText(text) : WideLiteral(text);
}

class Explainer {
  public:
    Explainer(Connection& connection, const Dimension& dimension, const std::vector<KeyValue>& key,
              const StepReport& report);

    Explanation Run();

  private:
    std::string KeyCondition(bool ofSource) const;
    void Count();
    void Follow(const std::string& table, const std::string& condition, int depth);
    std::string Reason() const;

    Connection& connection_;
    const Dimension& dimension_;
    const std::vector<KeyValue>& key_;
    const StepReport& report_;
    MarkingForecast forecast_;
    std::int64_t sustained_ = 0;
    Explanation found_;
};

// The columns that the explanation reads in addition to those of the relations.
std::vector<std::string> ColumnsOf(const std::vector<KeyValue>& key) {
    std::vector<std::string> columns = {"is_sustainable", "is_deletable"};
    for (const KeyValue& part : key) {
        columns.push_back(part.Column);
    }
    return columns;
}

Explainer::Explainer(Connection& connection, const Dimension& dimension,
                     const std::vector<KeyValue>& key, const StepReport& report)
    : connection_(connection),
      dimension_(dimension),
      key_(key),
      report_(report),
      forecast_(connection, report, dimension.Name, ColumnsOf(key)) {
    found_.Table = dimension.Name;
    for (const KeyValue& part : key) {
        found_.Key += (found_.Key.empty() ? "" : ", ") + part.Column + " = " + part.Text;
    }
}

// `ofSource`: for the rows that the forecast reads; otherwise for the table itself.
std::string Explainer::KeyCondition(bool ofSource) const {
    std::string condition;
    for (const KeyValue& part : key_) {
        condition += (condition.empty() ? "" : " AND ") +
                     (ofSource ? forecast_.Column(dimension_.Name, part.Column)
                               : dimension_.Name + "." + part.Column) +
                     " = " + Literal(part.Text);
    }
    return condition;
}

Explanation Explainer::Run() {
    const std::string& table = dimension_.Name;
    found_.Rows =
        QueryNumber(connection_, "SELECT COUNT(*) FROM " + table + " WHERE " + KeyCondition(false));
    if (found_.Rows == 0) {
        throw DatabaseError({table + " has no element with " + found_.Key + "."});
    }
    while (forecast_.Copy(table) == nullptr && !forecast_.Next().empty()) {
    }
    Count();
    if (forecast_.Copy(table) != nullptr) {
        Follow(table, KeyCondition(true), 1);
    }
    found_.Reason = Reason();
    return std::move(found_);
}

void Explainer::Count() {
    const std::string& table = dimension_.Name;
    const auto column = [&](const char* name) { return forecast_.Column(table, name); };
    const auto counts = connection_.OpenRecordset(
        "SELECT SUM(CASE WHEN " + column("is_deletable") +
        " = 1 THEN 1 ELSE 0 END) AS marked,SUM(CASE WHEN " + column("is_sustainable") +
        " = 0 THEN 0 ELSE 1 END) AS sustained,SUM(" + forecast_.GoesNow(table) + ") AS now,SUM(" +
        forecast_.GoesLater(table) + ") AS later FROM " + forecast_.Source(table) + " WHERE " +
        KeyCondition(true));
    found_.MarkedNow = (*counts)[0].Integer();
    sustained_ = (*counts)[1].Integer();
    if (forecast_.Copy(table) != nullptr) {
        found_.GoNow = (*counts)[2].Integer();
        found_.GoAfterArchiving = (*counts)[3].Integer();
    } else if (!forecast_.IsReset(table)) {
        found_.GoNow = found_.GoAfterArchiving = found_.MarkedNow;
    }
}

// Counts the rows that refer to the rows of `table` that meet the condition, then those that refer
// to them, and so on.
void Explainer::Follow(const std::string& table, const std::string& condition, int depth) {
    for (const Relation& relation : forecast_.RelationsOf(table)) {
        const std::string foreign(Trim(relation.ForeignTable));
        report_(table + " <- " + foreign);
        forecast_.IndexCopy(relation);
        const std::string refers = "EXISTS (SELECT 1 FROM " + forecast_.Source(table) + " WHERE " +
                                   forecast_.Refers(relation) + " AND " + condition + ")";
        const auto counts = connection_.OpenRecordset(
            "SELECT COUNT(*) AS n,SUM(goes_now_) AS now,SUM(goes_later_) AS later FROM (SELECT " +
            forecast_.GoesNow(foreign) + " AS goes_now_," + forecast_.GoesLater(foreign) +
            " AS goes_later_ FROM " + forecast_.Source(foreign) + " WHERE " + refers +
            ") AS referring");
        ReferringRows rows{depth, foreign, table, (*counts)[0].Integer()};
        if (rows.Rows > 0) {
            rows.KeptNow = rows.Rows - (*counts)[1].Integer();
            rows.KeptAfterArchiving = rows.Rows - (*counts)[2].Integer();
        }
        found_.References.push_back(rows);
        if (rows.Rows > 0 && forecast_.Copy(foreign) != nullptr) {
            Follow(foreign, refers, depth + 1);
        }
    }
}

std::string Explainer::Reason() const {
    if (forecast_.Copy(dimension_.Name) == nullptr) {
        return dimension_.Selected ? WhyNotMarked(connection_, dimension_.Name) : "not selected";
    }
    std::vector<std::string> keepers;
    bool referredTo = false;
    for (const ReferringRows& rows : found_.References) {
        referredTo = referredTo || rows.Rows > 0;
        if (rows.Depth == 1 && rows.KeptNow > 0) {
            keepers.push_back(fmt::format("{} of {}", rows.KeptNow, rows.Table));
        }
    }
    if (!keepers.empty()) {
        return "referred to by " + Join(keepers, " and ");
    }
    if (sustained_ > 0) {
        return "sustained";
    }
    return referredTo ? "only elements that go refer to it" : "nothing refers to it";
}

}  // namespace

Explanation Explain(Connection& connection, const std::string& table,
                    const std::vector<std::string>& key, const StepReport& report) {
    const Dimension dimension = FindDimension(connection, table);
    const std::vector<KeyValue> values = ReadKey(connection, dimension, key);
    return Explainer(connection, dimension, values, report).Run();
}

Answer WhyAnswer(const Explanation& found) {
    Answer answer;
    const auto verdict = [&](std::int64_t go) {
        return go == 0            ? "kept"
               : go == found.Rows ? "goes"
                                  : fmt::format("{} of {} go", go, found.Rows);
    };
    answer.Facts = {{"table", found.Table},
                    {"key", found.Key},
                    {"elements", found.Rows},
                    {"marked", found.MarkedNow},
                    {"verdict", verdict(found.GoNow)},
                    {"after_archiving", verdict(found.GoAfterArchiving)},
                    {"reason", found.Reason}};
    answer.Columns = {{"depth", "depth"},         {"table", "table"},
                      {"refers_to", "refers to"}, {"rows", "rows"},
                      {"kept_now", "kept now"},   {"kept_after", "after archiving"}};
    for (const ReferringRows& rows : found.References) {
        answer.Rows.push_back({std::int64_t{rows.Depth}, rows.Table, rows.RefersTo, rows.Rows,
                               rows.KeptNow, rows.KeptAfterArchiving});
    }
    answer.Found = found.GoNow > 0 || found.GoAfterArchiving > 0;
    return answer;
}

}  // namespace morvane
