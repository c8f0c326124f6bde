// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace morvane::testing {

// Whether `text` contains `part`. A failure prints both.
inline ::testing::AssertionResult Contains(std::string_view text, std::string_view part) {
    return ::testing::AssertionResult(text.find(part) != std::string_view::npos)
           << "\"" << part << "\" in: " << text;
}

// `text` with every occurrence of `from` replaced.
inline std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

}  // namespace morvane::testing
