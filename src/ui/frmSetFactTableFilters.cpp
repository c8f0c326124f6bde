// SPDX-License-Identifier: Apache-2.0
#include "ui/frmSetFactTableFilters.h"

#include <QFrame>
#include <QPushButton>
#include <QVBoxLayout>
#include <array>
#include <utility>

#include "dialogs/ServerLists.h"
#include "run/Environment.h"
#include "ui/ConditionsGrid.h"
#include "ui/ConnectionFields.h"
#include "ui/Controls.h"
#include "ui/ScrollPanel.h"

namespace morvane {

namespace {

constexpr std::array kDirections{
    "You can remove fact table data from the data warehouse and store it in an archive database. "
    "The records that meet the conditions are archived.",
    "- Specify the condition(s) per fact table.",
    "- To exclude a table from archiving, leave the Condition field empty.",
    "- Use single quotes for string values."};
constexpr const char* kExplanation =
    "Specify the connection settings of the archive database, where to store the removed fact "
    "table records.";

constexpr ConnectionCaptions kCaptions{"Archive &Server:",
                                       "Select the Server where the Data Warehouse resides",
                                       "",
                                       "Use &Windows NT Authentication",
                                       "Use S&QL login",
                                       "&Password:",
                                       "Archive &Database:"};

}  // namespace

frmSetFactTableFilters::frmSetFactTableFilters(RunState& state, RunServices& services,
                                               Browsing& browsing, QWidget* parent)
    : Window(services.Prompt, parent), state_(state), services_(services), browsing_(browsing) {
    setObjectName("frmSetFactTableFilters");
    setWindowTitle("Fact Table Conditions for Archiving");
    dgdFactTables_ = Named("dgdFactTables", new ConditionsGrid(this));
    archive_ = new ConnectionFields(kCaptions, this);
    auto* fraSeparator = Named("fraSeparator", new QFrame(this));
    fraSeparator->setFrameStyle(QFrame::HLine | QFrame::Sunken);

    auto* settings = new QWidget(this);
    auto* parts = new QVBoxLayout(settings);
    parts->setContentsMargins({});
    parts->addWidget(MakeDirections());
    parts->addWidget(dgdFactTables_, 1);
    parts->addWidget(fraSeparator);
    parts->addWidget(MakeText("lblExplanation", kExplanation, this));
    parts->addWidget(archive_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new ScrollPanel(settings, this), 1);
    layout->addWidget(MakeButtons());
    const int letter = fontMetrics().averageCharWidth();
    setMinimumWidth(80 * letter);
    ResizeOnScreen(*this, {125 * letter, 44 * fontMetrics().lineSpacing()});

    using Self = frmSetFactTableFilters;
    connect(dgdFactTables_, &ConditionsGrid::ConditionEdited, this, Safe(&Self::ChangeCondition));
    connect(archive_, &ConnectionFields::ServerChanged, this, Safe(&Self::ResetConnection));
    connect(archive_, &ConnectionFields::LoginKindChanged, this, Safe(&Self::ResetConnection));
    connect(archive_, &ConnectionFields::BrowseAsked, this, Safe(&Self::Browse));
    connect(archive_, &ConnectionFields::RefreshAsked, this, Safe(&Self::RefreshDatabases));
    connect(archive_, &ConnectionFields::DatabaseChosen, this, Safe(&Self::UpdateOK));
    Load();
}

QWidget* frmSetFactTableFilters::MakeDirections() {
    auto* directions = new QWidget(this);
    auto* layout = new QVBoxLayout(directions);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(fontMetrics().lineSpacing() / 4);
    for (std::size_t i = 0; i < kDirections.size(); ++i) {
        const QByteArray name = "lblDirections" + QByteArray::number(static_cast<int>(i));
        layout->addWidget(MakeText(name.constData(), kDirections.at(i), directions));
    }
    return directions;
}

QWidget* frmSetFactTableFilters::MakeButtons() {
    const DialogButtons buttons = MakeDialogButtons("&Cancel", this);
    cmdOK_ = buttons.cmdOK;
    connect(cmdOK_, &QPushButton::clicked, this, &frmSetFactTableFilters::accept);
    connect(buttons.cmdCancel, &QPushButton::clicked, this, &frmSetFactTableFilters::reject);
    return buttons.Box;
}

// If the conditions cannot be read, the window stays empty and nothing can be saved.
void frmSetFactTableFilters::Load() {
    if (TryBusy([this] { LoadConditions(); })) {
        TryBusy([this] { LoadArchive(); });
        TryBusy([this] {
            if (state_.WarehouseConnection->Login().NTAuthentication) {
                archive_->RuleOutSecureLogin();
            }
        });
    }
    UpdateOK();
}

void frmSetFactTableFilters::LoadConditions() {
    conditions_.emplace(*state_.WarehouseConnection);
    for (std::size_t row = 0; row < conditions_->Count(); ++row) {
        dgdFactTables_->AddTable(ToQString(conditions_->Table(row)),
                                 ToQString(conditions_->Condition(row)));
    }
    dgdFactTables_->FitColumns();
}

void frmSetFactTableFilters::LoadArchive() {
    const ArchiveSettings archive = state_.ConfigMode
                                        ? ArchiveSettingsOf(state_.GlobalSettings)
                                        : ReadArchiveSettings(*state_.WarehouseConnection);
    archive_->SetLogin(archive.Login);
    archive_->SetDatabase(archive.Database);
}

void frmSetFactTableFilters::UpdateOK() {
    cmdOK_->setEnabled(conditions_.has_value() && !archive_->Database().empty());
}

void frmSetFactTableFilters::ResetConnection() {
    archive_->ClearDatabases();
}

void frmSetFactTableFilters::Browse() {
    FinishEdit();
    const QString server = browsing_.BrowseForComputer("Select an archive server...", this,
                                                       ToQString(archive_->Login().Server));
    if (!server.isEmpty()) {
        archive_->SetServer(server);
    }
}

void frmSetFactTableFilters::RefreshDatabases() {
    FinishEdit();
    const std::string remembered = archive_->Database();
    archive_->ClearDatabases();
    std::vector<std::string> names;
    {
        const HourglassPointer pointer;
        const ServerLogin login = WithPassword(archive_->Login(), state_.Passwords.Archive);
        names =
            ArchiveDatabases(ListDatabases(services_.Connect, login), *state_.WarehouseConnection);
    }
    archive_->SetDatabases(names, remembered);
}

// The message is queued until the cell's editor is closed. A message box would take the focus from
// the editor, and the editor would then submit its text a second time.
void frmSetFactTableFilters::ChangeCondition(int row, const QString& condition) {
    const auto position = static_cast<std::size_t>(row);
    std::string errorText;
    bool accepted = false;
    {
        const HourglassPointer hourglass;
        accepted = conditions_->Change(position, ToText(condition), errorText);
    }
    if (!accepted) {
        refusal_ = errorText;
        QMetaObject::invokeMethod(this, Safe(&frmSetFactTableFilters::ShowRefusal),
                                  Qt::QueuedConnection);
    }
    dgdFactTables_->SetCondition(row, ToQString(conditions_->Condition(position)));
}

bool frmSetFactTableFilters::FinishEdit() {
    dgdFactTables_->FinishEdit();
    const bool refused = refusal_.has_value();
    ShowRefusal();
    return !refused;
}

void frmSetFactTableFilters::ShowRefusal() {
    if (const auto refusal = std::exchange(refusal_, std::nullopt)) {
        ShowMessage(*refusal, MessageStyle::Critical);
    }
}

void frmSetFactTableFilters::accept() {
    Try([this] { SaveAndClose(); });
}

void frmSetFactTableFilters::SaveAndClose() {
    if (!FinishEdit()) {
        return;
    }
    const ArchiveSettings archive{archive_->Login(), archive_->Database()};
    if (state_.ConfigMode) {
        PutArchiveSettings(archive, state_.GlobalSettings);
    } else {
        const HourglassPointer pointer;
        SaveArchiveSettings(*state_.WarehouseConnection, archive);
    }
    QDialog::accept();
}

void frmSetFactTableFilters::reject() {
    Try([this] {
        if (FinishEdit()) {
            QDialog::reject();
        }
    });
}

}  // namespace morvane
