// SPDX-License-Identifier: Apache-2.0
#include "nightly/JobRun.h"

#include <fmt/format.h>

#include <thread>

#include "base/PrivateFile.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/ConnectionFactory.h"
#include "inspect/Inspect.h"
#include "nightly/DeletionCheck.h"
#include "nightly/JobFiles.h"
#include "nightly/OldFiles.h"
#include "run/CancelSignals.h"
#include "run/Console.h"
#include "run/OutputFiles.h"
#include "run/ResultFile.h"
#include "run/Tasks.h"
#include "run/ValidateSettings.h"

namespace morvane {

namespace {

// The words that name the status file: the option and its value.
constexpr std::size_t kStatusWords = 2;

std::string Explain(const JsonObject& result) {
    const std::string outcome = OutcomeOf(result);
    if (outcome == "locked") {
        return "not done: the warehouse is locked; run it once from a terminal";
    }
    if (outcome == "other-user") {
        return "not done: another user ran last; \"morvane-inspect lock\" tells how to "
               "hand the warehouse over";
    }
    if (outcome == "not-started") {
        return "morvane did not start the run";
    }
    const bool hasLog = result.contains("log") && result["log"].is_string();
    return "the run ended with \"" + outcome + "\"" +
           (hasLog ? "; its log is " + result["log"].get<std::string>() : "");
}

}  // namespace

std::string Morvane::Run(const std::vector<std::string>& words, const Variables& variables,
                         const std::function<bool()>& cancelled) {
    constexpr auto kPause = std::chrono::milliseconds(20);
    while (lastEnd_ == OnScale(clock_.Now())) {
        std::this_thread::sleep_for(kPause);
    }
    Process process(program_, words, variables);
    process.Wait(cancelled);
    lastEnd_ = OnScale(clock_.Now());
    return process.Failure();
}

JobRun::JobRun(Job job, const JobServices& services)
    : job_(std::move(job)), services_(services), words_(ReadWords(job_.Words)) {
    RunSettings& settings = words_.Settings;
    if (settings.ConfigMode || settings.Help) {
        throw NotStarted("an option is unknown or does not start a run");
    }
    if (words_.Others.size() > kMaxArgs - kStatusWords) {
        throw NotStarted(
            fmt::format("the options have more than {} words; morvane reads {}, "
                        "including those for its status file",
                        kMaxArgs - kStatusWords, kMaxArgs));
    }
    settings.StatusMode = !job_.StatusFile.empty();
    settings.StatusFileName = job_.StatusFile;
    RunState state;
    if (!ValidateSettings(settings, state)) {
        throw NotStarted(OneLine(Trim(state.ErrorText, kWhiteSpace)));
    }
    CheckFiles();
    FindPasswords();
    if (job_.Options.Until) {
        deadline_ = OnScale(NextMoment(services_.Clock.Now(), *job_.Options.Until));
    }
}

void JobRun::CheckFiles() const {
    const RunSettings& settings = words_.Settings;
    const std::string& metrics = job_.Options.MetricsFile;
    const OutputFaults faults = FindOutputFaults(settings, job_.ResultFile);
    for (const std::string& fault :
         {faults.StatusFile, faults.LogCopy, faults.Result,
          metrics.empty() ? "" : DatabaseFault(settings, "The metrics file", metrics)}) {
        if (!fault.empty()) {
            throw NotStarted(fault);
        }
    }
    EnsureFolder(settings.LogDirectory);
    RequireWritableFolder(ToPath(settings.LogDirectory));
    RequireWritableFile(job_.StatusFile);
    RequireWritableFile(job_.ResultFile);
    RequireWritableFile(metrics);
}

void JobRun::FindPasswords() {
    RunSettings& settings = words_.Settings;
    const LoginPasswords& fromEnvironment = services_.Environment.Passwords;
    if (!settings.NTAuthentication) {
        settings.Password = FindPassword(settings.UserName, settings.Password, job_.PasswordFile,
                                         fromEnvironment.Warehouse);
    }
    if (settings.ArchiveFactTables && !settings.ArchiveNTAuthentication) {
        settings.ArchivePassword = FindPassword(settings.ArchiveUserName, settings.ArchivePassword,
                                                job_.ArchivePasswordFile, fromEnvironment.Archive);
    }
}

std::string JobRun::FindPassword(const std::string& user, const std::string& given,
                                 const std::string& file,
                                 const LoginPasswords::Password& fromEnvironment) const {
    if (!given.empty() || Trim(user).empty()) {
        return given;
    }
    if (!file.empty()) {
        std::string password(Trim(ReadPasswordFile(file), "\r"));
        if (password.empty()) {
            throw NotStarted("the first line of the password file \"" + file + "\" is empty");
        }
        return password;
    }
    if (!fromEnvironment.Fault.empty()) {
        throw NotStarted(fromEnvironment.Fault);
    }
    return fromEnvironment.Text;
}

bool JobRun::Cancelled() const {
    return CancelSignals::Received() || (deadline_ && OnScale(services_.Clock.Now()) >= *deadline_);
}

void JobRun::Say(const std::string& text) const {
    WriteConsoleText(services_.Errors,
                     "morvane-nightly: " + (job_.Name.empty() ? "" : job_.Name + ": ") + text);
}

void JobRun::Attempt(const std::function<void()>& operation) const {
    try {
        operation();
    } catch (const std::exception& error) {
        Say("warning: " + Describe(error));
    }
}

NightlyExit JobRun::Perform() {
    const auto begin = std::chrono::steady_clock::now();
    const PrivateFolder folder;
    const std::string resultPath =
        job_.ResultFile.empty() ? folder.Path() + kPathSeparator + "result" : job_.ResultFile;
    // Old files must not be mistaken for those of this run.
    RemoveOldFile(job_.StatusFile);
    RemoveOldFile(resultPath);
    const JsonObject result = Work(resultPath, folder.Path());
    if (ReadResult(resultPath) != result) {
        Attempt([&] { ReplaceFile(resultPath, ToText(result)); });
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    metrics_ = {job_.Name.empty() ? words_.Settings.Database : job_.Name, std::time(nullptr),
                time.count(), result};
    Conclude(result, resultPath);
    const std::string outcome = OutcomeOf(result);
    if (outcome == "not-started") {
        return NightlyExit::NotStarted;
    }
    return outcome == "done" ? NightlyExit::Done : NightlyExit::NotDone;
}

void JobRun::Conclude(const JsonObject& result, const std::string& resultPath) const {
    if (OutcomeOf(result) != "done") {
        for (const std::string& reason : reasons_) {
            Say(reason);
        }
        Say(Explain(result));
    }
    if (job_.Options.KeepDays) {
        Attempt([&] {
            DeleteOldFiles(words_.Settings.LogDirectory, *job_.Options.KeepDays,
                           services_.Clock.Now());
        });
    }
    if (!job_.Options.OnResult.empty()) {
        Attempt([&] {
            Process command(job_.Options.OnResult, {resultPath}, {});
            command.Wait([] { return false; });
            if (!command.Failure().empty()) {
                throw std::runtime_error(job_.Options.OnResult + " ended with " +
                                         command.Failure());
            }
        });
    }
}

JsonObject JobRun::Work(const std::string& resultPath, const std::string& folder) {
    const JobOptions& options = job_.Options;
    if (Cancelled()) {
        WriteStatus("failure");
        reasons_.emplace_back("the run was cancelled before it began");
        return EndEarly(EmptyResult());
    }
    const bool looks = options.MaxDelete || options.CheckReferences;
    return looks && words_.Settings.DeleteMarked ? WorkInTwoSteps(folder)
                                                 : RunMorvane(words_.Others, resultPath, true);
}

JsonObject JobRun::WorkInTwoSteps(const std::string& folder) {
    WriteStatus("running");
    const std::vector<std::string> before = WithoutDeletion(words_.Others);
    std::optional<JsonObject> first;
    if (!SelectedTaskNames(ReadWords(before).Settings).empty()) {
        first = RunMorvane(before, folder + kPathSeparator + "before", false);
        if (OutcomeOf(*first) != "done") {
            WriteStatus("failure");
            return *first;
        }
    }
    const std::vector<std::string> objections = LookForObjections();
    if (!objections.empty()) {
        WriteStatus("failure");
        for (const std::string& objection : objections) {
            reasons_.push_back("nothing was deleted: " + objection);
        }
        return EndEarly(first ? *first : EmptyResult());
    }
    JsonObject second =
        RunMorvane(DeletionAlone(words_.Others), folder + kPathSeparator + "deletion", true);
    if (!first) {
        return second;
    }
    JsonObject result = Merge(*first, second);
    if (OutcomeOf(second) == "not-started") {
        EndWith(result, "failed", {});
    }
    return result;
}

JsonObject JobRun::RunMorvane(std::vector<std::string> words, const std::string& resultPath,
                              bool lastStep) {
    if (lastStep && !job_.StatusFile.empty()) {
        words.insert(words.end(), {"-" + std::string(OptionName(&RunSettings::StatusFileName)),
                                   job_.StatusFile});
    }
    Variables variables{{"MORVANE_CONSOLE", "1"}, {"MORVANE_RESULT", resultPath}};
    const RunSettings& settings = words_.Settings;
    if (!settings.Password.empty()) {
        variables["MORVANE_PASSWORD"] = settings.Password;
    }
    if (!settings.ArchivePassword.empty()) {
        variables["MORVANE_ARCHIVE_PASSWORD"] = settings.ArchivePassword;
    }
    const std::string failure =
        services_.Morvane.Run(words, variables, [this] { return Cancelled(); });
    if (auto result = ReadResult(resultPath)) {
        return *result;
    }
    reasons_.push_back("morvane left no result" +
                       (failure.empty() ? "" : " and ended with " + failure));
    return EndEarly(EmptyResult());
}

// Stands in for the result of a run that wrote none.
JsonObject JobRun::EmptyResult() const {
    const LocalMoment now = services_.Clock.Now();
    RunState state;
    state.RunStartDate = now.Date;
    state.RunStartTime = now.TimeOfDay;
    return JsonObject::parse(ResultText(words_.Settings, state, now, ""));
}

// Completes a result if the job was ended by this program and not by morvane.
JsonObject JobRun::EndEarly(JsonObject result) const {
    EndWith(result, Cancelled() ? "cancelled" : "failed", reasons_);
    return result;
}

std::vector<std::string> JobRun::LookForObjections() {
    const auto cancelled = [this] { return Cancelled(); };
    try {
        const RunSettings& settings = words_.Settings;
        const ConnectionFactory connect =
            ConnectionsWith({.Odbc = services_.Environment.Odbc,
                             .StatementLog = services_.Environment.StatementLog,
                             .CancelRequested = cancelled});
        const auto warehouse = OpenToInspect(connect, settings.WarehouseLogin(), settings.Database);
        std::vector<std::string> objections = ObjectionsToDeletion(*warehouse, job_.Options);
        if (objections.empty() && Cancelled()) {
            objections.emplace_back("the run was cancelled");
        }
        return objections;
    } catch (const std::exception& error) {
        return {"the marks could not be checked: " + OneLine(Trim(Describe(error), kWhiteSpace))};
    }
}

void JobRun::WriteStatus(std::string_view word) const {
    RunState state;
    state.StatusFilePath = job_.StatusFile;
    morvane::WriteStatus(state, word);
}

}  // namespace morvane
