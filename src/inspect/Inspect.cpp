// SPDX-License-Identifier: Apache-2.0
#include "inspect/Inspect.h"

#include <fmt/format.h>

#include <stdexcept>

#include "base/Platform.h"
#include "base/Text.h"
#include "base/Version.h"
#include "core/ErrorTrap.h"
#include "db/ArchiveSettings.h"
#include "db/modCheckMetaData.h"
#include "db/modDatabaseOperations.h"
#include "inspect/Indexes.h"
#include "inspect/InspectCommand.h"
#include "inspect/LockState.h"
#include "inspect/Plan.h"
#include "inspect/Verify.h"
#include "inspect/Why.h"
#include "run/Console.h"
#include "run/ConsoleProgress.h"
#include "run/Environment.h"

namespace morvane {

namespace {

class Inspector {
  public:
    Inspector(const InspectCommand& command, const InspectServices& services)
        : command_(command), services_(services) {}

    Answer Run();

  private:
    std::unique_ptr<Connection> Open(const ServerLogin& login, const std::string& database) const;
    ServerLogin Login() const {
        return WithPassword(command_.Login, services_.Passwords.Warehouse);
    }
    Connection& Warehouse() const { return *state_.WarehouseConnection; }
    void CheckMetaTables();
    Answer Ask();
    Answer AskPlan() const;
    Answer AskVerify() const;
    void NoteLock(Answer& answer) const;

    const InspectCommand& command_;
    const InspectServices& services_;
    RunState state_;
};

std::unique_ptr<Connection> Inspector::Open(const ServerLogin& login,
                                            const std::string& database) const {
    return OpenToInspect(services_.Connect, login, database);
}

Answer Inspector::Run() {
    state_.WarehouseConnection = Open(Login(), command_.Database);
    Answer answer = Ask();
    answer.Facts.insert(answer.Facts.begin(),
                        {{"server", command_.Login.Server}, {"database", command_.Database}});
    return answer;
}

Answer Inspector::Ask() {
    if (command_.Subcommand == "lock") {
        return LockAnswer(ReadLock(Warehouse()), CurrentUserName());
    }
    CheckMetaTables();
    Answer answer;
    if (command_.Subcommand == "plan") {
        answer = AskPlan();
    } else if (command_.Subcommand == "verify") {
        answer = AskVerify();
    } else {
        const std::vector<std::string> key(command_.Words.begin() + 1, command_.Words.end());
        answer = WhyAnswer(Explain(Warehouse(), command_.Words.front(), key, services_.Report));
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
    VerifyOptions verify{.ListKeys = command_.List, .Archive = {}, .OpenArchive = {}};
    if (Warehouse().TableExists("dwm_archive")) {
        verify.Archive = ReadArchiveSettings(Warehouse());
    }
    verify.OpenArchive = [this](const ArchiveSettings& archive) {
        const bool sameServer = EqualsIgnoreCase(Trim(archive.Login.Server), command_.Login.Server);
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
        const InspectCommand command = ParseInspectCommand(words);
        if (command.Help || command.Version) {
            services.Output << (command.Help ? std::string(InspectUsage())
                                             : fmt::format("morvane-inspect {}\n", kVersion));
            return InspectExit::NothingFound;
        }
        RequireComplete(command);
        const Answer answer = Inspector(command, services).Run();
        services.Report("");
        WriteAnswer(answer, command.Format, services.Output);
        services.Output.flush();
        return answer.Found ? InspectExit::Found : InspectExit::NothingFound;
    } catch (const std::exception& error) {
        services.Report("");
        WriteConsoleText(services.Errors, "morvane-inspect: " + Describe(error));
        return InspectExit::Failed;
    }
}

}  // namespace morvane
