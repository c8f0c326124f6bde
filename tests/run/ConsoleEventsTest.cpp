// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <future>
#include <memory>

#include "run/CancelSignals.h"

namespace morvane::testing {
namespace {

// Windows reports console events in a separate thread.
bool ReceivedWithin(int milliseconds) {
    for (int waited = 0; waited < milliseconds && !CancelSignals::Received(); waited += 10) {
        Sleep(10);
    }
    return CancelSignals::Received();
}

TEST(CancelSignals, NoteCtrlCOnAWindowsConsole) {
    // In a new console, since the event is sent to all processes of a console.
    FreeConsole();
    if (!AllocConsole()) {
        GTEST_SKIP() << "no console can be opened";
    }
    const CancelSignals signals;
    EXPECT_FALSE(CancelSignals::Received());
    ASSERT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
    EXPECT_TRUE(ReceivedWithin(10'000));
}

TEST(CancelSignals, HoldUpTheEndOfASessionUntilTheWorkIsDone) {
    auto signals = std::make_unique<const CancelSignals>();
    const HWND window = FindWindowW(L"MorvaneSessionEndWatch", nullptr);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(SendMessageW(window, WM_QUERYENDSESSION, 0, 0), TRUE);
    EXPECT_TRUE(CancelSignals::Received());
    EXPECT_EQ(SendMessageW(window, WM_ENDSESSION, FALSE, 0), 0);  // the user stays
    auto end =
        std::async(std::launch::async, [window] { SendMessageW(window, WM_ENDSESSION, TRUE, 0); });
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    signals.reset();
    EXPECT_EQ(end.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

}  // namespace
}  // namespace morvane::testing
