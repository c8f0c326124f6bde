// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <string>
#include <vector>

#include "base/Platform.h"
#include "nightly/Nightly.h"
#include "run/CancelSignals.h"
#include "run/Console.h"
#include "run/ProcessArguments.h"
#include "run/StartUp.h"

int main(int argc, char** argv) {
    using namespace morvane;
    PrepareProcess();
    const std::vector<std::string> words(argv + 1, argv + argc);
    HidePasswords(argc, argv);
    const Environment environment = TakeEnvironment();
    UseSystemLocale();
    const Utf8Console console;
    const CancelSignals signals;
    const SystemClock clock;
    const NightlyServices services{
        .Environment = environment, .Clock = clock, .Output = std::cout, .Errors = std::cerr};
    return static_cast<int>(Nightly(words, services));
}
