// SPDX-License-Identifier: Apache-2.0
#include "inspect/Why.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/Text.h"
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

// The value after "column=" if all words have that form and the table has the columns.
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
        throw DatabaseError({"No relation names the table " + dimension.Name +
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

// As a literal that the server converts to the type of the column.
std::string Literal(const std::string& text) {
    return IsAscii(text) ? QuotedText(text) : WideLiteral(text);
}

class Explainer {
  public:
    Explainer(Connection& connection, const StepReport& report)
        : connection_(connection), forecast_(connection, report), report_(report) {}

    Explanation Run(const std::string& table, const std::vector<std::string>& words);

  private:
    void Count();
    void Follow(const std::string& table, const std::string& condition, int depth);
    std::string ReasonToStay(const Dimension& dimension) const;

    Connection& connection_;
    MarkingForecast forecast_;
    const StepReport& report_;
    std::string condition_;  // of the rows that have the key
    std::int64_t sustained_ = 0;
    Explanation found_;
};

Explanation Explainer::Run(const std::string& table, const std::vector<std::string>& words) {
    const Dimension dimension = FindDimension(connection_, table);
    found_.Table = dimension.Name;
    for (const KeyValue& part : ReadKey(connection_, dimension, words)) {
        condition_ += (condition_.empty() ? "" : " AND ") + dimension.Name + "." + part.Column +
                      " = " + Literal(part.Text);
        found_.Key += (found_.Key.empty() ? "" : ", ") + part.Column + " = " + part.Text;
    }
    found_.Rows =
        QueryNumber(connection_, "SELECT COUNT(*) FROM " + dimension.Name + " WHERE " + condition_);
    if (found_.Rows == 0) {
        throw DatabaseError({dimension.Name + " has no element with " + found_.Key + "."});
    }
    while (!forecast_.IsMarked(dimension.Name) && !forecast_.Next().empty()) {
    }
    Count();
    if (forecast_.IsMarked(dimension.Name)) {
        Follow(dimension.Name, condition_, 1);
    }
    found_.Reason = ReasonToStay(dimension);
    return std::move(found_);
}

void Explainer::Count() {
    const std::string& table = found_.Table;
    const auto counts = connection_.OpenRecordset(
        "SELECT SUM(marked) AS marked,SUM(goes_now) AS now,SUM(goes_later) AS later,"
        "SUM(sustained) AS sustained FROM (SELECT CASE WHEN " +
        table + ".is_deletable = 1 THEN 1 ELSE 0 END AS marked," +
        forecast_.GoesSql(table, Facts::AsTheyAre) + " AS goes_now," +
        forecast_.GoesSql(table, Facts::AfterArchiving) + " AS goes_later,CASE WHEN " + table +
        ".is_sustainable = 0 THEN 0 ELSE 1 END AS sustained FROM " + table + " WHERE " +
        condition_ + ") AS elements");
    found_.MarkedNow = (*counts)[0].Integer();
    sustained_ = (*counts)[3].Integer();
    if (forecast_.IsMarked(table)) {
        found_.GoNow = (*counts)[1].Integer();
        found_.GoAfterArchiving = (*counts)[2].Integer();
    } else if (!forecast_.IsReset(table)) {
        found_.GoNow = found_.GoAfterArchiving = found_.MarkedNow;
    }
}

// `condition`: of the rows of `table` whose referring rows are counted.
void Explainer::Follow(const std::string& table, const std::string& condition, int depth) {
    for (const Reference& reference : forecast_.ReferencesOf(table)) {
        const std::string& foreign = reference.Of.ForeignTable;
        report_(table + " <- " + foreign);
        std::string refers = "EXISTS (SELECT 1 FROM " + table + " WHERE ";
        for (const ColumnPair& pair : reference.Columns) {
            refers += table + "." + std::string(Trim(pair.Primary)) + " = " + foreign + "." +
                      std::string(Trim(pair.Foreign)) + " AND ";
        }
        refers += condition + ")";
        const auto counts = connection_.OpenRecordset(
            "SELECT COUNT(*) AS n,SUM(goes_now) AS now,SUM(goes_later) AS later FROM (SELECT " +
            forecast_.GoesSql(foreign, Facts::AsTheyAre) + " AS goes_now," +
            forecast_.GoesSql(foreign, Facts::AfterArchiving) + " AS goes_later FROM " + foreign +
            " WHERE " + refers + ") AS referring");
        ReferringRows rows{depth, std::string(Trim(foreign)), table, (*counts)[0].Integer()};
        if (rows.Rows > 0) {
            rows.KeptNow = rows.Rows - (*counts)[1].Integer();
            rows.KeptAfterArchiving = rows.Rows - (*counts)[2].Integer();
        }
        found_.References.push_back(rows);
        if (rows.Rows > 0 && forecast_.IsMarked(foreign)) {
            Follow(std::string(Trim(foreign)), refers, depth + 1);
        }
    }
}

std::string Explainer::ReasonToStay(const Dimension& dimension) const {
    if (!forecast_.IsMarked(dimension.Name)) {
        return dimension.Selected ? WhyNotMarked(connection_, dimension.Name) : "not selected";
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
    return Explainer(connection, report).Run(table, key);
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
