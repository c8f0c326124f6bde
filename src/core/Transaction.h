// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Connection.h"

namespace morvane {

// Rolls back in the destructor unless Commit() has succeeded.
class Transaction {
  public:
    explicit Transaction(Connection& connection) : connection_(&connection) {
        connection.BeginTrans();
    }
    ~Transaction() {
        if (connection_ != nullptr) {
            try {
                connection_->RollbackTrans();
            } catch (...) {
                // The connection is lost; the server rolls back on its own.
            }
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit() {
        connection_->CommitTrans();
        connection_ = nullptr;
    }

  private:
    Connection* connection_;
};

}  // namespace morvane
