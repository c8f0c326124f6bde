// SPDX-License-Identifier: Apache-2.0
#include "ui/frmMain.h"

#include <QApplication>
#include <QCloseEvent>
#include <QTimer>
#include <optional>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "core/ErrorTrap.h"
#include "db/modCheckMetaData.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/ConfigFile.h"
#include "run/ArchiveDetails.h"
#include "run/CommandLine.h"
#include "run/ConsoleProgress.h"
#include "run/LoginPasswords.h"
#include "run/OutputFiles.h"
#include "run/RunTasks.h"
#include "run/ValidateSettings.h"
#include "ui/Slots.h"
#include "ui/frmSetFactTableFilters.h"
#include "ui/frmSustainRec.h"

namespace morvane {

namespace {

constexpr auto kCheck = &RunSettings::CheckMetaData;
constexpr auto kArchive = &RunSettings::ArchiveFactTables;
constexpr auto kDelete = &RunSettings::DeleteMarked;
constexpr auto kAtomic = &RunSettings::AtomicDeletion;

}  // namespace

frmMain::frmMain(RunState& state, RunServices& services, Browsing& browsing, QWidget* parent)
    : QDialog(parent),
      state_(state),
      services_(services),
      browsing_(browsing),
      session_(state, services.Connect, services.Prompt),
      leaveOnExit_([this] { session_.Leave(); }) {
    MakeControls();
    ResetConnectionState();
    if (state_.ConfigMode) {
        LoadSettings();
    }
    UpdateAtomicDeletion();
    CheckBox(kCheck).setChecked(true);
    ConnectHandlers();
    services_.HideMainWindow = [this] { hide(); };
}

frmMain::~frmMain() {
    services_.HideMainWindow = {};
}

void frmMain::ConnectHandlers() {
    const auto reset = Guarded(&frmMain::ResetConnectionState);
    connect(fields_, &ConnectionFields::ServerChanged, this, reset);
    connect(fields_, &ConnectionFields::LoginKindChanged, this, reset);
    connect(fields_, &ConnectionFields::CredentialsChanged, this, reset);
    connect(fields_, &ConnectionFields::BrowseAsked, this, Guarded(&frmMain::cmdServer_Click));
    connect(fields_, &ConnectionFields::RefreshAsked, this, Guarded(&frmMain::cmdDBRefresh_Click));
    for (QCheckBox* box : chkOptions_) {
        connect(box, &QCheckBox::toggled, this, Guarded(&frmMain::chkOptions_Click));
    }
    connect(txtLogFile_, &QLineEdit::textChanged, this, Guarded(&frmMain::UpdateProcessButton));
    connect(cmdLogFile_, &QPushButton::clicked, this, Guarded(&frmMain::cmdLogFile_Click));
    connect(cmdFacts_, &QPushButton::clicked, this, Guarded(&frmMain::cmdFacts_Click));
    connect(cmdDimensions_, &QPushButton::clicked, this, Guarded(&frmMain::cmdDimensions_Click));
    connect(cmdProcess_, &QPushButton::clicked, this, Guarded(&frmMain::cmdProcess_Click));
    connect(cmdClose_, &QPushButton::clicked, this, Guarded(&frmMain::cmdClose_Click));
}

std::function<void()> frmMain::Guarded(void (frmMain::*handler)()) {
    return [this, handler] {
        RunSlot(services_.Prompt, [&] {
            const bool done = TrapErrors(state_.ErrorText, [&] {
                (this->*handler)();
                return true;
            });
            if (!done) {
                session_.ShowErrors();
            }
        });
    };
}

// ---- Loading

// The window is there before it waits for a server.
void frmMain::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!loaded_) {
        loaded_ = true;
        QTimer::singleShot(0, this, Guarded(&frmMain::Form_Load));
    }
}

void frmMain::Form_Load() {
    if (state_.ConfigMode) {
        TryConnection();
    }
    UpdateProcessButton();
}

void frmMain::LoadSettings() {
    const RunSettings& given = state_.GlobalSettings;
    fields_->SetLogin(given.WarehouseLogin());
    fields_->SetDatabase(given.Database);
    for (const Task& task : kTasks) {
        CheckBox(task.Flag).setChecked(given.*task.Flag &&
                                       (task.VariantOf == nullptr || given.*task.VariantOf));
    }
    txtLogFile_->setText(ToQString(given.LogDirectory));
}

