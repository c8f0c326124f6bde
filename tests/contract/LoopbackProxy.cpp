#include "contract/LoopbackProxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <system_error>

namespace morvane::testing {

namespace {

using SteadyClock = std::chrono::steady_clock;

// However a driver behaves, no connection of a test lives longer.
constexpr auto kLongestLife = std::chrono::seconds(15);
constexpr int kPollMilliseconds = 200;

// Of the protocol: a packet is a header of 8 bytes, in which the first tells the type and the third
// and fourth the length, and its contents.
constexpr std::size_t kHeader = 8;
constexpr char kTransactionPacket = 0x0E;
constexpr char kLoginPacket = 0x10;
constexpr std::size_t kTransactionRequest = kHeader + 22;  // after the headers of the request
constexpr char kCommit = 7;

sockaddr_in LoopbackAddress(int port, const std::string& host = "127.0.0.1") {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        throw std::invalid_argument("\"" + host + "\" is not an address of four numbers");
    }
    return address;
}

void RequireSuccess(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

int NewSocket() {
    const int handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    RequireSuccess(handle, "socket");
    // A peer that does not read must not hold the thread.
    const timeval limit{2, 0};
    setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    return handle;
}

int BoundPort(int handle) {
    sockaddr_in address = LoopbackAddress(0);
    socklen_t size = sizeof(address);
    RequireSuccess(bind(handle, reinterpret_cast<sockaddr*>(&address), size), "bind");
    RequireSuccess(getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size),
                   "getsockname");
    return ntohs(address.sin_port);
}

bool Send(int handle, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

// False at the end of the stream.
bool Receive(int handle, std::string& bytes) {
    std::array<char, 16384> buffer{};
    const ssize_t received = recv(handle, buffer.data(), buffer.size(), 0);
    if (received <= 0) {
        return false;
    }
    bytes.append(buffer.data(), static_cast<std::size_t>(received));
    return true;
}

// Takes the first packet off the bytes, if it is there as a whole.
std::string TakePacket(std::string& bytes) {
    if (bytes.size() < kHeader) {
        return {};
    }
    const std::size_t length = static_cast<unsigned char>(bytes[2]) * std::size_t{256} +
                               static_cast<unsigned char>(bytes[3]);
    if (length < kHeader || bytes.size() < length) {
        return {};
    }
    std::string packet = bytes.substr(0, length);
    bytes.erase(0, length);
    return packet;
}

void Spoil(std::string& bytes, std::size_t from) {
    for (std::size_t i = from; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
    }
}

}  // namespace

LoopbackService::LoopbackService() {
    listener_ = NewSocket();
    port_ = BoundPort(listener_);
    RequireSuccess(listen(listener_, 8), "listen");
    std::array<int, 2> ends{};
    RequireSuccess(pipe(ends.data()), "pipe");
    stopSignal_ = ends[0];
    stopTrigger_ = ends[1];
}

void LoopbackService::Start(std::function<void()> serve) {
    thread_ = std::thread(std::move(serve));
}

void LoopbackService::Stop() {
    close(stopTrigger_);
    thread_.join();
    close(stopSignal_);
    close(listener_);
}

ScriptedListener::ScriptedListener(Script script) : script_(std::move(script)) {
    Start([this] { Serve(); });
}

std::string ScriptedListener::ClosedServer() {
    const int handle = NewSocket();
    const int port = BoundPort(handle);
    close(handle);
    return "127.0.0.1," + std::to_string(port);
}

void ScriptedListener::Serve() {
    struct Client {
        int Handle;
        bool Answered;
    };
    std::vector<Client> clients;
    const auto end = SteadyClock::now() + kLongestLife;
    while (SteadyClock::now() < end) {
        std::vector<pollfd> polled = {{stopSignal_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Client& client : clients) {
            polled.push_back({client.Handle, POLLIN, 0});
        }
        poll(polled.data(), polled.size(), kPollMilliseconds);
        if (polled[0].revents != 0) {
            break;
        }
        for (std::size_t i = clients.size(); i-- > 0;) {
            std::string heard;
            const bool readable = polled[i + 2].revents != 0;
            if (readable && !Receive(clients[i].Handle, heard)) {
                close(clients[i].Handle);
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
                continue;
            }
            if (!clients[i].Answered && (readable || !script_.WaitsForClient)) {
                clients[i].Answered = true;
                Send(clients[i].Handle, script_.Answer);
                if (script_.Closes) {
                    shutdown(clients[i].Handle, SHUT_RDWR);
                }
            }
        }
        if (polled[1].revents != 0) {
            const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (accepted >= 0) {
                clients.push_back({accepted, false});
            }
        }
    }
    for (const Client& client : clients) {
        close(client.Handle);
    }
}

struct LoopbackProxy::Link {
    Link(int client, int server) : Client(client), Server(server) {}
    ~Link() {
        close(Client);
        close(Server);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    int Client;
    int Server;
    std::string Request;  // what has come of a packet of the client
    std::string Answer;
    bool Hit = false;  // by the fault
};

LoopbackProxy::LoopbackProxy(const std::string& target, Fault fault, Trigger trigger)
    : fault_(fault), trigger_(std::move(trigger)) {
    const std::size_t comma = target.find(',');
    host_ = target.substr(0, comma);
    targetPort_ = comma == std::string::npos ? 1433 : std::stoi(target.substr(comma + 1));
    LoopbackAddress(targetPort_, host_);
    Start([this] { Serve(); });
}

LoopbackProxy::~LoopbackProxy() {
    Stop();
}

void LoopbackProxy::Accept() {
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    const int server = NewSocket();
    links_.push_back(std::make_unique<Link>(client, server));
    sockaddr_in address = LoopbackAddress(targetPort_, host_);
    if (connect(server, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        links_.pop_back();
    }
}

void LoopbackProxy::Serve() {
    const auto end = SteadyClock::now() + kLongestLife;
    while (!lost_ && SteadyClock::now() < end) {
        std::vector<pollfd> polled = {{stopSignal_, POLLIN, 0}};
        const bool stalled = fired_ && fault_ == Fault::Stall;
        if (!stalled) {
            polled.push_back({listener_, POLLIN, 0});
            for (const auto& link : links_) {
                polled.push_back({link->Client, POLLIN, 0});
                polled.push_back({link->Server, POLLIN, 0});
            }
        }
        poll(polled.data(), polled.size(), kPollMilliseconds);
        if (polled[0].revents != 0) {
            break;
        }
        for (std::size_t i = (polled.size() - 1) / 2; !stalled && i-- > 0;) {
            Link& link = *links_[i];
            if ((polled[2 * i + 2].revents != 0 && !FromClient(link)) ||
                (polled[2 * i + 3].revents != 0 && !FromServer(link))) {
                links_.erase(links_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (!stalled && polled[1].revents != 0) {
            Accept();
        }
    }
    links_.clear();
    shutdown(listener_, SHUT_RDWR);
}

bool LoopbackProxy::FromClient(Link& link) {
    if (!Receive(link.Client, link.Request)) {
        return false;
    }
    while (!(fired_ && fault_ == Fault::Stall)) {
        const std::string packet = TakePacket(link.Request);
        if (packet.empty()) {
            break;
        }
        if (!fired_ && trigger_(packet)) {
            fired_ = link.Hit = true;
            if (fault_ == Fault::CutRequest) {
                lost_ = true;
                return false;
            }
            if (fault_ == Fault::Stall) {
                return true;
            }
        }
        if (!Send(link.Server, packet)) {
            return false;
        }
    }
    return true;
}

bool LoopbackProxy::FromServer(Link& link) {
    if (!Receive(link.Server, link.Answer)) {
        return false;
    }
    if (!link.Hit) {
        std::string bytes;
        bytes.swap(link.Answer);
        return Send(link.Client, bytes);
    }
    for (std::string packet; !(packet = TakePacket(link.Answer)).empty();) {
        if (fault_ == Fault::CutAnswer) {
            Send(link.Client, std::string_view(packet).substr(0, packet.size() / 2));
            lost_ = true;
            return false;
        }
        Spoil(packet, fault_ == Fault::Corrupt ? kHeader : 0);
        if (!Send(link.Client, packet)) {
            return false;
        }
    }
    return true;
}

LoopbackProxy::Trigger SendsText(std::string_view ascii) {
    std::string wide;
    for (const char c : ascii) {
        wide += c;
        wide += '\0';
    }
    return [wide](std::string_view packet) { return packet.find(wide) != std::string_view::npos; };
}

LoopbackProxy::Trigger CommitsAfter(std::string_view ascii) {
    return [sent = SendsText(ascii), seen = false](std::string_view packet) mutable {
        seen = seen || sent(packet);
        return seen && packet[0] == kTransactionPacket && packet.size() > kTransactionRequest &&
               packet[kTransactionRequest] == kCommit;
    };
}

LoopbackProxy::Trigger LogsIn(int number) {
    return [number, seen = 0](std::string_view packet) mutable {
        seen += packet[0] == kLoginPacket ? 1 : 0;
        return seen == number;
    };
}

}  // namespace morvane::testing
