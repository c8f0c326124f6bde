// SPDX-License-Identifier: Apache-2.0
#include "ui/ScrollPanel.h"

#include <QApplication>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>

namespace morvane {

namespace {

constexpr int kLeastLines = 8;

}  // namespace

ScrollPanel::ScrollPanel(QWidget* content, QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    setWidget(content);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now != nullptr && widget()->isAncestorOf(now)) {
            ensureWidgetVisible(now);
        }
    });
}

QSize ScrollPanel::sizeHint() const {
    return widget()->sizeHint();
}

QSize ScrollPanel::minimumSizeHint() const {
    const QSize content = widget()->minimumSizeHint();
    return {content.width() + verticalScrollBar()->sizeHint().width(),
            std::min(content.height(), kLeastLines * fontMetrics().lineSpacing())};
}

// The frame itself is known only when the window is shown.
QSize RoomOnScreen(const QWidget& window) {
    const QStyle& style = *window.style();
    const int border = style.pixelMetric(QStyle::PM_MdiSubWindowFrameWidth);
    const QSize frame(2 * border, style.pixelMetric(QStyle::PM_TitleBarHeight) + 2 * border);
    return window.screen()->availableSize() - frame;
}

void ResizeOnScreen(QWidget& window, const QSize& wanted) {
    window.resize(wanted.boundedTo(RoomOnScreen(window)));
}

}  // namespace morvane
