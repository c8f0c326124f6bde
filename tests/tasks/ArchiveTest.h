// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>

#include "core/LogStream.h"
#include "db/modDatabaseOperations.h"
#include "support/FixedClock.h"
#include "support/SqliteFile.h"
#include "support/Texts.h"
#include "tasks/TaskTest.h"
#include "tasks/modArchiveFactTables.h"

namespace morvane::testing {

// Records the lines of a log.
struct RecordingLog : LogStream {
    std::string Text;
    void WriteLine(std::string_view text) override { Text.append(text).append("\n"); }
};

// A warehouse with the fact table "sales", whose rows 1 to 3 are older than 2020, and an archive
// database "hist" on another server.
class ArchiveTest : public TaskTest {
  protected:
    ArchiveTest() : archive(archiveFolder / "hist.db") {
        archive.Run("PRAGMA user_version = 1");
        warehouse.AddFact("sales",
                          "id int NOT NULL, sold datetime, amount decimal(18,4) DEFAULT 1.5, note "
                          "varchar(20) COLLATE NOCASE, CONSTRAINT pk_sales PRIMARY KEY(id)",
                          kOld);
        warehouse.Run(
            "INSERT INTO sales VALUES(1,'2018-01-01 00:00:00',10.25,'a'),"
            "(2,'2019-06-30 12:30:00',NULL,'it''s'),(3,'2019-12-31 23:59:59',0.5,NULL),"
            "(4,'2020-01-01 00:00:00',7,'b'),(5,NULL,8,'c')");
        // Lets a test act between two statements.
        state.WarehouseConnection =
            TraceStatements(std::move(state.WarehouseConnection), [this](std::string_view sql) {
                if (onStatement) {
                    onStatement(std::string(sql));
                }
            });
        ConnectArchive(true);
    }

    static constexpr const char* kOld = "sold < '20200101'";

    std::string ArchiveServer() const { return "sqlite:" + archiveFolder.Path(); }

    void ConnectArchive(bool integrated, const std::string& password = "secret") {
        std::unique_ptr<Connection> connection;
        EXPECT_TRUE(ConnectDatabase(CreateConnection,
                                    {ArchiveServer(), integrated, "clerk", password}, connection,
                                    state.ErrorText, "hist"));
        state.ArchiveConnection = Traced(std::move(connection), "archive  ");
    }

    bool Archive() {
        log.Text.clear();
        statements.clear();
        state.ErrorText.clear();
        outcome = ArchiveFactTables(state, progress, clock, log);
        return outcome == Outcome::Done;
    }

    void SetCondition(const std::string& condition, const std::string& table = "sales") {
        warehouse.Run("DELETE FROM dwm_tables WHERE table_name = '" + table + "'");
        warehouse.AddTable(table, "FACT", true, condition);
    }

    std::string Kept(const std::string& table = "sales") const {
        return warehouse.Text("SELECT id FROM " + table + " ORDER BY id");
    }
    std::string Archived(const std::string& table = "sales") const {
        return archive.Text("SELECT id FROM " + table + " ORDER BY id, date_of_archiving");
    }
    bool HasArchiveTable(const std::string& table = "sales") const {
        return archive.Text("SELECT count(*) FROM sqlite_schema WHERE lower(name) = lower('" +
                            table + "')") == "1";
    }
    // Expects that archiving fails with the error and moves no row.
    void ExpectFailureWithAllRowsInPlace(const std::string& error,
                                         const std::string& archived = "") {
        EXPECT_FALSE(Archive());
        EXPECT_TRUE(Contains(state.ErrorText, error));
        EXPECT_EQ(log.Text.substr(log.Text.rfind("An error occ")),
                  "An error occurred during archiving of fact tables.\n\n"
                  "-------------------------------\nEnd of Archiving of Fact Tables\n"
                  "-------------------------------\n\n");
        EXPECT_EQ(Kept(), "1 2 3 4 5");
        EXPECT_EQ(HasArchiveTable() ? Archived() : "", archived);
    }

    TempFolder archiveFolder;
    SqliteFile archive;
    FixedClock clock;
    RecordingLog log;
    Outcome outcome = Outcome::Done;
    std::function<void(const std::string&)> onStatement;
};

}  // namespace morvane::testing
