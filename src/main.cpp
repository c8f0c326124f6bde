// SPDX-License-Identifier: Apache-2.0
#include "base/Platform.h"
#include "run/Environment.h"
#include "run/ProcessArguments.h"
#include "run/StartUp.h"
#ifdef MORVANE_UI
#include "ui/RunInWindows.h"
#endif

int main(int argc, char** argv) {
    morvane::PrepareProcess();
#if defined(_WIN32) && defined(MORVANE_UI)
    morvane::UseConsoleOfParent();
#endif
    const morvane::StartInput input{morvane::TakeCommandLine(argc, argv),
                                    morvane::TakeEnvironment()};
    morvane::UseSystemLocale();
#ifdef MORVANE_UI
    return morvane::RunInWindows(input, argv);
#else
    return morvane::RunOnConsole(input, "This build of Morvane has no settings window.");
#endif
}
