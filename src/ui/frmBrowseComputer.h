// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QHostAddress>
#include <QLabel>
#include <QList>
#include <QListWidget>
#include <QPushButton>
#include <QSet>
#include <QString>
#include <QUdpSocket>
#include <functional>

#include "dialogs/ServerLists.h"
#include "ui/Messages.h"

namespace morvane {

// Where to look for servers.
struct ServerSources {
    QList<QHostAddress> Broadcast;  // networks
    QList<QHostAddress> Direct;     // single hosts
    quint16 Port = 1434;            // of the SQL Server Resolution Protocol
    DataSourcePlaces Files;
};

// This machine, its configuration files, and every network on which it can broadcast.
ServerSources SourcesOfThisMachine(const DataSourceVariables& variables);

// Lists the servers to choose from: the folder of an embedded warehouse, the data sources of this
// machine, and the servers that answer on the network. Answers are added while the list is shown.
class frmBrowseComputer : public Window {
    Q_OBJECT

  public:
    // Asks for a folder in a dialog over `owner`. Returns an empty text if the user cancels.
    using FolderChooser = std::function<QString(QWidget* owner)>;

    frmBrowseComputer(UserPrompt& prompt, const QString& title, const ServerSources& sources,
                      FolderChooser chooseFolder, QWidget* owner);

    // The name of the accepted server.
    const QString& Chosen() const { return chosen_; }

    void accept() override;

  private:
    void MakeControls();
    QWidget* MakeButtons();
    void AddServer(const QString& text, const QString& server);
    void Search(const ServerSources& sources);
    void ReadAnswers();
    void EndSearch();
    void UpdateOK();
    void TakeSelected();

    QListWidget* lstServers_ = nullptr;
    QLabel* lblState_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QUdpSocket socket_;
    QSet<QString> known_;  // listed texts and servers, in lower case
    FolderChooser chooseFolder_;
    QString chosen_;
};

}  // namespace morvane
