// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <future>
#include <thread>

namespace morvane {

// Windows only. Reports that the user logs off or the system shuts down, and delays it until the
// destructor, as long as the system allows. Only windows are told, because a program that loads
// user32.dll gets no console event for it; the window of this class is never visible.
class SessionEndWatch {
  public:
    // `notify` is called in another thread, possibly several times. The session may go on
    // nevertheless, if another program prevents its end.
    explicit SessionEndWatch(void (*notify)());
    ~SessionEndWatch();
    SessionEndWatch(const SessionEndWatch&) = delete;
    SessionEndWatch& operator=(const SessionEndWatch&) = delete;

    void Notify() const { notify_(); }
    void WaitForFinish() const { finished_.wait(); }

  private:
    void Watch(std::promise<void*> opened);

    void (*notify_)();
    std::promise<void> finish_;
    std::future<void> finished_ = finish_.get_future();
    std::thread thread_;
    void* window_ = nullptr;  // null if it could not be opened
};

}  // namespace morvane
