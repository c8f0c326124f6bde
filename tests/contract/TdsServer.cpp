// SPDX-License-Identifier: Apache-2.0
#include "contract/TdsServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "base/Text.h"

namespace morvane::testing::tds {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPacket = 4096;
// Message types of a client; a server has only one.
constexpr std::uint8_t kBatch = 1, kCall = 3, kAttention = 6, kTransaction = 14, kLogin = 16,
                       kPrelogin = 18;
constexpr std::uint8_t kAnswer = 4;
// Tokens.
constexpr std::uint8_t kReturnStatus = 0x79, kColumns = 0x81, kError = 0xAA, kInfo = 0xAB,
                       kReturnValue = 0xAC, kLoginAck = 0xAD, kRow = 0xD1, kEnvironment = 0xE3,
                       kDone = 0xFD, kDoneProc = 0xFE, kDoneInProc = 0xFF;
// Types of environment changes.
constexpr std::uint8_t kDatabase = 1, kLanguage = 2, kPacketSize = 4, kCollation = 7, kBegun = 8,
                       kCommitted = 9, kRolledBack = 10;
// The bits of a DONE.
constexpr std::uint8_t kMore = 0x01, kFailed = 0x02, kCount = 0x10, kCancelled = 0x20;
constexpr std::uint8_t kLongWide = 0x63;  // ntext, which FreeTDS uses for long statements
// US English, code page 1252.
const std::string kSortOrder("\x09\x04\xD0\x00\x34", 5);

// Converts between UTF-8 and UTF-16.
std::string Wide(const std::string& utf8) {
    const std::u16string wide = std::filesystem::path(utf8).u16string();
    return {reinterpret_cast<const char*>(wide.data()), 2 * wide.size()};
}

std::string Narrow(std::string_view bytes) {
    std::u16string wide(bytes.size() / 2, u'\0');
    std::memcpy(wide.data(), bytes.data(), 2 * wide.size());
    return std::filesystem::path(wide).string();
}

// Numbers are little-endian.
std::string Number(std::integral auto value, std::size_t bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes; ++i) {
        text += static_cast<char>(static_cast<std::uint64_t>(value) >> 8 * i & 0xFF);
    }
    return text;
}

std::uint64_t NumberOf(std::string_view bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
    }
    return value;
}

// A text preceded by its length in characters.
std::string Counted(const std::string& utf8, std::size_t lengthBytes = 1) {
    const std::string wide = Wide(utf8);
    return Number(wide.size() / 2, lengthBytes) + wide;
}

Token Sized(std::uint8_t code, const std::string& content) {
    return Number(code, 1) + Number(content.size(), 2) + content;
}

Token Message(std::uint8_t code, std::uint32_t number, std::uint8_t severity,
              const std::string& message) {
    return Sized(code, Number(number, 4) + Number(1, 1) + Number(severity, 1) +
                           Counted(message, 2) + Counted("scripted") + Counted("") + Number(1, 4));
}

Token Environment(std::uint8_t what, const std::string& value) {
    return Sized(kEnvironment, Number(what, 1) + Counted(value) + Counted(""));
}

Token TransactionChange(std::uint8_t what) {
    const std::string descriptor = Number(8, 1) + Number(1, 8);
    return Sized(kEnvironment, Number(what, 1) + (what == kBegun ? descriptor + Number(0, 1)
                                                                 : Number(0, 1) + descriptor));
}

std::uint8_t CodeOf(const Token& token) {
    return static_cast<std::uint8_t>(token[0]);
}

bool IsChange(const Token& token, std::uint8_t what) {
    return CodeOf(token) == kEnvironment && token[3] == static_cast<char>(what);
}

Token AnyDone(std::uint8_t code, std::optional<std::uint64_t> count, std::uint8_t status = 0) {
    return Number(code, 1) + Number(status | (count ? kCount : 0), 2) + Number(0, 2) +
           Number(count.value_or(0), 8);
}

