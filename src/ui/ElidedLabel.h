// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLabel>
#include <initializer_list>

namespace morvane {

// A plain text on one line that never asks for more width: what does not fit is left out in the
// middle, and the tool tip tells the whole.
class ElidedLabel : public QLabel {
  public:
    ElidedLabel(const QString& name, QWidget* parent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    QString ShownText() const;
};

struct CaptionedLine {
    const char* CaptionName;
    const char* Caption;
    ElidedLabel* Value;
};

// Lays a frame out: captions in one column, what they announce in the next.
void LayOutLines(QWidget* frame, std::initializer_list<CaptionedLine> lines);

}  // namespace morvane
