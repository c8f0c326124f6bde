// SPDX-License-Identifier: Apache-2.0
#include "run/WarehouseAccess.h"

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "base/Platform.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"

namespace morvane {

namespace {

constexpr std::string_view kLockTable = "dwm_multiuse";

// How often another process may win the race for a free lock.
constexpr int kMostAttempts = 20;

// SQL Server's error number for a deadlock victim.
constexpr int kDeadlockVictim = 1205;

std::unique_ptr<Recordset> OpenLockRow(RunState& state, std::string_view sql) {
    std::unique_ptr<Recordset> row = state.WarehouseConnection->OpenRecordset(sql);
    if (row->Eof()) {
        throw DatabaseError(
            {"The table dwm_multiuse has no row; drop the table, and the next run "
             "re-creates it"});
    }
    return row;
}

struct LockRow {
    bool Locked = false;
    std::string User;
};

LockRow ReadLockRow(RunState& state) {
    const auto row = OpenLockRow(state, "Select * from dwm_multiuse");
    // A NULL would keep everybody out without an explanation.
    if (row->ValueOf("lock").IsNull()) {
        throw DatabaseError({"The column lock of the table dwm_multiuse is null"});
    }
    return {row->ValueOf("lock").Flag(), NullToText(row->ValueOf("user_name"), "")};
}

bool LockTableExists(RunState& state) {
    return state.WarehouseConnection->TableExists(kLockTable);
}

std::int64_t UpdateLock(RunState& state, std::string_view sql) {
    const auto command = state.WarehouseConnection->CreateCommand();
    command->SetText(sql);
    Parameter user;
    user.Name = "user_name";
    user.Type = DataType::VarChar;
    user.Size = 100;
    user.Value = Value(CurrentUserName());
    command->AppendParameter(std::move(user));
    return command->Execute();
}

// False if another process created the table at the same moment and so holds the lock.
bool CreateLockTable(RunState& state) {
    try {
        CreateMultiUseTable(*state.WarehouseConnection, CurrentUserName());
        state.LockHeld = true;
        return true;
    } catch (const DatabaseError& error) {
        if (error.Code() != kDeadlockVictim && !LockTableExists(state)) {
            throw;
        }
        return false;
    }
}

// Another process may have taken the lock since the row was read: the row count decides.
bool TakeFreeLock(RunState& state) {
    state.LockHeld =
        UpdateLock(state, "UPDATE dwm_multiuse SET lock = 1, user_name = ? WHERE lock = 0") > 0;
    return state.LockHeld;
}

bool UserBreaksLock(const LockRow& row, UserPrompt& prompt) {
    return prompt
        .AskYesNo("Lock Profile",
                  fmt::format("The Machine is currently locked By User : {} . Do you wish to "
                              "continue?",
                              Trim(row.User)),
                  DefaultAnswer::No)
        .value_or(false);
}

Outcome TryToAcquire(RunState& state, UserPrompt& prompt) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        if (!LockTableExists(state)) {
            if (CreateLockTable(state)) {
                return Outcome::Done;
            }
            continue;
        }
        const LockRow row = ReadLockRow(state);
        if (!row.Locked) {
            if (TakeFreeLock(state)) {
                return Outcome::Done;
            }
            continue;
        }
        if (!UserBreaksLock(row, prompt)) {
            state.Result.Outcome = RunOutcome::Locked;
            return Outcome::Cancelled;
        }
        state.WarehouseConnection->Execute("drop table dwm_multiuse");
    }
    throw DatabaseError(
        {"The lock in the table dwm_multiuse could not be taken: each time it was "
         "free, another process took it first"});
}

bool UserFollowsOther(const RunState& state, UserPrompt& prompt) {
    return prompt
        .AskYesNo("Lock History",
                  "Morvane Tool was last used by -- " + state.LockUser + std::string(kCrLf) +
                      "Do you wish to continue?",
                  DefaultAnswer::Yes)
        .value_or(false);
}

