// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/Clock.h"

namespace morvane {

// Deletes the logs and reports of runs that began more than `days` days before `now`, according to
// their file names. Throws FileError if one cannot be deleted.
void DeleteOldFiles(const std::string& folder, int days, const LocalMoment& now);

// Whether the name is exactly that of a log or a report of a run that began before `limit`.
bool IsOldRunFile(const std::string& name, std::chrono::sys_seconds limit);

}  // namespace morvane
