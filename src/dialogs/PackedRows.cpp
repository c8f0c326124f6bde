// SPDX-License-Identifier: Apache-2.0
#include "dialogs/PackedRows.h"

#include "base/Value.h"

namespace morvane {

void PackedRows::Append(const std::vector<Field>& row) {
    for (const Field& field : row) {
        AppendPacked(bytes_, field.Value);
    }
    rowEnds_.push_back(bytes_.size());
}

std::string_view PackedRows::BytesAt(std::size_t row, std::size_t field) const {
    const char* value = bytes_.data() + (row == 0 ? 0 : rowEnds_.at(row - 1));
    for (; field > 0; --field) {
        value += PackedSize(value);
    }
    return {value, PackedSize(value)};
}

Value PackedRows::At(std::size_t row, std::size_t field) const {
    Value value;
    Unpack(BytesAt(row, field), value);
    return value;
}

}  // namespace morvane
