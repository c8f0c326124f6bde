// SPDX-License-Identifier: Apache-2.0
#include "run/CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "base/Text.h"
#include "base/Version.h"
#include "run/Tasks.h"

namespace morvane {

namespace {

struct Option {
    std::string_view Name;
    bool RunSettings::*Flag;
    std::string RunSettings::*Text;  // null for an option without a value
};

// The options that do not select a task; those are in kTasks.
constexpr std::array kOptions{
    Option{"mac", nullptr, &RunSettings::Machine},
    Option{"usr", nullptr, &RunSettings::UserName},
    Option{"pwd", nullptr, &RunSettings::Password},
    Option{"ntaut", &RunSettings::NTAuthentication, nullptr},
    Option{"db", nullptr, &RunSettings::Database},
    Option{"bkmac", nullptr, &RunSettings::ArchiveMachine},
    Option{"bkusr", nullptr, &RunSettings::ArchiveUserName},
    Option{"bkpwd", nullptr, &RunSettings::ArchivePassword},
    Option{"bkntaut", &RunSettings::ArchiveNTAuthentication, nullptr},
    Option{"bkdb", nullptr, &RunSettings::ArchiveDatabase},
    Option{"log", &RunSettings::LogGiven, &RunSettings::LogDirectory},
    Option{"logfile", &RunSettings::LogFileGiven, &RunSettings::LogFileName},
    Option{"config", &RunSettings::ConfigMode, &RunSettings::ConfigFileName},
    Option{"statusfile", &RunSettings::StatusMode, &RunSettings::StatusFileName},
    Option{"help", &RunSettings::Help, nullptr},
};

std::optional<Option> FindOption(std::string_view name) {
    const std::string lower = ToLower(name);
    for (const Option& option : kOptions) {
        if (option.Name == lower) {
            return option;
        }
    }
    for (const Task& task : kTasks) {
        if (task.Option == lower) {
            return Option{task.Option, task.Flag, nullptr};
        }
    }
    return std::nullopt;
}

template <typename Condition>
std::string_view NameWhere(const Condition& condition) {
    return std::ranges::find_if(kOptions, condition)->Name;
}

bool IsPassword(const std::optional<Option>& option) {
    return option && (option->Text == &RunSettings::Password ||
                      option->Text == &RunSettings::ArchivePassword);
}

enum class Overrun { None, PlainWord, QuotedWord };

// Splits a command line into words.
class Tokenizer {
  public:
    explicit Tokenizer(std::size_t maxArgs) : maxArgs_(maxArgs) {}

    Overrun Walk(std::string_view commandLine) {
        for (const char c : commandLine) {
            const bool blank = c == ' ' || c == '\t';
            if (c == '"') {
                // An opening quote starts a new word, even in the middle of another one.
                if (!inQuotes_ && !Begin()) {
                    return Overrun::QuotedWord;
                }
                inQuotes_ = !inQuotes_;
            } else if (blank && !inQuotes_) {
                inArgument_ = false;
            } else {
                if (!inArgument_ && !Begin()) {
                    return Overrun::PlainWord;
                }
                tokens_.back() += c;
            }
        }
        return Overrun::None;
    }

    std::vector<std::string> Tokens() && { return std::move(tokens_); }

  private:
    bool Begin() {
        if (tokens_.size() == maxArgs_) {
            return false;
        }
        tokens_.emplace_back();
        inArgument_ = true;
        return true;
    }

    std::size_t maxArgs_;
    std::vector<std::string> tokens_;
    bool inArgument_ = false;
    bool inQuotes_ = false;
};

// The part of an unknown option that may be shown: "-pwd..." of "-pwd=secret".
std::string ShownName(const std::string& token) {
    std::size_t end = token.find_first_of("=:");
    const std::size_t password = ToLower(token).find("pwd");
    if (password != std::string::npos) {
        end = std::min(end, password + 3);
    }
    return end < token.size() ? token.substr(0, end) + "..." : token;
}

// Decides which unknown options may be shown. The value of a password option is not shown. If the
// command line has quotes, a password may have been split into several words; then nothing is shown
// up to the next known option.
class UnknownWords {
  public:
    explicit UnknownWords(bool quotesInPlay) : quotesInPlay_(quotesInPlay) {}

