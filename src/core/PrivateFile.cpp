#include "core/PrivateFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "core/modFileFunctions.h"

#ifdef _WIN32
#include <windows.h>

#include <sddl.h>
#else
#include <stdlib.h>
#include <unistd.h>
#endif

namespace morvane {

namespace {

// The file that is written before it takes the place of the other. It goes when it does not.
class Draft {
  public:
    explicit Draft(const std::filesystem::path& target);
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    void Write(std::string_view content);
    // On the disk, and in its target's place.
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

Draft::Draft(const std::filesystem::path& target) : path_(target) {
    path_ += L".new";
    // The owner has every right, nobody else any, and nothing is inherited.
    SECURITY_ATTRIBUTES rights{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
            L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, &rights.lpSecurityDescriptor, nullptr)) {
        Fail();
    }
    DeleteFileW(path_.c_str());
    file_ = CreateFileW(path_.c_str(), GENERIC_WRITE, 0, &rights, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                        nullptr);
    const DWORD error = GetLastError();
    LocalFree(rights.lpSecurityDescriptor);
    if (file_ == INVALID_HANDLE_VALUE) {
        SetLastError(error);
        Fail();
    }
}

void Draft::Write(std::string_view content) {
    DWORD written = 0;
    if (!WriteFile(file_, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ||
        !FlushFileBuffers(file_)) {
        Fail();
    }
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
    file_ = mkstemp(name.data());  // for the owner alone, whatever the umask
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
    std::filesystem::remove(path_, ignored);  // no longer there when published
}

void Draft::Publish(const std::filesystem::path& target) {
    Close();
    std::filesystem::rename(path_, target);
}

}  // namespace

void WritePrivateFile(const std::string& path, std::string_view content) {
    try {
        const std::filesystem::path target = std::filesystem::weakly_canonical(ToPath(path));
        Draft draft(target);
        draft.Write(content);
        draft.Publish(target);
    } catch (const std::system_error& error) {
        throw FileError("Cannot write the file \"" + path + "\": " + error.code().message());
    }
}

}  // namespace morvane
