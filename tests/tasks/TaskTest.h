// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "core/RunState.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"
#include "support/RecordingProgress.h"
#include "support/TestWarehouse.h"

namespace morvane::testing {

// A new warehouse, a run state with a connection to it, and all statements sent.
class TaskSite {
  public:
    TaskSite() { state.WarehouseConnection = Traced(warehouse.Connect(), "main     "); }

    // The factory for tasks that open another connection.
    ConnectionFactory Factory() {
        return [this](std::string_view server) {
            return Traced(CreateConnection(server), "deletion ");
        };
    }

    std::unique_ptr<Connection> Traced(std::unique_ptr<Connection> connection,
                                       const std::string& name) {
        return TraceStatements(std::move(connection), [this, name](std::string_view sql) {
            statements.push_back(name + std::string(sql));
        });
    }

    // One line per statement, for the golden files; line breaks are escaped.
    std::string StatementLines() const {
        std::string lines;
        for (const std::string& statement : statements) {
            for (const char c : statement) {
                lines += c == '\r' ? "\\r" : c == '\n' ? "\\n" : std::string(1, c);
            }
            lines += "$\n";
        }
        return lines;
    }

    // The ids of the marked rows, in order.
    std::string Marked(const std::string& table) const {
        return warehouse.Text("SELECT id FROM " + table + " WHERE is_deletable = 1 ORDER BY id");
    }

    TestWarehouse warehouse;
    RunState state;
    RecordingProgress progress;
    std::vector<std::string> statements;
};

class TaskTest : public ::testing::Test, protected TaskSite {};

// Random numbers that are the same on every platform.
class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    bool Chance(unsigned percent) { return Below(100) < percent; }
    template <typename Choices>
    auto OneOf(const Choices& choices) {
        return choices[Below(static_cast<unsigned>(choices.size()))];
    }

  private:
    std::mt19937 engine_;
};

}  // namespace morvane::testing
