// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/RunSettings.h"
#include "run/CommandLine.h"

namespace morvane {

// The words of a one-line configuration file. Blanks, tabs and line ends separate them; double
// quotes enclose one literally. Lines whose first character is '#' are comments.
std::vector<std::string> SplitConfigFile(std::string_view content);

// Why morvane cannot read the word as the value of an option; empty if it can.
std::string WhyNoValue(std::string_view value, SlashPaths slashPaths = kPlatformSlashPaths);

// The options of morvane, parsed as morvane parses them.
struct MorvaneWords {
    RunSettings Settings;             // with the passwords
    std::vector<std::string> Others;  // all words except passwords and their options
};

// Throws NotStarted for an option without a value.
MorvaneWords ReadWords(const std::vector<std::string>& words,
                       SlashPaths slashPaths = kPlatformSlashPaths);

// The words without the deletion, and without all tasks except the deletion.
std::vector<std::string> WithoutDeletion(const std::vector<std::string>& words);
std::vector<std::string> DeletionAlone(const std::vector<std::string>& words);

}  // namespace morvane
