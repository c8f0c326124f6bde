// SPDX-License-Identifier: Apache-2.0
#include "inspect/Inspect.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "base/Platform.h"
#include "base/Text.h"
#include "base/Version.h"
#include "core/ErrorTrap.h"
#include "db/ArchiveSettings.h"
#include "db/modCheckMetaData.h"
#include "db/modDatabaseOperations.h"
#include "inspect/Indexes.h"
#include "inspect/LockState.h"
#include "inspect/Plan.h"
#include "inspect/Verify.h"
#include "inspect/Why.h"
#include "run/Console.h"
#include "run/ConsoleProgress.h"
#include "run/Environment.h"

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

// An error in the command line.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Options {
    std::string Subcommand;
    std::vector<std::string> Words;  // after the subcommand
    ServerLogin Login;
    std::string Database;
    morvane::Format Format = morvane::Format::Text;
    bool List = false;
    bool Help = false;
    bool Version = false;
};

morvane::Format ParseFormat(const std::string& name) {
    constexpr std::array kFormats = {std::pair{"text", Format::Text},
                                     std::pair{"json", Format::Json},
                                     std::pair{"csv", Format::Csv}};
    for (const auto& [known, format] : kFormats) {
        if (name == known) {
            return format;
        }
    }
    throw UsageError("--format is text, json or csv, not \"" + name + "\"");
}

class Parser {
  public:
    explicit Parser(const std::vector<std::string>& words) : words_(words) {}

    Options Run() {
        while (next_ < words_.size()) {
            const std::string& word = words_[next_++];
            if (word == "--" || (!word.starts_with('-') && !IsSlashOption(word))) {
                // After "--" everything is an operand: a key may begin with "-".
                operandsOnly_ = operandsOnly_ || word == "--";
                if (word != "--") {
                    AddOperand(word);
                }
            } else if (operandsOnly_) {
                AddOperand(word);
            } else {
                ReadOption(word);
            }
        }
        return std::move(options_);
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
        if (options_.Subcommand.empty()) {
            options_.Subcommand = word;
        } else {
            options_.Words.push_back(word);
        }
    }

    const std::string& Value(const std::string& option) {
        if (next_ == words_.size()) {
            throw UsageError(option + " needs a value");
        }
        return words_[next_++];
    }

    void ReadOption(const std::string& word) {
        const std::string name = ToLower(std::string_view(word).substr(1));
        if (word == "--help" || word == "-h") {
            options_.Help = true;
        } else if (word == "--version") {
            options_.Version = true;
        } else if (word == "--list") {
            options_.List = true;
        } else if (word == "--format") {
            options_.Format = ParseFormat(Value(word));
        } else if (word.starts_with("--format=")) {
            options_.Format = ParseFormat(word.substr(word.find('=') + 1));
        } else if (name == "mac") {
            options_.Login.Server = Value(word);
        } else if (name == "db") {
            options_.Database = Value(word);
        } else if (name == "usr") {
            options_.Login.UserName = Value(word);
        } else if (name == "pwd") {
            options_.Login.Password = Value(word);
        } else if (name == "ntaut") {
            options_.Login.NTAuthentication = true;
        } else {
            throw UsageError("unknown option " + ToVisible(word.substr(0, word.find('=')), ""));
        }
    }

    const std::vector<std::string>& words_;
    std::size_t next_ = 0;
    bool operandsOnly_ = false;
    Options options_;
};

void RequireComplete(const Options& options) {
    constexpr std::array<std::string_view, 4> kSubcommands = {"plan", "why", "verify", "lock"};
    if (options.Subcommand.empty()) {
        throw UsageError("no subcommand is given; see --help");
    }
    if (std::ranges::find(kSubcommands, options.Subcommand) == kSubcommands.end()) {
        throw UsageError("unknown subcommand " + ToVisible(options.Subcommand, "") +
                         "; see --help");
    }
    const bool why = options.Subcommand == "why";
    if (why && options.Words.size() < 2) {
        throw UsageError("why needs a table and the key of an element");
    }
    if (!why && !options.Words.empty()) {
        throw UsageError("unexpected argument " + ToVisible(options.Words.front(), ""));
    }
    if (options.List && options.Subcommand != "verify") {
        throw UsageError("--list is an option of verify");
    }
    if (Trim(options.Login.Server).empty() || Trim(options.Database).empty()) {
        throw UsageError("-mac and -db are needed");
    }
    const bool embedded = options.Login.Server.starts_with("sqlite:");
    if (!embedded && !options.Login.NTAuthentication && Trim(options.Login.UserName).empty()) {
        throw UsageError("-usr or -ntaut is needed");
    }
}

class Inspector {
  public:
    Inspector(const Options& options, const InspectServices& services)
        : options_(options), services_(services) {}

