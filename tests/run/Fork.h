#pragma once

#include <sys/types.h>

#include <functional>
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

// A program in a terminal of its own, whose output nobody reads unless the test does.
class TerminalProgram {
  public:
    TerminalProgram(const std::string& program, const std::vector<std::string>& arguments);
    ~TerminalProgram();
    TerminalProgram(const TerminalProgram&) = delete;
    TerminalProgram& operator=(const TerminalProgram&) = delete;

    // Reads until the text has come or the program has ended; returns all output so far.
    const std::string& ReadUntil(const std::string& text);
    const std::string& ReadToEnd();
    void Type(const std::string& keys) const;
    void Signal(int number) const;
    int Wait();

  private:
    bool ReadSome();

    pid_t process_ = -1;
    int terminal_ = -1;
    std::string output_;
};

}  // namespace morvane::testing
