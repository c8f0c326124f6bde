// SPDX-License-Identifier: Apache-2.0
#include "contract/TdsServer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <filesystem>
#include <system_error>

namespace morvane::testing {

namespace {

void RequireSuccess(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool IsReadable(int handle) {
    constexpr int kPollMilliseconds = 20;
    pollfd polled{handle, POLLIN, 0};
    return poll(&polled, 1, kPollMilliseconds) > 0;
}

// Appends the received bytes; false at the end of the stream.
bool Receive(int handle, std::string& bytes) {
    std::array<char, 16384> buffer{};
    const ssize_t received = recv(handle, buffer.data(), buffer.size(), 0);
    if (received <= 0) {
        return false;
    }
    bytes.append(buffer.data(), static_cast<std::size_t>(received));
    return true;
}

// False if the connection is closed.
bool Send(int handle, const LoopbackServer::Answer& answer, const std::stop_token& stop) {
    std::string_view left = answer.Bytes;
    while (!left.empty() && !stop.stop_requested()) {
        const std::size_t step = answer.PerByte.count() == 0 ? left.size() : 1;
        const ssize_t sent = send(handle, left.data(), step, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        left.remove_prefix(static_cast<std::size_t>(sent));
        std::this_thread::sleep_for(answer.PerByte);
    }
    return !answer.Closes;
}

}  // namespace

LoopbackServer::LoopbackServer(Handler handler)
    : handler_(std::move(handler)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    RequireSuccess(bind(listener_, reinterpret_cast<sockaddr*>(&address), size), "bind");
    RequireSuccess(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), "name");
    RequireSuccess(listen(listener_, 8), "listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            if (IsReadable(listener_)) {
                const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
                ServeClient(client, stop);
                close(client);
            }
        }
    });
}

LoopbackServer::~LoopbackServer() {
    thread_.request_stop();
    thread_.join();
    close(listener_);
}

void LoopbackServer::ServeClient(int client, const std::stop_token& stop) const {
    std::string received;
    bool open = Send(client, handler_(received), stop);
    while (open && !stop.stop_requested()) {
        if (IsReadable(client)) {
            open = Receive(client, received) && Send(client, handler_(received), stop);
        }
    }
}

namespace tds {

namespace {

// Types of messages. A server has only one.
constexpr std::uint8_t kCall = 3, kAnswer = 4, kAttention = 6, kLogin = 16, kPrelogin = 18;
// Tokens.
constexpr std::uint8_t kReturnStatus = 0x79, kColumns = 0x81, kError = 0xAA, kInfo = 0xAB,
                       kReturnValue = 0xAC, kLoginAck = 0xAD, kRow = 0xD1, kDone = 0xFD,
                       kDoneProc = 0xFE, kDoneInProc = 0xFF;
// The bits of a DONE.
constexpr std::uint8_t kMore = 0x01, kFailed = 0x02, kCount = 0x10, kCancelled = 0x20;
// Type, end of message, length (2 bytes) and four more.
constexpr std::size_t kHeader = 8;

// Numbers are little-endian.
std::string Number(std::integral auto value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(static_cast<std::uint64_t>(value) >> 8 * i & 0xFF);
    }
    return text;
}

std::uint8_t ByteAt(const std::string& bytes, std::size_t at) {
    return static_cast<std::uint8_t>(bytes.at(at));
}

// A text preceded by its length in characters.
std::string Counted(const std::string& utf8, std::size_t lengthBytes = 1) {
    const std::string wide = Wide(utf8);
    return Number(wide.size() / 2, lengthBytes) + wide;
}

Token Sized(std::uint8_t code, const std::string& content) {
    return Number(code, 1) + Number(content.size(), 2) + content;
}

Token Message(std::uint8_t code, std::uint32_t number, int severity, const std::string& message) {
    return Sized(code, Number(number, 4) + Number(1, 1) + Number(severity, 1) +
                           Counted(message, 2) + Counted("scripted") + Counted("") + Number(1, 4));
}

Token Done(std::uint8_t code, int status = 0, std::uint64_t count = 0) {
    return Number(code, 1) + Number(status, 2) + Number(0, 2) + Number(count, 8);
}

// The output parameter that receives the handle of a prepared statement.
Token PreparedHandle() {
    constexpr int kOutput = 1, kInteger = 0x26;
    return Number(kReturnValue, 1) + Number(0, 3) + Number(kOutput, 1) + Number(0, 6) +
           Number(kInteger, 1) + Number(4, 1) + Number(4, 1) + Number(1, 4);
}

LoopbackServer::Answer Packet(const std::string& content) {
    const std::size_t size = kHeader + content.size();
    return {Number(kAnswer, 1) + Number(1, 1) + Number(size >> 8, 1) + Number(size, 1) +
            Number(0, 4) + content};
}

}  // namespace

