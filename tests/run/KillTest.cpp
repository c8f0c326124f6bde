#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Fork.h"
#include "RunFixture.h"
#include "db/ConnectionFactory.h"
#include "db/StatementTrace.h"

namespace morvane::testing {
namespace {

// Connections that kill their process just before its statement with that number, from 1.
ConnectionFactory DyingAt(int statement) {
    auto sent = std::make_shared<int>(0);
    return [statement, sent](std::string_view server) {
        return TraceStatements(CreateConnection(server), [statement, sent](std::string_view) {
            if (++*sent == statement) {
                kill(getpid(), SIGKILL);
            }
        });
    };
}

class KilledRun : public ::testing::TestWithParam<bool> {
  protected:
    KilledRun() { FillStar(Warehouse); }

    RunSettings Settings() const {
        RunSettings settings = EveryTask(Warehouse, Files / "logs");
        settings.AtomicDeletion = GetParam();
        return settings;
    }

    bool Run(TestServices& world) const {
        RunState state;
        state.CommandLineMode = true;
        const bool result = RunTasks(Settings(), state, world.Services);
        EXPECT_TRUE(result) << state.ErrorText;
        return result;
    }

    // Whether the process died; false when it was through before that statement.
    bool RunAndDieAt(int statement) const {
        Child child([&](Child&) {
            TestServices world(DyingAt(statement));
            return Run(world) ? 0 : 1;
        });
        const int status = child.Wait();
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
        return WIFSIGNALED(status);
    }

    TestWarehouse Warehouse;
    TempFolder Files;
};

TEST_P(KilledRun, LeavesNoTableHalfChangedAndTheNextRunCompletesIt) {
    const std::string fresh = Files / "fresh.db";
    std::filesystem::copy_file(Warehouse.File(), fresh);
    const std::string productsBefore = Products(Warehouse);
    const std::string customersBefore = Customers(Warehouse);
    TestServices world;
    ASSERT_TRUE(Run(world));
    const std::string productsAfter = Products(Warehouse);
    const std::string customersAfter = Customers(Warehouse);
    ASSERT_NE(productsAfter, productsBefore);
    ASSERT_NE(customersAfter, customersBefore);

    int statement = 1;
    for (bool died = true; died; ++statement) {
        SCOPED_TRACE("killed before statement " + std::to_string(statement));
        std::filesystem::copy_file(fresh, Warehouse.File(),
                                   std::filesystem::copy_options::overwrite_existing);
        died = RunAndDieAt(statement);
        const std::string products = Products(Warehouse);
        const std::string customers = Customers(Warehouse);
        EXPECT_TRUE(products == productsBefore || products == productsAfter) << products;
        EXPECT_TRUE(customers == customersBefore || customers == customersAfter) << customers;

        world.Prompt.Answers = {true};
        EXPECT_TRUE(Run(world));
        EXPECT_EQ(Products(Warehouse), productsAfter);
        EXPECT_EQ(Customers(Warehouse), customersAfter);
        if (HasFailure()) {
            break;
        }
    }
    EXPECT_GT(statement, 20) << "a run sends more statements than that";
}

INSTANTIATE_TEST_SUITE_P(Both, KilledRun, ::testing::Bool(), [](const auto& kind) {
    return std::string(kind.param ? "AtomicDeletion" : "NormalDeletion");
});

}  // namespace
}  // namespace morvane::testing