// Done if the lock may be taken after its last user.
Outcome CheckLastUser(RunState& state, UserPrompt& prompt, OtherUser otherUser) {
    bool locked = false;
    if (otherUser == OtherUser::Asked && !IsLocked(state, locked)) {
        return Outcome::Failed;
    }
    // AcquireLock asks about a lock that is set.
    if (otherUser == OtherUser::Accepted || locked) {
        return Outcome::Done;
    }
    if (!ReadLockUser(state)) {
        return Outcome::Failed;
    }
    const std::string_view lastUser = Trim(state.LockUser);
    const bool follows = lastUser.empty() || lastUser == Trim(CurrentUserName()) ||
                         (otherUser == OtherUser::Asked && UserFollowsOther(state, prompt));
    if (!follows) {
        state.Result.Outcome = RunOutcome::OtherUser;
    }
    return follows ? Outcome::Done : Outcome::Cancelled;
}

}  // namespace

void ReopenWarehouse(RunState& state, const std::string& database) {
    if (!state.WarehouseConnection->IsOpen()) {
        state.WarehouseConnection->Open();
    }
    state.WarehouseConnection->SetDefaultDatabase(database);
}

void CloseQuietly(Connection& connection) {
    std::string ignored;
    TrapErrors(ignored, [&connection] {
        if (connection.IsOpen()) {
            connection.Close();
        }
        return true;
    });
}

void CloseConnections(RunState& state) {
    for (auto* connection : {&state.WarehouseConnection, &state.ArchiveConnection}) {
        if (*connection != nullptr) {
            CloseQuietly(**connection);
            connection->reset();
        }
    }
}

bool ReadLockUser(RunState& state) {
    state.LockUser.clear();
    return TrapErrors(state.ErrorText, [&] {
        if (LockTableExists(state)) {
            const auto row = OpenLockRow(state, "Select user_name from dwm_multiuse");
            state.LockUser = NullToText((*row)[0], "");
        }
        return true;
    });
}

bool IsLocked(RunState& state, bool& locked) {
    locked = false;
    return TrapErrors(state.ErrorText, [&] {
        if (LockTableExists(state)) {
            locked = ReadLockRow(state).Locked;
        }
        return true;
    });
}

Outcome AcquireLock(RunState& state, UserPrompt& prompt) {
    state.LockHeld = false;
    return TrapOutcome(state.ErrorText, [&] { return TryToAcquire(state, prompt); });
}

Outcome TakeLock(RunState& state, UserPrompt& prompt, OtherUser otherUser) {
    const Outcome outcome = CheckLastUser(state, prompt, otherUser);
    return outcome == Outcome::Done ? AcquireLock(state, prompt) : outcome;
}

bool ReleaseLock(RunState& state) {
    return TrapErrors(state.ErrorText, [&] {
        if (LockTableExists(state)) {
            const LockRow row = ReadLockRow(state);
            // Also compared here, since the server's collation may treat two names as equal.
            if (row.Locked && row.User == CurrentUserName()) {
                UpdateLock(state,
                           "UPDATE dwm_multiuse SET lock = 0 WHERE lock = 1 AND user_name = ?");
            }
        }
        state.LockHeld = false;
        return true;
    });
}

bool ReleaseHeldLock(RunState& state, const std::string& database) {
    if (!state.LockHeld) {
        return true;
    }
    if (state.WarehouseConnection == nullptr) {
        state.ErrorText += "Morvane Tool could not be Unlocked because of Connection Failure";
        return false;
    }
    const std::string before = state.ErrorText;
    const auto release = [&] {
        ReopenWarehouse(state, database);
        return ReleaseLock(state);
    };
    if (TrapErrors(state.ErrorText, release)) {
        return true;
    }
    // The connection may be lost although the server is up.
    state.ErrorText = before;
    CloseQuietly(*state.WarehouseConnection);
    if (TrapErrors(state.ErrorText, release)) {
        return true;
    }
    state.ErrorText += fmt::format(
        "The warehouse could not be unlocked: the table dwm_multiuse still names {0} as its user. "
        "The next run of {0} asks whether to continue; answer yes there, or execute UPDATE "
        "dwm_multiuse SET lock = 0.",
        CurrentUserName());
    state.ErrorText += kCrLf;
    return false;
}

}  // namespace morvane
