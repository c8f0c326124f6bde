// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace morvane::testing {

// A thread that serves connections to a port of 127.0.0.1, its own or chosen by the system. It ends
// with the object, and every connection ends with it.
class LoopbackService {
  public:
    virtual ~LoopbackService() = default;
    LoopbackService(const LoopbackService&) = delete;
    LoopbackService& operator=(const LoopbackService&) = delete;

    // "127.0.0.1,port"
    std::string Server() const { return "127.0.0.1," + std::to_string(port_); }

  protected:
    LoopbackService();
    // To be called at the end of each constructor, and at the start of each destructor.
    void Start(std::function<void()> serve);
    void Stop();
    // For `serve`: accepts clients and tells what they do, and calls `tick` in between, until the
    // service ends.
    enum class Event { Connected, Sent, Gone };
    using Listener = std::function<void(int client, Event event, const std::string& bytes)>;
    void ServeClients(const Listener& listener, const std::function<void()>& tick);

  private:
    int listener_ = -1;
    int stopSignal_ = -1;  // readable once the thread is to end
    int stopTrigger_ = -1;
    int port_ = 0;
    std::thread thread_;
};

// A server that says the same to everybody.
class ScriptedListener : public LoopbackService {
  public:
    struct Script {
        bool WaitsForClient = false;  // answers the first packet, else the connection itself
        std::string Answer;
        bool Closes = false;  // after the answer; else it is silent from there on
    };
    explicit ScriptedListener(Script script);
    ~ScriptedListener() override { Stop(); }

    // A port at which nobody listens.
    static std::string ClosedServer();

  private:
    void Serve();

    Script script_;
};

// The protocol's packets have a header of 8 bytes, in which the first tells the type, the second
// whether a message ends here, and the third and fourth the length.
constexpr std::size_t kHeader = 8;

// False when the other side does not take them.
bool Send(int handle, std::string_view bytes);
// Takes the first packet off the bytes, if it is there as a whole.
std::string TakePacket(std::string& bytes);

}  // namespace morvane::testing
