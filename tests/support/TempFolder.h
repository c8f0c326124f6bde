// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace morvane::testing {

// A temporary folder. The destructor deletes it with its contents.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// The sorted names of the files in a folder, joined by spaces.
std::string ListFiles(const std::string& folder);

}  // namespace morvane::testing
