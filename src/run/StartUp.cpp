// SPDX-License-Identifier: Apache-2.0
#include "run/StartUp.h"

#include <clocale>
#include <exception>
#include <iostream>

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/ConnectionFactory.h"
#include "run/CancelSignals.h"
#include "run/CommandLine.h"
#include "run/Console.h"
#include "run/ConsoleProgress.h"
#include "run/RunTasks.h"

namespace morvane {

namespace {

void ShowRemarks(const CommandLineReport& report, std::ostream& errors) {
    if (!report.Note.empty()) {
        WriteConsoleText(errors, report.Note);
    }
    if (!report.UnknownNames.empty()) {
        WriteConsoleText(errors, "Unknown options: " + Join(report.UnknownNames, " "));
    } else if (report.UnknownOption) {
        WriteConsoleText(errors,
                         "An option is unknown; it may be a piece of a password and is "
                         "not shown");
    }
}

void ShowMainWindow(const RunSettings& settings, RunState& state, RunServices& services,
                    const CommandLineReport& report) {
    if (!report.Fault.empty()) {
        WriteConsoleText(services.Errors, report.Fault);
    }
    if (services.ShowMainWindow) {
        if (settings.LogFileGiven) {
            WriteConsoleText(services.Errors,
                             "The settings window takes no notice of -logfile, which is an option "
                             "of unattended runs.");
        }
        services.ShowMainWindow(state, settings);
        return;
    }
    WriteConsoleText(services.Errors,
                     services.WhyNoWindow + " Give the settings of a run as options.");
    WriteConsoleText(services.Errors, UsageText());
    WriteConsoleText(services.Errors, VersionText());
}

}  // namespace

void StartUp(const StartInput& input, RunServices& services) {
    RunState state;
    state.Passwords = input.Environment.Passwords;
    state.ResultFilePath = input.Environment.ResultFile;
    RunSettings settings;
    InitSettings(settings, state);
    const CommandLineReport report =
        ParseCommandLine(input.CommandLine, kMaxArgs, kPlatformSlashPaths, settings, state);
    state.GlobalSettings = settings;
    ShowRemarks(report, services.Errors);
    if (!state.CommandLineMode || state.ConfigMode) {
        ShowMainWindow(settings, state, services, report);
    } else {
        RunTasks(settings, state, services, report);
    }
}

void UseSystemLocale() {
    std::setlocale(LC_ALL, "C");
    std::setlocale(LC_TIME, "");
    // ODBC drivers take the encoding of the program's text from the C library; it is always UTF-8.
    for (const char* name : {"C.UTF-8", ".UTF-8", "en_US.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, name) != nullptr) {
            break;
        }
    }
}

ConnectionFactory CancellableConnections(const Environment& environment) {
    return ConnectionsWith({.Odbc = environment.Odbc,
                            .StatementLog = environment.StatementLog,
                            .CancelRequested = CancelSignals::Received});
}

int RunOnConsole(const StartInput& input, std::string_view whyNoWindow) {
    const Utf8Console console;
    try {
        const CancelSignals signals;
        const SystemClock clock;
        ConsolePrompt prompt(std::cerr, TerminalReader());
        ConsoleProgress progress(std::cerr, ErrorTerminalColumns(), CancelSignals::Received);
        RunServices services{.Clock = clock,
                             .Prompt = prompt,
                             .Progress = progress,
                             .Connect = CancellableConnections(input.Environment),
                             .Output = std::cout,
                             .Errors = std::cerr,
                             .WhyNoWindow = std::string(whyNoWindow)};
        StartUp(input, services);
    } catch (const std::exception& error) {
        WriteConsoleText(std::cerr, Describe(error));
    }
    return 0;
}

}  // namespace morvane
