// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "core/RunState.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {

// A new warehouse, a run state with a connection to it, and all statements sent.
class TaskSite {
  public:
    TaskSite() { state.WarehouseConnection = Traced(warehouse.Connect(), "main     "); }

    // Creates the connections that a task opens itself.
    ConnectionFactory Factory() {
        return [this](std::string_view server) {
            return Traced(CreateConnection(server), "deletion ");
        };
    }

    std::unique_ptr<Connection> Traced(std::unique_ptr<Connection> connection,
                                       const std::string& name) {
        return TraceStatements(std::move(connection), [this, name](std::string_view sql) {
            const std::string line = name + std::string(sql);
            if (onStatement) {
                onStatement(line);
            }
            statements += ReplaceAll(ReplaceAll(line, "\r", "\\r"), "\n", "\\n") + "$\n";
        });
    }

    TestWarehouse warehouse;
    RunState state;
    RecordingProgress progress;
    std::string statements;  // one line each, for the golden files
    std::function<void(const std::string&)> onStatement;
};

// Creates connections with the date order "mdy" or "dmy", as on servers of different languages.
inline ConnectionFactory InSessions(const std::string& order) {
    return [order](std::string_view server) {
        auto connection = CreateConnection(server);
        Connection& session = *connection;
        return TraceStatements(std::move(connection), [order, &session](std::string_view) {
            session.Execute("SET DATEFORMAT " + order);
        });
    };
}

class TaskTest : public ::testing::Test, protected TaskSite {};

// Random numbers that are the same on every platform.
class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    bool Chance(unsigned percent) { return Below(100) < percent; }
    // A flag that is set with this probability, sometimes NULL.
    std::string Flag(unsigned percent) { return Chance(4) ? "NULL" : Chance(percent) ? "1" : "0"; }

  private:
    std::mt19937 engine_;
};

}  // namespace morvane::testing
