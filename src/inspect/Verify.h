// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "inspect/Answer.h"
#include "inspect/ArchiveComparison.h"
#include "inspect/Findings.h"

namespace morvane {

struct VerifyOptions {
    bool ListKeys = false;
    ArchiveSettings Archive;
    ArchiveOpener OpenArchive;
};

// Checks whether a warehouse is consistent: references, keys, histories, marks, the archive and the
// types of key columns. Throws DatabaseError.
Verdict Verify(Connection& connection, const VerifyOptions& options, const StepReport& report);

// The marked elements of selected dimensions that a fact or an unmarked element refers to, which
// must not be deleted. Throws DatabaseError.
std::vector<Finding> MarkedButReferredTo(Connection& connection, bool listKeys,
                                         const StepReport& report);

Answer VerifyAnswer(const Verdict& verdict);

}  // namespace morvane
