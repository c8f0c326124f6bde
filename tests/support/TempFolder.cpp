#include "support/TempFolder.h"

#include <filesystem>
#include <random>
#include <set>
#include <system_error>

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
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : " ") + name;
    }
    return list;
}

}  // namespace morvane::testing
