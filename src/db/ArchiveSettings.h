// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"
#include "core/RunSettings.h"

namespace morvane {

// The archive database and the login for it.
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

// Copies that row, trimmed, into the settings of a run. Returns false and leaves them unchanged if
// the table or the row is missing or if a column that a run needs is NULL.
bool ReadArchiveDetails(Connection& warehouse, RunSettings& settings);

// Updates that row. The values are pasted into the statement, so none may contain a single quote:
// in that case throws a DatabaseError that names the field, and sends nothing.
void SaveArchiveSettings(Connection& warehouse, const ArchiveSettings& archive);

}  // namespace morvane
