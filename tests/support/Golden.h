#pragma once

#include <gtest/gtest.h>

#include <string>

namespace morvane::testing {

// Compares `actual` byte by byte with the file of that name in tests/golden. With the environment
// variable MORVANE_UPDATE_GOLDEN set the file is written instead and the test fails, so that a
// changed file is always looked at.
::testing::AssertionResult MatchesGolden(const std::string& actual, const std::string& name);

// `text` with every occurrence of `from` replaced: for folders that differ from run to run.
std::string ReplaceAll(std::string text, const std::string& from, const std::string& to);

}  // namespace morvane::testing
