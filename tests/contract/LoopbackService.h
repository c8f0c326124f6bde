// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace morvane::testing {

// A thread that serves connections to a free port of 127.0.0.1. The destructor ends it and closes
// all connections.
class LoopbackService {
  public:
    virtual ~LoopbackService() = default;
    LoopbackService(const LoopbackService&) = delete;
    LoopbackService& operator=(const LoopbackService&) = delete;

    // "127.0.0.1,port"
    std::string Server() const { return "127.0.0.1," + std::to_string(port_); }

  protected:
    LoopbackService();
    // Call these at the end of each constructor and at the start of each destructor.
    void Start(std::function<void()> serve);
    void Stop();
    // Body of `serve`: accepts clients, reports their events and calls `tick` in between, until the
    // service ends.
    enum class Event { Connected, Sent, Gone };
    using Listener = std::function<void(int client, Event event, const std::string& bytes)>;
    void ServeClients(const Listener& listener, const std::function<void()>& tick);

  private:
    int listener_ = -1;
    int stopSignal_ = -1;  // readable when the thread must end
    int stopTrigger_ = -1;
    int port_ = 0;
    std::thread thread_;
};

// A server that gives every client the same answer.
class ScriptedListener : public LoopbackService {
  public:
    struct Script {
        bool WaitsForClient = false;  // answers the first packet instead of the connection
        std::string Answer;
        bool Closes = false;  // after the answer; otherwise stays silent
    };
    explicit ScriptedListener(Script script);
    ~ScriptedListener() override { Stop(); }

    // A port without a listener.
    static std::string ClosedServer();

  private:
    void Serve();

    Script script_;
};

// Size of a TDS packet header: type, end of message, length (2 bytes) and four more.
constexpr std::size_t kHeader = 8;

// False if the peer does not read.
bool Send(int handle, std::string_view bytes);
// Removes and returns the first packet; empty if it is incomplete.
std::string TakePacket(std::string& bytes);

}  // namespace morvane::testing
