// SPDX-License-Identifier: Apache-2.0
#include "base/Platform.h"

#include <fcntl.h>
#include <pwd.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <vector>

#include "base/modFileFunctions.h"

namespace morvane {

std::string CurrentUserName() {
    std::vector<char> buffer(4096);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    // A user id without an entry (a container) is still one user.
    return found != nullptr ? found->pw_name : std::to_string(geteuid());
}

void PrepareProcess() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
#ifdef PR_SET_DUMPABLE
    prctl(PR_SET_DUMPABLE, 0);  // a core that goes to a program has no limit
#endif
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is taken, which is this one.
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) {
            return;
        }
    }
}

#ifdef FALLOC_FL_KEEP_SIZE

namespace {

// Asked first, because a reservation that fails may have filled the disk before it does.
bool MayHaveRoom(int file, std::int64_t bytes) {
    struct stat status {};
    struct statvfs space {};
    if (fstat(file, &status) != 0 || fstatvfs(file, &space) != 0 || space.f_blocks == 0) {
        return true;
    }
    constexpr std::int64_t kBlockUnit = 512;  // of st_blocks
    const std::int64_t missing = bytes - status.st_blocks * kBlockUnit;
    return missing <= 0 || static_cast<std::uint64_t>(missing) / space.f_frsize <= space.f_bfree;
}

}  // namespace

std::error_code ReserveFileSpace(std::FILE* file, const std::string&, std::int64_t bytes) {
    if (!MayHaveRoom(fileno(file), bytes)) {
        return std::make_error_code(std::errc::no_space_on_device);
    }
    if (fallocate(fileno(file), FALLOC_FL_KEEP_SIZE, 0, bytes) == 0) {
        return {};
    }
    const int reason = errno;
    if (reason != ENOSPC && reason != EDQUOT && reason != EFBIG) {
        return {};
    }
    ReleaseUnusedSpace(file);  // some file systems keep what they took before they failed
    return {reason, std::generic_category()};
}

#else

std::error_code ReserveFileSpace(std::FILE*, const std::string&, std::int64_t) {
    return {};
}

#endif

void ReleaseUnusedSpace(std::FILE* file) {
    struct stat status {};
    if (fstat(fileno(file), &status) == 0) {
        // What cannot be given back stays taken.
        [[maybe_unused]] const int ignored = ftruncate(fileno(file), status.st_size);
    }
}

std::FILE* OpenTemporaryFile() {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) {
        throw FileError("Cannot make a temporary file: " + std::generic_category().message(errno));
    }
    return file;
}

}  // namespace morvane
