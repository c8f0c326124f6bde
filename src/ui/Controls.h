// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QString>
#include <QWheelEvent>
#include <QWidget>
#include <initializer_list>
#include <string>
#include <string_view>

namespace morvane {

// Conversions between Qt's texts and the program's, which are UTF-8.
QString ToQString(std::string_view text);
std::string ToText(const QString& text);

// Sets a control's object name, by which tests and style sheets find it.
template <typename Control>
Control* Named(const char* name, Control* control) {
    control->setObjectName(QString::fromLatin1(name));
    return control;
}

// A tool tip: the text in lines of a readable width, and never interpreted as HTML. Cuts very long
// texts.
QString ToolTipText(const QString& text);

// A button whose caption keeps a distance from its edges, however long it is.
class PushButton : public QPushButton {
  public:
    using QPushButton::QPushButton;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }
};

// A label. Its access key ("&" in the caption) moves the focus to `buddy`, whose name for screen
// readers is the caption.
QLabel* MakeLabel(const char* name, const char* caption, QWidget* buddy, QWidget* parent);
// Makes the caption the name of a control for screen readers.
void SetAccessibleCaption(QWidget& control, const QString& caption);
// A label for longer text, with word wrap.
QLabel* MakeText(const char* name, const QString& text, QWidget* parent);

struct DialogButtons {
    QDialogButtonBox* Box;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;
};

// The buttons of a dialog, with OK as the default one. The caller connects them.
DialogButtons MakeDialogButtons(const char* cancelCaption, QWidget* parent);

// Enables a control, with the background of a text box.
void EnableObject(QWidget& objControl);
// Disables a control, with the background of its window.
void DisableObject(QWidget& objControl);

// Sets the mouse pointer's shape for the whole program while it exists.
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

// A combo box that emits DropDown() before its popup opens, so that a slot can fill it. The popup
// of an empty list does not open. The mouse wheel does nothing while the list is closed: it would
// choose another entry of a control that the user scrolls past.
class DropDownList : public QComboBox {
    Q_OBJECT

  public:
    using QComboBox::QComboBox;
    void showPopup() override;

  signals:
    void DropDown();

  protected:
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};

// A single line of plain text that never widens its window: text that does not fit is elided in
// the middle, and the tool tip shows all of it.
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

// Lays out a frame in two columns, captions and values.
void LayOutLines(QWidget* frame, std::initializer_list<CaptionedLine> lines);

}  // namespace morvane