std::string Wide(const std::string& utf8) {
    const std::u16string wide = std::filesystem::path(utf8).u16string();
    return {reinterpret_cast<const char*>(wide.data()), 2 * wide.size()};
}

Token Table(const std::string& column, const std::vector<std::string>& rows) {
    constexpr int kNullable = 1, kNVarChar = 0xE7, kLength = 200;
    const std::string collation("\x09\x04\xD0\x00\x34", 5);  // US English, code page 1252
    Token token = Number(kColumns, 1) + Number(1, 2) + Number(0, 4) + Number(kNullable, 2) +
                  Number(kNVarChar, 1) + Number(kLength, 2) + collation + Counted(column);
    for (const std::string& row : rows) {
        token += Sized(kRow, Wide(row));
    }
    return token;
}

Token Count(std::uint64_t rows) {
    return Done(kDoneInProc, kMore | kCount, rows);
}

Token NoCount() {
    return Done(kDoneInProc, kMore);
}

Token Error(std::uint32_t number, const std::string& message) {
    constexpr int kSeverity = 16;
    return Message(kError, number, kSeverity, message) + Done(kDoneInProc, kMore | kFailed);
}

Token Print(const std::string& message) {
    return Message(kInfo, 0, 0, message);
}

TdsServer::TdsServer(Script script)
    : script_(std::move(script)),
      server_([this](std::string& received) { return Handle(received); }) {}

std::vector<Request> TdsServer::Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

LoopbackServer::Answer TdsServer::Handle(std::string& received) {
    while (received.size() >= kHeader) {
        const std::size_t length = ByteAt(received, 2) * std::size_t{256} + ByteAt(received, 3);
        if (received.size() < length) {
            break;
        }
        const std::string packet = received.substr(0, length);
        received.erase(0, length);
        message_ += packet.substr(kHeader);
        if ((ByteAt(packet, 1) & 1) != 0) {  // the end of the message
            return Respond(ByteAt(packet, 0), std::exchange(message_, {}));
        }
    }
    return {};
}

LoopbackServer::Answer TdsServer::Respond(std::uint8_t type, const std::string& message) {
    if (type == kPrelogin) {
        // The version and the encryption, which is not supported, each with its place and length.
        return Packet(
            {"\x00\x00\x0B\x00\x06\x01\x00\x11\x00\x01\xFF\x10\x00\x00\x00\x00\x00\x02", 18});
    }
    if (type == kAttention) {
        return silent_ ? LoopbackServer::Answer() : Packet(Done(kDone, kCancelled));
    }
    const Request request{type == kCall, message};
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    // A call begins with its headers, whose first byte is their length, and the procedure.
    std::string_view procedure = message;
    procedure.remove_prefix(request.IsCall ? ByteAt(message, 0) : 0);
    const bool prepares = request.IsCall && procedure.starts_with("\xFF\xFF\x0D");  // sp_prepexec
    if (prepares) {
        prepared_ = message;
    }
    const bool repeats = request.IsCall && procedure.starts_with(Counted("sp_execute", 2));
    const Request meant{request.IsCall, repeats ? prepared_ : message};
    const auto entry = std::find_if(script_.begin(), script_.end(), [&](const auto& candidate) {
        return meant.Holds(candidate.first);
    });
    const Answer answer = entry == script_.end() ? Answer() : entry->second;
    silent_ = answer.Silent;
    if (silent_) {
        return {};
    }
    std::string tokens = answer.Tokens;
    if (type == kLogin && tokens.empty()) {
        tokens = Sized(kLoginAck, std::string("\x01\x74\x00\x00\x04", 5) +
                                      Counted("Microsoft SQL Server") +
                                      std::string("\x10\x00\x00\x00", 4));
    }
    if (request.IsCall) {
        tokens += Number(kReturnStatus, 1) + Number(0, 4) + (prepares ? PreparedHandle() : "");
    }
    const std::size_t last = tokens.size() - std::min(tokens.size(), Done(kDone).size());
    if (!request.IsCall && !tokens.empty() && ByteAt(tokens, last) == kDoneInProc) {
        // In a batch the count of a statement, unlike those of its triggers, is in its DONE.
        tokens[last] = static_cast<char>(kDone);
        tokens[last + 1] = static_cast<char>(tokens[last + 1] & ~kMore);
    } else {
        tokens += Done(request.IsCall ? kDoneProc : kDone);
    }
    LoopbackServer::Answer sent = Packet(tokens);
    if (answer.Cut) {
        sent.Bytes.resize(sent.Bytes.size() / 2);
        sent.Closes = true;
    }
    return sent;
}

}  // namespace tds

}  // namespace morvane::testing
