// SPDX-License-Identifier: Apache-2.0
#include "inspect/LockState.h"

#include <fmt/format.h>

#include "base/Text.h"
#include "db/modDatabaseOperations.h"
#include "sql/Quoting.h"

namespace morvane {

std::optional<LockState> ReadLock(Connection& connection) {
    if (!connection.TableExists("dwm_multiuse")) {
        return std::nullopt;
    }
    const auto row = connection.OpenRecordset("Select * from dwm_multiuse");
    if (row->Eof()) {
        return std::nullopt;
    }
    return LockState{row->ValueOf("lock").Flag(),
                     std::string(Trim(NullToText(row->ValueOf("user_name"), "")))};
}

Answer LockAnswer(const std::optional<LockState>& lock, const std::string& user) {
    Answer answer;
    if (!lock) {
        answer.Facts = {{"locked", false},
                        {"user", Cell()},
                        {"next_run",
                         "Nobody has used the warehouse yet: the first run of any user "
                         "takes the lock."}};
        return answer;
    }
    const std::string holder = lock->User.empty() ? "nobody" : lock->User;
    std::string nextRun;
    if (lock->Set) {
        nextRun = fmt::format(
            "Unattended runs do nothing, unless somebody answers at the terminal of a run of {0}. "
            "The settings window asks whether to continue. Either {0} is working on the "
            "warehouse now, or a run of {0} was killed.",
            holder);
    } else if (lock->User.empty()) {
        nextRun = "The next run of any user takes the lock.";
    } else {
        nextRun = fmt::format(
            "The next run of {0} takes the lock. An unattended run of another user does nothing, "
            "because {0} used the warehouse last; the settings window asks.",
            holder);
    }
    answer.Facts = {
        {"locked", lock->Set},
        {"user", lock->User},
        {"since", "not recorded"},
        {"next_run", nextRun},
        {"asked_by", user},
        {"hand_over", "UPDATE dwm_multiuse SET lock = 0, user_name = " + QuotedText(user)}};
    if (lock->Set) {
        answer.Notes.emplace_back(
            "Make sure that no run is under way before you hand the warehouse "
            "over.");
    }
    answer.Found = lock->Set;
    return answer;
}

}  // namespace morvane
