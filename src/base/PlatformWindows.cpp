// SPDX-License-Identifier: Apache-2.0
#include "base/Platform.h"

#include <io.h>
#include <windows.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "base/modFileFunctions.h"

namespace morvane {

namespace {

std::string LastError() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

// Windows frees the space beyond the end of a file when the last handle is closed.
bool Reserve(HANDLE file, std::int64_t bytes) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size) || size.QuadPart >= bytes) {
        return true;  // a smaller allocation would truncate the file
    }
    FILE_ALLOCATION_INFO allocation{};
    allocation.AllocationSize.QuadPart = bytes;
    return SetFileInformationByHandle(file, FileAllocationInfo, &allocation, sizeof(allocation)) ||
           GetLastError() != ERROR_DISK_FULL;
}

struct CloseFile {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
};

// The volume and the number of a file; no value if it is missing.
std::optional<BY_HANDLE_FILE_INFORMATION> Identity(const std::filesystem::path& path) {
    const HANDLE file =
        CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS /* folders, too */, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    const std::unique_ptr<HANDLE, CloseFile> close(file);
    BY_HANDLE_FILE_INFORMATION identity{};
    return GetFileInformationByHandle(file, &identity) ? std::optional(identity) : std::nullopt;
}

}  // namespace

std::string CurrentUserName() {
    std::array<wchar_t, 200> buffer{};
    DWORD size = 199;
    if (GetUserNameW(buffer.data(), &size) == 0 || size == 0) {
        return {};
    }
    return ToUtf8({buffer.data(), size - 1});  // the size counts the terminating null
}

// On Windows crash dumps are the administrator's choice, and files do not get the numbers of
// missing standard streams.
void PrepareProcess() {}

std::error_code ReserveFileSpace(std::FILE* file, const std::string& path, std::int64_t bytes) {
    std::error_code unknown;
    const auto space =
        std::filesystem::space(std::filesystem::absolute(ToPath(path)).parent_path(), unknown);
    const bool mayHaveRoom = unknown || space.available >= static_cast<std::uintmax_t>(bytes);
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    return mayHaveRoom && Reserve(handle, bytes)
               ? std::error_code()
               : std::make_error_code(std::errc::no_space_on_device);
}

void ReleaseUnusedSpace(std::FILE*) {}

// std::filesystem::equivalent() fails for folders in some standard libraries.
bool AreEquivalent(const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto one = Identity(a);
    const auto other = Identity(b);
    return one && other && one->dwVolumeSerialNumber == other->dwVolumeSerialNumber &&
           one->nFileIndexHigh == other->nFileIndexHigh &&
           one->nFileIndexLow == other->nFileIndexLow;
}

std::FILE* OpenTemporaryFile() {
    std::array<wchar_t, MAX_PATH + 1> folder{};
    std::array<wchar_t, MAX_PATH> name{};
    if (GetTempPathW(static_cast<DWORD>(folder.size()), folder.data()) == 0 ||
        GetTempFileNameW(folder.data(), L"mrv", 0, name.data()) == 0) {
        throw FileError("Cannot make a temporary file: " + LastError());
    }
    std::FILE* file = _wfopen(name.data(), L"w+bTD");  // T: keep in memory, D: delete on close
    if (file == nullptr) {
        throw FileError("Cannot make a temporary file: " + std::generic_category().message(errno));
    }
    return file;
}

std::string ToUtf8(std::wstring_view text) {
    const auto convert = [text](char* target, int size) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), target,
                                   size, nullptr, nullptr);
    };
    std::string utf8(static_cast<std::size_t>(text.empty() ? 0 : convert(nullptr, 0)), '\0');
    convert(utf8.data(), static_cast<int>(utf8.size()));
    return utf8;
}

void UseConsoleOfParent() {
    struct StandardStream {
        std::FILE* Stream;
        DWORD Handle;
        const char* Device;
        const char* Mode;
    };
    const std::array<StandardStream, 3> streams{{{stdin, STD_INPUT_HANDLE, "CONIN$", "r"},
                                                 {stdout, STD_OUTPUT_HANDLE, "CONOUT$", "w"},
                                                 {stderr, STD_ERROR_HANDLE, "CONOUT$", "w"}}};
    // AttachConsole() may replace them.
    std::array<HANDLE, 3> given{};
    for (std::size_t i = 0; i < streams.size(); ++i) {
        given[i] = GetStdHandle(streams[i].Handle);
    }
    if (!AttachConsole(ATTACH_PARENT_PROCESS)) {
        return;
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const bool redirected = GetFileType(given[i]) != FILE_TYPE_UNKNOWN;
        if (redirected) {
            SetStdHandle(streams[i].Handle, given[i]);
        } else {
            std::freopen(streams[i].Device, streams[i].Mode, streams[i].Stream);
        }
    }
}

}  // namespace morvane
