// SPDX-License-Identifier: Apache-2.0
#include "inspect/InspectCommand.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "base/Text.h"

namespace morvane {

namespace {

constexpr std::string_view kUsage =
    "Usage: morvane-inspect plan [options]\n"
    "       morvane-inspect why <table> <key> [...] [options]\n"
    "       morvane-inspect verify [--list] [options]\n"
    "       morvane-inspect lock [options]\n"
    "\n"
    "Answers questions about a warehouse without changing it.\n"
    "\n"
    "  plan    what a run would archive, mark, re-link and delete\n"
    "  why     why an element is kept or goes\n"
    "  verify  whether the warehouse is consistent\n"
    "  lock    who holds the lock, and what the next run would do\n"
    "\n"
    "  -mac <server>      SQL Server, or sqlite:<folder>\n"
    "  -db <database>\n"
    "  -usr <user> -pwd <password> | -ntaut\n"
    "  --format text|json|csv\n"
    "  --list             verify: also lists the keys\n"
    "  --help, --version\n"
    "\n"
    "Exit codes: 0 nothing found, 1 something found, 2 error.\n";

morvane::Format ParseFormat(const std::string& name) {
    constexpr std::array kFormats = {std::pair{"text", Format::Text},
                                     std::pair{"json", Format::Json},
                                     std::pair{"csv", Format::Csv}};
    for (const auto& [known, format] : kFormats) {
        if (name == known) {
            return format;
        }
    }
    throw std::runtime_error("--format is text, json or csv, not \"" + name + "\"");
}

class Parser {
  public:
    explicit Parser(const std::vector<std::string>& words) : words_(words) {}

    InspectCommand Run() {
        while (next_ < words_.size()) {
            const std::string& word = words_[next_++];
            if (operandsOnly_ || !(word.starts_with('-') || IsSlashOption(word))) {
                AddOperand(word);
            } else if (word == "--") {
                operandsOnly_ = true;  // a key may begin with "-"
            } else {
                ReadOption(word);
            }
        }
        return std::move(command_);
    }

  private:
    // "/db" is an option, as in morvane; "/var" is an operand.
    static bool IsSlashOption(const std::string& word) {
        constexpr std::array<std::string_view, 5> kNames = {"/mac", "/db", "/usr", "/pwd",
                                                            "/ntaut"};
        return std::ranges::any_of(
            kNames, [&](std::string_view name) { return EqualsIgnoreCase(name, word); });
    }

    void AddOperand(const std::string& word) {
        if (command_.Subcommand.empty()) {
            command_.Subcommand = word;
        } else {
            command_.Words.push_back(word);
        }
    }

    const std::string& Value(const std::string& option) {
        if (next_ == words_.size()) {
            throw std::runtime_error(option + " needs a value");
        }
        return words_[next_++];
    }

    void ReadOption(const std::string& word) {
        const std::string name = ToLower(std::string_view(word).substr(1));
        if (word == "--help" || word == "-h") {
            command_.Help = true;
        } else if (word == "--version") {
            command_.Version = true;
        } else if (word == "--list") {
            command_.List = true;
        } else if (word == "--format") {
            command_.Format = ParseFormat(Value(word));
        } else if (word.starts_with("--format=")) {
            command_.Format = ParseFormat(word.substr(word.find('=') + 1));
        } else if (name == "mac") {
            command_.Login.Server = Value(word);
        } else if (name == "db") {
            command_.Database = Value(word);
        } else if (name == "usr") {
            command_.Login.UserName = Value(word);
        } else if (name == "pwd") {
            command_.Login.Password = Value(word);
        } else if (name == "ntaut") {
            command_.Login.NTAuthentication = true;
        } else {
            throw std::runtime_error("unknown option " +
                                     ToVisible(word.substr(0, word.find('=')), ""));
        }
    }

    const std::vector<std::string>& words_;
    std::size_t next_ = 0;
    bool operandsOnly_ = false;
    InspectCommand command_;
};

}  // namespace

std::string_view InspectUsage() {
    return kUsage;
}

InspectCommand ParseInspectCommand(const std::vector<std::string>& words) {
    return Parser(words).Run();
}

void RequireComplete(const InspectCommand& command) {
    constexpr std::array<std::string_view, 4> kSubcommands = {"plan", "why", "verify", "lock"};
    if (command.Subcommand.empty()) {
        throw std::runtime_error("no subcommand is given; see --help");
    }
    if (std::ranges::find(kSubcommands, command.Subcommand) == kSubcommands.end()) {
        throw std::runtime_error("unknown subcommand " + ToVisible(command.Subcommand, "") +
                                 "; see --help");
    }
    const bool why = command.Subcommand == "why";
    if (why && command.Words.size() < 2) {
        throw std::runtime_error("why needs a table and the key of an element");
    }
    if (!why && !command.Words.empty()) {
        throw std::runtime_error("unexpected argument " + ToVisible(command.Words.front(), ""));
    }
    if (command.List && command.Subcommand != "verify") {
        throw std::runtime_error("--list is an option of verify");
    }
    if (Trim(command.Login.Server).empty() || Trim(command.Database).empty()) {
        throw std::runtime_error("-mac and -db are needed");
    }
    const bool embedded = command.Login.Server.starts_with("sqlite:");
    if (!embedded && !command.Login.NTAuthentication && Trim(command.Login.UserName).empty()) {
        throw std::runtime_error("-usr or -ntaut is needed");
    }
}

}  // namespace morvane
