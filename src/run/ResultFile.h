// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/Clock.h"
#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// The outcome of a run as one JSON object (RFC 8259); docs/result.schema.json describes it.
std::string ResultText(const RunSettings& settings, const RunState& state, const LocalMoment& end,
                       const std::string& logPath);

// Writes a file under another name in the same folder and then renames it, so that a reader sees
// the former file or the whole new one. Throws FileError.
void ReplaceFile(const std::string& path, const std::string& text);

}  // namespace morvane
