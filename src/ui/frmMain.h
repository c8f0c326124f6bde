// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <array>

#include "core/RunState.h"
#include "dialogs/WarehouseSession.h"
#include "run/ExitGuard.h"
#include "run/RunServices.h"
#include "run/Tasks.h"
#include "ui/ConnectionFields.h"
#include "ui/Messages.h"
#include "ui/modBrowsing.h"

namespace morvane {

// The settings window. Its Process button performs a run with the chosen settings or, in
// configuration mode, writes them to the configuration file.
class frmMain : public Window {
    Q_OBJECT

  public:
    frmMain(RunState& state, RunServices& services, Browsing& browsing, QWidget* parent = nullptr);
    ~frmMain() override;

    // Shows the window again after a run, during which the progress window replaces it.
    void ShowAgain();

  signals:
    void Closed();

  protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    // Ignores Escape, which would discard everything entered, and Enter in a text box, which would
    // start a run.
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void MakeControls();
    QWidget* MakeOptions();
    QWidget* MakeLogFile();
    QWidget* MakeButtons();
    void ConnectHandlers();

    void Form_Load();
    void LoadSettings();
    void TryConnection();
    void chkOptions_Click();
    void cmdServer_Click();
    void cmdDBRefresh_Click();
    void cmdLogFile_Click();
    void cmdFacts_Click();
    void cmdDimensions_Click();
    void cmdProcess_Click();
    void cmdClose_Click();

    void ResetConnectionState();
    void EnableWarehouseButtons();
    void UpdateProcessButton();
    void UpdateAtomicDeletion();
    void Close(QCloseEvent& event);
    bool UnloadOtherWindows();

    // The login in the controls. If it has no password, that of the environment is used.
    ServerLogin Login() const;
    bool PrepareWarehouse(OtherUser otherUser);
    void PrepareArchiveTable();
    bool TakeArchiveSettings(RunSettings& settings);
    RunSettings ComposeSettings() const;
    void PerformRun(const RunSettings& settings);
    void SaveSettings(const RunSettings& settings);

    QCheckBox& CheckBox(bool RunSettings::*task) const { return *chkOptions_[TaskIndex(task)]; }
    bool IsChecked(bool RunSettings::*task) const { return CheckBox(task).isChecked(); }
    // A variant counts as selected only together with its task.
    bool IsSelected(const Task& task) const {
        return IsChecked(task.Flag) && (task.VariantOf == nullptr || IsChecked(task.VariantOf));
    }

    RunState& state_;
    RunServices& services_;
    Browsing& browsing_;
    WarehouseSession session_;
    const ExitGuard leaveOnExit_;
    bool loaded_ = false;
    bool connected_ = false;

    ConnectionFields* fields_ = nullptr;
    std::array<QCheckBox*, kTasks.size()> chkOptions_{};  // in the order of kTasks
    QPushButton* cmdFacts_ = nullptr;
    QPushButton* cmdDimensions_ = nullptr;
    QLineEdit* txtLogFile_ = nullptr;
    QPushButton* cmdLogFile_ = nullptr;
    QPushButton* cmdProcess_ = nullptr;
    QPushButton* cmdClose_ = nullptr;
};

}  // namespace morvane