// Sizes of the length fields of a value and a type.
std::size_t LengthBytes(std::uint8_t code) {
    return code == kLongWide ? 4 : (code & 0x80) != 0 ? 2 : 1;
}

bool HasCollation(std::uint8_t code) {
    return code == kLongWide || (code & 0x87) == 0x87;
}

std::string TypeInfo(Type type) {
    return Number(type.Code, 1) + Number(type.Size, LengthBytes(type.Code)) +
           (HasCollation(type.Code) ? kSortOrder : "");
}

Token ReturnValue(std::uint64_t handle) {
    constexpr int kOutput = 1;
    return Number(kReturnValue, 1) + Number(0, 3) + Number(kOutput, 1) + Number(0, 6) +
           TypeInfo(kInt) + Number(4, 1) + Number(handle, 4);
}

std::string DateBytes(Type type, const std::string& text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::sscanf(text.c_str(), "%d-%d-%d%*c%d:%d:%d", &year, &month, &day, &hour, &minute, &second);
    const auto days = [](int y, int m, int d) {
        return std::chrono::sys_days(std::chrono::year(y) / m / d).time_since_epoch().count();
    };
    const std::int64_t date = days(year, month, day) - days(type == kDateTime ? 1900 : 1, 1, 1);
    const std::int64_t time = hour * 3600 + minute * 60 + second;
    return type == kDateTime ? Number(date, 4) + Number(time * 300, 4)
                             : Number(time * 10'000'000, 5) + Number(date, 3);
}

std::string ValueBytes(Type type, const std::optional<std::string>& value) {
    const std::size_t lengthBytes = LengthBytes(type.Code);
    if (!value) {
        return Number(lengthBytes == 1 ? 0 : 0xFFFF, lengthBytes);
    }
    const std::string bytes =
        lengthBytes == 2 ? (type.Code == NVarChar(1).Code ? Wide(*value) : *value)
        : type == kDateTime || type == kDateTime2 ? DateBytes(type, *value)
                                                  : Number(std::stoll(*value), type.Size);
    return Number(bytes.size(), lengthBytes) + bytes;
}

// Parses a message; throws std::out_of_range at its end.
class Reader {
  public:
    explicit Reader(std::string_view bytes) : left_(bytes) {}

    bool AtEnd() const { return left_.empty(); }
    std::string_view Take(std::size_t size) {
        const std::string_view taken = left_.substr(0, size);
        if (taken.size() < size) {
            throw std::out_of_range("a message that ends early");
        }
        left_.remove_prefix(size);
        return taken;
    }
    std::uint64_t Number(std::size_t bytes) { return NumberOf(Take(bytes)); }
    std::string_view Rest() { return Take(left_.size()); }
    tds::Parameter Parameter();

  private:
    std::string_view left_;
};

Parameter Reader::Parameter() {
    Take(2 * Number(1) + 1);  // the name, and whether it is an output
    const auto code = static_cast<std::uint8_t>(Number(1));
    const std::size_t lengthBytes = LengthBytes(code);
    tds::Parameter parameter{{code, Number(lengthBytes)}, {}};
    Take(HasCollation(code) ? kSortOrder.size() : 0);
    const std::uint64_t length = Number(lengthBytes);
    if (length != (lengthBytes == 1 ? 0 : (std::uint64_t{1} << 8 * lengthBytes) - 1)) {
        parameter.Bytes = Take(length);
    }
    return parameter;
}

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

std::vector<Token> LoginTokens(const Request& login, const std::string& language) {
    const std::string version("\x74\x00\x00\x04", 4);
    return {Environment(kDatabase, login.Database.empty() ? "master" : login.Database),
            Environment(kLanguage, language),
            Sized(kEnvironment, Number(kCollation, 1) + Number(5, 1) + kSortOrder + Number(0, 1)),
            Sized(kLoginAck, Number(1, 1) + version + Counted("Microsoft SQL Server") +
                                 std::string("\x10\x00\x00\x00", 4)),
            Environment(kPacketSize, std::to_string(kPacket))};
}

