// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "core/RunSettings.h"
#include "core/RunState.h"

namespace morvane {

// The passwords that the environment has for logins that are given none: MORVANE_PASSWORD and
// MORVANE_ARCHIVE_PASSWORD, or the first lines of the files that MORVANE_PASSWORD_FILE and
// MORVANE_ARCHIVE_PASSWORD_FILE name. The variables are wiped and removed: what the process starts
// does not inherit them.
LoginPasswords TakeLoginPasswords();

// A login with a user name and no password gets the environment's. Throws FileError when that could
// not be read.
ServerLogin WithPassword(ServerLogin login, const LoginPasswords::Password& fromEnvironment);

// The same for the logins of a run.
void CompleteLogins(RunSettings& settings, const LoginPasswords& passwords);

}  // namespace morvane
