// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Connection.h"

namespace morvane {

// A transaction that is rolled back unless Commit() was reached.
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
                // The server rolls back by itself what it can no longer be asked to.
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
