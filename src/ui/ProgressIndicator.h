// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGroupBox>
#include <cstdint>

#include "core/ProgressWindow.h"

class QProgressBar;

namespace morvane {

class ElidedLabel;

// ProgIndFrame: what the running task is doing, and how far it is. Of the two frames above the bar
// one shows at a time.
class ProgressIndicator : public QGroupBox {
  public:
    explicit ProgressIndicator(QWidget* parent);

    // As before the first task.
    void Reset();
    void ShowComment(const QString& comment);
    void ShowRelation(const QString& primaryTable, const QString& foreignTable);
    QWidget& Frame(ProgressFrame objFrame) const;

    // The bar's Min, Max and Value. Beyond the range it is empty or full.
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
};

}  // namespace morvane
