#include "SmallDisk.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace morvane::testing {

SmallDisk::SmallDisk(std::string folder) : folder_(std::move(folder)) {
    const bool mounted = unshare(CLONE_NEWNS) == 0 &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=4m") == 0;
    if (!mounted) {
        whyNot_ = "no disk can be mounted: " + std::generic_category().message(errno);
    }
}

SmallDisk::~SmallDisk() {
    if (whyNot_.empty()) {
        umount2(folder_.c_str(), MNT_DETACH);
    }
}

void SmallDisk::LeaveRoom(std::uintmax_t bytes) const {
    MakeRoom();
    const std::uintmax_t room = std::filesystem::space(folder_).available;
    if (room < bytes) {
        throw std::runtime_error("the disk is smaller than that");
    }
    const int file = open(Filler().c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    const int result =
        room == bytes ? 0 : posix_fallocate(file, 0, static_cast<off_t>(room - bytes));
    close(file);
    if (result != 0) {
        throw std::runtime_error("the disk cannot be filled");
    }
}

void SmallDisk::MakeRoom() const {
    std::filesystem::remove(Filler());
}

}  // namespace morvane::testing
