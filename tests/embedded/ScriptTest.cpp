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

// One statement of a script and its expected result.
struct Step {
    std::size_t Line = 0;
    char Kind = ' ';
    std::string Sql;
    std::vector<std::string> Parameters;
    std::vector<std::string> Expected;
};

// A case of one of the files in scripts/. The README there describes their format.
struct Script {
    std::string Name;
    std::string File;
    std::vector<Step> Steps;
};

void PrintTo(const Script& script, std::ostream* stream) {
    *stream << script.File;
}

// Adds the query of "condition => ids", and a second one with the quoted text of the condition as
// its parameter.
void AddCondition(std::size_t number, const std::string& line, std::vector<Step>& steps) {
    const std::size_t arrow = line.find(" =>");
    const std::string sql = "select id from t where " + line.substr(0, arrow);
    std::vector<std::string> ids = Split(line.substr(arrow + 3), ' ');
    ids.erase(ids.begin());
    steps.push_back({number, '>', sql, {}, ids});
    const std::size_t open = sql.find('\'');
    const std::size_t close = sql.find('\'', open + 1);
    if (close != std::string::npos) {
        const std::string text = sql.substr(open + 1, close - open - 1);
        steps.push_back(
            {number, '>', sql.substr(0, open) + "?" + sql.substr(close + 1), {text}, ids});
    }
}

void AddCases(const std::filesystem::path& file, std::vector<Script>& scripts) {
    std::ifstream stream(file);
    Script setup{file.stem().string(), file.filename().string(), {}};
    Script* script = &setup;
    std::size_t number = 1;
    for (std::string line; std::getline(stream, line); ++number) {
        if (line.starts_with("== ")) {
            script = &scripts.emplace_back(setup);
            script->Name += "_" + line.substr(3);
        } else if (line.starts_with("> ") || line.starts_with("$ ") || line.starts_with("! ")) {
            script->Steps.push_back({number, line[0], line.substr(2), {}, {}});
        } else if (line.starts_with("= ")) {
            AddCondition(number, line.substr(2), script->Steps);
        } else if (line.starts_with("? ")) {
            script->Steps.back().Parameters.push_back(line.substr(2));
        } else if (line.starts_with("    ")) {
            script->Steps.back().Sql += "\n" + line.substr(4);
        } else if (!line.empty() && line[0] != '#') {
            script->Steps.back().Expected.push_back(line);
        }
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
    std::unique_ptr<Command> Bound(const Step& step) const {
        auto command = connection_->CreateCommand();
        command->SetText(step.Sql);
        for (const std::string& value : step.Parameters) {
            command->AppendParameter({"p", DataType::DBTimeStamp, 0, 0, 0, Value(value)});
        }
        return command;
    }
    // The rows of a query, or the number of rows that another statement affects.
    std::vector<std::string> Result(const Step& step) const {
        const bool bound = !step.Parameters.empty();
        if (!IsQuery(step.Sql)) {
            const auto rows = bound ? Bound(step)->Execute() : connection_->Execute(step.Sql);
            return {std::to_string(rows) + " rows"};
        }
        std::vector<std::string> lines;
        const auto rows =
            bound ? Bound(step)->OpenRecordset() : connection_->OpenRecordset(step.Sql);
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
        } else if (step.Sql == "REOPEN") {
            connection_->Close();
            connection_->Open();
            connection_->SetDefaultDatabase("dw");
        } else {
            const auto result = Result(step);
            EXPECT_TRUE(result == step.Expected || (step.Expected.empty() && !IsQuery(step.Sql)))
                << Join(result, "\n");
        }
    }
    void ExpectError(const Step& step) const {
        const std::string before = warehouse_.Dump();
        const std::string error = ErrorOf([&] { Result(step); });
        EXPECT_NE(error, "no error");
        for (const std::string& part : step.Expected) {
            EXPECT_TRUE(Contains(error, part));
        }
        EXPECT_EQ(warehouse_.Dump(), before) << "a failed statement changes nothing";
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
