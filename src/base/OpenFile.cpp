// SPDX-License-Identifier: Apache-2.0
#include "base/OpenFile.h"

#include <cerrno>
#include <system_error>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

std::string SystemReason() {
    return std::generic_category().message(errno);
}

#ifndef _WIN32

constexpr const char* kNotRegular = "it is not a regular file";

// Why an open file must not be written; empty when it may be.
std::string Objection(int file, NamedBy namedBy) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return SystemReason();
    }
    if (namedBy == NamedBy::User && S_ISCHR(status.st_mode)) {
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        return kNotRegular;
    }
    if (namedBy == NamedBy::Program && status.st_nlink > 1) {
        return "it has another name too";
    }
    return ftruncate(file, 0) == 0 ? std::string() : SystemReason();
}

std::string OpeningError(NamedBy namedBy) {
    if (errno == ENXIO) {
        return kNotRegular;  // a pipe without a reader, or a socket
    }
    return errno == ELOOP && namedBy == NamedBy::Program ? "it is a symbolic link" : SystemReason();
}

FileHandle WithStream(int file, const char* mode, std::string& reason) {
    FileHandle stream(fdopen(file, mode));
    if (stream == nullptr) {
        reason = SystemReason();
        close(file);
    }
    return stream;
}

#endif

}  // namespace

#ifdef _WIN32

FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy, std::string& reason) {
    FileHandle file(_wfopen(path.c_str(), L"wb"));
    reason = file == nullptr ? SystemReason() : "";
    return file;
}

FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason) {
    FileHandle file(_wfopen(path.c_str(), L"rb"));
    reason = file == nullptr ? SystemReason() : "";
    return file;
}

bool ExceedsSizeLimit(const std::filesystem::path&) {
    return false;
}

#else

FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy namedBy, std::string& reason) {
    constexpr mode_t kUsualRights = 0666;  // less the user's mask
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY |
                      (namedBy == NamedBy::Program ? O_NOFOLLOW : 0);
    const int file = open(path.c_str(), flags, kUsualRights);
    reason = file < 0 ? OpeningError(namedBy) : Objection(file, namedBy);
    if (!reason.empty()) {
        if (file >= 0) {
            close(file);
        }
        return nullptr;
    }
    return WithStream(file, "wb", reason);
}

FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        reason = SystemReason();
        return nullptr;
    }
    return WithStream(file, "rb", reason);
}

bool ExceedsSizeLimit(const std::filesystem::path& path) {
    struct stat status {};
    rlimit limit{};
    return stat(path.c_str(), &status) == 0 && getrlimit(RLIMIT_FSIZE, &limit) == 0 &&
           static_cast<rlim_t>(status.st_size) > limit.rlim_cur;
}

#endif

}  // namespace morvane
