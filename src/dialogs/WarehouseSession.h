// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/Connection.h"
#include "core/RunState.h"
#include "core/UserPrompt.h"

namespace morvane {

// The warehouse on which the settings window works: its connection and its lock, both in the
// RunState. What goes wrong is shown to the user, and ErrorText is empty afterwards.
class WarehouseSession {
  public:
    WarehouseSession(RunState& state, const ConnectionFactory& connect, UserPrompt& prompt);

    // Whether to ask the user before he follows somebody else who has finished.
    enum class LastUser { NotAsked, Asked };

    // Opens the connection with the database as its default one, and takes the lock unless it is
    // held already. A warehouse worked on before is left first when it is another. False when this
    // cannot be done or the user does not want to go on; the connection is closed then.
    bool Prepare(const ServerLogin& login, const std::string& database, LastUser lastUser);

    // Keeps the lock.
    void CloseWarehouse();
    // Frees a lock that is held; the connection is opened again when it has been closed.
    void ReleaseHeldLock();
    // Frees the lock and gives both connections up.
    void Leave();

    // Shows ErrorText and empties it.
    void ShowErrors();

  private:
    void LeaveOther(const ServerLogin& login, const std::string& database);
    bool Connect(const ServerLogin& login);
    bool Open(const std::string& database);
    bool TakeLock(LastUser lastUser);
    bool MayFollowLastUser();

    RunState& state_;
    const ConnectionFactory& connect_;
    UserPrompt& prompt_;
    ServerLogin login_;
    std::string database_;
};

}  // namespace morvane
