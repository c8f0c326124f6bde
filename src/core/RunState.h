// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "core/Connection.h"
#include "core/RunSettings.h"

namespace morvane {

// Passwords that the environment gives for logins without one.
struct LoginPasswords {
    struct Password {
        std::string Text;
        std::string Fault;  // why it could not be read; empty when it could, or none was given
    };
    Password Warehouse;
    Password Archive;
};

// What one process shares between start-up, run and tasks. Made in main and passed by reference.
struct RunState {
    bool CommandLineMode = false;  // no user is present
    bool ConfigMode = false;
    std::string ConfigFileName;
    RunSettings GlobalSettings;  // as the command line gave them
    LoginPasswords Passwords;

    // Problems found in the run, each ended by CR LF.
    std::string ErrorText;

    // Local date and time of day (seconds since midnight) at which the run began.
    std::chrono::year_month_day RunStartDate{};
    std::chrono::seconds RunStartTime{};

    std::unique_ptr<Connection> WarehouseConnection;
    std::unique_ptr<Connection> ArchiveConnection;

    bool LockHeld = false;  // this process holds the lock of the warehouse
    std::string LockUser;   // the user whom the lock table names

    std::string StatusFilePath;
};

}  // namespace morvane
