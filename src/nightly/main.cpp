// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "nightly/Nightly.h"
#include "run/ConsoleTool.h"

int main(int argc, char** argv) {
    using namespace morvane;
    const ConsoleTool tool(argc, argv);
    const SystemClock clock;
    const NightlyServices services{
        .Environment = tool.Environment, .Clock = clock, .Output = std::cout, .Errors = std::cerr};
    return static_cast<int>(Nightly(tool.Arguments, services));
}
