// SPDX-License-Identifier: Apache-2.0
#include "support/TempFolder.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <system_error>
#include <vector>

#include "base/Text.h"

namespace morvane::testing {

TempFolder::TempFolder() {
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    std::random_device random;
    std::filesystem::path folder;
    do {
        folder = parent / ("morvane-test-" + std::to_string(random()) + std::to_string(random()));
    } while (!std::filesystem::create_directory(folder));
    path_ = folder.string();
}

TempFolder::~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

std::string ListFiles(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return Join(names, " ");
}

}  // namespace morvane::testing
