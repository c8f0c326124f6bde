// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <cstddef>
#include <string>
#include <vector>

#include "core/ProgressWindow.h"

class QGridLayout;
class QProgressBar;

namespace morvane {

class ElidedLabel;

// The tasks of a run: the labels lblTaskName0, lblTaskName1, ... with the check marks imgChecked0,
// imgChecked1, ... of completed tasks. The first of each always exists.
class TaskList : public QGroupBox {
  public:
    explicit TaskList(QWidget* parent);

    // Shows the tasks of a new run, none of them running or completed.
    void Show(const std::vector<std::string>& names);
    // Marks the k-th task, counted from 0. Ignores numbers beyond the list.
    void MarkRunning(std::size_t k);
    void MarkCompleted(std::size_t k);
    // Removes the running mark when the run is over, also from a task that was not completed.
    void MarkNoneRunning();

  private:
    struct Row {
        QWidget* imgChecked;
        ElidedLabel* lblTaskName;
        QString Name;

        void Show(const QString& state, const QString& suffix = {}) const;
    };
    void AddRow();
    void RemoveLastRow();

    QGridLayout* layout_;
    std::vector<Row> rows_;
};

// ProgIndFrame: shows what the running task is doing, in one of two frames above a progress bar.
class ProgressIndicator : public QGroupBox {
  public:
    explicit ProgressIndicator(QWidget* parent);

    // Restores the state before the first task.
    void Reset();
    // Shows an empty comment and an empty bar.
    void Clear();
    // Shows that the run is being cancelled, whatever the task reports after that.
    void ShowCancelling();
    void ShowComment(const QString& comment);
    void ShowRelation(const QString& primaryTable, const QString& foreignTable);
    QWidget& Frame(ProgressFrame objFrame) const;

    // The bar's Min, Max and Value. A value outside the range shows an empty or a full bar.
    void SetRange(float minimum, float maximum);
    void SetValue(float value);
    float Value() const { return value_; }

  private:
    void ShowBar();

    QWidget* OverallProgFrame_;
    QWidget* DetectProgFrame_;
    ElidedLabel* lblComment_;
    ElidedLabel* lblPrimaryTable_;
    ElidedLabel* lblForeignTable_;
    QProgressBar* prgProgress_;
    float minimum_ = 0;
    float maximum_ = 1;
    float value_ = 0;
    bool cancelling_ = false;
};

}  // namespace morvane
