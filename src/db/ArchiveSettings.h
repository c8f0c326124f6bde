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

// Reads the only row of dwm_archive, with NULL as an empty text. Throws DatabaseError, also if
// there is no row.
ArchiveSettings ReadArchiveSettings(Connection& warehouse);

// Updates that row. The values are pasted into the statement, so none may contain a single quote:
// in that case throws a DatabaseError that names the field, and sends nothing.
void SaveArchiveSettings(Connection& warehouse, const ArchiveSettings& archive);

}  // namespace morvane
