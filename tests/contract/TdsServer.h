// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace morvane::testing {

// A server on a free port of 127.0.0.1 that serves one client after another in its own thread.
class LoopbackServer {
  public:
    struct Answer {
        std::string Bytes;
        bool Closes = false;                   // closes the connection afterwards
        std::chrono::milliseconds PerByte{0};  // sends the bytes one by one
    };
    // Called when a client connects and whenever it has sent something. Removes the bytes that it
    // has processed.
    using Handler = std::function<Answer(std::string& received)>;

    explicit LoopbackServer(Handler handler);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    std::string Name() const { return "127.0.0.1," + std::to_string(port_); }

  private:
    void ServeClient(int client, const std::stop_token& stop) const;

    Handler handler_;
    int listener_;
    int port_ = 0;
    std::jthread thread_;
};

namespace tds {

// UTF-16 in the byte order of the protocol.
std::string Wide(const std::string& utf8);

// A token or a sequence of tokens.
using Token = std::string;

// A table with one column of type nvarchar(100).
Token Table(const std::string& column, const std::vector<std::string>& rows);
// The row count of a statement in a call: the trigger's first, then the statement's own.
Token Count(std::uint64_t rows);
// The end of a statement that reports no row count.
Token NoCount();
// An error and the end of its statement.
Token Error(std::uint32_t number, const std::string& message);
// The output of a PRINT.
Token Print(const std::string& message);

struct Request {
    bool IsCall;          // of a procedure; otherwise a batch or a login
    std::string Message;  // without the packets' headers

    bool Holds(const std::string& text) const {
        return Message.find(Wide(text)) != std::string::npos;
    }
};

struct Answer {
    std::string Tokens = {};
    bool Silent = false;  // sends nothing, not even the end of a cancelled request
    bool Cut = false;     // sends half of the answer and closes the connection
};

// The first entry whose text is part of a login or a statement supplies the answer. The execution
// of a prepared statement has the answer of the statement. Everything else succeeds.
using Script = std::vector<std::pair<std::string, Answer>>;

// Implements the part of TDS 7.4 that FreeTDS needs, without encryption. Names and numbers are
// those of the protocol documentation, MS-TDS.
class TdsServer {
  public:
    explicit TdsServer(Script script);

    std::string Name() const { return server_.Name(); }
    // The logins, batches and calls so far.
    std::vector<Request> Requests() const;

  private:
    LoopbackServer::Answer Handle(std::string& received);
    LoopbackServer::Answer Respond(std::uint8_t type, const std::string& message);

    Script script_;
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    std::string message_;   // incomplete
    std::string prepared_;  // the last message that prepared a statement
    bool silent_ = false;   // since the last request
    LoopbackServer server_;
};

}  // namespace tds

}  // namespace morvane::testing
