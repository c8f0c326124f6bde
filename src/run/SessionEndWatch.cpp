// SPDX-License-Identifier: Apache-2.0
#include "run/SessionEndWatch.h"

#include <windows.h>

#include <utility>

namespace morvane {

namespace {

constexpr const wchar_t* kWindowClass = L"MorvaneSessionEndWatch";

LRESULT CALLBACK HandleMessage(HWND window, UINT message, WPARAM first, LPARAM second) {
    const auto* watch =
        reinterpret_cast<const SessionEndWatch*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    switch (message) {
        case WM_QUERYENDSESSION:
            // The system shows this text if the wait below takes more than a few seconds.
            ShutdownBlockReasonCreate(window, L"Morvane is stopping its work.");
            watch->Notify();
            return TRUE;
        case WM_ENDSESSION:
            // When all windows have handled this message, the system ends the process.
            if (first != FALSE) {
                watch->WaitForFinish();
            }
            ShutdownBlockReasonDestroy(window);
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
    }
}

HWND OpenWindow() {
    WNDCLASSW type{};
    type.lpfnWndProc = HandleMessage;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = kWindowClass;
    RegisterClassW(&type);  // fails if it was registered earlier
    // A message-only window (HWND_MESSAGE) does not receive these messages.
    return CreateWindowW(kWindowClass, L"", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                         type.hInstance, nullptr);
}

}  // namespace

SessionEndWatch::SessionEndWatch(void (*notify)()) : notify_(notify) {
    std::promise<void*> opened;
    std::future<void*> window = opened.get_future();
    thread_ = std::thread(&SessionEndWatch::Watch, this, std::move(opened));
    window_ = window.get();
}

SessionEndWatch::~SessionEndWatch() {
    finish_.set_value();
    if (window_ != nullptr) {
        PostMessageW(static_cast<HWND>(window_), WM_CLOSE, 0, 0);
    }
    thread_.join();
}

// A window's messages arrive in the thread that created it.
void SessionEndWatch::Watch(std::promise<void*> opened) {
    const HWND window = OpenWindow();
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    opened.set_value(window);
    MSG message{};
    while (window != nullptr && GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
}

}  // namespace morvane
