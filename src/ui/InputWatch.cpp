// SPDX-License-Identifier: Apache-2.0
#include "ui/InputWatch.h"

#include <QCoreApplication>
#include <QEvent>

#ifdef _WIN32
#include <windows.h>
#endif

namespace morvane {

InputWatch::InputWatch(const QObject& window) : window_(window) {
    QCoreApplication::instance()->installEventFilter(this);
#ifdef _WIN32
    // Title bars and menus of the system take input that never becomes one of the toolkit's events.
    inputSeen_ = GetInputState() != 0;
#endif
}

bool InputWatch::eventFilter(QObject* receiver, QEvent* event) {
    switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::ShortcutOverride:  // of a key that becomes a shortcut nothing else is sent
        case QEvent::KeyPress:
        case QEvent::KeyRelease:
        case QEvent::TouchBegin:
        case QEvent::TouchEnd:
        case QEvent::TabletPress:
        case QEvent::TabletRelease:
            inputSeen_ = true;
            break;
        case QEvent::Close:  // tool tips are closed too
            inputSeen_ = inputSeen_ || receiver == &window_;
            break;
        default:
            break;
    }
    return false;
}

}  // namespace morvane
