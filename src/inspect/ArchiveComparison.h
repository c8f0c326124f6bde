// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "db/ArchiveSettings.h"
#include "inspect/Findings.h"
#include "inspect/StarSchema.h"

namespace morvane {

// Opens an archive database for reading. Throws on failure.
using ArchiveOpener = std::function<std::unique_ptr<Connection>(const ArchiveSettings& archive)>;

// Finds fact rows that are in the archive as well. The warehouse server compares them, so it must
// be able to read the archive: on the same server or through OPENROWSET. Tables that could not be
// compared are reported to the collector, with the reason.
void CompareWithArchive(FindingCollector& found, const StarSchema& star,
                        const ArchiveSettings& archive, const ArchiveOpener& open);

}  // namespace morvane
