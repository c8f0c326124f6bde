// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <windows.h>

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

}  // namespace
}  // namespace morvane::testing
