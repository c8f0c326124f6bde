// SPDX-License-Identifier: Apache-2.0
#include "dialogs/ConfigFile.h"

#include <array>
#include <string_view>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "run/CommandLine.h"

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
    void Flag(std::string_view option, bool given) {
        if (given) {
            Append(option);
        }
    }

    void Word(std::string_view option, const std::string& value) {
        Append(option);
        Append(AsWord(value));
    }

    void Login(bool secure, std::string_view secureOption, std::string_view nameOption,
               const std::string& name, std::string_view passwordOption,
               const std::string& password) {
        if (secure) {
            Append(secureOption);
            return;
        }
        Word(nameOption, name);
        if (!IsBlank(password)) {
            Word(passwordOption, password);
        }
    }

    void Append(std::string_view word) {
        if (!text_.empty()) {
            text_ += ' ';
        }
        text_ += word;
    }

    const std::string& Text() const { return text_; }

  private:
    std::string text_;
};

RunSettings Parse(const std::string& line) {
    RunSettings settings;
    RunState state;
    ParseCommandLine(line, kMaxArgs, kPlatformSlashPaths, settings, state);
    return settings;
}

struct TextOption {
    std::string_view Name;
    std::string RunSettings::*Value;
};

constexpr std::array kTextOptions{
    TextOption{"-mac", &RunSettings::Machine},
    TextOption{"-db", &RunSettings::Database},
    TextOption{"-usr", &RunSettings::UserName},
    TextOption{"-pwd", &RunSettings::Password},
    TextOption{"-bkmac", &RunSettings::ArchiveMachine},
    TextOption{"-bkdb", &RunSettings::ArchiveDatabase},
    TextOption{"-bkusr", &RunSettings::ArchiveUserName},
    TextOption{"-bkpwd", &RunSettings::ArchivePassword},
};

// The file is one line.
bool EndsLine(const std::string& value) {
    return value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

bool IsReadBack(const TextOption& option, const std::string& value) {
    if (EndsLine(value)) {
        return false;
    }
    RunSettings expected;
    expected.*option.Value = value;
    return Parse(std::string(option.Name) + " " + AsWord(value)) == expected;
}

}  // namespace

std::string ConfigLine(const RunSettings& settings) {
    Line line;
    line.Word("-mac", settings.Machine);
    line.Word("-db", settings.Database);
    line.Login(settings.NTAuthentication, "-ntaut", "-usr", settings.UserName, "-pwd",
               settings.Password);
    line.Flag("-chkmd", settings.CheckMetaData);
    if (settings.ArchiveFactTables) {
        line.Word("-bkmac", settings.ArchiveMachine);
        line.Word("-bkdb", settings.ArchiveDatabase);
        line.Login(settings.ArchiveNTAuthentication, "-bkntaut", "-bkusr", settings.ArchiveUserName,
                   "-bkpwd", settings.ArchivePassword);
        line.Append("-clsf");
    }
    line.Flag("-mark", settings.DetectAndMark);
    line.Flag("-grep", settings.GenerateReports);
    line.Flag("-del", settings.DeleteMarked);
    line.Flag("-datom", settings.AtomicDeletion);
    if (settings.LogGiven) {
        line.Append("-log");
        line.Append(Quoted(settings.LogDirectory));
    }
    return line.Text();
}

std::string ConfigLineFault(const RunSettings& settings) {
    for (const TextOption& option : kTextOptions) {
        const std::string& value = settings.*option.Value;
        if (!value.empty() && !IsReadBack(option, value)) {
            return "The value of the option " + std::string(option.Name) +
                   " cannot be written into the configuration file: it holds a double quote or "
                   "a line end, or begins like an option.";
        }
    }
    return !EndsLine(settings.LogDirectory) && Parse(ConfigLine(settings)) == settings
               ? ""
               : "The settings cannot be written into the configuration file: it would not be read "
                 "back as it is meant.";
}

void WriteConfigFile(const std::string& path, const RunSettings& settings) {
    WritePrivateFile(path, ConfigLine(settings) + std::string(kCrLf));
}

}  // namespace morvane