    Answer Run();

  private:
    std::unique_ptr<Connection> Open(const ServerLogin& login, const std::string& database) const;
    ServerLogin Login() const {
        return WithPassword(options_.Login, services_.Passwords.Warehouse);
    }
    Connection& Warehouse() const { return *state_.WarehouseConnection; }
    void CheckMetaTables();
    Answer Ask();
    Answer AskPlan() const;
    Answer AskVerify() const;
    void NoteLock(Answer& answer) const;

    const Options& options_;
    const InspectServices& services_;
    RunState state_;
};

std::unique_ptr<Connection> Inspector::Open(const ServerLogin& login,
                                            const std::string& database) const {
    return OpenToInspect(services_.Connect, login, database);
}

Answer Inspector::Run() {
    state_.WarehouseConnection = Open(Login(), options_.Database);
    Answer answer = Ask();
    answer.Facts.insert(answer.Facts.begin(),
                        {{"server", options_.Login.Server}, {"database", options_.Database}});
    return answer;
}

Answer Inspector::Ask() {
    if (options_.Subcommand == "lock") {
        return LockAnswer(ReadLock(Warehouse()), CurrentUserName());
    }
    CheckMetaTables();
    Answer answer;
    if (options_.Subcommand == "plan") {
        answer = AskPlan();
    } else if (options_.Subcommand == "verify") {
        answer = AskVerify();
    } else {
        const std::vector<std::string> key(options_.Words.begin() + 1, options_.Words.end());
        answer = WhyAnswer(Explain(Warehouse(), options_.Words.front(), key, services_.Report));
    }
    NoteLock(answer);
    return answer;
}

// Names the tables and columns that do not exist, before they cause errors of the server.
void Inspector::CheckMetaTables() {
    ConsoleProgress progress(services_.Errors, 0, [] { return false; });
    if (CheckMetaData(state_, progress) != Outcome::Done) {
        throw std::runtime_error(state_.ErrorText);
    }
}

Answer Inspector::AskPlan() const {
    Answer answer = PlanAnswer(MakePlan(Warehouse(), services_.Report));
    for (const MissingIndex& index : FindMissingIndexes(Warehouse())) {
        answer.Notes.push_back("Slow: no index of " + index.Table + " begins with " +
                               Join(index.Columns, ", ") +
                               ". This creates one: " + index.Statement);
    }
    return answer;
}

Answer Inspector::AskVerify() const {
    VerifyOptions verify{.ListKeys = options_.List, .Archive = {}, .OpenArchive = {}};
    if (Warehouse().TableExists("dwm_archive")) {
        verify.Archive = ReadArchiveSettings(Warehouse());
    }
    verify.OpenArchive = [this](const ArchiveSettings& archive) {
        const bool sameServer = EqualsIgnoreCase(Trim(archive.Login.Server), options_.Login.Server);
        return Open(sameServer ? Login() : WithPassword(archive.Login, services_.Passwords.Archive),
                    std::string(Trim(archive.Database)));
    };
    return VerifyAnswer(Verify(Warehouse(), verify, services_.Report));
}

void Inspector::NoteLock(Answer& answer) const {
    const auto lock = ReadLock(Warehouse());
    if (lock && lock->Set) {
        answer.Notes.push_back("The warehouse is locked by " + lock->User +
                               ": a run may be changing it.");
    }
}

}  // namespace

std::unique_ptr<Connection> OpenToInspect(const ConnectionFactory& connect,
                                          const ServerLogin& login, const std::string& database) {
    std::unique_ptr<Connection> connection;
    std::string error;
    const ConnectionFactory readOnly = [&connect](std::string_view server) {
        auto created = connect(server);
        created->SetProperty("Mode", "Read");
        return created;
    };
    if (!ConnectDatabase(readOnly, login, connection, error)) {
        throw std::runtime_error(error);
    }
    connection->SetDefaultDatabase(database);
    return connection;
}

InspectExit Inspect(const std::vector<std::string>& words, const InspectServices& services) {
    try {
        const Options options = Parser(words).Run();
        if (options.Help || options.Version) {
            services.Output << (options.Help ? std::string(kUsage)
                                             : fmt::format("morvane-inspect {}\n", kVersion));
            return InspectExit::NothingFound;
        }
        RequireComplete(options);
        const Answer answer = Inspector(options, services).Run();
        services.Report("");
        WriteAnswer(answer, options.Format, services.Output);
        services.Output.flush();
        return answer.Found ? InspectExit::Found : InspectExit::NothingFound;
    } catch (const std::exception& error) {
        services.Report("");
        WriteConsoleText(services.Errors, "morvane-inspect: " + Describe(error));
        return InspectExit::Failed;
    }
}

}  // namespace morvane
