// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QTableWidget>

namespace morvane {

// Fact tables and their conditions, which are edited in place. A condition can be long: its row
// shows the first lines, its tool tip and its editor all of it.
class ConditionsGrid : public QTableWidget {
    Q_OBJECT

  public:
    explicit ConditionsGrid(QWidget* parent);

    void AddTable(const QString& table, const QString& condition);
    void SetCondition(int row, const QString& condition);
    // To be called when all tables are there.
    void FitColumns();
    // Ends an edit under way as the Enter key does.
    void FinishEdit();

  signals:
    // The user has changed a condition. The cell keeps its old text until it is set.
    void ConditionEdited(int row, const QString& condition);
};

}  // namespace morvane
