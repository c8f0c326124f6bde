#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Require.h"
#include "core/Text.h"
#include "run/CommandLine.h"
#include "run/ConfigFile.h"
#include "run/ValidateSettings.h"

namespace morvane::fuzz {
namespace {

// The fields of an input, separated by "|": the options that are given, a letter each, then the
// values.
constexpr std::array kFlags = {
    &RunSettings::NTAuthentication,  &RunSettings::CheckMetaData,
    &RunSettings::ArchiveFactTables, &RunSettings::ArchiveNTAuthentication,
    &RunSettings::DetectAndMark,     &RunSettings::DeleteMarked,
    &RunSettings::AtomicDeletion,    &RunSettings::GenerateReports,
    &RunSettings::LogGiven,          &RunSettings::Help,
    &RunSettings::StatusMode};
constexpr std::string_view kFlagLetters = "ncaNmdDrlhs";
constexpr std::array kTexts = {&RunSettings::Machine,         &RunSettings::Database,
                               &RunSettings::UserName,        &RunSettings::Password,
                               &RunSettings::ArchiveMachine,  &RunSettings::ArchiveDatabase,
                               &RunSettings::ArchiveUserName, &RunSettings::ArchivePassword,
                               &RunSettings::LogDirectory,    &RunSettings::StatusFileName};

RunSettings ReadSettings(std::string_view input) {
    const std::vector<std::string> fields = Split(input, '|');
    RunSettings settings;
    for (std::size_t i = 0; i < kFlags.size(); ++i) {
        settings.*kFlags[i] = fields[0].find(kFlagLetters[i]) != std::string::npos;
    }
    for (std::size_t i = 0; i < kTexts.size() && i + 1 < fields.size(); ++i) {
        settings.*kTexts[i] = fields[i + 1];
    }
    return settings;
}

struct Verdict {
    bool Valid = false;
    std::string ErrorText;
};

Verdict Validate(const RunSettings& settings, bool commandLineMode) {
    RunState state;
    state.CommandLineMode = commandLineMode;
    const bool valid = ValidateSettings(settings, state);
    return {valid, state.ErrorText};
}

RunSettings WithEveryBlankValue(RunSettings settings, const std::string& blank) {
    for (const auto text : kTexts) {
        if (Trim(settings.*text).empty()) {
            settings.*text = blank;
        }
    }
    return settings;
}

void CheckValidation(const RunSettings& settings) {
    const Verdict console = Validate(settings, true);
    const Verdict window = Validate(settings, false);
    Require(console.Valid == window.Valid, "console and window judge alike");
    Require(!window.Valid || window.ErrorText.empty(), "valid settings have no faults");
    Require(window.Valid || settings.Help || !window.ErrorText.empty(), "a refusal says why");
    Require(
        console.ErrorText ==
            window.ErrorText + (console.Valid ? "" : std::string(kCrLf) + std::string(UsageText())),
        "the console adds the usage alone");
    Require(Validate(WithEveryBlankValue(settings, ""), false).ErrorText == window.ErrorText &&
                Validate(WithEveryBlankValue(settings, "   "), false).ErrorText == window.ErrorText,
            "a blank value is no value");

    RunSettings complete = WithEveryBlankValue(settings, "x");
    complete.LogGiven = true;
    complete.Help = false;
    const bool twoSecureLogins =
        complete.ArchiveFactTables && complete.NTAuthentication && complete.ArchiveNTAuthentication;
    Require(Validate(complete, true).Valid != twoSecureLogins,
            "with every value given two secure logins are the only fault");
}

// As the settings window composes them: nothing that goes without saying.
RunSettings AsWindowComposes(RunSettings settings) {
    const auto dropLogin = [&](bool secure, std::string RunSettings::*user,
                               std::string RunSettings::*password) {
        if (secure) {
            (settings.*user).clear();
        }
        if (secure || Trim(settings.*password).empty()) {
            (settings.*password).clear();
        }
    };
    dropLogin(settings.NTAuthentication, &RunSettings::UserName, &RunSettings::Password);
    dropLogin(settings.ArchiveNTAuthentication, &RunSettings::ArchiveUserName,
              &RunSettings::ArchivePassword);
    if (!settings.ArchiveFactTables) {
        settings.ArchiveMachine = settings.ArchiveDatabase = "";
        settings.ArchiveUserName = settings.ArchivePassword = "";
        settings.ArchiveNTAuthentication = false;
    }
    settings.LogDirectory = Trim(settings.LogDirectory);
    settings.LogGiven = true;
    settings.Help = settings.StatusMode = false;
    settings.StatusFileName.clear();
    return settings;
}

bool IsPlain(const std::string& value) {
    return value.empty() || (value[0] != '-' && value[0] != '/' &&
                             std::none_of(value.begin(), value.end(), [](char c) {
                                 return c == '"' || (c >= '\0' && c < ' ' && c != '\t');
                             }));
}

// As `morvane $(cat file)` gives it: a shell splits at blanks and knows nothing of quotes. A run of
// blanks does not survive that.
RunSettings ThroughShell(const std::string& line) {
    std::vector<std::string> words = Split(line, ' ');
    words.insert(words.begin(), "morvane");
    std::vector<const char*> argv;
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    RunSettings settings;
    RunState state;
    ParseCommandLine(ComposeCommandLine(static_cast<int>(argv.size()), argv.data()), kMaxArgs,
                     kPlatformSlashPaths, settings, state);
    return settings;
}

void CheckConfigLine(const RunSettings& settings) {
    const std::string fault = ConfigLineFault(settings);
    const bool plain = std::all_of(kTexts.begin(), kTexts.end(),
                                   [&](const auto text) { return IsPlain(settings.*text); });
    const bool valid = Validate(settings, false).Valid;
    Require(fault.empty() || !plain || !valid, "valid settings of plain values can be saved");
    if (!fault.empty()) {
        return;
    }
    const std::string line = ConfigLine(settings);
    Require(line.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos,
            "the settings are one line");
    RunSettings read;
    RunState state;
    const CommandLineReport report =
        ParseCommandLine(line, kMaxArgs, kPlatformSlashPaths, read, state);
    Require(read == settings, "the line read back makes equal settings");
    Require(report.Note.empty() && report.Fault.empty() && !report.UnknownOption,
            "the line is understood whole");
    Require(ConfigLine(read) == line, "settings read back make the same line");
    if (line.find("  ") == std::string::npos && line.find("\" ") == std::string::npos &&
        line.find(" \"") == std::string::npos && line.find('\t') == std::string::npos) {
        Require(ThroughShell(line) == settings, "a shell hands the line over unharmed");
    }
}

}  // namespace
}  // namespace morvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane::fuzz;
    const auto settings = ReadSettings({reinterpret_cast<const char*>(data), size});
    CheckValidation(settings);
    CheckConfigLine(AsWindowComposes(settings));
    return 0;
}
