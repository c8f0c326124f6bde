// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <functional>
#include <string>

#include "run/RunServices.h"
#include "ui/CheckList.h"
#include "ui/Messages.h"

namespace morvane {

// Selects the dimension tables that the tasks work on and the elements that must never be deleted.
// Saving writes both to the warehouse.
class frmSustainRec : public Window {
    Q_OBJECT

  public:
    frmSustainRec(RunState& state, RunServices& services, QWidget* parent);

    // OK saves the selected tables and closes the window. If saving fails, the window stays open.
    void accept() override;

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    QPushButton* MakeButton(const char* name, const char* caption,
                            void (frmSustainRec::*pressed)());
    QGroupBox* MakeTables();
    QGroupBox* MakeRecords();
    void AddQuery(QWidget* frame, QVBoxLayout* layout);
    void LayOut();

    // The warehouse connection, reopened if necessary.
    Connection& Warehouse();
    // TryBusy() for work with the warehouse. The message of a DatabaseError starts with `lead` and
    // leaves out the statement.
    bool TryQuery(const std::function<void()>& work, const std::string& lead = {});

    void LoadTables();
    void FillSelectedTables();
    void ShowTable(int index);
    void ExecuteQuery();
    void ParseQuery();
    void LeaveCompileOnly();
    void Reload(CheckList& list, UpdatableQuery query);
    void SortBy(int column);
    bool Save(CheckList& list);
    void SelectAll() { tables_.CheckAll(true); }
    void UnselectAll() { tables_.CheckAll(false); }
    void SustainAll() { records_.CheckAll(true); }
    void UnsustainAll() { records_.CheckAll(false); }
    void SaveSelection();
    void ShowState();

    RunState& state_;
    RunServices& services_;
    CheckList tables_;
    CheckList records_;
    int sortedColumn_ = -1;

    CheckListView* lvwDimensionTables_ = nullptr;
    DropDownList* cboSelectedTables_ = nullptr;
    QPlainTextEdit* txtWhereClause_ = nullptr;
    QLabel* lblRecordsState_ = nullptr;
    CheckListView* lvwDimensionRecords_ = nullptr;
    QPushButton* cmdSaveSelection_ = nullptr;
};

}  // namespace morvane
