// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "core/Connection.h"
#include "core/RunResult.h"
#include "core/RunSettings.h"

namespace morvane {

// Passwords from the environment, for logins without one.
struct LoginPasswords {
    struct Password {
        std::string Text;
        std::string Fault;  // why it could not be read; else empty
    };
    Password Warehouse;
    Password Archive;
};

// State shared by start-up, run and tasks. Created in main and passed by reference.
struct RunState {
    bool CommandLineMode = false;  // no user is present
    bool ConfigMode = false;
    std::string ConfigFileName;
    RunSettings GlobalSettings;  // as parsed from the command line
    LoginPasswords Passwords;

    // Errors of the run, each followed by CR LF.
    std::string ErrorText;

    // Local start date, and time of day in seconds since midnight.
    std::chrono::year_month_day RunStartDate{};
    std::chrono::seconds RunStartTime{};

    std::unique_ptr<Connection> WarehouseConnection;
    std::unique_ptr<Connection> ArchiveConnection;

    bool LockHeld = false;  // this process holds the warehouse lock
    std::string LockUser;   // the user in the lock table

    std::string StatusFilePath;

    RunResult Result;
    std::string ResultFilePath;  // empty for none
};

}  // namespace morvane
