// SPDX-License-Identifier: Apache-2.0
#include "core/Recordset.h"

#include <algorithm>

#include "base/Text.h"
#include "core/DatabaseError.h"

namespace morvane {

namespace {

std::string_view WithoutTrailingBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool IsNumber(const Value& value) {
    return !value.IsNull() && !value.IsText() && !value.IsBytes();
}

// An integer equals a floating-point number of the same value.
bool SameNumber(const Value& a, const Value& b) {
    const auto asDouble = [](const Value& value) {
        const auto* integer = std::get_if<std::int64_t>(&value.Data());
        return integer != nullptr ? static_cast<double>(*integer) : std::get<double>(value.Data());
    };
    return a.Data().index() == b.Data().index() ? a == b : asDouble(a) == asDouble(b);
}

Equality Known(bool equal) {
    return equal ? Equality::Equal : Equality::Different;
}

// The letters and digits of an ASCII text in lower case. Texts that differ in these are different
// in every collation.
std::string Skeleton(std::string_view ascii) {
    std::string text = ToLower(ascii);
    std::erase_if(text, [](char c) { return !(c >= 'a' && c <= 'z') && !(c >= '0' && c <= '9'); });
    return text;
}

Equality CompareByCollation(std::string_view left, std::string_view right) {
    if (WithoutTrailingBlanks(left) == WithoutTrailingBlanks(right)) {
        return Equality::Equal;
    }
    const bool differs = IsAscii(left) && IsAscii(right) && Skeleton(left) != Skeleton(right);
    return differs ? Equality::Different : Equality::Unknown;
}

class BufferedRecordset : public Recordset {
  public:
    explicit BufferedRecordset(Recordset& source) : fields_(source.Fields()) {
        for (; !source.Eof(); source.MoveNext()) {
            std::vector<Value> row;
            row.reserve(fields_.size());
            for (const Field& field : source.Fields()) {
                row.push_back(field.Value);
            }
            rows_.push_back(std::move(row));
        }
        LoadRow();
    }

    bool Eof() const override { return position_ >= rows_.size(); }

    void MoveNext() override {
        ++position_;
        LoadRow();
    }

    const std::vector<Field>& Fields() const override { return fields_; }

  private:
    void LoadRow() {
        if (!Eof()) {
            for (std::size_t i = 0; i < fields_.size(); ++i) {
                fields_[i].Value = std::move(rows_[position_][i]);
            }
        }
    }

    std::vector<Field> fields_;
    std::vector<std::vector<Value>> rows_;
    std::size_t position_ = 0;
};

}  // namespace

Equality Field::Compare(const morvane::Value& a, const morvane::Value& b) const {
    if (a.IsNull() || b.IsNull()) {
        return Equality::Different;
    }
    if (IsNumber(a) && IsNumber(b)) {
        return Known(SameNumber(a, b));
    }
    if (!a.IsText() || !b.IsText()) {
        return Known(a == b);  // bytes, or values of different kinds, which are never equal
    }
    const std::string& left = std::get<std::string>(a.Data());
    const std::string& right = std::get<std::string>(b.Data());
    switch (Comparison) {
        case TextComparison::IgnoringCase:
            return Known(EqualsIgnoreCase(left, right));
        case TextComparison::ByCollation:
            return CompareByCollation(left, right);
        default:
            return Known(left == right);
    }
}

const Field& Recordset::FieldNamed(std::string_view name) const {
    const std::vector<Field>& fields = Fields();
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const Field& field) {
        return EqualsIgnoreCase(field.Name, name);
    });
    if (found == fields.end()) {
        throw DatabaseError({"The query has no column \"" + std::string(name) + "\"."});
    }
    return *found;
}

std::unique_ptr<Recordset> BufferRecordset(Recordset& source) {
    return std::make_unique<BufferedRecordset>(source);
}

}  // namespace morvane