std::vector<Token> OwnAnswer(const Request& request, const std::string& language) {
    const std::string text = ToLower(request.Text);
    if (text == "login") {
        return LoginTokens(request, language);
    }
    if (text == "attention") {
        return {AnyDone(kDone, {}, kCancelled)};
    }
    if (text == "begin" ||
        (text == "if @@trancount = 0 begin transaction" && !request.InTransaction)) {
        return {TransactionChange(kBegun)};
    }
    if (text == "commit" || text == "rollback") {
        const bool commits = text == "commit";
        if (request.InTransaction) {
            return {TransactionChange(commits ? kCommitted : kRolledBack)};
        }
        return {Error(commits ? 3902 : 3903, 16,
                      "The " + ToUpper(text) + " TRANSACTION request has no corresponding BEGIN.")};
    }
    if (text.starts_with("use ")) {
        std::string name = request.Text.substr(4);
        std::erase_if(name, [](char c) { return c == '[' || c == ']'; });
        return {Environment(kDatabase, name)};
    }
    if (text.starts_with("set ") || text.starts_with("if @@trancount") || text == "sp_prepare" ||
        text == "sp_unprepare") {
        return {};
    }
    return {Error(50000, 16, "not in the script: " + request.Text)};
}

Request LoginRequest(const std::string& message) {
    const auto text = [&](std::size_t place, bool hidden = false) {
        const std::size_t offset = NumberOf(message.substr(place, 2));
        std::string wide = message.substr(offset, 2 * NumberOf(message.substr(place + 2, 2)));
        for (char& c : wide) {
            const int shown = (c ^ 0xA5) & 0xFF;
            c = hidden ? static_cast<char>(shown >> 4 | shown << 4) : c;
        }
        return Narrow(wide);
    };
    Request request;
    request.Text = "login";
    request.User = text(40);
    request.Password = text(44, true);
    request.Language = text(64);
    request.Database = text(68);
    return request;
}

// Parses an RPC message. A prepared statement is added to the list; its index is the handle.
Request CallRequest(Reader& reader, std::vector<std::string>& prepared) {
    static const std::map<std::uint64_t, std::string> kNames{{10, "sp_executesql"},
                                                             {11, "sp_prepare"},
                                                             {12, "sp_execute"},
                                                             {13, "sp_prepexec"},
                                                             {15, "sp_unprepare"}};
    Request request;
    const std::uint64_t length = reader.Number(2);
    const std::string name =
        length == 0xFFFF ? kNames.at(reader.Number(2)) : Narrow(reader.Take(2 * length));
    request.Text = request.Procedure = name;
    std::vector<Parameter>& all = request.Parameters;
    for (reader.Take(2); !reader.AtEnd();) {
        all.push_back(reader.Parameter());
    }
    std::size_t notOwn = 0;  // parameters of the call itself
    if (name == "sp_prepare") {
        prepared.push_back(all.at(2).Text());
    } else if (name == "sp_prepexec") {
        request.Text = prepared.emplace_back(all.at(2).Text());
        notOwn = 3;
    } else if (name == "sp_execute") {
        request.Text = prepared.at(NumberOf(all.at(0).Bytes.value()) - 1);
        notOwn = 1;
    } else if (name == "sp_executesql") {
        request.Text = all.at(0).Text();
        notOwn = 2;
    }
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(std::min(notOwn, all.size())));
    return request;
}

bool IsDone(const Token& token) {
    return CodeOf(token) >= kDone;
}

// Sets the status bits of the DONE tokens: error, and more results.
std::string Joined(std::vector<Token> tokens, bool noCount) {
    const auto last = std::find_if(tokens.rbegin(), tokens.rend(), IsDone);
    bool failed = false;
    std::string joined;
    for (Token& token : tokens) {
        failed = failed || CodeOf(token) == kError;
        if (IsDone(token)) {
            int status = token[1] & (noCount ? ~kCount : ~0);
            status |= (failed ? kFailed : 0) | (&token == &*last ? 0 : kMore);
            token[1] = static_cast<char>(status);
            failed = false;
        }
        joined += token;
    }
    return joined;
}

}  // namespace

