// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "inspect/Findings.h"
#include "inspect/StarSchema.h"

namespace morvane {

// Finds foreign key columns whose type differs from that of the column they refer to. A table that
// cannot be described is not checked; the collector gets the reason.
void CompareKeyTypes(FindingCollector& found, const StarSchema& star);

}  // namespace morvane
