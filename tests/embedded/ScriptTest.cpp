// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/Text.h"
#include "core/DatabaseError.h"
#include "support/ErrorOf.h"
#include "support/TestWarehouse.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

// One statement of a script and what it must give.
struct Step {
    std::size_t Line = 0;
    char Kind = ' ';
    std::string Sql;
    std::vector<std::string> Expected;
};

// A case of one of the files in scripts/, where the README describes their format.
struct Script {
    std::string Name;
    std::string File;
    std::vector<Step> Steps;
};

void PrintTo(const Script& script, std::ostream* stream) {
    *stream << script.File;
}

void AddCases(const std::filesystem::path& file, std::vector<Script>& scripts) {
    std::ifstream stream(file);
    const std::string name = file.stem().string();
    Script setup{name, file.filename().string(), {}};
    Script* script = &setup;
    std::size_t number = 1;
    for (std::string line; std::getline(stream, line); ++number) {
        if (line.starts_with("== ")) {
            script = &scripts.emplace_back(setup);
            script->Name += "_" + line.substr(3);
        } else if (line.starts_with("> ") || line.starts_with("$ ") || line.starts_with("! ")) {
            script->Steps.push_back({number, line[0], line.substr(2), {}});
        } else if (line.starts_with("    ")) {
            script->Steps.back().Sql += "\n" + line.substr(4);
        } else if (!line.empty() && line[0] != '#') {
            script->Steps.back().Expected.push_back(line);
        }
    }
    if (script == &setup) {
        scripts.push_back(setup);
    }
}

std::vector<Script> AllScripts() {
    std::vector<Script> scripts;
    for (const auto& entry : std::filesystem::directory_iterator(MORVANE_SCRIPTS_FOLDER)) {
        if (entry.path().extension() == ".test") {
            AddCases(entry.path(), scripts);
        }
    }
    return scripts;
}

bool IsQuery(const std::string& sql) {
    return EqualsIgnoreCase(sql.substr(0, 6), "select");
}

class StatementScript : public ::testing::TestWithParam<Script> {
  protected:
    std::vector<std::string> Rows(const std::string& sql) const {
        std::vector<std::string> lines;
        const auto rows = connection_->OpenRecordset(sql);
        for (; !rows->Eof(); rows->MoveNext()) {
            std::vector<std::string> line;
            for (const Field& field : rows->Fields()) {
                line.push_back(field.Value.IsNull() ? "NULL" : field.Value.Text());
            }
            lines.push_back(Join(line, "|"));
        }
        return lines;
    }
    void Execute(const Step& step) const {
        if (step.Sql == "BEGIN") {
            connection_->BeginTrans();
        } else if (step.Sql == "COMMIT") {
            connection_->CommitTrans();
        } else if (step.Sql == "ROLLBACK") {
            connection_->RollbackTrans();
        } else if (IsQuery(step.Sql)) {
            EXPECT_EQ(Rows(step.Sql), step.Expected);
        } else {
            const std::string rows = std::to_string(connection_->Execute(step.Sql)) + " rows";
            EXPECT_TRUE(step.Expected.empty() || step.Expected == std::vector{rows}) << rows;
        }
    }
    void ExpectError(const Step& step) const {
        const std::string before = warehouse_.Dump();
        const std::string error = ErrorOf([&] {
            IsQuery(step.Sql) ? static_cast<void>(Rows(step.Sql))
                              : static_cast<void>(connection_->Execute(step.Sql));
        });
        EXPECT_NE(error, "no error");
        for (const std::string& part : step.Expected) {
            EXPECT_TRUE(Contains(error, part));
        }
        EXPECT_EQ(warehouse_.Dump(), before) << "a statement that fails changes nothing";
    }

    const TestWarehouse warehouse_;
    const std::unique_ptr<Connection> connection_ = warehouse_.Connect();
};

TEST_P(StatementScript, GivesTheExpectedResults) {
    for (const Step& step : GetParam().Steps) {
        SCOPED_TRACE(GetParam().File + ":" + std::to_string(step.Line) + ": " + step.Sql);
        if (step.Kind == '!') {
            ExpectError(step);
        } else if (step.Kind == '>') {
            ASSERT_NO_THROW(Execute(step));
        } else if (IsQuery(step.Sql)) {
            EXPECT_EQ(warehouse_.Rows(step.Sql), step.Expected);
        } else {
            warehouse_.Run(step.Sql);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Embedded, StatementScript, ::testing::ValuesIn(AllScripts()),
                         [](const auto& instance) { return instance.param.Name; });

}  // namespace
}  // namespace morvane::testing
