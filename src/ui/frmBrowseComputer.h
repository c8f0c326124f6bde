// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSet>
#include <QString>
#include <functional>

#include "dialogs/DataSources.h"
#include "ui/SqlServerResolution.h"

namespace morvane {

// Where servers are looked for.
struct ServerSources {
    SearchTargets Network;
    DataSourcePlaces Files;
};

ServerSources SourcesOfThisMachine();

// A list of the servers that can be found: an embedded warehouse's folder to be chosen, the data
// sources of this machine, and what answers on the network while the list is already in use.
class frmBrowseComputer : public QDialog {
    Q_OBJECT

  public:
    // Asks for a folder, over the window it gets; empty when the user cancels.
    using FolderChooser = std::function<QString(QWidget* owner)>;

    frmBrowseComputer(const QString& title, const ServerSources& sources,
                      FolderChooser chooseFolder, QWidget* owner);

    // What was accepted, as the name of a server.
    const QString& Chosen() const { return chosen_; }

    void accept() override;

  private:
    void MakeControls();
    QWidget* MakeButtons();
    void AddServer(const QString& text, const QString& server);
    void Search(const ServerSources& sources);
    void ShowHowMany();

    QListWidget* lstServers_ = nullptr;
    QLabel* lblState_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
    QSet<QString> known_;  // texts and servers that are listed, in lower case
    FolderChooser chooseFolder_;
    QString chosen_;
};

}  // namespace morvane
