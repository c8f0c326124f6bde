// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace morvane::demo {

// A file that is written under a name of its own beside its target and takes the target's place on
// Commit(); uncommitted, it is gone at the end.
class PendingFile {
  public:
    explicit PendingFile(std::string target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& TemporaryPath() const { return temporary_; }
    const std::string& Target() const { return target_; }

    // Replaces a database that has the name. Throws DemoError.
    void Commit();

  private:
    std::string target_;
    std::string temporary_;
    bool committed_ = false;
};

}  // namespace morvane::demo