ServerLogin frmMain::Login() const {
    return WithPassword(fields_->Login(), state_.Passwords.Warehouse);
}

void frmMain::TryConnection() {
    const ServerLogin login = Login();
    const std::string database = fields_->Database();
    if (Trim(login.Server).empty() || Trim(database).empty()) {
        return;
    }
    std::unique_ptr<Connection> connection;
    {
        const HourglassPointer pointer;
        connected_ =
            ConnectDatabase(services_.Connect, login, connection, state_.ErrorText, database);
    }
    if (connected_) {
        EnableWarehouseButtons();
    } else {
        session_.ShowErrors();
    }
}

// ---- States

void frmMain::chkOptions_Click() {
    UpdateAtomicDeletion();
    UpdateProcessButton();
}

void frmMain::UpdateAtomicDeletion() {
    const bool deletes = IsChecked(kDelete);
    if (!deletes) {
        CheckBox(kAtomic).setChecked(false);
    }
    CheckBox(kAtomic).setEnabled(deletes);
}

void frmMain::ResetConnectionState() {
    connected_ = false;
    for (QPushButton* button : {cmdProcess_, cmdFacts_, cmdDimensions_}) {
        DisableObject(*button);
    }
    fields_->ClearDatabases();
}

void frmMain::EnableWarehouseButtons() {
    EnableObject(*cmdFacts_);
    EnableObject(*cmdDimensions_);
}

void frmMain::UpdateProcessButton() {
    const bool lacksArchive = state_.ConfigMode && IsChecked(kArchive) &&
                              Trim(state_.GlobalSettings.ArchiveDatabase).empty();
    const bool ready =
        !lacksArchive && connected_ && FolderExists(Trim(ToText(txtLogFile_->text())));
    ready ? EnableObject(*cmdProcess_) : DisableObject(*cmdProcess_);
}

// The user may have made the folder, or removed it, in another program.
void frmMain::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        RunSlot(services_.Prompt, [this] { UpdateProcessButton(); });
    }
}

// ---- Choosing

void frmMain::cmdServer_Click() {
    const QString server = browsing_.BrowseForComputer("Select a server...", this);
    if (!server.isEmpty()) {
        fields_->SetServer(server);
    }
}

void frmMain::cmdDBRefresh_Click() {
    const std::string remembered = fields_->Database();
    ResetConnectionState();
    DatabaseList list;
    bool listed = false;
    {
        const HourglassPointer pointer;
        listed = ListDatabases(services_.Connect, Login(), list, state_.ErrorText);
    }
    if (!listed) {
        session_.ShowErrors();
        return;
    }
    if (!list.Names.empty()) {
        fields_->SetDatabases(list.Names, remembered);
        connected_ = true;
        EnableWarehouseButtons();
        UpdateProcessButton();
    }
}

void frmMain::cmdLogFile_Click() {
    const QString entered = txtLogFile_->text();
    const std::string folder(Trim(ToText(entered)));
    if (!folder.empty() && !FolderExists(folder)) {
        const std::error_code error = CheckFolder(folder);
        ShowMessage(error == std::errc::permission_denied
                        ? "The entered folder cannot be used: " + error.message()
                        : "Entered Folder doesnt exist.");
        return;
    }
    const QString chosen = browsing_.BrowseForFolder(this, "Select Log Directory", entered);
    if (!chosen.isEmpty()) {
        txtLogFile_->setText(chosen);
    }
}

// ---- The dialogs

bool frmMain::PrepareWarehouse(WarehouseSession::LastUser lastUser) {
    const HourglassPointer pointer;
    return session_.Prepare(Login(), fields_->Database(), lastUser);
}

void frmMain::cmdFacts_Click() {
    if (!PrepareWarehouse(WarehouseSession::LastUser::NotAsked) || !ArchiveTableReady()) {
        return;
    }
    frmSetFactTableFilters dialog(state_, services_, browsing_, this);
    dialog.exec();
    UpdateProcessButton();
}

// In configuration mode the archive's settings are in the file and not in the warehouse.
bool frmMain::ArchiveTableReady() {
    Connection& warehouse = *state_.WarehouseConnection;
    const bool ready = TrapErrors(state_.ErrorText, [&] {
        if (IsChecked(kCheck) && !warehouse.TableExists("dwm_tables")) {
            state_.ErrorText = "Table 'dwm_tables' does not exist in Datawarehouse Database";
            return false;
        }
        if (!state_.ConfigMode && !warehouse.TableExists("dwm_archive")) {
            CreateArchiveTable(warehouse);
        }
        return true;
    });
    if (!ready) {
        session_.CloseWarehouse();
        session_.ShowErrors();
    }
    return ready;
}

