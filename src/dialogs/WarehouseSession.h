// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"
#include "core/RunState.h"
#include "core/UserPrompt.h"
#include "run/WarehouseAccess.h"

namespace morvane {

// The warehouse in use by the settings window: its connection and its lock, both stored in the
// RunState. Errors are shown to the user and leave ErrorText empty.
class WarehouseSession {
  public:
    WarehouseSession(RunState& state, const ConnectionFactory& connect, UserPrompt& prompt);

    // Opens the connection, selects the database and takes the lock unless it is already held.
    // Leaves a different warehouse first. Returns false, with the connection closed, if this fails
    // or the user does not want to continue.
    bool Prepare(const ServerLogin& login, const std::string& database, OtherUser otherUser);

    // Keeps the lock.
    void CloseWarehouse();
    // Reopens the connection if necessary.
    void ReleaseHeldLock();
    // Releases the lock and discards both connections.
    void Leave();

    // Shows ErrorText and clears it.
    void ShowErrors();

  private:
    void LeaveOther(const ServerLogin& login, const std::string& database);
    bool Connect(const ServerLogin& login);
    bool Open(const std::string& database);
    bool HoldsLock();

    RunState& state_;
    const ConnectionFactory& connect_;
    UserPrompt& prompt_;
    ServerLogin login_;
    std::string database_;
};

}  // namespace morvane
