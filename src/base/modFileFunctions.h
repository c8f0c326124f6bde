// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "base/OpenFile.h"

namespace morvane {

// What separates folders in a path of this platform, and all that is taken for it.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
inline constexpr std::string_view kPathSeparators = "\\/";
#else
inline constexpr char kPathSeparator = '/';
inline constexpr std::string_view kPathSeparators = "/";
#endif

// A file or folder that could not be made, read or written; what() names it and says why.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The program's texts are UTF-8; the platform's paths may not be.
std::filesystem::path ToPath(std::string_view utf8);

bool FolderExists(std::string_view path);
// Why the files of a folder cannot be used; no error when they can.
std::error_code CheckFolder(const std::string& path);

// Makes a missing folder together with all its missing parents. Throws FileError.
void EnsureFolder(const std::string& path);

// The text before the last separator; empty when there is none.
std::string ParentFolder(std::string_view path);

// The whole content of a file, byte by byte. Throws FileError.
std::string ReadWholeFile(const std::string& path);

// A text file written anew. Nothing is taken for written before Close() returned: a full disk may
// show only then. The destructor closes quietly.
class TextFile {
  public:
    enum class Flush { AtClose, EveryLine };

    // Creates the file or empties it; see OpenToWrite. Throws FileError.
    explicit TextFile(std::string path, Flush flush = Flush::AtClose,
                      NamedBy namedBy = NamedBy::Program);

    // The text and CR LF. Throws FileError, as the others do.
    void WriteLine(std::string_view text);
    void Write(std::string_view text);
    void Close();

    const std::string& Path() const { return path_; }
    // Null once closed.
    std::FILE* Stream() const { return file_.get(); }

  private:
    std::string path_;
    Flush flush_;
    FileHandle file_;
};

}  // namespace morvane
