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
        Set(name, value.c_str());
    }
    ~ScopedVariable() { Set(name_, former_ ? former_->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    static void Set(const char* name, const char* value) {
#ifdef _WIN32
        _putenv_s(name, value == nullptr ? "" : value);  // empty: removes it
#else
        value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
    }

    const char* name_;
    std::optional<std::string> former_;
};

}  // namespace morvane::testing
