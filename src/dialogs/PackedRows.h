// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/Recordset.h"

namespace morvane {

// The rows of a query in little memory, any of them at hand. A value takes what it needs, so that a
// million rows of a wide table fit.
class PackedRows {
  public:
    void Append(const std::vector<Field>& row);

    std::size_t Count() const { return rowEnds_.size(); }
    Value At(std::size_t row, std::size_t field) const;
    // The value as it is kept: the same for the same value and no beginning of another.
    std::string_view BytesAt(std::size_t row, std::size_t field) const;

  private:
    std::string bytes_;
    std::vector<std::size_t> rowEnds_;
};

}  // namespace morvane
