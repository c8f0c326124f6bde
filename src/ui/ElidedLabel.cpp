// SPDX-License-Identifier: Apache-2.0
#include "ui/ElidedLabel.h"

#include <QEvent>
#include <QGridLayout>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

#include "ui/Controls.h"

namespace morvane {

ElidedLabel::ElidedLabel(const QString& name, QWidget* parent) : QLabel(parent) {
    setObjectName(name);
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

// Without the text's width, which would change the window's.
QSize ElidedLabel::sizeHint() const {
    const QMargins margins = contentsMargins();
    return {margins.left() + margins.right(),
            fontMetrics().height() + margins.top() + margins.bottom()};
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QLabel::event(event);
    }
    const QString whole = ShownText() == text() ? QString() : text().toHtmlEscaped();
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), whole, this);
    return true;
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(),
                          static_cast<int>(alignment()) | Qt::TextSingleLine, palette(),
                          isEnabled(), ShownText(), foregroundRole());
}

QString ElidedLabel::ShownText() const {
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

void LayOutLines(QWidget* frame, std::initializer_list<CaptionedLine> lines) {
    auto* layout = new QGridLayout(frame);
    layout->setColumnStretch(1, 1);
    int row = 0;
    for (const CaptionedLine& line : lines) {
        layout->addWidget(MakeLabel(line.CaptionName, line.Caption, nullptr, frame), row, 0);
        layout->addWidget(line.Value, row, 1);
        ++row;
    }
}

}  // namespace morvane
