// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/Connection.h"

namespace morvane {

// A row of dwm_star_relations with its lists split into as many foreign as primary columns. Names
// are trimmed.
struct KeyRelation {
    std::string ForeignTable;
    std::vector<std::string> ForeignColumns;
    std::string PrimaryTable;
    std::vector<std::string> PrimaryColumns;
    // original_primary_key of a slowly-moving primary table; empty for other tables.
    std::vector<std::string> ElementKey;
};

struct StarSchema {
    std::vector<std::string> FactTables;
    std::vector<KeyRelation> Relations;

    bool IsFactTable(std::string_view table) const;
};

// Reads the meta tables and checks all names in them. Throws DatabaseError, also if a relation has
// more foreign columns than primary ones or fewer.
StarSchema ReadStarSchema(Connection& connection);

}  // namespace morvane
