#include "run/CommandLine.h"
#include "run/StartUp.h"
#ifdef MORVANE_UI
#include "ui/RunInWindows.h"
#endif

int main(int argc, char** argv) {
    morvane::UseSystemLocale();
#ifdef MORVANE_UI
    return morvane::RunInWindows(argc, argv);
#else
    return morvane::RunOnConsole(morvane::ProcessCommandLine(argc, argv),
                                 "This build of Morvane has no settings window.");
#endif
}
