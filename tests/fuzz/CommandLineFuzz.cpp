#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/Text.h"
#include "run/CommandLine.h"

namespace {

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Whether a password is among the words shown. One that stands elsewhere in the text as well may be
// there for another reason, and so may any where quotes put words together.
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

// What holds of every command line, however it is split.
void ParseAndCheck(std::string_view text, std::size_t maxArgs, morvane::SlashPaths slashPaths) {
    using namespace morvane;
    RunSettings settings;
    RunState state;
    InitSettings(settings, state);
    const CommandLineReport report = ParseCommandLine(text, maxArgs, slashPaths, settings, state);
    Require(report.Note.empty() || report.Fault.empty());
    Require(report.Fault.empty() || state.CommandLineMode);
    Require(!report.UnknownOption || (settings.Help && state.CommandLineMode));
    Require(report.UnknownNames.size() <= maxArgs);
    Require(settings.ConfigMode == state.ConfigMode);
    Require(settings.ConfigFileName == state.ConfigFileName);
    for (const std::string* value : {&settings.Machine, &settings.Password, &settings.LogDirectory,
                                     &settings.StatusFileName, &settings.LogFileName}) {
        Require(value->size() <= text.size());
        Require(value->find('"') == std::string::npos);
    }
    for (const std::string& password : {settings.Password, settings.ArchivePassword}) {
        Require(!IsShown(password, text, report.UnknownNames));
    }
}

// An argument without a quote in it, or a line end behind it, comes back as it was.
void ComposeAndCheck(const std::string& argument) {
    using namespace morvane;
    if (argument.find_first_of(std::string_view("\"\0", 2)) != std::string::npos ||
        argument.ends_with('\n') || argument.ends_with('\r')) {
        return;
    }
    const char* argv[] = {"morvane", "-log", argument.c_str(), "-mac", "m"};
    RunSettings settings;
    RunState state;
    ParseCommandLine(ComposeCommandLine(5, argv), kMaxArgs, SlashPaths::Yes, settings, state);
    Require(settings.LogDirectory == argument || ToLower(argument) == "-log");
    Require(settings.Machine == "m");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const std::size_t maxArgs : {std::size_t{0}, std::size_t{3}, morvane::kMaxArgs}) {
        ParseAndCheck(text, maxArgs, morvane::SlashPaths::Yes);
        ParseAndCheck(text, maxArgs, morvane::SlashPaths::No);
    }
    ComposeAndCheck(text);
    return 0;
}
