// SPDX-License-Identifier: Apache-2.0
#include "run/MultiUserLock.h"

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "base/Platform.h"
#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "db/modDatabaseOperations.h"
#include "run/Tasks.h"

namespace morvane {

namespace {

constexpr std::string_view kLockTable = "dwm_multiuse";

// How often a free lock may slip away to somebody else before the attempt is given up.
constexpr int kMostAttempts = 20;

// The server's number for a statement that it gave up in favour of another session's.
constexpr int kDeadlockVictim = 1205;

std::unique_ptr<Recordset> OpenLockRow(RunState& state, std::string_view sql) {
    std::unique_ptr<Recordset> row = state.WarehouseConnection->OpenRecordset(sql);
    if (row->Eof()) {
        throw DatabaseError(
            {"The table dwm_multiuse has no row; drop the table, and the next run "
             "makes it anew"});
    }
    return row;
}

struct LockRow {
    bool Locked = false;
    std::string User;
};

LockRow ReadLockRow(RunState& state) {
    const auto row = OpenLockRow(state, "Select * from dwm_multiuse");
    // Neither set nor free, a NULL would let nobody in and nobody know why.
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

// False when somebody else made the table at the same moment and thereby holds the lock.
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

// The row may have been taken since it was read: only the row count tells who won.
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
                              Trim(row.User)))
        .value_or(false);
}

bool TryToAcquire(RunState& state, UserPrompt& prompt, bool& lockedByOther) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        lockedByOther = false;
        if (!LockTableExists(state)) {
            if (CreateLockTable(state)) {
                return true;
            }
            continue;
        }
        const LockRow row = ReadLockRow(state);
        if (!row.Locked) {
            if (TakeFreeLock(state)) {
                return true;
            }
            continue;
        }
        lockedByOther = true;
        if (!UserBreaksLock(row, prompt)) {
            return true;
        }
        state.WarehouseConnection->Execute("drop table dwm_multiuse");
    }
    throw DatabaseError(
        {"The lock in the table dwm_multiuse could not be taken: each time it was "
         "free, another process took it first"});
}

}  // namespace

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

bool AcquireLock(RunState& state, UserPrompt& prompt, bool& lockedByOther) {
    lockedByOther = false;
    state.LockHeld = false;
    return TrapErrors(state.ErrorText, [&] { return TryToAcquire(state, prompt, lockedByOther); });
}

bool TakeLockForRun(RunState& state, UserPrompt& prompt) {
    if (!ReadLockUser(state)) {
        return false;
    }
    const std::string_view lastUser = Trim(state.LockUser);
    if (!lastUser.empty() && lastUser != CurrentUserName()) {
        return false;
    }
    bool lockedByOther = false;
    return AcquireLock(state, prompt, lockedByOther) && !lockedByOther;
}

bool ReleaseLock(RunState& state) {
    return TrapErrors(state.ErrorText, [&] {
        if (LockTableExists(state)) {
            const LockRow row = ReadLockRow(state);
            // Compared here too: the server may take two users' names for one.
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
    // The connection may be lost and the server alive.
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
