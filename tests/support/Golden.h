// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/Texts.h"

namespace morvane::testing {

// Compares `actual` with the file of that name in tests/golden. If the environment variable
// MORVANE_UPDATE_GOLDEN is set, the file is written instead and the test fails, so that the change
// gets reviewed.
::testing::AssertionResult MatchesGolden(const std::string& actual, const std::string& name);

}  // namespace morvane::testing
