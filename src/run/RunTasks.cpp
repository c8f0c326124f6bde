#include "run/RunTasks.h"

#include <optional>
#include <string>

#include "core/DateText.h"
#include "core/ErrorTrap.h"
#include "core/Text.h"
#include "db/modDatabaseOperations.h"
#include "run/ConsoleText.h"
#include "run/MultiUserLock.h"
#include "run/PerformTasks.h"
#include "run/RunLog.h"
#include "run/StatusFile.h"
#include "run/SummaryText.h"
#include "run/ValidateSettings.h"

namespace morvane {

namespace {

// The user's prompt, but a question that nobody can answer is answered No, and the log says so.
class LoggedPrompt : public UserPrompt {
  public:
    LoggedPrompt(UserPrompt& prompt, RunLog& log, std::ostream& errors)
        : prompt_(prompt), log_(log), errors_(errors) {}

    void ShowMessage(std::string_view title, std::string_view text, MessageStyle style) override {
        prompt_.ShowMessage(title, text, style);
    }

    std::optional<bool> AskYesNo(std::string_view title, std::string_view question) override {
        const std::optional<bool> answer = prompt_.AskYesNo(title, question);
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
          commandLine_(commandLine) {}

    bool Perform();

  private:
    bool OpenLog();
    bool WorkOnWarehouse();
    bool ConnectWarehouse();
    bool ConnectArchive();
    bool TakeLock();
    void ShowProgress();
    bool PerformListedTasks();
    void FinishProgress(bool done);
    bool ReportErrors();
    void CloseConnections();
    bool CloseLog();
    bool CopyLog();
    bool ReportLateFailure(const std::string& failure);

    RunSettings settings_;
    RunState& state_;
    RunServices& services_;
    const CommandLineReport& commandLine_;
    RunLog log_;
};

bool Run::Perform() {
    state_.ErrorText.clear();
    if (settings_.StatusMode) {
        SetStatusFile(state_, settings_.StatusFileName);
        StatusRunning(state_);
    }
    const LocalMoment start = services_.Clock.Now();
    state_.RunStartDate = start.Date;
    state_.RunStartTime = start.TimeOfDay;

    std::string headLine;
    if (OpenLog() && ValidateSettings(settings_, state_, commandLine_.Fault)) {
        headLine = "Morvane Tool started On : " + SummaryMoment(start);
        TrapErrors(state_.ErrorText, [this] { return WorkOnWarehouse(); });
        ReleaseHeldLock(state_, settings_.Database);
    }
    bool result = ReportErrors();
    ReportMessage(services_.Prompt, log_,
                  SummaryText(headLine, settings_, state_, services_.Clock.Now()), true,
                  MessageStyle::Information);
    CloseConnections();
    result = CloseLog() && result;
    result = CopyLog() && result;
    if (settings_.StatusMode) {
        result ? StatusOk(state_) : StatusFailure(state_);
    }
    return result;
}

// False when the log that was asked for cannot be made: then nothing else is begun.
bool Run::OpenLog() {
    if (state_.ConfigMode || !settings_.LogGiven || Trim(settings_.LogDirectory).empty()) {
        return true;
    }
    const bool opened = TrapErrors(state_.ErrorText, [this] {
        EnsureFolder(settings_.LogDirectory);
        log_.Open(settings_.LogDirectory + kPathSeparator + "Morvane_Log" +
                  FileStamp(state_.RunStartDate, state_.RunStartTime) + ".txt");
        return true;
    });
    if (opened && !commandLine_.Note.empty()) {
        log_.WriteLine(commandLine_.Note);
    }
    return opened;
}

bool Run::WorkOnWarehouse() {
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
    std::unique_ptr<Connection> connection;
    if (!ConnectDatabase(services_.Connect, settings_.Machine, settings_.NTAuthentication,
                         settings_.UserName, settings_.Password, connection, state_.ErrorText,
                         std::nullopt, kConnectionTimeout)) {
        return false;
    }
    connection->SetDefaultDatabase(settings_.Database);
    // Only a connection that works is kept for a later run.
    state_.WarehouseConnection = std::move(connection);
    return true;
}

bool Run::ConnectArchive() {
    state_.ArchiveConnection.reset();
    if (!settings_.ArchiveFactTables) {
        return true;
    }
    std::unique_ptr<Connection> connection;
    if (!ConnectDatabase(services_.Connect, settings_.ArchiveMachine,
                         settings_.ArchiveNTAuthentication, settings_.ArchiveUserName,
                         settings_.ArchivePassword, connection, state_.ErrorText, std::nullopt,
                         kConnectionTimeout)) {
        return false;
    }
    connection->SetDefaultDatabase(settings_.ArchiveDatabase);
    state_.ArchiveConnection = std::move(connection);
    return true;
}

bool Run::TakeLock() {
    if (state_.LockHeld) {
        return true;
    }
    LoggedPrompt prompt(services_.Prompt, log_, services_.Errors);
    return TrapErrors(state_.ErrorText, [&] {
        ReopenWarehouse(state_, settings_.Database);
        return TakeLockForRun(state_, prompt);
    });
}

void Run::ShowProgress() {
    if (!state_.CommandLineMode && services_.HideMainWindow) {
        services_.HideMainWindow();
    }
    // The lock may be an earlier one, and the connection of then closed since.
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
    const bool done = PerformTasks(settings_, state_, services_, log_);
    FinishProgress(done);
    return done;
}

void Run::FinishProgress(bool done) {
    ProgressWindow& progress = services_.Progress;
    if (done && !progress.CancelReported() && !progress.CheckCancelState()) {
        progress.RemoveProgIndicator();
        const LocalMoment now = services_.Clock.Now();
        progress.ShowEndTime(LongDate(now.Date) + " " + LocaleTime(now.TimeOfDay));
    }
    // After a failure too: the window must let itself be closed.
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
        WriteConsoleText(helpAlone ? services_.Output : services_.Errors, state_.ErrorText);
    }
    return false;
}

void Run::CloseConnections() {
    if (!state_.CommandLineMode || state_.ConfigMode) {
        return;
    }
    for (auto* connection : {&state_.WarehouseConnection, &state_.ArchiveConnection}) {
        if (*connection != nullptr) {
            CloseQuietly(**connection);
            connection->reset();
        }
    }
}

bool Run::CloseLog() {
    log_.Close();
    return log_.Failure().empty() || ReportLateFailure(log_.Failure());
}

bool Run::CopyLog() {
    if (!settings_.LogFileGiven || Trim(settings_.LogFileName).empty()) {
        return true;
    }
    try {
        EnsureFolder(ParentFolder(settings_.LogFileName));
        // Read before the copy is made: they may be one file.
        const std::string content = log_.Path().empty()
                                        ? "Log Directory Path for the Morvane was not specified."
                                        : ReadWholeFile(log_.Path());
        TextFile copy(settings_.LogFileName);
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

// What goes wrong with the log itself can no longer be told there.
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
