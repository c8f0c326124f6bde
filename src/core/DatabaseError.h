// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace morvane {

// A failure that a database provider reported. what() is every description in the provider's
// order, one a line, and then the statement under way, when there is one; both free of passwords.
class DatabaseError : public std::runtime_error {
  public:
    explicit DatabaseError(std::vector<std::string> descriptions, const std::string& statement = {},
                           int code = 0);

    const std::vector<std::string>& Descriptions() const { return descriptions_; }
    const std::string& Statement() const { return statement_; }
    // The server's own number of the first description; 0 where there is none.
    int Code() const { return code_; }

  private:
    std::vector<std::string> descriptions_;
    std::string statement_;
    int code_ = 0;
};

}  // namespace morvane
