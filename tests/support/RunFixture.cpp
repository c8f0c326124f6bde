// SPDX-License-Identifier: Apache-2.0
#include "support/RunFixture.h"

#include <filesystem>

#ifndef _WIN32
#include <unistd.h>

#include <cstdlib>
#endif

#include "base/modFileFunctions.h"
#include "db/ConnectionFactory.h"
#include "support/Texts.h"

namespace morvane::testing {

#ifndef _WIN32

// Runs commit often, and every commit waits for the disk. None of these tests needs durable files,
// so keep them in memory if possible.
[[maybe_unused]] const int kInMemory =
    access("/dev/shm", W_OK) == 0 ? setenv("TMPDIR", "/dev/shm", 0) : 0;

#endif

RunSettings EveryTask(const std::string& server, const std::string& logFolder) {
    RunSettings settings;
    settings.Machine = server;
    settings.NTAuthentication = true;
    settings.Database = "dw";
    settings.CheckMetaData = settings.DetectAndMark = settings.GenerateReports =
        settings.DeleteMarked = true;
    settings.LogGiven = true;
    settings.LogDirectory = logFolder;
    return settings;
}

void AddArchiving(RunSettings& settings, const std::string& server, bool linkedServer) {
    settings.ArchiveFactTables = true;
    settings.ArchiveMachine = server;
    settings.ArchiveDatabase = "hist";
    settings.NTAuthentication = !linkedServer;
    settings.ArchiveNTAuthentication = linkedServer;
    settings.UserName = settings.ArchiveUserName = "clerk";
    settings.ArchivePassword = "top5ecret";
}

TestServices::TestServices(ConnectionFactory connect)
    : Services{.Clock = Clock,
               .Prompt = Prompt,
               .Progress = Progress,
               .Connect = connect ? std::move(connect) : CreateConnection,
               .Output = Output,
               .Errors = Errors} {}

std::string RunUnattended(const RunSettings& settings, ConnectionFactory connect) {
    TestServices world(std::move(connect));
    RunState state;
    state.CommandLineMode = true;
    RunTasks(settings, state, world.Services);
    return state.ErrorText;
}

RunSite::RunSite() : Settings(EveryTask(Warehouse.Server(), Files / "logs")) {
    Archive.Run("PRAGMA user_version = 1");
    Settings.StatusMode = true;
    Settings.StatusFileName = Files / "status.txt";
}

std::string RunSite::Output(const std::string& name) const {
    const std::string path = Files / "logs/" + name;
    std::string text = std::filesystem::exists(path) ? ReadWholeFile(path) : "";
    text = ReplaceAll(text, "sqlite:" + ArchiveFolder.Path(), "ARCHIVE");
    return ReplaceAll(ReplaceAll(text, Files.Path(), "FILES"), Warehouse.Server(), "SERVER");
}

std::string RunSite::Status() const {
    return ReadWholeFile(Files / "status.txt");
}

bool RunFixture::Run(const RunSettings& settings, const CommandLineReport& commandLine) {
    State = RunState();
    State.CommandLineMode = true;
    return RunTasks(settings, State, World.Services, commandLine);
}

}  // namespace morvane::testing
