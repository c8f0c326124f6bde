#include "support/TempFolder.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <system_error>

namespace morvane::testing {

TempFolder::TempFolder(Place place) {
    const std::filesystem::path memory = "/dev/shm";
    const std::filesystem::path parent =
        place == Place::InMemory && access(memory.c_str(), W_OK) == 0
            ? memory
            : std::filesystem::temp_directory_path();
    std::string name = (parent / "morvane-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder");
    }
    path_ = name;
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