std::string Parameter::Text() const {
    if (!Bytes) {
        return "";
    }
    if (Type.Code == kInt.Code) {
        return std::to_string(NumberOf(*Bytes));
    }
    return IsWide() || Type.Code == kLongWide ? Narrow(*Bytes) : *Bytes;
}

Token Rows(const std::vector<Column>& columns, const std::vector<Row>& rows) {
    constexpr int kNullable = 1;
    Token token = Number(kColumns, 1) + Number(columns.size(), 2);
    for (const Column& column : columns) {
        token += Number(0, 4) + Number(kNullable, 2) + TypeInfo(column.Type) + Counted(column.Name);
    }
    for (const Row& row : rows) {
        token += Number(kRow, 1);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            token += ValueBytes(columns[i].Type, row.at(i));
        }
    }
    return token;
}

Token Done(std::optional<std::uint64_t> count) {
    return AnyDone(kDone, count);
}

Token DoneInProc(std::uint64_t count) {
    return AnyDone(kDoneInProc, count);
}

Token Error(std::uint32_t number, std::uint8_t severity, const std::string& message) {
    return Message(kError, number, severity, message);
}

Token Info(std::uint32_t number, const std::string& message) {
    return Message(kInfo, number, 0, message);
}

Token TransactionEnded() {
    return TransactionChange(kRolledBack);
}

// One connection.
struct TdsServer::Session {
    Session(TdsServer& server, int client)
        : Server(server), Client(client), NoCount(server.traits_.NoCount) {}

    void Hear(const std::string& bytes) {
        Input += bytes;
        for (std::string packet; !Silent && !(packet = TakePacket(Input)).empty();) {
            Message += packet.substr(kHeader);
            if ((packet[1] & 1) != 0) {
                Take(CodeOf(packet), std::exchange(Message, {}));
            }
        }
    }

    void Tick() {
        while (!Pending.empty() && Pending.front().first <= Clock::now()) {
            Send(Client, Pending.front().second);
            Pending.pop_front();
            if (Cut && Pending.empty()) {
                shutdown(Client, SHUT_RDWR);
            }
        }
    }

    void Take(std::uint8_t type, const std::string& message);
    // `beginsAgain`: the end of a transaction starts the next one.
    void Respond(const Request& request, bool beginsAgain);
    void Queue(std::string_view message, std::chrono::milliseconds after);

    TdsServer& Server;
    int Client;
    bool NoCount;
    std::string Input;                                              // an incomplete packet
    std::string Message;                                            // incomplete
    std::deque<std::pair<Clock::time_point, std::string>> Pending;  // when, what
    std::vector<std::string> Prepared;
    bool LoggedIn = false;
    bool InTransaction = false;
    bool Silent = false;
    bool Cut = false;
};

void TdsServer::Session::Take(std::uint8_t type, const std::string& message) {
    // The version and the encryption, which is not supported, each with its place and length.
    constexpr std::string_view kPreloginAnswer(
        "\x00\x00\x0B\x00\x06\x01\x00\x11\x00\x01\xFF\x10\x00\x00\x00\x00\x00\x02", 18);
    if (type == kPrelogin) {
        Queue(kPreloginAnswer, {});
        return;
    }
    Request request;
    bool beginsAgain = false;
    Reader reader(message);
    if (type == kBatch || type == kCall || type == kTransaction) {
        reader.Take(reader.Number(4) - 4);  // headers
    }
    if (type == kLogin) {
        request = LoginRequest(message);
    } else if (type == kBatch) {
        request.Text = Narrow(reader.Rest());
    } else if (type == kCall) {
        request = CallRequest(reader, Prepared);
    } else if (type == kTransaction) {
        const std::uint64_t what = reader.Number(2);
        request.Text = what == 5 ? "begin" : what == 7 ? "commit" : "rollback";
        reader.Take(2 * reader.Number(1));  // the name
        beginsAgain = what != 5 && reader.Number(1) != 0;
    } else if (type == kAttention) {
        request.Text = "attention";
        Pending.clear();
    } else {
        throw std::runtime_error("a message of type " + std::to_string(type));
    }
    request.Bytes = message;
    request.InTransaction = InTransaction;
    Respond(request, beginsAgain);
    LoggedIn = true;
}

