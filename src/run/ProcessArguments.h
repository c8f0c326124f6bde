// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace morvane {

// The command line as one text. Removes the passwords from the process's arguments, which all users
// of a machine can read.
std::string TakeCommandLine(int argc, char** argv);

// Joins the arguments without the program name. An argument that is empty or contains a blank or
// tab is put in double quotes. Line ends at the end of an argument are removed: they come with
// arguments that a shell reads from a configuration file.
std::string ComposeCommandLine(int argc, const char* const* argv);

// A command line without the program name, which may be in double quotes.
std::string_view AfterProgramName(std::string_view wholeLine);

// The command line as typed on Windows; elsewhere composed of the arguments.
std::string ProcessCommandLine(int argc, const char* const* argv);

// Overwrites the values of -pwd and -bkpwd, including a value in the same argument as its option
// and one in double quotes that spans several arguments. On Windows a copy remains that only the
// owner of the process can read.
void HidePasswords(int argc, char** argv);

}  // namespace morvane
