// SPDX-License-Identifier: Apache-2.0
#include "ui/Controls.h"

#include <QGuiApplication>
#include <QPalette>
#include <exception>

namespace morvane {

namespace {

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

QLabel* MakeLabel(const char* name, const char* caption, QWidget* buddy, QWidget* parent) {
    auto* label = Named(name, new QLabel(QString::fromUtf8(caption), parent));
    label->setBuddy(buddy);
    return label;
}

QLabel* MakeText(const char* name, const QString& text, QWidget* parent) {
    auto* label = Named(name, new QLabel(text, parent));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
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
        // The pointer keeps its shape.
    }
}

void DropDownList::showPopup() {
    emit DropDown();
    if (count() > 0) {
        QComboBox::showPopup();
    }
}

}  // namespace morvane
