// SPDX-License-Identifier: Apache-2.0
#include "nightly/Process.h"

#include <chrono>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <thread>

#include "base/modFileFunctions.h"

#ifdef _WIN32
#include <windows.h>

#include <array>

#include "base/Platform.h"
#include "run/CancelSignals.h"
#include "run/ProcessArguments.h"
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#endif

namespace morvane {

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(20);

[[noreturn]] void FailToStart(const std::string& program, std::error_code reason) {
    throw FileError("Cannot start \"" + program + "\": " + reason.message());
}

}  // namespace

Process::~Process() {
    Wait([] { return false; });
#ifdef _WIN32
    CloseHandle(process_);
#endif
}

void Process::Wait(const std::function<bool()>& cancelled) {
    bool asked = false;
    while (!HasEnded()) {
        if (!asked && cancelled()) {
            asked = true;
            Cancel();
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

#ifdef _WIN32

namespace {

// Sets environment variables of this process, which its child processes inherit.
class ScopedVariables {
  public:
    explicit ScopedVariables(const Variables& variables) : variables_(variables) {
        for (const auto& [name, value] : variables_) {
            SetEnvironmentVariableW(ToPath(name).c_str(), ToPath(value).c_str());
        }
    }
    ~ScopedVariables() {
        for (const auto& [name, value] : variables_) {
            SetEnvironmentVariableW(ToPath(name).c_str(), nullptr);
        }
    }
    ScopedVariables(const ScopedVariables&) = delete;
    ScopedVariables& operator=(const ScopedVariables&) = delete;

  private:
    const Variables& variables_;
};

std::error_code LastError() {
    return {static_cast<int>(GetLastError()), std::system_category()};
}

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& words,
                 const Variables& variables) {
    std::vector<const char*> arguments{program.c_str()};
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    // ReadWords() refuses values with a double quote.
    std::wstring line =
        ToPath('"' + program + "\" " +
               ComposeCommandLine(static_cast<int>(arguments.size()), arguments.data()))
            .wstring();
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    // morvane.exe is a GUI program, which gets the standard streams only if they are given.
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started{};
    const ScopedVariables scope(variables);
    // Ctrl+Break can be sent only to a process group.
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP,
                        nullptr, nullptr, &start, &started)) {
        FailToStart(program, LastError());
    }
    CloseHandle(started.hThread);
    process_ = started.hProcess;
    id_ = started.dwProcessId;
}

bool Process::HasEnded() {
    if (ended_ || WaitForSingleObject(process_, 0) != WAIT_OBJECT_0) {
        return ended_;
    }
    ended_ = true;
    DWORD code = 0;
    GetExitCodeProcess(process_, &code);
    failure_ = code == 0 ? "" : "exit code " + std::to_string(code);
    return true;
}

// Other commands than morvane handle no cancel event; Ctrl+Break reaches them if they share this
// console.
void Process::Cancel() {
    if (!CancelSignals::Send(id_)) {
        GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, id_);
    }
}

std::string ProgramFolder() {
    std::array<wchar_t, 32768> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return ParentFolder(ToUtf8({path.data(), length}));
}

// The temporary folder on Windows is private to the user.
PrivateFolder::PrivateFolder()
    : path_(ToUtf8(std::filesystem::temp_directory_path().wstring()) + "morvane-nightly-" +
            std::to_string(GetCurrentProcessId())) {
    EnsureFolder(path_);
}

#else

namespace {

std::error_code Reason(int number) {
    return {number, std::generic_category()};
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> EnvironmentWith(const Variables& variables) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (!variables.contains(std::string(text.substr(0, text.find('='))))) {
            environment.emplace_back(text);
        }
    }
    for (const auto& [name, value] : variables) {
        environment.push_back(name + "=" + value);
    }
    return environment;
}

bool IgnoresHangup() {
    struct sigaction action {};
    return sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Process::Process(const std::string& program, const std::vector<std::string>& words,
                 const Variables& variables)
    : ownGroup_(IgnoresHangup()) {
    std::vector<std::string> arguments{program};
    arguments.insert(arguments.end(), words.begin(), words.end());
    std::vector<std::string> environment = EnvironmentWith(variables);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // PrepareProcess() ignores these signals, and other programs rely on the default.
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    sigaddset(&usual, SIGXFSZ);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(
        &attributes,
        static_cast<short>(POSIX_SPAWN_SETSIGDEF | (ownGroup_ ? POSIX_SPAWN_SETPGROUP : 0)));
    const int error = posix_spawnp(&id_, program.c_str(), nullptr, &attributes,
                                   Pointers(arguments).data(), Pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        FailToStart(program, Reason(error));
    }
}

bool Process::HasEnded() {
    int status = 0;
    if (ended_ || waitpid(id_, &status, WNOHANG) != id_) {
        return ended_;
    }
    ended_ = true;
    if (WIFSIGNALED(status)) {
        failure_ = "signal " + std::to_string(WTERMSIG(status));
    } else if (WEXITSTATUS(status) != 0) {
        failure_ = "exit code " + std::to_string(WEXITSTATUS(status));
    }
    return true;
}

// A terminal or systemd signals every process of the group, so the program may have got the signal
// already. A second SIGINT or SIGTERM would end morvane at once; SIGHUP does not count as a second
// one. Under nohup(1), which ignores SIGHUP, the program is in its own process group and gets only
// this signal.
void Process::Cancel() {
    kill(id_, ownGroup_ ? SIGINT : SIGHUP);
}

std::string ProgramFolder() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw FileError("Cannot find this program's folder: " + error.message());
    }
    return program.parent_path().string();
}

PrivateFolder::PrivateFolder() {
    std::error_code error;
    const auto folder = std::filesystem::temp_directory_path(error);
    path_ = (error ? std::filesystem::path("/tmp") : folder) / "morvane-nightly-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
        throw FileError("Cannot make a temporary folder: " + Reason(errno).message());
    }
}

#endif

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(ToPath(path_), ignored);
}

}  // namespace morvane
