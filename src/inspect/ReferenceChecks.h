// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "inspect/Findings.h"
#include "inspect/StarSchema.h"

namespace morvane {

enum class MarkedIn { AllDimensions, SelectedDimensions };

// The checks add their findings to `found`. All throw DatabaseError.

// Rows with a foreign key that the primary table does not have. A key with a NULL refers to nothing
// and is not an orphan.
void FindOrphans(FindingCollector& found, const StarSchema& star);

// Keys that several rows of a primary table have.
void FindDuplicateKeys(FindingCollector& found, const StarSchema& star);

// Marked elements that a fact or an unmarked element refers to.
void FindMarkedInUse(FindingCollector& found, const StarSchema& star, MarkedIn dimensions);

}  // namespace morvane
