// SPDX-License-Identifier: Apache-2.0
#include "ui/frmBrowseComputer.h"

#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QNetworkProxy>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>
#include <chrono>
#include <utility>

#include "db/embedded/EmbeddedConnection.h"
#include "ui/Controls.h"
#include "ui/ScrollPanel.h"

namespace morvane {

namespace {

constexpr int kServerRole = Qt::UserRole;
constexpr qsizetype kEmbeddedRow = 0;
constexpr int kMostServers = 1000;  // a hostile network could send any number
constexpr std::chrono::seconds kSearchTime{2};
constexpr int kAnswersPerEvent = 16;  // so that a flood of answers does not block the window

}  // namespace

ServerSources SourcesOfThisMachine(const DataSourceVariables& variables) {
    ServerSources sources;
    sources.Broadcast = {QHostAddress(QHostAddress::Broadcast)};
    sources.Direct = {QHostAddress(QHostAddress::LocalHost)};
    sources.Files = FindDataSourcePlaces(variables);
    for (const QNetworkInterface& network : QNetworkInterface::allInterfaces()) {
        if (!network.flags().testFlags(QNetworkInterface::IsUp | QNetworkInterface::CanBroadcast)) {
            continue;
        }
        for (const QNetworkAddressEntry& entry : network.addressEntries()) {
            if (!entry.broadcast().isNull() && !sources.Broadcast.contains(entry.broadcast())) {
                sources.Broadcast.append(entry.broadcast());
            }
        }
    }
    return sources;
}

frmBrowseComputer::frmBrowseComputer(UserPrompt& prompt, const QString& title,
                                     const ServerSources& sources, FolderChooser chooseFolder,
                                     QWidget* owner)
    : Window(prompt, owner), chooseFolder_(std::move(chooseFolder)) {
    setObjectName("frmBrowseComputer");
    setWindowTitle(title);
    MakeControls();
    for (const DataSource& source : ReadDataSources(sources.Files)) {
        const QString server = ToQString(source.Server);
        AddServer(ToQString(source.Name) + "  (" + server + ")", server);
    }
    Search(sources);
}

void frmBrowseComputer::MakeControls() {
    auto* layout = new QVBoxLayout(this);
    lstServers_ = Named("lstServers", new QListWidget(this));
    const int icon = style()->pixelMetric(QStyle::PM_SmallIconSize);
    lstServers_->setIconSize(QSize(icon, icon));  // the style's icons differ in size
    lstServers_->setSpacing(1);
    lstServers_->setToolTip("The servers that were found; double-click one to take it");
    lstServers_->addItem(new QListWidgetItem(style()->standardIcon(QStyle::SP_DirIcon),
                                             "Embedded warehouse folder..."));
    lstServers_->setCurrentRow(kEmbeddedRow);
    layout->addWidget(MakeLabel("lblServers", "&Servers:", lstServers_, this));
    layout->addWidget(lstServers_, 1);
    lblState_ = Named("lblState", new QLabel(this));
    layout->addWidget(lblState_);
    layout->addWidget(MakeButtons());

    connect(lstServers_, &QListWidget::itemSelectionChanged, this,
            Safe(&frmBrowseComputer::UpdateOK));
    connect(lstServers_, &QListWidget::itemDoubleClicked, this, &frmBrowseComputer::accept);
    ResizeOnScreen(*this, {fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 22});
}

QWidget* frmBrowseComputer::MakeButtons() {
    const DialogButtons buttons = MakeDialogButtons("&Cancel", this);
    cmdOK_ = buttons.cmdOK;
    cmdOK_->setToolTip("Take the selected server");
    buttons.cmdCancel->setToolTip("Close without taking a server");
    connect(cmdOK_, &QPushButton::clicked, this, &frmBrowseComputer::accept);
    connect(buttons.cmdCancel, &QPushButton::clicked, this, &frmBrowseComputer::reject);
    return buttons.Box;
}

void frmBrowseComputer::AddServer(const QString& text, const QString& server) {
    const int last = lstServers_->count();
    if (known_.contains(text.toLower()) || last > kMostServers) {
        return;
    }
    known_.insert(text.toLower());
    known_.insert(server.toLower());
    int row = kEmbeddedRow + 1;
    while (row < last && lstServers_->item(row)->text().compare(text, Qt::CaseInsensitive) < 0) {
        ++row;
    }
    auto* item = new QListWidgetItem(style()->standardIcon(QStyle::SP_ComputerIcon), text);
    item->setData(kServerRole, server);
    lstServers_->insertItem(row, item);
}

void frmBrowseComputer::UpdateOK() {
    cmdOK_->setEnabled(!lstServers_->selectedItems().isEmpty());
}

void frmBrowseComputer::Search(const ServerSources& sources) {
    lblState_->setText("Searching...");
    connect(&socket_, &QUdpSocket::readyRead, this, Safe(&frmBrowseComputer::ReadAnswers));
    socket_.setProxy(QNetworkProxy::NoProxy);
    const bool bound = socket_.bind(QHostAddress::AnyIPv4);
    const auto ask = [&](char request, const QList<QHostAddress>& addresses) {
        bool sent = false;
        for (const QHostAddress& address : addresses) {
            sent |= bound && socket_.writeDatagram(&request, 1, address, sources.Port) == 1;
        }
        return sent;
    };
    const bool askedNetworks = ask(kAskAllServers, sources.Broadcast);
    const bool askedHosts = ask(kAskOneServer, sources.Direct);
    QTimer::singleShot(askedNetworks || askedHosts ? kSearchTime : std::chrono::seconds(0), this,
                       Safe(&frmBrowseComputer::EndSearch));
}

void frmBrowseComputer::ReadAnswers() {
    for (int i = 0; i < kAnswersPerEvent && socket_.hasPendingDatagrams(); ++i) {
        for (const std::string& name :
             ParseServerAnswer(socket_.receiveDatagram().data().toStdString())) {
            const QString server = ToQString(name);
            AddServer(server, server);
        }
    }
}

void frmBrowseComputer::EndSearch() {
    socket_.close();
    const int found = lstServers_->count() - 1;
    lblState_->setText(found == 0   ? QString("No servers found.")
                       : found == 1 ? QString("1 server found.")
                                    : QString("%1 servers found.").arg(found));
}

void frmBrowseComputer::accept() {
    Try([this] { TakeSelected(); });
}

void frmBrowseComputer::TakeSelected() {
    const QList<QListWidgetItem*> selected = lstServers_->selectedItems();
    if (selected.isEmpty()) {
        return;
    }
    QString server = selected.front()->data(kServerRole).toString();
    if (lstServers_->row(selected.front()) == kEmbeddedRow) {
        const QString folder = chooseFolder_(this);
        if (folder.isEmpty()) {
            return;
        }
        server = ToQString(kEmbeddedPrefix) + folder;
    }
    chosen_ = server;
    QDialog::accept();
}

}  // namespace morvane
