// SPDX-License-Identifier: Apache-2.0
#include "support/Fork.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace morvane::testing {

namespace {

constexpr int kLongestSilence = 120 * 1000;  // milliseconds

[[noreturn]] void Execute(const std::string& program, const std::vector<std::string>& arguments,
                          const Surroundings& surroundings) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    setenv("LC_ALL", "C", 1);
    setenv("MORVANE_CONSOLE", "1", 1);
    for (const auto& [name, value] : surroundings.Variables) {
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
    signal(SIGHUP, surroundings.IgnoresHangup ? SIG_IGN : SIG_DFL);
    if (surroundings.LargestFile) {
        const rlimit limit{*surroundings.LargestFile, *surroundings.LargestFile};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    execv(program.c_str(), argv.data());
    _exit(98);
}

}  // namespace

Process::~Process() {
    if (id_ > 0) {
        kill(id_, SIGKILL);
        Wait();
    }
}

int Process::Wait() {
    int status = 0;
    waitpid(id_, &status, 0);
    id_ = -1;
    return status;
}

Child::Child(const std::function<int(Child&)>& body) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        throw std::runtime_error("cannot make a pair of sockets");
    }
    id_ = fork();
    const bool isChild = id_ == 0;
    channel_ = ends[isChild ? 0 : 1];
    close(ends[isChild ? 1 : 0]);
    if (isChild) {
        int result = 99;
        try {
            result = body(*this);
        } catch (...) {
        }
        _exit(result);  // the parent tears the test down
    }
}

Child::~Child() {
    close(channel_);
}

void Child::Send(char character) const {
    if (write(channel_, &character, 1) != 1) {
        throw std::runtime_error("cannot write to the socket");
    }
}

char Child::Receive() const {
    char character = 0;
    return read(channel_, &character, 1) == 1 ? character : '\0';
}

int RunWithoutReader(const std::string& program, const std::vector<std::string>& arguments,
                     Streams streams) {
    return Child([&](Child&) -> int {
               std::array<int, 2> pipe{};
               if (::pipe(pipe.data()) != 0) {
                   return 97;
               }
               close(pipe[0]);
               dup2(pipe[1], STDOUT_FILENO);
               streams == Streams::Broken ? dup2(pipe[1], STDERR_FILENO) : close(STDERR_FILENO);
               close(pipe[1]);
               Execute(program, arguments, {});
           })
        .Wait();
}

TerminalProgram::TerminalProgram(const std::string& program,
                                 const std::vector<std::string>& arguments,
                                 const Surroundings& surroundings) {
    winsize size{};
    size.ws_row = 25;
    size.ws_col = surroundings.Columns;
    id_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (id_ == 0) {
        Execute(program, arguments, surroundings);
    }
}

TerminalProgram::~TerminalProgram() {
    HangUp();
}

const std::string& TerminalProgram::ReadUntil(const std::string& text) {
    while (output_.find(text) == std::string::npos && ReadSome()) {
    }
    return output_;
}

const std::string& TerminalProgram::ReadToEnd() {
    while (ReadSome()) {
    }
    return output_;
}

void TerminalProgram::Type(const std::string& keys) const {
    if (write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::runtime_error("cannot type");
    }
}

void TerminalProgram::Signal(int number) const {
    kill(id_, number);
}

void TerminalProgram::HangUp() {
    if (terminal_ >= 0) {
        close(terminal_);
        terminal_ = -1;
    }
}

std::string TerminalProgram::About(const std::string& file) const {
    std::ifstream stream("/proc/" + std::to_string(id_) + "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool TerminalProgram::ReadSome() {
    if (terminal_ < 0) {
        return false;
    }
    pollfd waiting{terminal_, POLLIN, 0};
    if (poll(&waiting, 1, kLongestSilence) == 0) {
        throw std::runtime_error("the program printed nothing more after: " + output_);
    }
    std::array<char, 4096> buffer{};
    const ssize_t count = read(terminal_, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;  // reading fails once the program has exited
    }
    output_.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

}  // namespace morvane::testing
