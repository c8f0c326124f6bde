// SPDX-License-Identifier: Apache-2.0
#include "dialogs/WarehouseSession.h"

#include "base/Platform.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "run/MultiUserLock.h"
#include "run/Tasks.h"

namespace morvane {

WarehouseSession::WarehouseSession(RunState& state, const ConnectionFactory& connect,
                                   UserPrompt& prompt)
    : state_(state), connect_(connect), prompt_(prompt) {}

bool WarehouseSession::Prepare(const ServerLogin& login, const std::string& database,
                               LastUser lastUser) {
    state_.ErrorText.clear();
    LeaveOther(login, database);
    if (Trim(database).empty()) {
        state_.ErrorText = "Database must be specified";
    } else if (Connect(login) && Open(database) && (state_.LockHeld || TakeLock(lastUser))) {
        return true;
    }
    CloseWarehouse();
    ShowErrors();
    return false;
}

void WarehouseSession::LeaveOther(const ServerLogin& login, const std::string& database) {
    if (login == login_ && database == database_) {
        return;
    }
    ReleaseHeldLock();
    if (login != login_) {
        CloseWarehouse();
        state_.WarehouseConnection.reset();
    }
    login_ = login;
    database_ = database;
}

bool WarehouseSession::Connect(const ServerLogin& login) {
    if (state_.WarehouseConnection != nullptr) {
        return true;
    }
    std::unique_ptr<Connection> connection;
    if (!ConnectDatabase(connect_, login, connection, state_.ErrorText)) {
        return false;
    }
    state_.WarehouseConnection = std::move(connection);
    return true;
}

bool WarehouseSession::Open(const std::string& database) {
    std::string ignored;
    const auto open = [&] {
        ReopenWarehouse(state_, database);
        return true;
    };
    if (TrapErrors(ignored, open)) {
        return true;
    }
    // The server may have gone and come back since the last time.
    CloseWarehouse();
    return TrapErrors(state_.ErrorText, open);
}

bool WarehouseSession::TakeLock(LastUser lastUser) {
    if (lastUser == LastUser::Asked && !MayFollowLastUser()) {
        return false;
    }
    bool lockedByOther = false;
    return AcquireLock(state_, prompt_, lockedByOther) && !lockedByOther;
}

// A lock that is set asks a question of its own.
bool WarehouseSession::MayFollowLastUser() {
    bool locked = false;
    if (!IsLocked(state_, locked) || (!locked && !ReadLockUser(state_))) {
        return false;
    }
    const std::string_view lastUser = Trim(state_.LockUser);
    if (locked || lastUser.empty() || lastUser == Trim(CurrentUserName())) {
        return true;
    }
    return prompt_
        .AskYesNo("Lock History", "Morvane Tool was last used by -- " + state_.LockUser +
                                      std::string(kCrLf) + "Do you wish to continue?")
        .value_or(false);
}

void WarehouseSession::CloseWarehouse() {
    if (state_.WarehouseConnection != nullptr) {
        CloseQuietly(*state_.WarehouseConnection);
    }
}

void WarehouseSession::ReleaseHeldLock() {
    if (!state_.LockHeld) {
        return;
    }
    const bool released = morvane::ReleaseHeldLock(state_, database_);
    if (!released) {
        CloseWarehouse();
        ShowErrors();
    }
    // Whatever became of it in the table, this window relies on it no more.
    state_.LockHeld = false;
}

void WarehouseSession::Leave() {
    ReleaseHeldLock();
    for (auto* connection : {&state_.WarehouseConnection, &state_.ArchiveConnection}) {
        if (*connection != nullptr) {
            CloseQuietly(**connection);
            connection->reset();
        }
    }
}

void WarehouseSession::ShowErrors() {
    const std::string text(Trim(state_.ErrorText));
    state_.ErrorText.clear();
    if (!text.empty()) {
        prompt_.ShowMessage("Morvane", text, MessageStyle::Critical);
    }
}

}  // namespace morvane
