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

// Adds the statements of "condition => ids": a query, the same with the first quoted text of the
// condition as its parameter, a copy into the table "sink", and a delete.
void AddCondition(std::size_t number, const std::string& line, std::vector<Step>& steps) {
    const std::size_t arrow = line.find(" =>");
    const std::string where = " where " + line.substr(0, arrow);
    const std::string query = "select id from t" + where + " order by id";
    std::vector<std::string> ids = Split(line.substr(arrow + 3), ' ');
    ids.erase(ids.begin());
    const std::vector<std::string> count{std::to_string(ids.size()) + " rows"};
    steps.push_back({number, '>', query, {}, ids});
    const std::size_t open = query.find('\'');
    const std::size_t close = query.find('\'', open + 1);
    if (close != std::string::npos &&
        std::string(" (").find(query[open - 1]) != std::string::npos &&
        query.find('{') == std::string::npos) {
        const std::string bound = query.substr(0, open) + "?" + query.substr(close + 1);
        steps.push_back({number, '>', bound, {query.substr(open + 1, close - open - 1)}, ids});
    }
    steps.push_back({number, '>', "BEGIN", {}, {}});
    steps.push_back({number, '>', "insert into sink select id from t" + where, {}, count});
    steps.push_back({number, '>', "delete from t" + where, {}, count});
    steps.push_back({number, '>', "ROLLBACK", {}, {}});
}

// The lines before the first case are executed at the start of every case, and those after "== *"
// at its end.
void AddCases(const std::filesystem::path& file, std::vector<Script>& scripts) {
    std::ifstream stream(file);
    std::vector<Script> cases{{file.stem().string(), file.filename().string(), {}}};
    std::size_t number = 1;
    for (std::string line; std::getline(stream, line); ++number) {
        std::vector<Step>& steps = cases.back().Steps;
        if (line.starts_with("== ")) {
            cases.push_back({line.substr(3), cases[0].File, {}});
        } else if (line.starts_with("> ") || line.starts_with("$ ") || line.starts_with("! ")) {
            steps.push_back({number, line[0], line.substr(2), {}, {}});
        } else if (line.starts_with("= ")) {
            AddCondition(number, line.substr(2), steps);
        } else if (line.starts_with("? ")) {
            steps.back().Parameters.push_back(line.substr(2));
        } else if (line.starts_with("    ")) {
            steps.back().Sql += "\n" + line.substr(4);
        } else if (!line.empty() && line[0] != '#') {
            steps.back().Expected.push_back(line);
        }
    }
    std::vector<Step> end;
    if (cases.back().Name == "*") {
        end = cases.back().Steps;
        cases.pop_back();
    }
    for (std::size_t i = 1; i < cases.size(); ++i) {
        Script& script = scripts.emplace_back(cases[0]);
        script.Name += "_" + cases[i].Name;
        script.Steps.insert(script.Steps.end(), cases[i].Steps.begin(), cases[i].Steps.end());
        script.Steps.insert(script.Steps.end(), end.begin(), end.end());
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
        static const std::map<std::string, void (Connection::*)()> transaction{
            {"BEGIN", &Connection::BeginTrans},
            {"COMMIT", &Connection::CommitTrans},
            {"ROLLBACK", &Connection::RollbackTrans}};
        if (const auto found = transaction.find(step.Sql); found != transaction.end()) {
            ((*connection_).*found->second)();
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
