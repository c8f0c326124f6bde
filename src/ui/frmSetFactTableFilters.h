// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "core/RunState.h"
#include "db/ArchiveSettings.h"
#include "dialogs/FactConditions.h"
#include "run/RunServices.h"
#include "ui/Messages.h"
#include "ui/modBrowsing.h"

class QPushButton;

namespace morvane {

class ConditionsGrid;
class ConnectionFields;

// The archiving conditions of the fact tables and the connection to the archive database. A
// condition is saved as soon as it is accepted. OK saves the connection settings: in dwm_archive,
// or in configuration mode in the run settings. The warehouse connection must be open.
class frmSetFactTableFilters : public Window {
    Q_OBJECT

  public:
    frmSetFactTableFilters(RunState& state, RunServices& services, Browsing& browsing,
                           QWidget* parent);

    void accept() override;
    // Does not close if a condition being edited is refused.
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
    // Accepts the text of a cell being edited. Returns false, after a message, if it is refused.
    bool FinishEdit();
    void ShowRefusal();

    RunState& state_;
    RunServices& services_;
    Browsing& browsing_;
    std::optional<FactConditions> conditions_;
    std::optional<std::string> refusal_;  // not shown yet
    ConditionsGrid* dgdFactTables_ = nullptr;
    ConnectionFields* archive_ = nullptr;
    QPushButton* cmdOK_ = nullptr;
};

}  // namespace morvane
