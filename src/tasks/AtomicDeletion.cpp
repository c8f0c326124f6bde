// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <deque>
#include <string_view>
#include <vector>

#include "base/Clock.h"
#include "base/RowSpool.h"
#include "base/Text.h"
#include "core/Transaction.h"
#include "sql/Lexer.h"
#include "sql/MaskPasswords.h"
#include "tasks/Elements.h"
#include "tasks/modDeleteRecords.h"

namespace morvane {

namespace {

bool IsQuoted(DataType type) {
    switch (type) {
        case DataType::Char:
        case DataType::VarChar:
        case DataType::WChar:
        case DataType::VarWChar:
        case DataType::LongVarWChar:
        case DataType::DBTimeStamp:
            return true;
        default:
            return false;
    }
}

// An untyped column of the embedded engine may hold both numbers and text. A number only matches a
// literal without quotes.
bool NeedsQuotes(const Field& field, const Value& value) {
    return IsQuoted(field.Type) && (value.IsText() || field.Type == DataType::DBTimeStamp);
}

bool IsWideText(DataType type) {
    return type == DataType::WChar || type == DataType::VarWChar || type == DataType::LongVarWChar;
}

constexpr std::string_view kHexPrefix = "0x";

bool IsNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// Builds the DELETE statements for the elements of one table. Key values are not escaped; a value
// that could change the meaning of the statement is refused.
class ElementDelete {
  public:
    ElementDelete(const std::string& table, std::vector<Field> keyFields)
        : start_("DELETE FROM " + table + " WHERE "), keyFields_(std::move(keyFields)) {}

    // False if a quoted column is NULL: no comparison matches NULL, and as a literal it would match
    // the elements with an empty key.
    bool CanAddress(const std::vector<Value>& key) const;

    // Throws DatabaseError for a key that is refused.
    const std::string& Statement(const std::vector<Value>& key);

  private:
    void AppendCondition(const Field& field, const Value& value);

    std::string start_;
    std::vector<Field> keyFields_;
    std::string sql_;
    std::string text_;
    bool hasQuote_ = false;
};

bool ElementDelete::CanAddress(const std::vector<Value>& key) const {
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        if (key[i].IsNull() && IsQuoted(keyFields_[i].Type)) {
            return false;
        }
    }
    return true;
}

const std::string& ElementDelete::Statement(const std::vector<Value>& key) {
    sql_ = start_;
    hasQuote_ = false;
    for (std::size_t i = 0; i < keyFields_.size(); ++i) {
        if (i > 0) {
            sql_ += " AND ";
        }
        AppendCondition(keyFields_[i], key[i]);
    }
    // A statement that ends inside a literal is sent: the server rejects it with its own error.
    if (hasQuote_ && !EndsInsideText(sql_)) {
        throw DatabaseError({"A key value with a quote in it cannot be deleted."},
                            MaskPasswords(sql_));
    }
    return sql_;
}

void ElementDelete::AppendCondition(const Field& field, const Value& value) {
    text_.clear();
    value.AppendTextTo(text_);
    sql_ += field.Name;
    if (value.IsBytes()) {
        sql_ += " = X'" + text_.substr(kHexPrefix.size()) + "'";
        return;
    }
    const bool quoted = NeedsQuotes(field, value);
    if (field.Type == DataType::DBTimeStamp) {
        text_ = NeutralDate(text_);
    }
    // A literal without N is converted to the code page of the database, which may lack characters.
    const bool wide = quoted && !IsAscii(text_) && IsWideText(field.Type);
    sql_ += quoted ? (wide ? " = N'" : " = '") : " = ";
    sql_ += text_;
    if (quoted) {
        sql_ += "'";
        hasQuote_ = hasQuote_ || text_.find('\'') != std::string::npos;
    } else if (value.IsText() && !IsNumber(text_)) {
        throw DatabaseError({"The key column " + field.Name +
                             " holds a value that is not a number and has a type that is "
                             "not written in quotes."},
                            MaskPasswords(sql_));
    }
}

// The elements whose versions are all marked. A row has the values of the key and then the number
// of versions.
struct MarkedElements {
    std::vector<Field> KeyFields;
    RowSpool Rows;
    std::int64_t MarkedRows = 0;  // also of elements that are not wholly marked
};

MarkedElements ReadMarkedElements(Connection& warehouse, const std::string& table,
                                  const ElementKey& key) {
    const auto groups = warehouse.OpenRecordset(
        "SELECT " + key.Text +
            ", Count(*) As CntAll, Count( Case is_deletable When 1 then 1 End ) As CntDeletable "
            "FROM " +
            table + " GROUP BY " + key.Text,
        RecordsetKind::Streamed);
    MarkedElements elements;
    std::vector<std::size_t> positions = KeyPositions(*groups, key);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        elements.KeyFields.push_back(groups->Fields()[positions[i]]);
        elements.KeyFields.back().Name = key.Columns[i];
    }
    const std::size_t all = ColumnPosition(*groups, "CntAll");
    const std::size_t deletable = ColumnPosition(*groups, "CntDeletable");
    positions.push_back(all);
    std::vector<Value> row(positions.size());
    for (; !groups->Eof(); groups->MoveNext()) {
        const std::int64_t marked = (*groups)[deletable].Integer();
        elements.MarkedRows += marked;
        if ((*groups)[all].Integer() == marked) {
            for (std::size_t i = 0; i < positions.size(); ++i) {
                row[i] = (*groups)[positions[i]];
            }
            elements.Rows.Append(row);
        }
    }
    return elements;
}

// Returns the number of rows.
std::int64_t DeleteElements(ElementDelete& element, RowSpool& rows, Connection& deletion) {
    struct Sent {
        std::int64_t Versions;
        std::string Sql;
    };
    std::deque<Sent> sent;  // statements without a row count yet
    std::int64_t total = 0;
    const auto batch = deletion.CreateBatch([&](std::size_t, std::int64_t deleted) {
        const Sent statement = std::move(sent.front());
        sent.pop_front();
        total += statement.Versions;
        // A version was inserted since it was counted, or the rows of another element match.
        if (deleted > statement.Versions) {
            throw DatabaseError({"The statement deletes more rows than the element had."},
                                MaskPasswords(statement.Sql));
        }
        // A version was deleted since it was counted, or a value does not match its own literal.
        if (deleted >= 0 && deleted < statement.Versions) {
            throw DatabaseError({fmt::format("The statement finds {} of the {} rows that the "
                                             "element had.",
                                             deleted, statement.Versions)},
                                MaskPasswords(statement.Sql));
        }
    });
    std::vector<Value> row;
    while (rows.Next(row)) {
        if (element.CanAddress(row)) {
            const std::string& sql = element.Statement(row);
            sent.push_back({row.back().Integer(), sql});
            batch->Add(sql);
        }
    }
    batch->Finish();
    return total;
}

}  // namespace

AtomicCounts DeleteAtomically(const std::string& table, Connection& warehouse,
                              Connection& deletion) {
    const ElementKey key = ReadElementKey(
        warehouse, "SELECT original_primary_key FROM dwm_star_relations WHERE primary_table = '" +
                       table + "'");
    MarkedElements elements = ReadMarkedElements(warehouse, table, key);
    ElementDelete element(table, elements.KeyFields);
    Transaction transaction(deletion);
    const std::int64_t deleted = DeleteElements(element, elements.Rows, deletion);
    transaction.Commit();
    return {elements.MarkedRows, deleted};
}

}  // namespace morvane
