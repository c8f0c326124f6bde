// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/Texts.h"

namespace morvane::testing {

// Compares `actual` byte by byte with the file of that name in tests/golden. With the environment
// variable MORVANE_UPDATE_GOLDEN set the file is written instead and the test fails, so that a
// changed file is always looked at.
::testing::AssertionResult MatchesGolden(const std::string& actual, const std::string& name);

}  // namespace morvane::testing
