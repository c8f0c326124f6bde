// SPDX-License-Identifier: Apache-2.0
#include "dialogs/ConfigFile.h"

#include <array>
#include <string_view>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "run/CommandLine.h"
#include "run/Tasks.h"

namespace morvane {

namespace {

std::string Quoted(std::string_view value) {
    return '"' + std::string(value) + '"';
}

std::string AsWord(const std::string& value) {
    return value.find_first_of(" \t") == std::string::npos ? value : Quoted(value);
}

bool IsBlank(const std::string& text) {
    return Trim(text).empty();
}

class Line {
  public:
    explicit Line(const RunSettings& settings) : settings_(settings) {}

    void Flag(bool RunSettings::*flag) { Option(OptionName(flag)); }

    void Text(std::string RunSettings::*value) {
        Option(OptionName(value));
        Append(AsWord(settings_.*value));
    }

    void Login(bool RunSettings::*secure, std::string RunSettings::*name,
               std::string RunSettings::*password) {
        if (settings_.*secure) {
            Flag(secure);
            return;
        }
        Text(name);
        if (!IsBlank(settings_.*password)) {
            Text(password);
        }
    }

    void Option(std::string_view name) { Append('-' + std::string(name)); }

    void Append(std::string_view word) {
        if (!text_.empty()) {
            text_ += ' ';
        }
        text_ += word;
    }

    const std::string& Result() const { return text_; }

  private:
    const RunSettings& settings_;
    std::string text_;
};

RunSettings Parse(const std::string& line) {
    RunSettings settings;
    RunState state;
    ParseCommandLine(line, kMaxArgs, kPlatformSlashPaths, settings, state);
    return settings;
}

// The values that must be readable from the file.
constexpr std::array kValues{
    &RunSettings::Machine,         &RunSettings::Database,        &RunSettings::UserName,
    &RunSettings::Password,        &RunSettings::ArchiveMachine,  &RunSettings::ArchiveDatabase,
    &RunSettings::ArchiveUserName, &RunSettings::ArchivePassword, &RunSettings::LogDirectory,
};

// The file is a single line.
bool EndsLine(const std::string& value) {
    return value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

bool IsReadBack(const RunSettings& settings, std::string RunSettings::*value) {
    if (EndsLine(settings.*value)) {
        return false;
    }
    RunSettings expected;
    expected.*value = settings.*value;
    expected.LogGiven = value == &RunSettings::LogDirectory;
    Line line(expected);
    line.Text(value);
    return Parse(line.Result()) == expected;
}

}  // namespace

std::string ConfigLine(const RunSettings& settings) {
    Line line(settings);
    line.Text(&RunSettings::Machine);
    line.Text(&RunSettings::Database);
    line.Login(&RunSettings::NTAuthentication, &RunSettings::UserName, &RunSettings::Password);
    for (const Task& task : kTasks) {
        if (!(settings.*task.Flag)) {
            continue;
        }
        if (task.Flag == &RunSettings::ArchiveFactTables) {
            line.Text(&RunSettings::ArchiveMachine);
            line.Text(&RunSettings::ArchiveDatabase);
            line.Login(&RunSettings::ArchiveNTAuthentication, &RunSettings::ArchiveUserName,
                       &RunSettings::ArchivePassword);
        }
        line.Option(task.Option);
    }
    if (settings.LogGiven) {
        line.Flag(&RunSettings::LogGiven);
        line.Append(Quoted(settings.LogDirectory));
    }
    return line.Result();
}

std::string ConfigLineFault(const RunSettings& settings) {
    for (const auto value : kValues) {
        if (!(settings.*value).empty() && !IsReadBack(settings, value)) {
            return "The value of the option -" + std::string(OptionName(value)) +
                   " cannot be written into the configuration file: it holds a double quote or "
                   "a line end, or begins like an option.";
        }
    }
    return Parse(ConfigLine(settings)) == settings
               ? ""
               : "The settings cannot be written into the configuration file: it would not be read "
                 "back as it is meant.";
}

void WriteConfigFile(const std::string& path, const RunSettings& settings) {
    WritePrivateFile(path, ConfigLine(settings) + std::string(kCrLf));
}

}  // namespace morvane
