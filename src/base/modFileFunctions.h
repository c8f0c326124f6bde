// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace morvane {

// The platform's path separator, and every character that it accepts as one.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
inline constexpr std::string_view kPathSeparators = "\\/";
#else
inline constexpr char kPathSeparator = '/';
inline constexpr std::string_view kPathSeparators = "/";
#endif

// A file or folder could not be created, read or written; what() names it and gives the reason.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Converts the program's UTF-8 text to a path in the platform's encoding.
std::filesystem::path ToPath(std::string_view utf8);

bool FolderExists(std::string_view path);
// Why the files in a folder cannot be accessed; no error if they can.
std::error_code CheckFolder(const std::string& path);

// Creates a folder and its missing parents. Throws FileError.
void EnsureFolder(const std::string& path);

// The text before the last separator; empty if there is none.
std::string ParentFolder(std::string_view path);

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

// Who chose a file's name.
enum class NamedBy { Program, User };

// Opens a file for writing and empties it; on failure null, with the system's reason. Never blocks,
// as opening a pipe would. A file named by the program must be a regular file without other hard
// links: others may have write access to the folder and plant a link. A file named by the user may
// be a symbolic link or a character device such as /dev/null.
FileHandle OpenToWrite(const std::filesystem::path& path, NamedBy namedBy, std::string& reason);

// The same for a file named by the user that is appended to.
FileHandle OpenToAppend(const std::filesystem::path& path, std::string& reason);

// Opens a file for reading; on failure null, with the system's reason. Never blocks.
FileHandle OpenToRead(const std::filesystem::path& path, std::string& reason);

// Whether a file is larger than the process's file size limit (ulimit -f): the part beyond it
// cannot be changed or restored.
bool ExceedsSizeLimit(const std::filesystem::path& path);

// The whole content of a file, byte by byte. Throws FileError.
std::string ReadWholeFile(const std::string& path);

// A text file being written. Nothing counts as written before Close() has returned: a full disk may
// be reported only then. The destructor closes the file and ignores errors.
class TextFile {
  public:
    enum class Flush { AtClose, EveryLine };

    // Creates the file or empties it; see OpenToWrite. Throws FileError.
    explicit TextFile(std::string path, Flush flush = Flush::AtClose,
                      NamedBy namedBy = NamedBy::Program);

    // Writes the text and CR LF. Like Write() and Close(), throws FileError.
    void WriteLine(std::string_view text);
    void Write(std::string_view text);
    void Close();

    const std::string& Path() const { return path_; }
    // Null after Close().
    std::FILE* Stream() const { return file_.get(); }

  private:
    std::string path_;
    Flush flush_;
    FileHandle file_;
};

}  // namespace morvane
