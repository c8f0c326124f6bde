#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

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

    int listener_ = -1;
    int stopSignal_ = -1;  // readable once the thread is to end

  private:
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

// Stands between a driver and a live server, passes the bytes of both and, at the client's packet
// for which the trigger says so, loses the server in one of several ways.
class LoopbackProxy : public LoopbackService {
  public:
    enum class Fault {
        CutRequest,  // the packet never arrives; all connections are gone and no new one is served
        CutAnswer,   // the packet arrives, the first half of the answer too, then the same
        Stall,       // nothing passes any more; all connections stay
        Corrupt,     // the answers' contents are changed, their packets' headers are not
        CorruptHeaders,  // everything in the answers is changed
    };
    // Sees each packet of a client, in the proxy's thread.
    using Trigger = std::function<bool(std::string_view packet)>;

    // To "host,port". Throws std::invalid_argument for another form.
    LoopbackProxy(const std::string& target, Fault fault, Trigger trigger);
    ~LoopbackProxy() override;

    bool Fired() const { return fired_; }

  private:
    struct Link;

    void Serve();
    void Accept();
    // False when the connection is at its end.
    bool FromClient(Link& link);
    bool FromServer(Link& link);

    std::string host_;
    int targetPort_ = 0;
    Fault fault_;
    Trigger trigger_;
    std::atomic<bool> fired_ = false;
    bool lost_ = false;
    std::vector<std::unique_ptr<Link>> links_;
};

// True for a packet that holds the text as the protocol writes it, two bytes a character.
LoopbackProxy::Trigger SendsText(std::string_view ascii);
// True for the commit of a transaction in which the text was sent.
LoopbackProxy::Trigger CommitsAfter(std::string_view ascii);
// True for the login number `number`, from 1.
LoopbackProxy::Trigger LogsIn(int number);

}  // namespace morvane::testing
