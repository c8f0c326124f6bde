// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>

#include "demo/CommandLine.h"
#include "demo/DemoWarehouse.h"

namespace {

using namespace morvane::demo;

// Set by a signal, which can reach nothing else.
volatile std::sig_atomic_t stopAsked = 0;

void AskToStop(int) {
    stopAsked = 1;
}

void Run(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const auto counts = MakeDemoWarehouse(options.Folder, options.Scale, options.Force,
                                          [] { return stopAsked != 0; });
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    for (const TableCount& count : counts) {
        fmt::print("{:<17}{:>12} rows\n", count.Table, count.Rows);
    }
    fmt::print("Made {} and {} in {} at scale {} in {:.1f} seconds.\n", kWarehouseFile,
               kArchiveFile, options.Folder, options.Scale, time.count());
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGINT, AskToStop);
    std::signal(SIGTERM, AskToStop);
    try {
        const Options options = ParseCommandLine({argv + 1, argv + argc});
        if (options.Help) {
            fmt::print("{}", kUsage);
            return 0;
        }
        Run(options);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "morvane-demo: {}\n", error.what());
        return 1;
    }
}
