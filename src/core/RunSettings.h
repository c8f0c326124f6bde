// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/Text.h"

namespace morvane {

// A server and the credentials for it.
struct ServerLogin {
    std::string Server;
    bool NTAuthentication = false;
    std::string UserName;
    std::string Password;

    // The login as a run uses it: without user name and password under NT authentication, and with
    // an empty password instead of a blank one.
    ServerLogin Effective() const {
        if (NTAuthentication) {
            return {Server, true, {}, {}};
        }
        return {Server, false, UserName, Trim(Password).empty() ? std::string() : Password};
    }

    bool operator==(const ServerLogin&) const = default;
};

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

    // The login fields of the warehouse and of the archive as one record.
    ServerLogin WarehouseLogin() const { return {Machine, NTAuthentication, UserName, Password}; }
    ServerLogin ArchiveLogin() const {
        return {ArchiveMachine, ArchiveNTAuthentication, ArchiveUserName, ArchivePassword};
    }
    void SetWarehouseLogin(const ServerLogin& login) {
        Machine = login.Server;
        NTAuthentication = login.NTAuthentication;
        UserName = login.UserName;
        Password = login.Password;
    }
    void SetArchiveLogin(const ServerLogin& login) {
        ArchiveMachine = login.Server;
        ArchiveNTAuthentication = login.NTAuthentication;
        ArchiveUserName = login.UserName;
        ArchivePassword = login.Password;
    }

    bool operator==(const RunSettings&) const = default;
};

}  // namespace morvane
