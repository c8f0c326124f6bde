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

// The maximum number of words on a command line.
inline constexpr std::size_t kMaxArgs = 25;

// The result of parsing a command line besides the settings.
struct CommandLineReport {
    std::string Note;   // that words were ignored; else empty
    std::string Fault;  // why no run may start; else empty
    bool HelpAsked = false;
    bool UnknownOption = false;
    // The unknown options as written, except those that may be part of a password.
    std::vector<std::string> UnknownNames;
};

// Resets all settings and leaves configuration mode.
void InitSettings(RunSettings& settings, RunState& state);

// Whether "/" separates folders. If so, an option's value that starts with "/" is a path and not
// also an option.
enum class SlashPaths { No, Yes };
inline constexpr SlashPaths kPlatformSlashPaths =
    kPathSeparator == '/' ? SlashPaths::Yes : SlashPaths::No;

// Splits the text after the program name into at most `maxArgs` words and applies the options.
// Words are separated by blanks and tabs; double quotes enclose words with blanks.
CommandLineReport ParseCommandLine(std::string_view commandLine, std::size_t maxArgs,
                                   SlashPaths slashPaths, RunSettings& settings, RunState& state);

enum class OptionKind { Flag, TakesValue, Unknown };

// Applies an option. The name has no prefix and is not case-sensitive. An unknown one sets Help.
OptionKind SetOption(std::string_view name, std::string_view value, RunSettings& settings,
                     RunState& state);

// The name, without its prefix, of the option that sets a value or a flag. Options that select a
// task are in kTasks.
std::string_view OptionName(std::string RunSettings::*value);
std::string_view OptionName(bool RunSettings::*flag);

// All options on one line.
std::string_view UsageText();

// The line that follows the usage text on the console, but not in the log.
std::string VersionText();

}  // namespace morvane
