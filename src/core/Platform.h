#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace morvane {

// The name of the user as whom the process runs: the login name of the effective user, or the
// system's user name on Windows (at most 199 characters).
std::string CurrentUserName();

// To be called before anything else. The process leaves no core behind, which would hold passwords;
// and standard streams that it was started without lead nowhere, so that no file opened later takes
// their place and gets their text.
void PrepareProcess();

// Takes disk space for `bytes` bytes of the file without changing its size, so that a full disk
// shows before work begins. False when there is no room; true also where a file system cannot
// reserve. ReleaseUnusedSpace gives back what lies beyond the end of the file. Nobody else may
// write the file meanwhile, and since a handle of the file is closed again, this process loses
// the POSIX locks that it holds on it.
bool ReserveFileSpace(const std::string& path, std::int64_t bytes);
void ReleaseUnusedSpace(const std::string& path);

// A file for this process alone that goes when it is closed, to be written and then read. Throws
// FileError.
std::FILE* OpenTemporaryFile();

}  // namespace morvane
