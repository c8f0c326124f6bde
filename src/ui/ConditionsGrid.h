// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QTableWidget>

namespace morvane {

// Fact tables and their conditions, which are edited in place. A row shows the first lines of a
// long condition; the tool tip and the editor show all of it.
class ConditionsGrid : public QTableWidget {
    Q_OBJECT

  public:
    explicit ConditionsGrid(QWidget* parent);

    void AddTable(const QString& table, const QString& condition);
    void SetCondition(int row, const QString& condition);
    // Call this after the last AddTable().
    void FitColumns();
    // Accepts the text of a cell being edited, as Enter does.
    void FinishEdit();

  signals:
    // The user has edited a condition. The cell keeps its old text until SetCondition().
    void ConditionEdited(int row, const QString& condition);

  protected:
    // Delete and Backspace empty a condition.
    void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace morvane
