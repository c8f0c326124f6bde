// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "core/Connection.h"
#include "nightly/Job.h"

namespace morvane {

// Why the marked elements of a warehouse must not be deleted: a dimension has more than the limit,
// or a marked element is referred to. Empty if they may be. Only reads. Throws DatabaseError.
std::vector<std::string> ObjectionsToDeletion(Connection& warehouse, const JobOptions& options);

}  // namespace morvane
