// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QScrollArea>

namespace morvane {

// Holds the controls of a window above its buttons. Takes the height that they need, and scrolls
// them if the screen is too low. A control that gets the focus is scrolled into view.
class ScrollPanel : public QScrollArea {
  public:
    ScrollPanel(QWidget* content, QWidget* parent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
};

// The largest size of a window, without its frame, that fits on the screen.
QSize RoomOnScreen(const QWidget& window);

// Resizes a window, but not beyond its screen.
void ResizeOnScreen(QWidget& window, const QSize& wanted);

}  // namespace morvane
