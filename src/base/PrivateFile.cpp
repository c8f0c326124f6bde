// SPDX-License-Identifier: Apache-2.0
#include "base/PrivateFile.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/modFileFunctions.h"

#ifdef _WIN32
#include <windows.h>

#include <array>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

// A temporary file beside the target. Removed unless Publish() has renamed it over the target.
class Draft {
  public:
    explicit Draft(const std::filesystem::path& target);
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    void Write(std::string_view content);
    void Publish(const std::filesystem::path& target);

  private:
    void Close();

    std::filesystem::path path_;
#ifdef _WIN32
    HANDLE file_ = INVALID_HANDLE_VALUE;
#else
    int file_ = -1;
#endif
};

#ifdef _WIN32

[[noreturn]] void Fail() {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
}

void Require(BOOL done) {
    if (!done) {
        Fail();
    }
}

// Full access for the process's user, none for others, nothing inherited.
class RightsOfThisUser {
  public:
    RightsOfThisUser();
    RightsOfThisUser(const RightsOfThisUser&) = delete;
    RightsOfThisUser& operator=(const RightsOfThisUser&) = delete;

    SECURITY_ATTRIBUTES* Attributes() { return &attributes_; }

  private:
    alignas(ACL) std::array<BYTE, 256> list_{};
    SECURITY_DESCRIPTOR descriptor_{};
    SECURITY_ATTRIBUTES attributes_{sizeof(SECURITY_ATTRIBUTES), &descriptor_, FALSE};
};

RightsOfThisUser::RightsOfThisUser() {
    HANDLE token = nullptr;
    Require(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    alignas(TOKEN_USER) std::array<BYTE, 256> user{};
    DWORD length = 0;
    const BOOL known = GetTokenInformation(token, TokenUser, user.data(), sizeof(user), &length);
    CloseHandle(token);
    Require(known);
    auto* list = reinterpret_cast<ACL*>(list_.data());
    Require(InitializeAcl(list, sizeof(list_), ACL_REVISION) &&
            AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS,
                                reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid) &&
            InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
            SetSecurityDescriptorDacl(&descriptor_, TRUE, list, FALSE) &&
            SetSecurityDescriptorControl(&descriptor_, SE_DACL_PROTECTED, SE_DACL_PROTECTED));
}

Draft::Draft(const std::filesystem::path& target) : path_(target) {
    path_ += L".new";
    RightsOfThisUser rights;
    DeleteFileW(path_.c_str());
    file_ = CreateFileW(path_.c_str(), GENERIC_WRITE, 0, rights.Attributes(), CREATE_NEW,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
    Require(file_ != INVALID_HANDLE_VALUE);
}

void Draft::Write(std::string_view content) {
    DWORD written = 0;
    Require(
        WriteFile(file_, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
        FlushFileBuffers(file_));
}

void Draft::Close() {
    if (file_ != INVALID_HANDLE_VALUE) {
        CloseHandle(file_);
        file_ = INVALID_HANDLE_VALUE;
    }
}

#else

[[noreturn]] void Fail() {
    throw std::system_error(errno, std::generic_category());
}

Draft::Draft(const std::filesystem::path& target) {
    std::string name = target.string() + ".XXXXXX";
    file_ = mkstemp(name.data());  // mode 0600, whatever the umask
    if (file_ < 0) {
        Fail();
    }
    path_ = name;
}

void Draft::Write(std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file_, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            Fail();
        }
        content.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    if (fsync(file_) != 0) {
        Fail();
    }
}

void Draft::Close() {
    if (file_ >= 0) {
        close(file_);
        file_ = -1;
    }
}

#endif

Draft::~Draft() {
    Close();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);  // does not exist after Publish()
}

void Draft::Publish(const std::filesystem::path& target) {
    Close();
    std::filesystem::rename(path_, target);
}

// A rename would replace a device or a folder by a regular file.
void RequireRegular(const std::filesystem::path& target) {
    std::error_code error;
    const auto type = std::filesystem::status(target, error).type();
    if (type == std::filesystem::file_type::none) {
        throw std::system_error(error);
    }
    if (type != std::filesystem::file_type::not_found &&
        type != std::filesystem::file_type::regular) {
        throw FileError("it is not a regular file");
    }
}

#ifdef _WIN32

std::string WhyNotPrivate(std::FILE*) {
    return {};
}

#else

// Why the file is not private; empty if it is.
std::string WhyNotPrivate(std::FILE* file) {
    constexpr mode_t kOfOthers = 077;
    struct stat status {};
    if (fstat(fileno(file), &status) != 0) {
        return std::generic_category().message(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        return "it belongs to another user";
    }
    return (status.st_mode & kOfOthers) != 0
               ? "others than its owner may read or change it; \"chmod 600\" ends that"
               : "";
}

#endif

}  // namespace

void WritePrivateFile(const std::string& path, std::string_view content) {
    const std::string lead = "Cannot write the file \"" + path + "\": ";
    try {
        const std::filesystem::path target = std::filesystem::weakly_canonical(ToPath(path));
        RequireRegular(target);
        Draft draft(target);
        draft.Write(content);
        draft.Publish(target);
    } catch (const std::system_error& error) {
        throw FileError(lead + error.code().message());
    } catch (const FileError& error) {
        throw FileError(lead + error.what());
    }
}

bool OthersMayRead([[maybe_unused]] const std::string& path) {
#ifdef _WIN32
    return false;
#else
    struct stat status {};
    return stat(ToPath(path).c_str(), &status) == 0 && (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
#endif
}

std::string ReadPrivateLine(const std::string& path) {
    std::string reason;
    const FileHandle file = OpenToRead(ToPath(path), reason);
    if (file != nullptr) {
        reason = WhyNotPrivate(file.get());
    }
    if (!reason.empty()) {
        throw FileError("Cannot read the file \"" + path + "\": " + reason);
    }
    std::string line;
    for (int c = std::fgetc(file.get()); c != EOF && c != '\n'; c = std::fgetc(file.get())) {
        line += static_cast<char>(c);
    }
    if (std::ferror(file.get()) != 0) {
        throw FileError("Cannot read the file \"" + path +
                        "\": " + std::generic_category().message(errno));
    }
    line.erase(line.find_last_not_of('\r') + 1);
    return line;
}

}  // namespace morvane
