// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morvane {

// Environment variables that a program gets in addition to those of this process.
using Variables = std::map<std::string, std::string>;

// A child process, started without a shell.
class Process {
  public:
    // A name without a folder is searched for in PATH. Throws FileError.
    Process(const std::string& program, const std::vector<std::string>& words,
            const Variables& variables);
    // Waits for the end.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Whether the program has ended; does not block.
    bool HasEnded();
    // Cancels the program, as Ctrl+C would.
    void Cancel();
    // Waits for the end. Cancels the program once when `cancelled` returns true.
    void Wait(const std::function<bool()>& cancelled);
    // After the end: "exit code 3" or "signal 9"; empty if the program succeeded.
    const std::string& Failure() const { return failure_; }

  private:
    bool ended_ = false;
    std::string failure_;
#ifdef _WIN32
    void* process_ = nullptr;
    unsigned long id_ = 0;
#else
    int id_ = -1;
    bool ownGroup_ = false;
#endif
};

// The folder of this program, with symbolic links resolved. Throws FileError.
std::string ProgramFolder();

// A folder that only this user can read, deleted with its files.
class PrivateFolder {
  public:
    // Throws FileError.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace morvane
