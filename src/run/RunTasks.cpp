// SPDX-License-Identifier: Apache-2.0
#include "run/RunTasks.h"

#include <optional>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "run/Console.h"
#include "run/Environment.h"
#include "run/ExitGuard.h"
#include "run/OutputFiles.h"
#include "run/ResultFile.h"
#include "run/RunLog.h"
#include "run/Tasks.h"
#include "run/ValidateSettings.h"
#include "run/WarehouseAccess.h"

namespace morvane {

namespace {

// Answers No to a question that nobody can answer, and logs it.
class LoggedPrompt : public UserPrompt {
  public:
    LoggedPrompt(UserPrompt& prompt, RunLog& log, std::ostream& errors)
        : prompt_(prompt), log_(log), errors_(errors) {}

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override {
        prompt_.ShowMessage(title, text, style);
    }

    std::optional<bool> AskYesNo(std::string_view title, std::string_view question,
                                 DefaultAnswer defaultAnswer) override {
        const std::optional<bool> answer = prompt_.AskYesNo(title, question, defaultAnswer);
        if (answer.has_value()) {
            return answer;
        }
        const std::string line = std::string(title) + ": " + std::string(question) +
                                 " Nobody could be asked; the answer taken is No.";
        log_.WriteLine(line);
        WriteConsoleText(errors_, line);
        return false;
    }

  private:
    UserPrompt& prompt_;
    RunLog& log_;
    std::ostream& errors_;
};

class Run {
  public:
    Run(RunSettings settings, RunState& state, RunServices& services,
        const CommandLineReport& commandLine)
        : settings_(std::move(settings)),
          state_(state),
          services_(services),
          commandLine_(commandLine),
          outputFaults_(FindOutputFaults(settings_, state.ResultFilePath)) {}

    bool Perform();

  private:
    bool Finish();
    void EndNow();
    std::string Faults() const;
    bool OpenLog();
    bool WorkOnWarehouse();
    bool ConnectWarehouse();
    bool ConnectArchive();
    std::unique_ptr<Connection> Connect(const ServerLogin& login, const std::string& database);
    bool TakeLock();
    void ShowProgress();
    bool PerformListedTasks();
    void FinishProgress(Outcome outcome);
    bool ReportErrors();
    bool CloseLog();
    bool CopyLog();
    bool ReportLateFailure(const std::string& failure);
    void WriteResult();