    void Met(const std::optional<Option>& option, const std::string& token, bool isPasswordValue,
             CommandLineReport& report) {
        if (!option) {
            report.UnknownOption = true;
            if (!isPasswordValue && !afterPassword_) {
                report.UnknownNames.push_back(ShownName(token));
            }
        } else if (!isPasswordValue) {
            afterPassword_ = quotesInPlay_ && IsPassword(option);
        }
    }

  private:
    bool quotesInPlay_;
    bool afterPassword_ = false;
};

void DescribeOverrun(Overrun overrun, std::size_t maxArgs, CommandLineReport& report) {
    if (overrun == Overrun::PlainWord) {
        report.Note = fmt::format(
            "The command line holds more than {0} words; those after word {0} are ignored.",
            maxArgs);
    } else if (overrun == Overrun::QuotedWord) {
        report.Fault = fmt::format(
            "The command line holds more than {0} words, and a word in double quotes is past word "
            "{0}: nothing was run.",
            maxArgs);
    }
}

}  // namespace

void InitSettings(RunSettings& settings, RunState& state) {
    settings = RunSettings();
    state.ConfigMode = false;
}

std::string_view OptionName(std::string RunSettings::*value) {
    return NameWhere([value](const Option& option) { return option.Text == value; });
}

std::string_view OptionName(bool RunSettings::*flag) {
    return NameWhere([flag](const Option& option) { return option.Flag == flag; });
}

OptionKind SetOption(std::string_view name, std::string_view value, RunSettings& settings,
                     RunState& state) {
    const std::optional<Option> option = FindOption(name);
    if (!option) {
        settings.Help = true;
        state.CommandLineMode = true;
        return OptionKind::Unknown;
    }
    if (option->Flag != nullptr) {
        settings.*option->Flag = true;
    }
    if (option->Text != nullptr) {
        settings.*option->Text = value;
    }
    // -logfile alone opens the settings window.
    if (option->Flag != &RunSettings::LogFileGiven) {
        state.CommandLineMode = true;
    }
    if (option->Flag == &RunSettings::ConfigMode) {
        state.ConfigMode = true;
        state.ConfigFileName = value;
    }
    return option->Text != nullptr ? OptionKind::TakesValue : OptionKind::Flag;
}

CommandLineReport ParseCommandLine(std::string_view commandLine, std::size_t maxArgs,
                                   SlashPaths slashPaths, RunSettings& settings, RunState& state) {
    Tokenizer tokenizer(maxArgs);
    CommandLineReport report;
    DescribeOverrun(tokenizer.Walk(commandLine), maxArgs, report);
    if (!report.Fault.empty()) {
        state.CommandLineMode = true;
    }
    const std::vector<std::string> tokens = std::move(tokenizer).Tokens();
    UnknownWords unknown(commandLine.find('"') != std::string_view::npos);
    bool isValue = false;  // the word is the value of the previous option
    bool isPasswordValue = false;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const std::string& token = tokens[i];
        const bool isPath = isValue && slashPaths == SlashPaths::Yes && token.starts_with('/');
        const bool examined = (token.starts_with('/') || token.starts_with('-')) && !isPath;
        if (!examined) {
            isValue = isPasswordValue = false;
            continue;
        }
        const std::string_view name = std::string_view(token).substr(1);
        const std::string value = i + 1 < tokens.size() ? tokens[i + 1] : std::string();
        const std::optional<Option> option = FindOption(name);
        unknown.Met(option, token, isPasswordValue, report);
        report.HelpAsked = report.HelpAsked || (option && option->Flag == &RunSettings::Help);
        isValue = SetOption(name, value, settings, state) == OptionKind::TakesValue;
        isPasswordValue = IsPassword(option);
    }
    return report;
}

std::string_view UsageText() {
    return "Usage: Morvane "
           "-mac <machine> "
           "{-usr <username> "
           "-pwd <password> | "
           "-ntaut} "
           "-db <database> "
           "-bkmac <machine> "
           "{-bkusr <username> "
           "-bkpwd <password> | "
           "-bkntaut} "
           "-bkdb <database> "
           "-log <logDirectory> "
           "-logfile <logfile> "
           "[-config <configfile>] "
           "[-statusfile <statusfile>] "
           "[-chkmd] "
           "[-clsf] "
           "[-mark] "
           "[-del] "
           "[-datom] "
           "[-grep] "
           "[-help]";
}

std::string VersionText() {
    return fmt::format("Morvane {}; see man morvane", kVersion);
}

}  // namespace morvane
