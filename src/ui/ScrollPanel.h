// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QScrollArea>

namespace morvane {

// Holds the controls of a window above its buttons. It asks for the room that they need, and
// scrolls them on a screen that is too low. A control that gets the focus is scrolled into view.
class ScrollPanel : public QScrollArea {
  public:
    ScrollPanel(QWidget* content, QWidget* parent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
};

// The largest size of a window's inside with which its frame fits on the screen.
QSize RoomOnScreen(const QWidget& window);

// Resizes a window, but not beyond its screen.
void ResizeOnScreen(QWidget& window, const QSize& wanted);

}  // namespace morvane