    RunSettings settings_;
    RunState& state_;
    RunServices& services_;
    const CommandLineReport& commandLine_;
    const OutputFaults outputFaults_;
    std::string headLine_;
    bool tasksAreOver_ = false;
    RunLog log_;
};

bool Run::Perform() {
    state_.ErrorText.clear();
    state_.Result = {};
    const ExitGuard guard([this] { EndNow(); });
    if (settings_.StatusMode) {
        SetStatusFile(state_, outputFaults_.StatusFile.empty() ? settings_.StatusFileName : "");
        StatusRunning(state_);
    }
    const LocalMoment start = services_.Clock.Now();
    state_.RunStartDate = start.Date;
    state_.RunStartTime = start.TimeOfDay;
    if (OpenLog() && ValidateSettings(settings_, state_, Faults())) {
        state_.Result.Outcome = RunOutcome::Failed;
        headLine_ = "Morvane Tool started On : " + SummaryMoment(start);
        TrapErrors(state_.ErrorText, [this] { return WorkOnWarehouse(); });
        ReleaseHeldLock(state_, settings_.Database);
    }
    return Finish();
}

bool Run::Finish() {
    bool result = ReportErrors();
    ReportMessage(services_.Prompt, log_,
                  SummaryText(headLine_, settings_, state_, services_.Clock.Now()), true,
                  MessageStyle::Information);
    if (state_.CommandLineMode && !state_.ConfigMode) {
        CloseConnections(state_);
    }
    result = CloseLog() && result;
    result = CopyLog() && result;
    if (settings_.StatusMode) {
        result ? StatusOk(state_) : StatusFailure(state_);
    }
    if (!result && state_.Result.Outcome == RunOutcome::Done) {
        state_.Result.Outcome = RunOutcome::Failed;
    }
    WriteResult();
    return result;
}

// A file that cannot be written does not change how the run ended.
void Run::WriteResult() {
    if (state_.ResultFilePath.empty()) {
        return;
    }
    try {
        if (!outputFaults_.Result.empty()) {
            throw FileError(outputFaults_.Result);
        }
        ReplaceFile(state_.ResultFilePath,
                    ResultText(settings_, state_, services_.Clock.Now(), log_.Path()));
    } catch (const std::exception& error) {
        WriteConsoleText(services_.Errors, "MORVANE_RESULT: " + Describe(error));
    }
}

// Called if exit() was called while events were processed. Ends the run like a cancel, but without
// windows.
void Run::EndNow() {
    state_.CommandLineMode = true;
    if (!tasksAreOver_) {
        state_.ErrorText += "The process was ended from within, as when its display is lost.";
        state_.ErrorText += kCrLf;
        state_.Result.Outcome = RunOutcome::Cancelled;
    }
    if (state_.LockHeld && state_.WarehouseConnection != nullptr) {
        std::string ignored;  // fails if there is no transaction
        TrapErrors(ignored, [this] {
            state_.WarehouseConnection->RollbackTrans();
            return true;
        });
    }
    ReleaseHeldLock(state_, settings_.Database);
    Finish();
}

// Problems of the command line as a whole.
std::string Run::Faults() const {
    std::vector<std::string> faults;
    for (const std::string& fault :
         {commandLine_.Fault, outputFaults_.StatusFile, outputFaults_.LogCopy}) {
        if (!fault.empty()) {
            faults.push_back(fault);
        }
    }
    return Join(faults, kCrLf);
}

// False if the log cannot be created; the run then ends.
bool Run::OpenLog() {
    if (state_.ConfigMode || !settings_.LogGiven || Trim(settings_.LogDirectory).empty()) {
        return true;
    }
    const bool opened = TrapErrors(state_.ErrorText, [this] {
        EnsureFolder(settings_.LogDirectory);
        log_.Open(settings_.LogDirectory + kPathSeparator + LogFileName(state_));
        return true;
    });
    if (opened && !commandLine_.Note.empty()) {
        log_.WriteLine(commandLine_.Note);
    }
    return opened;
}

bool Run::WorkOnWarehouse() {
    CompleteLogins(settings_, state_.Passwords);
    if (!ConnectWarehouse() || !ConnectArchive()) {
        return false;
    }
    if (!TakeLock()) {
        if (state_.WarehouseConnection->IsOpen()) {
            state_.WarehouseConnection->Close();
        }
        return false;
    }
    return PerformListedTasks();
}

bool Run::ConnectWarehouse() {
    if (state_.WarehouseConnection != nullptr) {
        return true;
    }
    // Only a working connection is kept for a later run.
    state_.WarehouseConnection = Connect(settings_.WarehouseLogin(), settings_.Database);
    return state_.WarehouseConnection != nullptr;
}

bool Run::ConnectArchive() {
    state_.ArchiveConnection.reset();
    if (!settings_.ArchiveFactTables) {
        return true;
    }
    state_.ArchiveConnection = Connect(settings_.ArchiveLogin(), settings_.ArchiveDatabase);
    return state_.ArchiveConnection != nullptr;
}

std::unique_ptr<Connection> Run::Connect(const ServerLogin& login, const std::string& database) {
    std::unique_ptr<Connection> connection;
    if (!ConnectDatabase(services_.Connect, login, connection, state_.ErrorText)) {
        return nullptr;
    }
    connection->SetDefaultDatabase(database);
    return connection;
}

bool Run::TakeLock() {
    if (state_.LockHeld) {
        return true;
    }
    LoggedPrompt prompt(services_.Prompt, log_, services_.Errors);
    return TrapErrors(state_.ErrorText, [&] {
        ReopenWarehouse(state_, settings_.Database);
        return morvane::TakeLock(state_, prompt, OtherUser::Refused) == Outcome::Done;
    });
}

void Run::ShowProgress() {
    if (!state_.CommandLineMode && services_.HideMainWindow) {
        services_.HideMainWindow();
    }
    // If the lock was taken earlier, the connection may have been closed since.
    ReopenWarehouse(state_, settings_.Database);
    const Connection& warehouse = *state_.WarehouseConnection;
    const LocalMoment now = services_.Clock.Now();
    RunOverview overview;
    overview.Server = Trim(warehouse.Property("Data Source"));
    overview.Database = Trim(warehouse.DefaultDatabase());
    overview.StartTime = LongDate(now.Date) + " " + LocaleTime(now.TimeOfDay);
    overview.TaskNames = SelectedTaskNames(settings_);
    services_.Progress.Load(overview);
    services_.Progress.ProcessEvents();
}

bool Run::PerformListedTasks() {
    ShowProgress();
    const Outcome outcome = PerformTasks(settings_, state_, services_, log_);
    tasksAreOver_ = true;
    state_.Result.Outcome = outcome == Outcome::Done        ? RunOutcome::Done
                            : outcome == Outcome::Cancelled ? RunOutcome::Cancelled
                                                            : RunOutcome::Failed;
    FinishProgress(outcome);
    return outcome == Outcome::Done;
}

void Run::FinishProgress(Outcome outcome) {
    ProgressWindow& progress = services_.Progress;
    if (outcome == Outcome::Done && !progress.CancelReported() && !progress.CheckCancelState()) {
        progress.RemoveProgIndicator();
    } else {
        progress.ShowStopped(outcome);
    }
    const LocalMoment now = services_.Clock.Now();
    progress.ShowEndTime(LongDate(now.Date) + " " + LocaleTime(now.TimeOfDay));
    // Also after a failure, so that the window can be closed.
    progress.EnableObject(ProgressControl::cmdOK);
    progress.DisableObject(ProgressControl::cmdCancel);
}

bool Run::ReportErrors() {
    if (Trim(state_.ErrorText).empty()) {
        return true;
    }
    ReportMessage(services_.Prompt, log_, state_.ErrorText, state_.CommandLineMode,
                  MessageStyle::Critical);
    if (state_.CommandLineMode) {
        const bool helpAlone = commandLine_.HelpAsked && !commandLine_.UnknownOption &&
                               commandLine_.Fault.empty() && settings_.Help;
        std::ostream& console = helpAlone ? services_.Output : services_.Errors;
        WriteConsoleText(console, state_.ErrorText);
        if (state_.ErrorText.ends_with(UsageText())) {
            WriteConsoleText(console, VersionText());
        }
    }
    return false;
}

bool Run::CloseLog() {
    log_.Close();
    return log_.Failure().empty() || ReportLateFailure(log_.Failure());
}

bool Run::CopyLog() {
    if (!settings_.LogFileGiven || Trim(settings_.LogFileName).empty() ||
        !outputFaults_.LogCopy.empty()) {
        return true;
    }
    try {
        EnsureFolder(ParentFolder(settings_.LogFileName));
        // Read before the copy is created: both may be the same file.
        const std::string content = log_.Path().empty()
                                        ? "Log Directory Path for the Morvane was not specified."
                                        : ReadWholeFile(log_.Path());
        TextFile copy(settings_.LogFileName, TextFile::Flush::AtClose, NamedBy::User);
        if (log_.Path().empty()) {
            copy.WriteLine(content);
        } else {
            copy.Write(content);
        }
        copy.Close();
        return true;
    } catch (const FileError& error) {
        return ReportLateFailure(error.what());
    }
}

// Reports an error of the log itself, which cannot be logged.
bool Run::ReportLateFailure(const std::string& failure) {
    state_.ErrorText += failure;
    state_.ErrorText += kCrLf;
    if (state_.CommandLineMode) {
        WriteConsoleText(services_.Errors, failure);
    } else {
        services_.Prompt.ShowMessage("Morvane", failure, MessageStyle::Critical);
    }
    return false;
}

}  // namespace

bool RunTasks(RunSettings settings, RunState& state, RunServices& services,
              const CommandLineReport& commandLine) {
    return Run(std::move(settings), state, services, commandLine).Perform();
}

}  // namespace morvane
