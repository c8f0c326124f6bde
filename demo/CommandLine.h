// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace morvane::demo {

struct Options {
    std::string Folder;
    std::int64_t Scale = 1;
    bool Force = false;
    bool Help = false;
};

inline constexpr const char* kUsage =
    "Usage: morvane-demo <folder> [--scale N] [--force]\n"
    "\n"
    "Makes the demo warehouse retail.db and the empty archive database\n"
    "retail_archive.db in the folder.\n"
    "\n"
    "  --scale N   N times the facts: 1 (the default) has 300,000 fact rows,\n"
    "              100 has 30 million\n"
    "  --force     replaces files that are there already\n";

// The arguments without the program's name. Throws DemoError, which says what is wrong.
Options ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace morvane::demo
