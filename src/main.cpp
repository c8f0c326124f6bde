#include <clocale>

#include "run/CommandLine.h"
#include "run/StartUp.h"

int main(int argc, char** argv) {
    std::setlocale(LC_TIME, "");
    std::setlocale(LC_CTYPE, "");
    return morvane::RunOnConsole(morvane::ComposeCommandLine(argc, argv));
}
