// SPDX-License-Identifier: Apache-2.0
#include "demo/CommandLine.h"

#include <fmt/format.h>

#include <charconv>

#include "demo/DemoWarehouse.h"

namespace morvane::demo {

namespace {

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

}  // namespace

Options ParseCommandLine(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& word = arguments[i];
        if (word == "--help" || word == "-h") {
            options.Help = true;
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
            throw DemoError("One folder only: " + options.Folder + " or " + word);
        } else {
            options.Folder = word;
        }
    }
    if (options.Folder.empty() && !options.Help) {
        throw DemoError("No folder given; --help tells how to call it");
    }
    return options;
}

}  // namespace morvane::demo
