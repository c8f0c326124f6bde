// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morvane::testing {

// A forked process that runs `body` and ends with its result. Over a pair of pipes each side can
// give the other a sign of one character, which is also how they wait for each other.
class Child {
  public:
    explicit Child(const std::function<int(Child&)>& body);
    ~Child();  // ends the process when it still runs
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void Send(char sign) const;
    // 0 when the other side is gone.
    char Receive() const;
    // The status that waitpid gives.
    int Wait();

  private:
    pid_t process_ = -1;
    int in_ = -1;
    int out_ = -1;
};

// What surrounds a program. A variable without a value is removed.
struct Surroundings {
    std::map<std::string, std::optional<std::string>> Variables;
    unsigned short Columns = 400;
    std::optional<unsigned long> LargestFile = std::nullopt;  // bytes
    bool IgnoresHangup = false;                               // as under nohup(1)
};

// Runs a program with its output in a pipe that nobody reads any more, and its errors there too or
// their stream closed; returns the status that waitpid gives.
enum class Streams { Closed, Broken };
int RunWithoutReader(const std::string& program, const std::vector<std::string>& arguments,
                     Streams streams);

// A program in a terminal of its own, whose output nobody reads unless the test does.
class TerminalProgram {
  public:
    TerminalProgram(const std::string& program, const std::vector<std::string>& arguments,
                    const Surroundings& surroundings = {});
    ~TerminalProgram();
    TerminalProgram(const TerminalProgram&) = delete;
    TerminalProgram& operator=(const TerminalProgram&) = delete;

    // Reads until the text has come or the program has ended; returns all output so far.
    const std::string& ReadUntil(const std::string& text);
    const std::string& ReadToEnd();
    void Type(const std::string& keys) const;
    void Signal(int number) const;
    // What a dropped line does: the terminal is gone, and the system says so.
    void HangUp();
    // A file of the system's about the process: "cmdline", "limits".
    std::string About(const std::string& file) const;
    int Wait();

  private:
    bool ReadSome();

    pid_t process_ = -1;
    int terminal_ = -1;
    std::string output_;
};

}  // namespace morvane::testing
