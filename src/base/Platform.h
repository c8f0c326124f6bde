// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <system_error>

namespace morvane {

// The name of the user as whom the process runs: the login name of the effective user, or the
// system's user name on Windows (at most 199 characters).
std::string CurrentUserName();

// To be called before anything else. The process leaves no core behind, nor lets another process of
// its user look into it, for it holds passwords. A reader that has gone, or a limit for the size of
// files, is an error of the write and not a signal. Standard streams that the process was started
// without lead nowhere, so that no file opened later takes their place and gets their text.
void PrepareProcess();

// Takes disk space for `bytes` bytes of a file open for writing without changing its size, so that
// a full disk shows before work begins. The error says why there is no room; there is none where a
// file system cannot reserve. ReleaseUnusedSpace gives back what lies beyond the end of the file,
// which must have been flushed.
std::error_code ReserveFileSpace(std::FILE* file, const std::string& path, std::int64_t bytes);
void ReleaseUnusedSpace(std::FILE* file);

// A file for this process alone that goes when it is closed, to be written and then read. Throws
// FileError.
std::FILE* OpenTemporaryFile();

}  // namespace morvane
