// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace morvane {

// The login name of the process's effective user, or on Windows the system's user name (at most 199
// characters).
std::string CurrentUserName();

// Call this first in main. Disables core dumps and debugging by other processes of the user, since
// the process holds passwords. Makes a closed pipe or a file size limit an error of the write
// instead of a signal. Opens missing standard streams to nowhere, so that a file opened later does
// not get their numbers and their output.
void PrepareProcess();

// Reserves disk space for the first `bytes` bytes of a file open for writing, without changing its
// size, so that a full disk is reported before the work begins. Does nothing on file systems that
// cannot reserve. ReleaseUnusedSpace frees what lies beyond the end of the file, which must have
// been flushed.
std::error_code ReserveFileSpace(std::FILE* file, const std::string& path, std::int64_t bytes);
void ReleaseUnusedSpace(std::FILE* file);

// Whether two paths lead to the same file or folder; false if either is missing.
bool AreEquivalent(const std::filesystem::path& a, const std::filesystem::path& b);

// A private file for writing and then reading, deleted when it is closed. Throws FileError.
std::FILE* OpenTemporaryFile();

#ifdef _WIN32
// Converts UTF-16; an unpaired surrogate becomes the replacement character.
std::string ToUtf8(std::wstring_view text);

// Gives a program with windows, for which Windows opens no console, the console of the process that
// started it, if that has one: for its output and for Ctrl+C. Streams that were redirected stay so.
void UseConsoleOfParent();
#endif

}  // namespace morvane
