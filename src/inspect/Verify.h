// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "db/ArchiveSettings.h"
#include "inspect/Answer.h"
#include "inspect/Forecast.h"

namespace morvane {

// Something that is not whole.
struct Finding {
    std::string Check;  // a word for programs, such as "orphans"
    std::string Table;
    std::string Detail;  // a sentence
    std::int64_t Count = 0;
    std::vector<std::string> Keys;  // "column = value", if they were asked for
};

struct Verdict {
    std::vector<Finding> Findings;
    std::vector<std::string> NotLookedAt;  // what could not be verified, and why
};

struct VerifyOptions {
    bool ListKeys = false;
    // The archive: fact rows that are in both are findings. The server of the warehouse compares
    // them, so it must be able to reach the archive: on the same server or through OPENROWSET.
    ArchiveSettings Archive;
    // Opens the archive for reading.
    std::function<std::unique_ptr<Connection>(const ArchiveSettings& archive)> OpenArchive;
};

// Looks for whatever is not whole in a warehouse: rows whose key has no element, elements twice,
// histories with gaps, overlaps, none or several current versions, marked elements that are
// referred to, fact rows that are in the archive as well, foreign keys of another type than what
// they refer to. Throws DatabaseError.
Verdict Verify(Connection& connection, const VerifyOptions& options, const StepReport& report);

// The marked elements that a fact or an unmarked element refers to: to delete them would lose what
// is in use.
std::vector<Finding> MarkedButReferredTo(Connection& connection, bool listKeys,
                                         const StepReport& report);

Answer VerifyAnswer(const Verdict& verdict);

}  // namespace morvane
