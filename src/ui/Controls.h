// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QComboBox>
#include <QLabel>
#include <QString>
#include <QWidget>
#include <string>
#include <string_view>

namespace morvane {

// The program's texts are UTF-8.
QString ToQString(std::string_view text);
std::string ToText(const QString& text);

// Gives a control its object name, by which tests and style sheets find it.
template <typename Control>
Control* Named(const char* name, Control* control) {
    control->setObjectName(QString::fromLatin1(name));
    return control;
}

// A label whose access key goes to `buddy`, which may be null.
QLabel* MakeLabel(const char* name, const char* caption, QWidget* buddy, QWidget* parent);
// A label that wraps and can be selected as text is; for directions.
QLabel* MakeText(const char* name, const QString& text, QWidget* parent);

// Enables a control and gives it the background of a window; the reverse greys it.
void EnableObject(QWidget& objControl);
void DisableObject(QWidget& objControl);

// A pointer of the shape for as long as this lives, whatever it is over.
class PointerShape {
  public:
    explicit PointerShape(Qt::CursorShape shape);
    ~PointerShape();
    PointerShape(const PointerShape&) = delete;
    PointerShape& operator=(const PointerShape&) = delete;
};

// The busy pointer.
class HourglassPointer : public PointerShape {
  public:
    HourglassPointer() : PointerShape(Qt::WaitCursor) {}
};

// A list to choose from that says so before it opens, when it can still be filled. An empty one
// does not open.
class DropDownList : public QComboBox {
    Q_OBJECT

  public:
    using QComboBox::QComboBox;
    void showPopup() override;

  signals:
    void DropDown();
};

}  // namespace morvane
