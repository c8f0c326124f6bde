// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <QGroupBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <functional>
#include <string_view>

#include "run/RunServices.h"
#include "ui/CheckList.h"
#include "ui/Controls.h"

namespace morvane {

// Which dimension tables the tasks work on, and which of their elements must be kept whatever
// happens. Both are written to the warehouse when they are saved, each row by its key.
class frmSustainRec : public QDialog {
    Q_OBJECT

  public:
    frmSustainRec(RunState& state, RunServices& services, QWidget* parent);

    // OK: saves the selection of tables and closes; a failure keeps the window open.
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

    // The warehouse's connection, opened again if it was closed.
    Connection& Warehouse();
    void Tell(std::string_view text, MessageStyle style = MessageStyle::Information);
    // Does something with the warehouse under the busy pointer. A failure is told, behind `lead`.
    bool Try(const std::function<void()>& work, std::string_view lead = {});

    void LoadTables();
    void FillSelectedTables();
    void ShowTable(int index);
    void ShowRecords(UpdatableRows rows);
    void ExecuteQuery();
    void ParseQuery();
    void LeaveCompileOnly();
    void SortBy(int column);
    bool Save(CheckList& list);
    void SelectAll() { tables_.CheckAll(true); }
    void UnselectAll() { tables_.CheckAll(false); }
    void SustainAll() { records_.CheckAll(true); }
    void UnsustainAll() { records_.CheckAll(false); }
    void SaveSelection() { Save(records_); }

    RunState& state_;
    RunServices& services_;
    CheckList tables_;
    CheckList records_;
    int sortedColumn_ = -1;

    CheckListView* lvwDimensionTables_ = nullptr;
    DropDownList* cboSelectedTables_ = nullptr;
    QPlainTextEdit* txtWhereClause_ = nullptr;
    CheckListView* lvwDimensionRecords_ = nullptr;
};

}  // namespace morvane
