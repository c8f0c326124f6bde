// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Connection.h"
#include "inspect/Answer.h"
#include "inspect/StepReport.h"

namespace morvane {

// The rows of a table that refer to an element, directly or through the rows of other tables.
struct ReferringRows {
    int Depth = 0;  // 1: refer to the element itself
    std::string Table;
    std::string RefersTo;
    std::int64_t Rows = 0;
    std::int64_t KeptNow = 0;  // rows that stay and keep what they refer to
    std::int64_t KeptAfterArchiving = 0;
};

// Whether a run would keep an element, and why.
struct Explanation {
    std::string Table;
    std::string Key;             // "column = value, column = value"
    std::int64_t Rows = 0;       // with that key; several if it is not unique
    std::int64_t MarkedNow = 0;  // with is_deletable = 1 at present
    std::int64_t GoNow = 0;      // would be marked by a run without archiving
    std::int64_t GoAfterArchiving = 0;
    std::string Reason;
    std::vector<ReferringRows> References;  // each table after the one it refers to
};

// Explains the element of a dimension with a key: the values of the columns by which the relations
// refer to it, in their order, or "column=value" for any of its columns. Throws DatabaseError, also
// if the table is not a dimension, the number of values is wrong, or no row has the key.
Explanation Explain(Connection& connection, const std::string& table,
                    const std::vector<std::string>& key, const StepReport& report);

Answer WhyAnswer(const Explanation& explanation);

}  // namespace morvane
