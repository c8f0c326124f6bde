#include "core/Platform.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <vector>

#include "core/modFileFunctions.h"

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

bool Reserve(int file, std::int64_t bytes) {
    if (fallocate(file, FALLOC_FL_KEEP_SIZE, 0, bytes) == 0) {
        return true;
    }
    return errno != ENOSPC && errno != EDQUOT;
}

}  // namespace

#endif

bool ReserveFileSpace(const std::string& path, std::int64_t bytes) {
    const int file = open(ToPath(path).c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return true;  // opening it for its real use will say why
    }
    bool room = true;
#ifdef FALLOC_FL_KEEP_SIZE
    room = MayHaveRoom(file, bytes);
    if (room && !Reserve(file, bytes)) {
        room = false;
        ReleaseUnusedSpace(path);  // some file systems keep what they took before they failed
    }
#endif
    close(file);
    return room;
}

void ReleaseUnusedSpace(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(ToPath(path), error);
    if (!error) {
        std::filesystem::resize_file(ToPath(path), size, error);
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
