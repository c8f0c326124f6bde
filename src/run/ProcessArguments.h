// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace morvane {

// The command line as one text, and its passwords gone from the process's arguments, which every
// user of a machine may read as long as the process lives.
std::string TakeCommandLine(int argc, char** argv);

// Overwrites the values of -pwd and -bkpwd, also where one stands in the same argument as its
// option or, in double quotes, in several. Windows keeps a copy that only the process's owner can
// read; that one stays.
void HidePasswords(int argc, char** argv);

}  // namespace morvane
