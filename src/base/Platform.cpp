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
    // In a container the user id may have no entry.
    return found != nullptr ? found->pw_name : std::to_string(geteuid());
}

void PrepareProcess() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
#ifdef PR_SET_DUMPABLE
    prctl(PR_SET_DUMPABLE, 0);  // RLIMIT_CORE does not apply to a core piped to a program
#endif
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() takes the lowest free number, which is this one.
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) {
            return;
        }
    }
}

#ifdef FALLOC_FL_KEEP_SIZE

namespace {

// Checked first, because a failing fallocate() may fill the disk before it fails.
bool MayHaveRoom(int file, std::int64_t bytes) {
    struct stat status {};
    struct statvfs space {};
    if (fstat(file, &status) != 0 || fstatvfs(file, &space) != 0 || space.f_blocks == 0) {
        return true;
    }
    constexpr std::int64_t kBlockUnit = 512;  // unit of st_blocks
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
    ReleaseUnusedSpace(file);  // some file systems keep a partial allocation
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
        // On failure the space stays allocated.
        [[maybe_unused]] const int ignored = ftruncate(fileno(file), status.st_size);
    }
}

bool AreEquivalent(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code missing;
    return std::filesystem::equivalent(a, b, missing);
}

std::FILE* OpenTemporaryFile() {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) {
        throw FileError("Cannot make a temporary file: " + std::generic_category().message(errno));
    }
    return file;
}

}  // namespace morvane
