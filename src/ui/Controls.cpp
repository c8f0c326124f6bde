// SPDX-License-Identifier: Apache-2.0
#include "ui/Controls.h"

#include <QAbstractItemView>
#include <QEvent>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QPalette>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>
#include <exception>

namespace morvane {

namespace {

constexpr int kToolTipLetters = 2000;  // more would not fit on the screen
constexpr int kToolTipColumns = 70;
constexpr double kButtonPadding = 1.75;  // average characters at each side of the caption

void SetBackground(QWidget& control, QPalette::ColorRole source) {
    QPalette palette = control.palette();
    const QPalette standard = QGuiApplication::palette();
    palette.setColor(QPalette::Base, standard.color(QPalette::Active, source));
    control.setPalette(palette);
}

}  // namespace

QString ToQString(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string ToText(const QString& text) {
    return text.toStdString();
}

QString ToolTipText(const QString& text) {
    QTextLayout layout(text.size() > kToolTipLetters ? text.left(kToolTipLetters) + "..." : text,
                       QToolTip::font());
    QTextOption wrapping;
    wrapping.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(wrapping);
    const int width = kToolTipColumns * QFontMetrics(layout.font()).averageCharWidth();
    QStringList lines;
    for (const QString& paragraph : layout.text().split('\n')) {
        layout.setText(paragraph);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            lines.append(paragraph.mid(line.textStart(), line.textLength()));
        }
        layout.endLayout();
    }
    const QString wrapped = lines.join('\n');
    return Qt::mightBeRichText(wrapped)
               ? "<p style=\"white-space:pre\">" + wrapped.toHtmlEscaped() + "</p>"
               : wrapped;
}

QSize PushButton::sizeHint() const {
    const QSize caption = fontMetrics().size(Qt::TextShowMnemonic, text());
    const int padding = qRound(kButtonPadding * fontMetrics().averageCharWidth());
    return QPushButton::sizeHint().expandedTo({caption.width() + 2 * padding, 0});
}

void SetAccessibleCaption(QWidget& control, const QString& caption) {
    control.setAccessibleName(QString(caption).remove('&').remove(':').trimmed());
}

QLabel* MakeLabel(const char* name, const char* caption, QWidget* buddy, QWidget* parent) {
    auto* label = Named(name, new QLabel(QString::fromUtf8(caption), parent));
    label->setBuddy(buddy);
    SetAccessibleCaption(*buddy, label->text());
    return label;
}

QLabel* MakeText(const char* name, const QString& text, QWidget* parent) {
    auto* label = Named(name, new QLabel(text, parent));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

DialogButtons MakeDialogButtons(const char* cancelCaption, QWidget* parent) {
    auto* box = new QDialogButtonBox(parent);
    auto* cmdOK = Named("cmdOK", new PushButton("OK", box));
    auto* cmdCancel = Named("cmdCancel", new PushButton(cancelCaption, box));
    box->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    box->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK->setDefault(true);
    return {box, cmdOK, cmdCancel};
}

void EnableObject(QWidget& objControl) {
    objControl.setEnabled(true);
    SetBackground(objControl, QPalette::Base);
}

void DisableObject(QWidget& objControl) {
    objControl.setEnabled(false);
    SetBackground(objControl, QPalette::Window);
}

PointerShape::PointerShape(Qt::CursorShape shape) {
    QGuiApplication::setOverrideCursor(shape);
}

PointerShape::~PointerShape() {
    try {
        QGuiApplication::restoreOverrideCursor();
    } catch (const std::exception&) {
        // A destructor must not throw. The pointer keeps its shape.
    }
}

void DropDownList::showPopup() {
    emit DropDown();
    if (count() > 0) {
        QComboBox::showPopup();
        if (currentIndex() < 0) {
            view()->setCurrentIndex(model()->index(0, modelColumn(), rootModelIndex()));
        }
    }
}

ElidedLabel::ElidedLabel(const QString& name, QWidget* parent) : QLabel(parent) {
    setObjectName(name);
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

// Leaves out the text's width, which would widen the window.
QSize ElidedLabel::sizeHint() const {
    const QMargins margins = contentsMargins();
    return {margins.left() + margins.right(),
            fontMetrics().height() + margins.top() + margins.bottom()};
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QLabel::event(event);
    }
    const QString whole = ShownText() == text() ? QString() : ToolTipText(text());
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
        auto* caption = Named(line.CaptionName, new QLabel(line.Caption, frame));
        caption->setBuddy(line.Value);  // screen readers then relate the two
        layout->addWidget(caption, row, 0);
        layout->addWidget(line.Value, row, 1);
        ++row;
    }
}

}  // namespace morvane
