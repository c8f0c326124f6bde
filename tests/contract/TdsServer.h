// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "contract/LoopbackService.h"

// A server that implements the part of TDS 7.4 that FreeTDS needs, without encryption, and answers
// statements from a script. Names and numbers are those of the protocol documentation, MS-TDS.
namespace morvane::testing::tds {

// The type of a column or parameter: code and size in bytes.
struct Type {
    std::uint8_t Code = 0;
    std::size_t Size = 0;

    bool operator==(const Type&) const = default;
};
constexpr Type kSmallInt{0x26, 2};
constexpr Type kInt{0x26, 4};
constexpr Type kBigInt{0x26, 8};
constexpr Type kBit{0x68, 1};
constexpr Type kDateTime{0x6F, 8};
constexpr Type kDateTime2{0x2A, 7};  // fractional digits
constexpr Type VarChar(std::size_t length) {
    return {0xA7, length};
}
constexpr Type NVarChar(std::size_t length) {
    return {0xE7, 2 * length};
}

struct Parameter {
    tds::Type Type;
    std::optional<std::string> Bytes;  // as sent; no value for NULL

    bool IsWide() const { return Type.Code == NVarChar(1).Code; }
    // In UTF-8; empty for NULL.
    std::string Text() const;
};

// A message from the client.
struct Request {
    // The batch; the statement that a call prepares or executes, or the procedure's name; or
    // "login", "begin", "commit", "rollback" or "attention".
    std::string Text;
    std::string Bytes;                               // the message, without the packets' headers
    std::string Procedure;                           // of a call: "sp_execute"
    std::vector<Parameter> Parameters;               // of the call's statement
    std::string User, Password, Database, Language;  // of a login
    bool InTransaction = false;                      // when it was received
};

// One token or a sequence of tokens.
using Token = std::string;
struct Column {
    std::string Name;
    tds::Type Type;
};
// Values as text ("2020-02-01 03:04:05" for a date), or NULL.
using Row = std::vector<std::optional<std::string>>;

Token Rows(const std::vector<Column>& columns, const std::vector<Row>& rows);
// The end of a statement. The server omits the count under NOCOUNT, adapts the token to the kind of
// request, and appends one to an answer without it.
Token Done(std::optional<std::uint64_t> count = {});
// The end of an inner statement, as in a trigger.
Token DoneInProc(std::uint64_t count);
Token Error(std::uint32_t number, std::uint8_t severity, const std::string& message);
Token Info(std::uint32_t number, const std::string& message);
// The server has rolled back on its own.
Token TransactionEnded();

struct Answer {
    std::vector<Token> Tokens = {};
    std::chrono::milliseconds After{0};  // an attention ends the wait
    bool Silent = false;                 // sends nothing more on this connection
    bool Cut = false;                    // sends half of the answer and closes the connection
};

// Computes the answer to a request, in the server's thread. Without a value the server handles
// logins, transactions, SET, USE and attention itself; everything else is an error.
using Script = std::function<std::optional<Answer>(const Request&)>;

struct Traits {
    std::string Language = "us_english";   // of the login
    bool NoCount = false;                  // until SET NOCOUNT OFF
    std::chrono::milliseconds PerByte{0};  // delay of the answers up to the login
};

class TdsServer : public LoopbackService {
  public:
    explicit TdsServer(Script script, Traits traits = {});
    ~TdsServer() override { Stop(); }

    std::vector<Request> Requests() const;

  private:
    struct Session;

    void Serve();
    // Records the request and returns the script's answer or the server's own.
    Answer Reply(const Request& request);

    Script script_;
    Traits traits_;
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
};

}  // namespace morvane::testing::tds
