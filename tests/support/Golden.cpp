// SPDX-License-Identifier: Apache-2.0
#include "support/Golden.h"

#include <cstdlib>

#include "base/modFileFunctions.h"

namespace morvane::testing {

::testing::AssertionResult MatchesGolden(const std::string& actual, const std::string& name) {
    const std::string path = std::string(MORVANE_GOLDEN_FOLDER) + "/" + name;
    if (std::getenv("MORVANE_UPDATE_GOLDEN") != nullptr) {
        TextFile file(path);
        file.Write(actual);
        file.Close();
        return ::testing::AssertionFailure() << "wrote " << name << "; read it before you commit";
    }
    const std::string expected = ReadWholeFile(path);
    return ::testing::AssertionResult(actual == expected)
           << "differs from " << name << "\n--- expected\n"
           << expected << "\n--- actual\n"
           << actual;
}

}  // namespace morvane::testing
