// SPDX-License-Identifier: Apache-2.0
#include "contract/LoopbackService.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <set>
#include <stdexcept>
#include <system_error>

namespace morvane::testing {

namespace {

void RequireSuccess(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// Upper bound for a connection in a test, whatever the driver does.
constexpr auto kLongestLife = std::chrono::seconds(60);
constexpr int kPollMilliseconds = 50;

int BoundPort(int handle) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    RequireSuccess(bind(handle, reinterpret_cast<sockaddr*>(&address), size), "bind");
    RequireSuccess(getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size),
                   "getsockname");
    return ntohs(address.sin_port);
}

int NewSocket() {
    const int handle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    RequireSuccess(handle, "socket");
    // Do not block on a peer that does not read.
    const timeval limit{2, 0};
    setsockopt(handle, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    return handle;
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

}  // namespace

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

void LoopbackService::ServeClients(const Listener& listener, const std::function<void()>& tick) {
    std::vector<int> clients;
    const auto end = std::chrono::steady_clock::now() + kLongestLife;
    while (std::chrono::steady_clock::now() < end) {
        std::vector<pollfd> polled = {{stopSignal_, POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const int client : clients) {
            polled.push_back({client, POLLIN, 0});
        }
        poll(polled.data(), polled.size(), kPollMilliseconds);
        if (polled[0].revents != 0) {
            break;
        }
        for (std::size_t i = clients.size(); i-- > 0;) {
            std::string sent;
            if (polled[i + 2].revents == 0) {
                continue;
            }
            if (Receive(clients[i], sent)) {
                listener(clients[i], Event::Sent, sent);
            } else {
                listener(clients[i], Event::Gone, {});
                close(clients[i]);
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (polled[1].revents != 0) {
            const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (accepted >= 0) {
                clients.push_back(accepted);
                listener(accepted, Event::Connected, {});
            }
        }
        tick();
    }
    for (const int client : clients) {
        close(client);
    }
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
    std::set<int> answered;
    const auto listen = [&](int client, Event event, const std::string&) {
        if (event == Event::Gone) {
            answered.erase(client);
        } else if ((event == Event::Sent || !script_.WaitsForClient) &&
                   answered.insert(client).second) {
            Send(client, script_.Answer);
            if (script_.Closes) {
                shutdown(client, SHUT_RDWR);
            }
        }
    };
    ServeClients(listen, [] {});
}

}  // namespace morvane::testing
