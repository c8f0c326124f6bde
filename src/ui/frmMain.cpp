// SPDX-License-Identifier: Apache-2.0
#include "ui/frmMain.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QTimer>

#include "base/Text.h"
#include "base/modFileFunctions.h"
#include "db/ArchiveSettings.h"
#include "db/modCheckMetaData.h"
#include "db/modDatabaseOperations.h"
#include "dialogs/ConfigFile.h"
#include "dialogs/ServerLists.h"
#include "run/CommandLine.h"
#include "run/ConsoleProgress.h"
#include "run/Environment.h"
#include "run/OutputFiles.h"
#include "run/RunTasks.h"
#include "run/ValidateSettings.h"
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
    : Window(services.Prompt, parent),
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
    const auto reset = Safe(&frmMain::ResetConnectionState);
    connect(fields_, &ConnectionFields::ServerChanged, this, reset);
    connect(fields_, &ConnectionFields::LoginKindChanged, this, reset);
    connect(fields_, &ConnectionFields::CredentialsChanged, this, reset);
    connect(fields_, &ConnectionFields::BrowseAsked, this, Safe(&frmMain::cmdServer_Click));
    connect(fields_, &ConnectionFields::RefreshAsked, this, Safe(&frmMain::cmdDBRefresh_Click));
    for (QCheckBox* box : chkOptions_) {
        connect(box, &QCheckBox::toggled, this, Safe(&frmMain::chkOptions_Click));
    }
    connect(txtLogFile_, &QLineEdit::textChanged, this, Safe(&frmMain::UpdateProcessButton));
    connect(cmdLogFile_, &QPushButton::clicked, this, Safe(&frmMain::cmdLogFile_Click));
    connect(cmdFacts_, &QPushButton::clicked, this, Safe(&frmMain::cmdFacts_Click));
    connect(cmdDimensions_, &QPushButton::clicked, this, Safe(&frmMain::cmdDimensions_Click));
    connect(cmdProcess_, &QPushButton::clicked, this, Safe(&frmMain::cmdProcess_Click));
    connect(cmdClose_, &QPushButton::clicked, this, Safe(&frmMain::cmdClose_Click));
}

// Queued, so that the window is visible before it waits for a server.
void frmMain::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!loaded_) {
        loaded_ = true;
        QTimer::singleShot(0, this, Safe(&frmMain::Form_Load));
    }
}

void frmMain::Form_Load() {
    if (state_.ConfigMode) {
        Try([this] { TryConnection(); });
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
    const HourglassPointer pointer;
    std::unique_ptr<Connection> connection;
    std::string errorText;
    connected_ = ConnectDatabase(services_.Connect, login, connection, errorText, database);
    Require(connected_, errorText);
    EnableWarehouseButtons();
}

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

// The user may have created or removed the log folder in another program.
void frmMain::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        Try([this] { UpdateProcessButton(); });
    }
}

void frmMain::cmdServer_Click() {
    const QString server =
        browsing_.BrowseForComputer("Select a server...", this, ToQString(fields_->Login().Server));
    if (!server.isEmpty()) {
        fields_->SetServer(server);
    }
}

void frmMain::cmdDBRefresh_Click() {
    const std::string remembered = fields_->Database();
    ResetConnectionState();
    std::vector<std::string> names;
    {
        const HourglassPointer pointer;
        names = ListDatabases(services_.Connect, Login()).Names;
    }
    if (!names.empty()) {
        fields_->SetDatabases(names, remembered);
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

bool frmMain::PrepareWarehouse(OtherUser otherUser) {
    const HourglassPointer pointer;
    return session_.Prepare(Login(), fields_->Database(), otherUser);
}

void frmMain::cmdFacts_Click() {
    if (!PrepareWarehouse(OtherUser::Accepted)) {
        return;
    }
    try {
        PrepareArchiveTable();
    } catch (...) {
        session_.CloseWarehouse();
        throw;
    }
    frmSetFactTableFilters dialog(state_, services_, browsing_, this);
    dialog.exec();
    UpdateProcessButton();
}

void frmMain::PrepareArchiveTable() {
    Connection& warehouse = *state_.WarehouseConnection;
    if (IsChecked(kCheck) && !warehouse.TableExists("dwm_tables")) {
        throw DatabaseError({"Table 'dwm_tables' does not exist in Datawarehouse Database"});
    }
    // In configuration mode the archive's settings are in the file instead of the table.
    if (!state_.ConfigMode && !warehouse.TableExists("dwm_archive")) {
        CreateArchiveTable(warehouse);
    }
}

void frmMain::cmdDimensions_Click() {
    if (!PrepareWarehouse(OtherUser::Accepted)) {
        return;
    }
    if (IsChecked(kCheck)) {
        const HourglassPointer pointer;
        ConsoleProgress silent(services_.Errors, 0, [] { return false; });
        Require(CheckTablesTable(state_, silent) == Outcome::Done, state_.ErrorText);
    }
    frmSustainRec dialog(state_, services_, this);
    dialog.exec();
}

void frmMain::cmdProcess_Click() {
    if (Trim(ToText(txtLogFile_->text())).empty()) {
        ShowMessage("Please enter Log Directory");
        return;
    }
    if (!PrepareWarehouse(OtherUser::Asked)) {
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

// Returns false, after a message, if the archive cannot be used with its present settings.
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
    // RunTasks has shown and logged it.
    state_.ErrorText.clear();
}

// After an error the window stays open with its settings, as after every other failure: the user
// can correct them and save again. Only a saved file closes it.
void frmMain::SaveSettings(const RunSettings& settings) {
    state_.ErrorText.clear();
    Require(
        ValidateSettings(settings, state_,
                         DatabaseFault(settings, "The configuration file", state_.ConfigFileName)),
        state_.ErrorText);
    std::string fault = ConfigLineFault(settings);
    Require(fault.empty(), fault);
    WriteConfigFile(state_.ConfigFileName, settings);
    cmdClose_Click();
}

void frmMain::ShowAgain() {
    Try([this] {
        show();
        activateWindow();
        UpdateProcessButton();
    });
}

void frmMain::cmdClose_Click() {
    close();
}

// Process may delete, so Enter presses it only if a button has the focus.
void frmMain::keyPressEvent(QKeyEvent* event) {
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool onButton = qobject_cast<QPushButton*>(focusWidget()) != nullptr;
    if (event->key() != Qt::Key_Escape && (!enter || onButton)) {
        QDialog::keyPressEvent(event);
    }
}

// Another window that refuses to close, such as a dialog with an invalid entry, keeps this one
// open.
void frmMain::closeEvent(QCloseEvent* event) {
    event->ignore();
    Try([&] { Close(*event); });
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

}  // namespace morvane