void TdsServer::Session::Respond(const Request& request, bool beginsAgain) {
    const std::string text = ToLower(request.Text);
    // In a call SET would last only until its end.
    if (request.Procedure.empty() && Contains(text, "set nocount")) {
        NoCount = Contains(text, "set nocount on");
    }
    Answer answer = Server.Reply(request);
    std::vector<Token>& tokens = answer.Tokens;
    if (beginsAgain && !tokens.empty() && CodeOf(tokens[0]) == kEnvironment) {
        tokens.push_back(TransactionChange(kBegun));
    }
    if (tokens.empty() || !IsDone(tokens.back())) {
        tokens.push_back(Done());
    }
    if (!request.Procedure.empty()) {
        for (Token& token : tokens) {
            token[0] = CodeOf(token) == kDone ? static_cast<char>(kDoneInProc) : token[0];
        }
        if (request.Procedure.starts_with("sp_prep")) {
            tokens.push_back(ReturnValue(Prepared.size()));
        }
        tokens.push_back(Number(kReturnStatus, 1) + Number(0, 4));
        tokens.push_back(AnyDone(kDoneProc, {}));
    }
    for (const Token& token : tokens) {
        InTransaction = IsChange(token, kBegun) || (InTransaction && !IsChange(token, kCommitted) &&
                                                    !IsChange(token, kRolledBack));
    }
    Silent = answer.Silent;
    if (!Silent) {
        Queue(Joined(std::move(tokens), NoCount), answer.After);
    }
    Cut = answer.Cut;
    if (Cut) {
        std::string& last = Pending.back().second;
        last.resize(last.size() / 2);
    }
}

void TdsServer::Session::Queue(std::string_view message, std::chrono::milliseconds after) {
    std::string packets;
    do {
        const std::string content(message.substr(0, kPacket - kHeader));
        message.remove_prefix(content.size());
        const std::size_t size = kHeader + content.size();
        packets += Number(kAnswer, 1) + Number(message.empty() ? 1 : 0, 1) + Number(size >> 8, 1) +
                   Number(size, 1) + Number(0, 4) + content;
    } while (!message.empty());
    const auto perByte = LoggedIn ? std::chrono::milliseconds(0) : Server.traits_.PerByte;
    const std::size_t step = perByte.count() == 0 ? packets.size() : 1;
    for (auto due = Clock::now() + after; !packets.empty(); due += perByte) {
        Pending.emplace_back(due, packets.substr(0, step));
        packets.erase(0, step);
    }
}

TdsServer::TdsServer(Script script, Traits traits)
    : script_(std::move(script)), traits_(std::move(traits)) {
    Start([this] { Serve(); });
}

std::vector<Request> TdsServer::Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

Answer TdsServer::Reply(const Request& request) {
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    std::optional<Answer> answer = script_(request);
    return answer ? *std::move(answer) : Answer{OwnAnswer(request, traits_.Language)};
}

void TdsServer::Serve() {
    std::map<int, Session> sessions;
    const auto listen = [&](int client, Event event, const std::string& bytes) {
        if (event == Event::Connected) {
            sessions.emplace(client, Session(*this, client));
        } else if (event == Event::Gone) {
            sessions.erase(client);
        } else {
            try {
                sessions.at(client).Hear(bytes);
            } catch (const std::exception& error) {
                ADD_FAILURE() << "not understood: " << error.what();
            }
        }
    };
    ServeClients(listen, [&] {
        for (auto& [client, session] : sessions) {
            session.Tick();
        }
    });
}

}  // namespace morvane::testing::tds
