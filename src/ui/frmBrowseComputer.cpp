// SPDX-License-Identifier: Apache-2.0
#include "ui/frmBrowseComputer.h"

#include <QDialogButtonBox>
#include <QStyle>
#include <QVBoxLayout>
#include <utility>

#include "db/embedded/EmbeddedConnection.h"
#include "ui/Controls.h"

namespace morvane {

namespace {

constexpr int kServerRole = Qt::UserRole;
constexpr qsizetype kEmbeddedRow = 0;
// More than a list can be used with; a hostile network could name servers without end.
constexpr int kMostServers = 1000;

}  // namespace

ServerSources SourcesOfThisMachine() {
    return {TargetsOfThisMachine(),
            FindDataSourcePlaces([](const char* name) { return qgetenv(name).toStdString(); })};
}

frmBrowseComputer::frmBrowseComputer(const QString& title, const ServerSources& sources,
                                     FolderChooser chooseFolder, QWidget* owner)
    : QDialog(owner), chooseFolder_(std::move(chooseFolder)) {
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
    lstServers_->setIconSize(QSize(icon, icon));  // a style has them in different sizes
    lstServers_->setSpacing(1);
    lstServers_->setToolTip("The servers that were found; double-click one to take it");
    lstServers_->addItem(new QListWidgetItem(style()->standardIcon(QStyle::SP_DirIcon),
                                             "Embedded warehouse folder..."));
    layout->addWidget(MakeLabel("lblServers", "&Servers:", lstServers_, this));
    layout->addWidget(lstServers_, 1);
    lblState_ = Named("lblState", new QLabel(this));
    layout->addWidget(lblState_);
    layout->addWidget(MakeButtons());

    connect(lstServers_, &QListWidget::itemSelectionChanged, this,
            [this] { cmdOK_->setEnabled(!lstServers_->selectedItems().isEmpty()); });
    connect(lstServers_, &QListWidget::itemDoubleClicked, this, &frmBrowseComputer::accept);
    resize(fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 22);
}

QWidget* frmBrowseComputer::MakeButtons() {
    auto* buttons = new QDialogButtonBox(this);
    cmdOK_ = Named("cmdOK", new QPushButton("OK", buttons));
    auto* cmdCancel = Named("cmdCancel", new QPushButton("&Cancel", buttons));
    buttons->addButton(cmdOK_, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK_->setToolTip("Take the selected server");
    cmdOK_->setDefault(true);
    cmdOK_->setEnabled(false);
    cmdCancel->setToolTip("Close without taking a server");
    connect(buttons, &QDialogButtonBox::accepted, this, &frmBrowseComputer::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &frmBrowseComputer::reject);
    return buttons;
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

void frmBrowseComputer::Search(const ServerSources& sources) {
    lblState_->setText("Searching...");
    auto* search = new SqlServerResolution(sources.Network, this);
    connect(search, &SqlServerResolution::Answered, this,
            [this](const QString& server) { AddServer(server, server); });
    connect(search, &SqlServerResolution::Finished, this, &frmBrowseComputer::ShowHowMany);
    search->Start();
}

void frmBrowseComputer::ShowHowMany() {
    const int found = lstServers_->count() - 1;
    lblState_->setText(found == 0   ? QString("No servers found.")
                       : found == 1 ? QString("1 server found.")
                                    : QString("%1 servers found.").arg(found));
}

void frmBrowseComputer::accept() {
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
