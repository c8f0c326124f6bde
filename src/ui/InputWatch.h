// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

namespace morvane {

// Notes, as long as it lives, whether a mouse button, a key or a touch reached any window of the
// program, or the close box the given one. Where the mouse merely is does not count. On Windows
// input counts too that waits in the thread's queue when the watch begins.
class InputWatch : public QObject {
  public:
    explicit InputWatch(const QObject& window);

    bool InputSeen() const { return inputSeen_; }

  protected:
    bool eventFilter(QObject* receiver, QEvent* event) override;

  private:
    const QObject& window_;
    bool inputSeen_ = false;
};

}  // namespace morvane
