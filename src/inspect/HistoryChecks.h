// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "inspect/Findings.h"
#include "inspect/StarSchema.h"

namespace morvane {

// Checks the histories of the slowly-moving dimensions: that each element has one current version,
// that each version ends on the day on which the next one starts, where re-linking looks for it,
// and that none ends before it starts. Throws DatabaseError.
void CheckHistories(FindingCollector& found, const StarSchema& star);

}  // namespace morvane
