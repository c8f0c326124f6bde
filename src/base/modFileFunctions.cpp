// SPDX-License-Identifier: Apache-2.0
#include "base/modFileFunctions.h"

#include <cerrno>
#include <vector>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "base/Text.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferSize = 1 << 16;

[[noreturn]] void ThrowFileError(const std::string& action, const std::string& path,
                                 const std::string& reason) {
    throw FileError("Cannot " + action + " \"" + path + "\": " + reason);
}

std::string LastReason() {
    return std::generic_category().message(errno);
}

#ifndef _WIN32

constexpr const char* kNotRegular = "it is not a regular file";

enum class Content { Emptied, Kept };

// Why the open file must not be written; empty if it may be. Empties a regular file if asked to.
std::string Objection(int file, NamedBy namedBy, Content content) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return LastReason();
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
    const bool done = content == Content::Kept || ftruncate(file, 0) == 0;
    return done ? std::string() : LastReason();
}

std::string OpeningError(NamedBy namedBy) {
    if (errno == ENXIO) {
        return kNotRegular;  // a pipe without a reader, or a socket
    }
    return errno == ELOOP && namedBy == NamedBy::Program ? "it is a symbolic link" : LastReason();
}

FileHandle WithStream(int file, const char* mode, std::string& reason) {
    FileHandle stream(fdopen(file, mode));
    if (stream == nullptr) {
        reason = LastReason();
        close(file);
    }
    return stream;
}

FileHandle OpenChecked(const std::filesystem::path& path, NamedBy namedBy, Content content,
                       std::string& reason) {
    constexpr mode_t kUsualRights = 0666;  // less the user's mask
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY |
                      (namedBy == NamedBy::Program ? O_NOFOLLOW : 0) |
                      (content == Content::Kept ? O_APPEND : 0);
    const int file = open(path.c_str(), flags, kUsualRights);
    reason = file < 0 ? OpeningError(namedBy) : Objection(file, namedBy, content);
    if (!reason.empty()) {
        if (file >= 0) {
            close(file);
        }
        return nullptr;
    }
    return WithStream(file, content == Content::Kept ? "ab" : "wb", reason);
}

#endif

}  // namespace

std::filesystem::path ToPath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

bool FolderExists(std::string_view path) {
    std::error_code error;
    return std::filesystem::is_directory(ToPath(path), error);
}

std::error_code CheckFolder(const std::string& path) {
    const std::filesystem::path folder = ToPath(path);
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error) && !error) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
#ifndef _WIN32
    if (!error && faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) != 0) {
        error.assign(errno, std::generic_category());
    }
#endif
    return error;
}

// Checks the whole path first, so that one too long for the system fails before any folder is made.
void EnsureFolder(const std::string& path) {
    std::vector<std::size_t> missing;  // path lengths of the folders to make, innermost first
    std::error_code error;
    // Stops at a drive, which cannot be made.
    for (std::string folder = path; ToPath(folder).has_relative_path();
         folder = ParentFolder(folder)) {
        const auto status = std::filesystem::status(ToPath(folder), error);
        if (std::filesystem::is_directory(status)) {
            break;
        }
        if (status.type() == std::filesystem::file_type::none) {
            ThrowFileError("make the folder", folder, error.message());
        }
        missing.push_back(folder.size());
    }
    for (; !missing.empty(); missing.pop_back()) {
        const std::string folder = path.substr(0, missing.back());
        std::filesystem::create_directory(ToPath(folder), error);
        if (error && !FolderExists(folder)) {
            ThrowFileError("make the folder", folder, error.message());
        }
    }
}

std::string ParentFolder(std::string_view path) {
    const std::size_t separator = path.find_last_of(kPathSeparators);
    return separator == std::string_view::npos ? "" : std::string(path.substr(0, separator));
}

#ifdef _WIN32

FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy, std::string& reason) {
    FileHandle file(_wfopen(path.c_str(), L"wb"));
    reason = file == nullptr ? LastReason() : "";
    return file;
}

FileHandle OpenToAppend(const std::filesystem::path& path, std::string& reason) {
    FileHandle file(_wfopen(path.c_str(), L"ab"));
    reason = file == nullptr ? LastReason() : "";
    return file;
}

FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason) {
    FileHandle file(_wfopen(path.c_str(), L"rb"));
    reason = file == nullptr ? LastReason() : "";
    return file;
}

bool ExceedsSizeLimit(const std::filesystem::path&) {
    return false;
}

#else

FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy namedBy, std::string& reason) {
    return OpenChecked(path, namedBy, Content::Emptied, reason);
}

FileHandle OpenToAppend(const std::filesystem::path& path, std::string& reason) {
    return OpenChecked(path, NamedBy::User, Content::Kept, reason);
}

FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        reason = LastReason();
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

std::string ReadWholeFile(const std::string& path) {
    std::string reason;
    const FileHandle file = OpenToRead(ToPath(path), reason);
    if (file == nullptr) {
        ThrowFileError("open the file", path, reason);
    }
    std::string content;
    std::vector<char> block(kBufferSize);
    std::size_t count = 0;
    do {
        errno = 0;
        count = std::fread(block.data(), 1, block.size(), file.get());
        content.append(block.data(), count);
    } while (count == block.size());
    if (std::ferror(file.get()) != 0) {
        ThrowFileError("read the file", path, LastReason());
    }
    return content;
}

TextFile::TextFile(std::string path, Flush flush, NamedBy namedBy)
    : path_(std::move(path)), flush_(flush) {
    std::string reason;
    file_ = OpenToWrite(ToPath(path_), namedBy, reason);
    if (file_ == nullptr) {
        ThrowFileError("make the file", path_, reason);
    }
    std::setvbuf(file_.get(), nullptr, _IOFBF, kBufferSize);
}

void TextFile::WriteLine(std::string_view text) {
    Write(text);
    Write(kCrLf);
    if (flush_ == Flush::EveryLine && std::fflush(file_.get()) != 0) {
        ThrowFileError("write the file", path_, LastReason());
    }
}

void TextFile::Write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size()) {
        ThrowFileError("write the file", path_, LastReason());
    }
}

void TextFile::Close() {
    if (std::fclose(file_.release()) != 0) {
        ThrowFileError("write the file", path_, LastReason());
    }
}

}  // namespace morvane
