#include "core/Platform.h"
#include "run/ProcessArguments.h"
#include "run/StartUp.h"
#ifdef MORVANE_UI
#include "ui/RunInWindows.h"
#endif

int main(int argc, char** argv) {
    morvane::PrepareProcess();
    const std::string commandLine = morvane::TakeCommandLine(argc, argv);
    morvane::UseSystemLocale();
#ifdef MORVANE_UI
    return morvane::RunInWindows(commandLine, argv);
#else
    return morvane::RunOnConsole(commandLine, "This build of Morvane has no settings window.");
#endif
}
