// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace morvane::testing {

// Sets an environment variable and restores it in the destructor.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const std::string& value) : name_(name) {
        if (const char* former = std::getenv(name)) {
            former_ = former;
        }
        setenv(name, value.c_str(), 1);
    }
    ~ScopedVariable() {
        if (former_) {
            setenv(name_, former_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    const char* name_;
    std::optional<std::string> former_;
};

}  // namespace morvane::testing
