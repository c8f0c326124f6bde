// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <future>
#include <thread>

namespace morvane {

// Windows only. Calls a function when the user logs off or the system shuts down, and holds that up
// during its own lifetime, as long as the system allows. The system tells it to windows alone: a
// program that loads user32.dll gets no console event. So this opens one that is never shown.
class SessionEndWatch {
  public:
    // `notify` is called in another thread, maybe repeatedly. Another program may still keep the
    // session from ending.
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
