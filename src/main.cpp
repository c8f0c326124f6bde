#include "core/Platform.h"
#include "run/ProcessArguments.h"
#include "run/StartUp.h"
#ifdef MORVANE_UI
#include "ui/RunInWindows.h"
#endif

int main(int argc, char** argv) {
    morvane::PrepareProcess();
    morvane::UseSystemLocale();
#ifdef MORVANE_UI
    return morvane::RunInWindows(argc, argv);
#else
    return morvane::RunOnConsole(morvane::TakeCommandLine(argc, argv),
                                 "This build of Morvane has no settings window.");
#endif
}
