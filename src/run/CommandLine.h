// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/modFileFunctions.h"
#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// The number of words that a command line may hold.
inline constexpr std::size_t kMaxArgs = 25;

// What a command line gives besides the settings in it.
struct CommandLineReport {
    std::string Note;   // words were left out and the run goes on; empty when none were
    std::string Fault;  // why no run may start; empty when one may
    bool HelpAsked = false;
    bool UnknownOption = false;
    // The unknown options as written, without those that may be a piece of a password.
    std::vector<std::string> UnknownNames;
};

// Every setting at its default; no configuration mode.
void InitSettings(RunSettings& settings, RunState& state);

// Whether "/" separates folders in paths. There, a value that begins with it is a path and not an
// option besides.
enum class SlashPaths { No, Yes };
inline constexpr SlashPaths kPlatformSlashPaths =
    kPathSeparator == '/' ? SlashPaths::Yes : SlashPaths::No;

// Splits the text after the program's own name into at most `maxArgs` words and applies the options
// among them. Words are separated by blanks and tabs; double quotes hold words with blanks.
CommandLineReport ParseCommandLine(std::string_view commandLine, std::size_t maxArgs,
                                   SlashPaths slashPaths, RunSettings& settings, RunState& state);

enum class OptionKind { Flag, TakesValue, Unknown };

// Applies one option; the name without its prefix, in any letter case. An unknown one asks for
// help.
OptionKind SetOption(std::string_view name, std::string_view value, RunSettings& settings,
                     RunState& state);

// The name, without its prefix, of the option that sets a value or a flag. Options that select a
// task are in kTasks.
std::string_view OptionName(std::string RunSettings::*value);
std::string_view OptionName(bool RunSettings::*flag);

// All options in one line.
std::string_view UsageText();

// The line that follows the usage text on the console, but not in the log.
std::string VersionText();

}  // namespace morvane
