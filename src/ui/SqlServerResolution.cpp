// SPDX-License-Identifier: Apache-2.0
#include "ui/SqlServerResolution.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QNetworkProxy>
#include <algorithm>
#include <chrono>

#include "base/Text.h"
#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr char kAskEverybody = 0x02;
constexpr char kAskOne = 0x03;
constexpr char kAnswer = 0x05;
constexpr std::size_t kHeaderSize = 3;
constexpr std::size_t kLongestName = 255;
constexpr std::string_view kDefaultPort = "1433";
constexpr std::chrono::seconds kSearchTime{2};
// A flood of answers must leave the window its turn.
constexpr int kAnswersATurn = 16;

// Anybody on the network can answer. Letters beyond ASCII come in a code page that no answer
// tells, and a ":" or "/" could make the name mean something else than a server.
bool IsPlainName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName &&
           std::all_of(name.begin(), name.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                      std::string_view("-_.$#").find(c) != std::string_view::npos;
           });
}

bool IsPort(std::string_view text) {
    return !text.empty() && text.size() <= 5 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// One instance: "key;value;key;value". Empty when it names no usable server.
std::string ServerOf(std::string_view record) {
    const std::vector<std::string> pieces = Split(record, ';');
    const auto value = [&](std::string_view key) {
        for (std::size_t i = 0; i + 1 < pieces.size(); i += 2) {
            if (EqualsIgnoreCase(pieces[i], key)) {
                return pieces[i + 1];
            }
        }
        return std::string();
    };
    const std::string host = value("ServerName");
    const std::string instance = value("InstanceName");
    if (!IsPlainName(host) || !IsPlainName(instance)) {
        return {};
    }
    if (!EqualsIgnoreCase(instance, "MSSQLSERVER")) {
        return host + "\\" + instance;
    }
    const std::string port = value("tcp");
    return IsPort(port) && port != kDefaultPort ? host + "," + port : host;
}

}  // namespace

std::vector<std::string> ParseServerAnswer(std::string_view datagram) {
    if (datagram.size() < kHeaderSize || datagram[0] != kAnswer) {
        return {};
    }
    const std::size_t length =
        static_cast<unsigned char>(datagram[1]) +
        static_cast<std::size_t>(static_cast<unsigned char>(datagram[2])) * 256;
    std::string_view rest = datagram.substr(kHeaderSize);
    if (length != rest.size()) {
        return {};
    }
    std::vector<std::string> servers;
    // A record without its end was cut off.
    for (std::size_t end = rest.find(";;"); end != rest.npos; end = rest.find(";;")) {
        if (std::string server = ServerOf(rest.substr(0, end)); !server.empty()) {
            servers.push_back(std::move(server));
        }
        rest.remove_prefix(end + 2);
    }
    return servers;
}

SearchTargets TargetsOfThisMachine() {
    SearchTargets targets;
    targets.Direct = {QHostAddress(QHostAddress::LocalHost)};
    targets.Broadcast = {QHostAddress(QHostAddress::Broadcast)};
    for (const QNetworkInterface& network : QNetworkInterface::allInterfaces()) {
        if (!network.flags().testFlags(QNetworkInterface::IsUp | QNetworkInterface::CanBroadcast)) {
            continue;
        }
        for (const QNetworkAddressEntry& entry : network.addressEntries()) {
            if (!entry.broadcast().isNull() && !targets.Broadcast.contains(entry.broadcast())) {
                targets.Broadcast.append(entry.broadcast());
            }
        }
    }
    return targets;
}

SqlServerResolution::SqlServerResolution(const SearchTargets& targets, QObject* parent)
    : QObject(parent), targets_(targets), socket_(new QUdpSocket(this)), end_(new QTimer(this)) {
    socket_->setProxy(QNetworkProxy::NoProxy);
    end_->setSingleShot(true);
    connect(socket_, &QUdpSocket::readyRead, this, &SqlServerResolution::ReadAnswers);
    connect(end_, &QTimer::timeout, this, &SqlServerResolution::Stop);
}

void SqlServerResolution::Start() {
    const bool bound = socket_->bind(QHostAddress::AnyIPv4);
    const bool everybody = bound && Send(kAskEverybody, targets_.Broadcast);
    const bool single = bound && Send(kAskOne, targets_.Direct);
    end_->start(everybody || single ? kSearchTime : std::chrono::seconds(0));
}

bool SqlServerResolution::Send(char request, const QList<QHostAddress>& addresses) {
    bool sent = false;
    for (const QHostAddress& address : addresses) {
        sent |= socket_->writeDatagram(&request, 1, address, targets_.Port) == 1;
    }
    return sent;
}

void SqlServerResolution::ReadAnswers() {
    for (int i = 0; i < kAnswersATurn && socket_->hasPendingDatagrams(); ++i) {
        try {
            const QByteArray answer = socket_->receiveDatagram().data();
            for (const std::string& server :
                 ParseServerAnswer({answer.data(), static_cast<std::size_t>(answer.size())})) {
                emit Answered(ToQString(server));
            }
        } catch (const std::bad_alloc&) {
            // As an answer that was lost on its way.
        }
    }
}

void SqlServerResolution::Stop() {
    socket_->close();
    emit Finished();
}

}  // namespace morvane
