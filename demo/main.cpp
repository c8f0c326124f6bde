// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "base/Version.h"
#include "demo/DemoWarehouse.h"
#include "demo/SqliteFile.h"

namespace {

using namespace morvane::demo;

constexpr const char* kUsage =
    "Usage: morvane-demo <folder> [--scale N] [--force]\n"
    "\n"
    "Creates the demo warehouse retail.db and the empty archive database\n"
    "retail_archive.db in the folder.\n"
    "\n"
    "  --scale N   N times the facts: 1 (the default) has 300,000 fact rows,\n"
    "              100 has 30 million\n"
    "  --force     replaces existing files\n"
    "  --version   prints the version\n";

enum class Action { Create, ShowHelp, ShowVersion };

struct Options {
    Action What = Action::Create;
    std::string Folder;
    std::int64_t Scale = 1;
    bool Force = false;
};

std::int64_t ParseScale(const std::string& text) {
    std::int64_t scale = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, scale);
    if (error != std::errc() || rest != end || scale < 1 || scale > kLargestScale) {
        throw DemoError(fmt::format("The scale must be a whole number from 1 to {}, not \"{}\"",
                                    kLargestScale, text));
    }
    return scale;
}

Options ParseCommandLine(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& word = arguments[i];
        if (word == "--help" || word == "-h") {
            options.What = Action::ShowHelp;
        } else if (word == "--version") {
            options.What = Action::ShowVersion;
        } else if (word == "--force") {
            options.Force = true;
        } else if (word == "--scale") {
            if (i + 1 == arguments.size()) {
                throw DemoError("--scale needs a number");
            }
            options.Scale = ParseScale(arguments[++i]);
        } else if (word.starts_with("-")) {
            throw DemoError("Unknown option " + word);
        } else if (!options.Folder.empty()) {
            throw DemoError("More than one folder: " + options.Folder + " and " + word);
        } else {
            options.Folder = word;
        }
    }
    if (options.Folder.empty() && options.What == Action::Create) {
        throw DemoError("No folder given; see --help");
    }
    return options;
}

// Set by the signal handler.
volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int /*signal*/) {
    stopRequested = 1;
}

void Create(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const auto counts = MakeDemoWarehouse(options.Folder, options.Scale, options.Force,
                                          [] { return stopRequested != 0; });
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    for (const TableCount& count : counts) {
        fmt::print("{:<17}{:>12} rows\n", count.Table, count.Rows);
    }
    fmt::print("Created {} and {} in {} at scale {} in {:.1f} seconds.\n", kWarehouseFile,
               kArchiveFile, options.Folder, options.Scale, time.count());
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGINT, RequestStop);
    std::signal(SIGTERM, RequestStop);
    try {
        const Options options = ParseCommandLine({argv + 1, argv + argc});
        switch (options.What) {
            case Action::ShowHelp:
                fmt::print("{}", kUsage);
                break;
            case Action::ShowVersion:
                fmt::print("morvane-demo {}\n", morvane::kVersion);
                break;
            case Action::Create:
                Create(options);
                break;
        }
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "morvane-demo: {}\n", error.what());
        return 1;
    }
}
