// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <functional>
#include <optional>
#include <string>

#include "core/RunState.h"
#include "db/ArchiveSettings.h"
#include "dialogs/FactConditions.h"
#include "run/RunServices.h"
#include "ui/modBrowsing.h"

class QPushButton;

namespace morvane {

class ConditionsGrid;
class ConnectionFields;

// What is archived, fact table by fact table, and where to. A condition is saved as soon as it is
// accepted; the connection to the archive with OK: in dwm_archive, or in configuration mode in the
// settings of the run. The warehouse's connection is open.
class frmSetFactTableFilters : public QDialog {
    Q_OBJECT

  public:
    frmSetFactTableFilters(RunState& state, RunServices& services, Browsing& browsing,
                           QWidget* parent);

    void accept() override;
    // Closes too, unless a condition that is being typed is refused.
    void reject() override;

  private:
    QWidget* MakeDirections();
    QWidget* MakeButtons();
    void Load();
    void LoadConditions();
    void LoadArchive();

    void SaveAndClose();
    void UpdateOK();
    void ResetConnection();
    void Browse();
    void RefreshDatabases();
    void ChangeCondition(int row, const QString& condition);
    // False when the text of an open cell was refused, and the user has been told.
    bool FinishEdit();
    void ShowRefusal();

    // Runs an operation under the busy pointer; false when it failed, and the user has been told.
    bool Attempt(const std::function<void()>& operation);
    void ShowError(const std::string& text);

    RunState& state_;
    RunServices& services_;
    Browsing& browsing_;
    std::optional<FactConditions> conditions_;
    std::optional<std::string> refusal_;  // not yet shown
    ConditionsGrid* dgdFactTables_ = nullptr;
    ConnectionFields* archive_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
};

}  // namespace morvane