void frmMain::cmdDimensions_Click() {
    if (!PrepareWarehouse(WarehouseSession::LastUser::NotAsked)) {
        return;
    }
    if (IsChecked(kCheck)) {
        std::optional<HourglassPointer> pointer(std::in_place);
        ConsoleProgress silent(services_.Errors, 0, [] { return false; });
        const bool passed = CheckTablesTable(state_, silent) == Outcome::Done;
        pointer.reset();
        if (!passed) {
            session_.ShowErrors();
            return;
        }
    }
    frmSustainRec dialog(state_, services_, this);
    dialog.exec();
}

// ---- The run

void frmMain::cmdProcess_Click() {
    if (Trim(ToText(txtLogFile_->text())).empty()) {
        ShowMessage("Please enter Log Directory");
        return;
    }
    if (!PrepareWarehouse(WarehouseSession::LastUser::Asked)) {
        return;
    }
    RunSettings settings = ComposeSettings();
    if (IsChecked(kArchive) && !TakeArchiveSettings(settings)) {
        return;
    }
    state_.ConfigMode ? SaveSettings(settings) : PerformRun(settings);
}

RunSettings frmMain::ComposeSettings() const {
    RunSettings settings;
    settings.SetWarehouseLogin(fields_->Login().Effective());
    settings.Database = fields_->Database();
    for (const Task& task : kTasks) {
        settings.*task.Flag = IsSelected(task);
    }
    settings.LogGiven = true;
    settings.LogDirectory = Trim(ToText(txtLogFile_->text()));
    return settings;
}

// False when nothing can be archived as it stands; the user has been told.
bool frmMain::TakeArchiveSettings(RunSettings& settings) {
    if (state_.ConfigMode) {
        const RunSettings& given = state_.GlobalSettings;
        settings.SetArchiveLogin(given.ArchiveLogin().Effective());
        settings.ArchiveDatabase = given.ArchiveDatabase;
    } else if (!ReadArchiveDetails(*state_.WarehouseConnection, settings)) {
        ShowMessage("Indicate Connectivity Details For Archive Database");
        session_.CloseWarehouse();
        cmdFacts_Click();
        return false;
    }
    if (settings.NTAuthentication && settings.ArchiveNTAuthentication) {
        ShowMessage(
            "It is not possible to use Windows NT Authentication for both the Data Warehouse "
            "database and the archive database.");
        return false;
    }
    return true;
}

void frmMain::PerformRun(const RunSettings& settings) {
    const HourglassPointer pointer;
    RunTasks(settings, state_, services_);
    // Already shown, and in the log.
    state_.ErrorText.clear();
}

void frmMain::SaveSettings(const RunSettings& settings) {
    state_.ErrorText.clear();
    const bool written = TrapErrors(state_.ErrorText, [&] {
        if (!ValidateSettings(settings, state_, ConfigFileFault(settings, state_.ConfigFileName))) {
            return false;
        }
        state_.ErrorText = ConfigLineFault(settings);
        if (!state_.ErrorText.empty()) {
            return false;
        }
        WriteConfigFile(state_.ConfigFileName, settings);
        return true;
    });
    written ? cmdClose_Click() : session_.ShowErrors();
}

void frmMain::ShowAgain() {
    RunSlot(services_.Prompt, [this] {
        show();
        activateWindow();
        UpdateProcessButton();
    });
}

// ---- Leaving

void frmMain::cmdClose_Click() {
    close();
}

void frmMain::reject() {
    cmdClose_->click();
}

// A window with something to say first keeps this one open.
void frmMain::closeEvent(QCloseEvent* event) {
    event->ignore();
    RunSlot(services_.Prompt, [&] { Close(*event); });
}

void frmMain::Close(QCloseEvent& event) {
    if (!UnloadOtherWindows()) {
        return;
    }
    session_.Leave();
    event.accept();
    emit Closed();
}

bool frmMain::UnloadOtherWindows() {
    bool unloaded = true;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window != this && window->isVisible()) {
            unloaded = window->close() && !window->isVisible() && unloaded;
        }
    }
    return unloaded;
}

void frmMain::ShowMessage(std::string_view text) {
    services_.Prompt.ShowMessage("Morvane", text, MessageStyle::Information);
}

}  // namespace morvane
