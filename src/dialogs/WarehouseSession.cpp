// SPDX-License-Identifier: Apache-2.0
#include "dialogs/WarehouseSession.h"

#include "base/Platform.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "run/WarehouseAccess.h"

namespace morvane {

WarehouseSession::WarehouseSession(RunState& state, const ConnectionFactory& connect,
                                   UserPrompt& prompt)
    : state_(state), connect_(connect), prompt_(prompt) {}

bool WarehouseSession::Prepare(const ServerLogin& login, const std::string& database,
                               OtherUser otherUser) {
    state_.ErrorText.clear();
    LeaveOther(login, database);
    if (Trim(database).empty()) {
        state_.ErrorText = "Database must be specified";
    } else if (Connect(login) && Open(database) &&
               (HoldsLock() || TakeLock(state_, prompt_, otherUser) == Outcome::Done)) {
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
    // The connection may be lost although the server is up.
    CloseWarehouse();
    return TrapErrors(state_.ErrorText, open);
}

// Another user can have broken the lock, and a backup can have replaced the warehouse.
bool WarehouseSession::HoldsLock() {
    bool locked = false;
    const bool holds = state_.LockHeld && IsLocked(state_, locked) && locked &&
                       ReadLockUser(state_) && state_.LockUser == CurrentUserName();
    state_.ErrorText.clear();  // TakeLock meets the same error
    return holds;
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
    // Even if the table could not be updated, this window no longer relies on the lock.
    state_.LockHeld = false;
}

void WarehouseSession::Leave() {
    ReleaseHeldLock();
    CloseConnections(state_);
}

void WarehouseSession::ShowErrors() {
    const std::string text(Trim(state_.ErrorText));
    state_.ErrorText.clear();
    if (!text.empty()) {
        prompt_.ShowMessage("Morvane", text, MessageStyle::Critical);
    }
}

}  // namespace morvane
