// SPDX-License-Identifier: Apache-2.0
// A TCP proxy on the loopback interface that delays each direction by a fixed time and counts round
// trips.
//
//     morvane-delay-proxy <server> <port> <milliseconds one way>
//
// prints the port it listens on and, on SIGTERM, the numbers of connections, round trips, and bytes
// to and from the server.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

constexpr std::size_t kChunkSize = 65536;

volatile std::sig_atomic_t stopped = 0;

void Stop(int /*signal*/) {
    stopped = 1;
}

void Require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

// Disables Nagle's algorithm, which would add delays of its own.
void SendAtOnce(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

struct Socket {
    explicit Socket(int number) : Number(number) {}
    ~Socket() { close(Number); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Number;
};

// One direction of a connection: a queue of chunks with their arrival times. An empty chunk marks
// the end of the stream.
class Stream {
  public:
    Stream(int from, int to) : from_(from), to_(to) {}

    bool IsReading() const { return !ended_; }
    bool HasQueued() const { return !chunks_.empty(); }
    bool IsOver() const { return ended_ && chunks_.empty(); }
    Clock::time_point Due() const { return chunks_.front().Due; }
    int From() const { return from_; }
    int To() const { return to_; }

    // Returns the number of bytes received, 0 at the end of the stream.
    std::size_t Receive(Clock::time_point due) {
        std::array<char, kChunkSize> bytes;
        const ssize_t count = recv(from_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return 0;
        }
        ended_ = count <= 0;
        const auto size = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        chunks_.push_back({due, std::string(bytes.data(), size)});
        return size;
    }

    // Forwards the chunks that are due. Returns the number of bytes.
    std::size_t Forward(Clock::time_point now) {
        std::size_t passed = 0;
        while (!chunks_.empty() && chunks_.front().Due <= now) {
            std::string& bytes = chunks_.front().Bytes;
            if (bytes.empty()) {
                shutdown(to_, SHUT_WR);
            }
            const ssize_t count =
                send(to_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
                break;
            }
            if (count < 0) {  // The receiver has closed the connection.
                ended_ = true;
                chunks_.clear();
                break;
            }
            passed += static_cast<std::size_t>(count);
            bytes.erase(0, static_cast<std::size_t>(count));
            if (!bytes.empty()) {
                break;
            }
            chunks_.pop_front();
        }
        return passed;
    }

  private:
    struct Chunk {
        Clock::time_point Due;
        std::string Bytes;
    };

    int from_;
    int to_;
    bool ended_ = false;
    std::deque<Chunk> chunks_;
};

struct Counts {
    long Connections = 0;
    long RoundTrips = 0;
    std::size_t ToServer = 0;
    std::size_t FromServer = 0;
};

class Link {
  public:
    Link(int client, int server, Clock::time_point established)
        : client_(client),
          server_(server),
          established_(established),
          up_(client, server),
          down_(server, client) {}

    Stream& Up() { return up_; }
    Stream& Down() { return down_; }
    bool IsOver() const { return up_.IsOver() || down_.IsOver(); }

    void FromClient(nanoseconds delay, Counts& counts) {
        const std::size_t count = up_.Receive(std::max(Clock::now(), established_) + delay);
        counts.ToServer += count;
        if (count > 0 && clientsTurn_) {
            ++counts.RoundTrips;
            clientsTurn_ = false;
        }
    }

    void FromServer(nanoseconds delay, Counts& counts) {
        counts.FromServer += down_.Receive(Clock::now() + delay);
    }

    void Forward(Clock::time_point now) {
        up_.Forward(now);
        clientsTurn_ = down_.Forward(now) > 0 || clientsTurn_;
    }

  private:
    Socket client_;
    Socket server_;
    Clock::time_point established_;
    Stream up_;
    Stream down_;
    bool clientsTurn_ = true;
};

class DelayProxy {
  public:
    DelayProxy(const char* server, const char* port, nanoseconds delay)
        : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), delay_(delay) {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        Require(getaddrinfo(server, port, &hints, &target_) == 0, "Unknown server name.");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        Require(
            bind(listener_.Number, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                listen(listener_.Number, 16) == 0,
            "Cannot listen.");
    }
    ~DelayProxy() { freeaddrinfo(target_); }
    DelayProxy(const DelayProxy&) = delete;
    DelayProxy& operator=(const DelayProxy&) = delete;

    int Port() const {
        sockaddr_in address{};
        socklen_t size = sizeof(address);
        Require(getsockname(listener_.Number, reinterpret_cast<sockaddr*>(&address), &size) == 0,
                "Cannot determine the port.");
        return ntohs(address.sin_port);
    }

    // Runs until SIGTERM, which the signal mask `waiting` admits while polling.
    void Serve(const sigset_t& waiting) {
        while (stopped == 0) {
            Wait(waiting);
            for (const auto& link : links_) {
                link->Forward(Clock::now());
            }
            std::erase_if(links_, [](const auto& link) { return link->IsOver(); });
        }
    }

    const Counts& Result() const { return counts_; }

  private:
    void Accept();
    void Wait(const sigset_t& waiting);

    Socket listener_;
    nanoseconds delay_;
    addrinfo* target_ = nullptr;
    std::vector<std::unique_ptr<Link>> links_;
    Counts counts_;
};

// On a network, connecting takes a round trip. Here the kernel has already accepted the connection,
// so the first bytes are delayed instead.
void DelayProxy::Accept() {
    const int client = accept4(listener_.Number, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    const auto established = Clock::now() + 2 * delay_;
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto link = std::make_unique<Link>(client, server, established);
    if (connect(server, target_->ai_addr, target_->ai_addrlen) == 0) {
        SendAtOnce(client);
        SendAtOnce(server);
        links_.push_back(std::move(link));
        ++counts_.Connections;
    }
}

// Sleeps until bytes arrive or are due, and receives those that arrived.
void DelayProxy::Wait(const sigset_t& waiting) {
    const auto now = Clock::now();
    auto due = now + std::chrono::hours(1);
    std::vector<pollfd> polled = {{listener_.Number, POLLIN, 0}};
    std::vector<Link*> owners = {nullptr};
    for (const auto& link : links_) {
        for (Stream* stream : {&link->Up(), &link->Down()}) {
            if (stream->IsReading()) {
                polled.push_back({stream->From(), POLLIN, 0});
                owners.push_back(link.get());
            }
            if (!stream->HasQueued()) {
                continue;
            }
            if (stream->Due() <= now) {  // The receiver accepted only a part.
                polled.push_back({stream->To(), POLLOUT, 0});
                owners.push_back(nullptr);
            } else {
                due = std::min(due, stream->Due());
            }
        }
    }
    const auto left = std::chrono::duration_cast<nanoseconds>(due - now).count();
    const timespec timeout = {left / 1'000'000'000, left % 1'000'000'000};
    if (ppoll(polled.data(), polled.size(), &timeout, &waiting) <= 0) {
        return;
    }
    for (std::size_t i = 1; i < polled.size(); ++i) {
        if (polled[i].revents == 0 || owners[i] == nullptr) {
            continue;
        }
        if (polled[i].fd == owners[i]->Up().From()) {
            owners[i]->FromClient(delay_, counts_);
        } else {
            owners[i]->FromServer(delay_, counts_);
        }
    }
    if (polled[0].revents != 0) {
        Accept();
    }
}

int Run(char** arguments) {
    const double milliseconds = std::stod(arguments[3]);
    DelayProxy proxy(arguments[1], arguments[2],
                     nanoseconds(static_cast<std::int64_t>(milliseconds * 1e6)));
    sigset_t blocked;
    sigset_t waiting;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &waiting);
    struct sigaction action {};
    action.sa_handler = Stop;
    sigaction(SIGTERM, &action, nullptr);
    // The default slack is a tenth of the shortest delay.
    prctl(PR_SET_TIMERSLACK, 1000UL, 0UL, 0UL, 0UL);
    std::printf("%d\n", proxy.Port());
    std::fflush(stdout);
    proxy.Serve(waiting);
    const Counts& counts = proxy.Result();
    std::printf("%ld %ld %zu %zu\n", counts.Connections, counts.RoundTrips, counts.ToServer,
                counts.FromServer);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("morvane-delay-proxy <server> <port> <milliseconds one way>\n", stderr);
        return 2;
    }
    try {
        return Run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
