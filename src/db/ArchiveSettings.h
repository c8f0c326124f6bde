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

// From the one row of the warehouse's dwm_archive, NULL as an empty text. Throws DatabaseError,
// also when there is no such row.
ArchiveSettings ReadArchiveSettings(Connection& warehouse);

// Writes that row. The values stand in the statement as they are, the password too, so that none
// may hold a single quote: DatabaseError names the field then, and nothing is sent.
void SaveArchiveSettings(Connection& warehouse, const ArchiveSettings& archive);

}  // namespace morvane
