// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <cstddef>
#include <string>
#include <vector>

class QGridLayout;

namespace morvane {

class ElidedLabel;

// The tasks of a run, one below the other: lblTaskName0, lblTaskName1 ... with the check marks
// imgChecked0, imgChecked1 ... of those that are completed. The first of each is always there.
class TaskList : public QGroupBox {
  public:
    explicit TaskList(QWidget* parent);

    // A new run: none is running, none completed.
    void Show(const std::vector<std::string>& names);
    // The k-th task; one that is not listed is no concern of this list.
    void MarkRunning(std::size_t k);
    void MarkCompleted(std::size_t k);
    // The run is over, also for a task that was not completed.
    void MarkNoneRunning();

  private:
    struct Row {
        QWidget* imgChecked;
        ElidedLabel* lblTaskName;
        QString Name;
    };
    void AddRow();
    void RemoveLastRow();

    QGridLayout* layout_;
    std::vector<Row> rows_;
};

}  // namespace morvane
