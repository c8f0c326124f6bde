// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"
#include "core/RunSettings.h"

namespace morvane {

// Where the archive is and how to log in there.
struct ArchiveSettings {
    ServerLogin Login;
    std::string Database;

    bool operator==(const ArchiveSettings&) const = default;
};

ArchiveSettings ArchiveSettingsOf(const RunSettings& settings);
void PutArchiveSettings(const ArchiveSettings& archive, RunSettings& settings);

// Reads the only row of dwm_archive; NULL becomes an empty text or false. Throws DatabaseError,
// also if there is no such row.
ArchiveSettings ReadArchiveSettings(Connection& warehouse);

// Puts that row, trimmed, into the settings of a run. Returns false and leaves them unchanged if
// the table or the row is missing or if a column that a run needs is NULL.
bool ReadArchiveDetails(Connection& warehouse, RunSettings& settings);

// Writes that row. The values stand in the statement as they are, the password too, so that none
// may hold a single quote: DatabaseError names the field then, and nothing is sent.
void SaveArchiveSettings(Connection& warehouse, const ArchiveSettings& archive);

}  // namespace morvane
