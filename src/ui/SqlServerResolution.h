// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QTimer>
#include <QUdpSocket>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

// The servers that an answer of the SQL Server Resolution Protocol names: "host" for the default
// instance ("host,port" when it does not listen on 1433), else "host\instance". An answer that is
// malformed names none; an instance whose name cannot be one is left out.
std::vector<std::string> ParseServerAnswer(std::string_view datagram);

// Who is asked for instances.
struct SearchTargets {
    QList<QHostAddress> Broadcast;
    QList<QHostAddress> Direct;
    quint16 Port = 1434;
};

// Every network of this machine that can broadcast, and the machine itself.
SearchTargets TargetsOfThisMachine();

// Asks once and collects answers for two seconds. Nothing blocks, and without a network there are
// simply no answers.
class SqlServerResolution : public QObject {
    Q_OBJECT

  public:
    SqlServerResolution(const SearchTargets& targets, QObject* parent);

    void Start();

  signals:
    void Answered(const QString& server);
    void Finished();

  private:
    void ReadAnswers();
    bool Send(char request, const QList<QHostAddress>& addresses);
    void Stop();

    SearchTargets targets_;
    QUdpSocket* socket_;
    QTimer* end_;
};

}  // namespace morvane
