// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace morvane {

// Every option of a run, in the order of the settings window and the command line.
struct RunSettings {
    std::string Machine;
    std::string UserName;
    std::string Password;
    bool NTAuthentication = false;
    std::string Database;
    bool CheckMetaData = false;
    std::string ArchiveMachine;
    std::string ArchiveUserName;
    std::string ArchivePassword;
    bool ArchiveNTAuthentication = false;
    std::string ArchiveDatabase;
    bool ArchiveFactTables = false;
    bool DetectAndMark = false;
    bool DeleteMarked = false;
    bool AtomicDeletion = false;
    bool GenerateReports = false;
    bool LogGiven = false;
    bool LogFileGiven = false;
    std::string LogFileName;
    std::string LogDirectory;
    bool ConfigMode = false;
    std::string ConfigFileName;
    bool StatusMode = false;
    std::string StatusFileName;
    bool Help = false;

    bool operator==(const RunSettings&) const = default;
};

}  // namespace morvane
