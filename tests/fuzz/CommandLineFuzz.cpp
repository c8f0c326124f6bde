// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"
#include "base/Text.h"
#include "dialogs/ConfigFile.h"
#include "run/CommandLine.h"
#include "run/ProcessArguments.h"

namespace morvane::fuzz {
namespace {

// Whether a password is part of the words shown. A password that occurs more than once in the text
// may be shown for another reason, and so may any password if the text has quotes.
bool IsShown(const std::string& password, std::string_view text,
             const std::vector<std::string>& shown) {
    const std::size_t first = text.find(password);
    if (password.empty() || text.find('"') != std::string_view::npos ||
        first == std::string_view::npos || first != text.rfind(password)) {
        return false;
    }
    return std::any_of(shown.begin(), shown.end(), [&](const std::string& name) {
        const std::string_view written = std::string_view(name).substr(0, name.rfind("..."));
        return written.find(password) != std::string_view::npos;
    });
}

void CheckReport(std::string_view text, std::size_t maxArgs, const CommandLineReport& report,
                 const RunSettings& settings, const RunState& state) {
    Require(report.Fault.empty() || state.CommandLineMode, "a fault is reported on the console");
    Require(!report.UnknownOption || (settings.Help && state.CommandLineMode),
            "an unknown option shows the help");
    Require(report.UnknownNames.size() <= maxArgs, "no more words than allowed");
    for (const std::string* value : {&settings.Machine, &settings.Password, &settings.LogDirectory,
                                     &settings.ArchivePassword, &settings.ConfigFileName}) {
        Require(value->find('"') == std::string::npos, "quotes are never part of a value");
    }
    for (const std::string& password : {settings.Password, settings.ArchivePassword}) {
        Require(!IsShown(password, text, report.UnknownNames), "no password is shown");
    }
}

RunSettings Parse(const std::string& line) {
    RunSettings settings;
    RunState state;
    ParseCommandLine(line, kMaxArgs, kPlatformSlashPaths, settings, state);
    return settings;
}

// Settings that can be saved form one line that parses to equal settings.
void CheckConfigLine(const RunSettings& settings) {
    if (!ConfigLineFault(settings).empty()) {
        return;
    }
    const std::string line = ConfigLine(settings);
    Require(line.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos,
            "the settings are one line");
    Require(Parse(line) == settings, "the line parses to equal settings");
}

void ParseAndCheck(std::string_view text, std::size_t maxArgs, SlashPaths slashPaths) {
    RunSettings settings;
    RunState state;
    InitSettings(settings, state);
    const CommandLineReport report = ParseCommandLine(text, maxArgs, slashPaths, settings, state);
    CheckReport(text, maxArgs, report, settings, state);
    CheckConfigLine(settings);
}

// An argument without quotes and without a line end after it survives composing and parsing.
void ComposeAndCheck(const std::string& argument) {
    if (argument.find_first_of(std::string_view("\"\0", 2)) != std::string::npos ||
        argument.ends_with('\n') || argument.ends_with('\r')) {
        return;
    }
    const char* argv[] = {"morvane", "-log", argument.c_str(), "-mac", "m"};
    RunSettings settings;
    RunState state;
    ParseCommandLine(ComposeCommandLine(5, argv), kMaxArgs, SlashPaths::Yes, settings, state);
    Require(settings.LogDirectory == argument || ToLower(argument) == "-log",
            "an argument is parsed unchanged");
    Require(settings.Machine == "m", "an argument does not swallow the next");
}

}  // namespace
}  // namespace morvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane;
    const std::string text(reinterpret_cast<const char*>(data), size);
    constexpr std::array<std::size_t, 3> kLimits = {kMaxArgs, 3, 0};
    for (const SlashPaths slashPaths : {SlashPaths::Yes, SlashPaths::No}) {
        fuzz::ParseAndCheck(text, kLimits[size % kLimits.size()], slashPaths);
    }
    fuzz::ComposeAndCheck(text);
    return 0;
}
