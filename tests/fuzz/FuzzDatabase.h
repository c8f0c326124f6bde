// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string_view>

#include "core/DatabaseError.h"
#include "db/embedded/SqlFunctions.h"
#include "db/embedded/Sqlite.h"

namespace morvane::fuzz {

// An in-memory database with the server's functions. Statements that take long or create large
// values fail.
class FuzzDatabase {
  public:
    explicit FuzzDatabase(std::initializer_list<std::string_view> schema) {
        embedded::RegisterFunctions(database_, functions_);
        for (const std::string_view statement : schema) {
            database_.Run(statement);
        }
        sqlite3_limit(database_.Handle(), SQLITE_LIMIT_LENGTH, 100000);
        constexpr int kStepsBetween = 500;
        sqlite3_progress_handler(
            database_.Handle(), kStepsBetween,
            [](void* left) { return --*static_cast<int*>(left) < 0 ? 1 : 0; }, &pausesLeft_);
    }
    FuzzDatabase(const FuzzDatabase&) = delete;
    FuzzDatabase& operator=(const FuzzDatabase&) = delete;

    const embedded::SqliteDatabase& Database() const { return database_; }

    // Resets the time limit.
    void StartStatement() {
        constexpr int kMostPauses = 20;
        pausesLeft_ = kMostPauses;
        functions_.StartStatement();
    }

    // Runs the statement and returns the number of rows. Throws DatabaseError.
    std::size_t CountRows(embedded::SqliteStatement& statement) {
        StartStatement();
        std::size_t rows = 0;
        while (statement.Step()) {
            ++rows;
        }
        return rows;
    }

  private:
    embedded::FunctionContext functions_;
    embedded::SqliteDatabase database_ = embedded::SqliteDatabase::InMemory();
    int pausesLeft_ = 0;
};

}  // namespace morvane::fuzz
