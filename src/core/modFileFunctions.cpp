#include "core/modFileFunctions.h"

#include <cerrno>
#include <system_error>

#include "core/Text.h"

namespace morvane {

namespace {

constexpr std::size_t kBufferSize = 1 << 16;

[[noreturn]] void ThrowFileError(const std::string& action, const std::string& path,
                                 const std::error_code& error) {
    std::string text = "Cannot " + action + " \"" + path + "\"";
    if (error) {
        text += ": " + error.message();
    }
    throw FileError(text);
}

// What the stream's last operation has left.
std::error_code StreamError() {
    return {errno, std::generic_category()};
}

}  // namespace

std::filesystem::path ToPath(std::string_view utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

bool FolderExists(std::string_view path) {
    std::error_code error;
    return std::filesystem::is_directory(ToPath(path), error);
}

// Looks at the whole path first: one that is too long for the system is refused before anything is
// made, and before its parents are looked at one by one.
void EnsureFolder(const std::string& path) {
    std::vector<std::size_t> missing;  // lengths of the folders to make, the innermost first
    std::error_code error;
    // A drive is there or not, but cannot be made.
    for (std::string folder = path; ToPath(folder).has_relative_path();
         folder = ParentFolder(folder)) {
        const auto status = std::filesystem::status(ToPath(folder), error);
        if (std::filesystem::is_directory(status)) {
            break;
        }
        if (status.type() == std::filesystem::file_type::none) {
            ThrowFileError("make the folder", folder, error);
        }
        missing.push_back(folder.size());
    }
    for (; !missing.empty(); missing.pop_back()) {
        const std::string folder = path.substr(0, missing.back());
        std::filesystem::create_directory(ToPath(folder), error);
        if (error && !FolderExists(folder)) {
            ThrowFileError("make the folder", folder, error);
        }
    }
}

std::string ParentFolder(std::string_view path) {
    const std::size_t separator = path.find_last_of(kPathSeparators);
    return separator == std::string_view::npos ? "" : std::string(path.substr(0, separator));
}

std::string ReadWholeFile(const std::string& path) {
    errno = 0;
    std::ifstream stream(ToPath(path), std::ios::binary);
    if (!stream) {
        ThrowFileError("open the file", path, StreamError());
    }
    // Read through the stream, not its buffer: the buffer throws an error of its own.
    std::string content;
    std::vector<char> block(kBufferSize);
    while (stream) {
        stream.read(block.data(), static_cast<std::streamsize>(block.size()));
        content.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) {
        ThrowFileError("read the file", path, StreamError());
    }
    return content;
}

TextFile::TextFile(std::string path, Flush flush)
    : path_(std::move(path)), flush_(flush), buffer_(kBufferSize) {
    errno = 0;
    stream_.rdbuf()->pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    stream_.open(ToPath(path_), std::ios::binary | std::ios::trunc);
    Check("make the file");
}

void TextFile::WriteLine(std::string_view text) {
    Write(text);
    Write(kCrLf);
    if (flush_ == Flush::EveryLine) {
        errno = 0;
        stream_.flush();
        Check("write the file");
    }
}

void TextFile::Write(std::string_view text) {
    errno = 0;
    stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
    Check("write the file");
}

void TextFile::Close() {
    errno = 0;
    stream_.close();
    Check("write the file");
}

void TextFile::Check(const char* action) const {
    if (!stream_) {
        ThrowFileError(action, path_, StreamError());
    }
}

}  // namespace morvane
