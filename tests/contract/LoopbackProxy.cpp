// SPDX-License-Identifier: Apache-2.0
#include "contract/LoopbackProxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace morvane::testing {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr char kTransactionPacket = 0x0E;
constexpr char kLoginPacket = 0x10;
constexpr std::size_t kTransactionRequest = kHeader + 22;  // after the headers of the request
constexpr char kCommit = 7;

void Spoil(std::string& bytes, std::size_t from) {
    for (std::size_t i = from; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
    }
}

}  // namespace

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
            if (fault_ == Fault::CutConnection) {
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
