// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace morvane {

// A statement whose passwords are masked, fit for messages and logs. MaskPasswords() makes it.
struct MaskedSql {
    std::string Text;
};

// A failure reported by a database provider. what() lists its descriptions in the provider's
// order, one per line, followed by the statement, if any.
class DatabaseError : public std::runtime_error {
  public:
    explicit DatabaseError(std::vector<std::string> descriptions, MaskedSql statement = {},
                           int code = 0);

    const std::vector<std::string>& Descriptions() const { return descriptions_; }
    const std::string& Statement() const { return statement_.Text; }
    // The server's error number of the first description, or 0.
    int Code() const { return code_; }

  private:
    std::vector<std::string> descriptions_;
    MaskedSql statement_;
    int code_ = 0;
};

}  // namespace morvane
