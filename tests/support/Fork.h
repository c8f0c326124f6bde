// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morvane::testing {

// A process. The destructor kills it if it is still running.
class Process {
  public:
    Process() = default;
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Returns the status of waitpid().
    int Wait();

  protected:
    ~Process();

    pid_t id_ = -1;
};

// A forked process that runs `body` and exits with its result. Parent and child synchronize by
// sending each other single characters.
class Child : public Process {
  public:
    explicit Child(const std::function<int(Child&)>& body);
    ~Child();

    void Send(char character) const;
    // Waits for a character; 0 if the other side has exited.
    char Receive() const;

  private:
    int channel_ = -1;
};

// The environment of a program. A variable without a value is unset.
struct Surroundings {
    std::map<std::string, std::optional<std::string>> Variables;
    unsigned short Columns = 400;
    std::optional<unsigned long> LargestFile = std::nullopt;  // bytes
    bool IgnoresHangup = false;                               // as under nohup(1)
};

// Runs a program whose standard output is a pipe without a reader. Standard error is the same pipe
// or closed. Returns the status of waitpid().
enum class Streams { Closed, Broken };
int RunWithoutReader(const std::string& program, const std::vector<std::string>& arguments,
                     Streams streams);

// A program in a pseudo-terminal. It blocks when the test does not read its output.
class TerminalProgram : public Process {
  public:
    TerminalProgram(const std::string& program, const std::vector<std::string>& arguments,
                    const Surroundings& surroundings = {});
    ~TerminalProgram();

    // Reads until the text appears or the program exits. Returns all output so far.
    const std::string& ReadUntil(const std::string& text);
    const std::string& ReadToEnd();
    void Type(const std::string& keys) const;
    void Signal(int number) const;
    // Closes the terminal, which sends SIGHUP.
    void HangUp();
    // The contents of a file in /proc/<pid>: "cmdline", "limits".
    std::string About(const std::string& file) const;

  private:
    bool ReadSome();

    int terminal_ = -1;
    std::string output_;
};

}  // namespace morvane::testing
