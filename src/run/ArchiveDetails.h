// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Connection.h"
#include "core/RunSettings.h"

namespace morvane {

// Takes the archive's server, database and login from the warehouse's table dwm_archive into the
// settings. False, and nothing is changed, when the table is missing or does not say enough.
// Throws DatabaseError.
bool ReadArchiveDetails(Connection& warehouse, RunSettings& settings);

}  // namespace morvane
