// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <filesystem>

#include "base/Text.h"
#include "core/Transaction.h"
#include "inspect/Plan.h"
#include "inspect/Verify.h"
#include "inspect/Why.h"
#include "tasks/TaskTest.h"
#include "tasks/modDeleteRecords.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {
namespace {

enum class Facts { AsTheyAre, AfterArchiving };

void NoReport(const std::string&) {}

// A snowflake with conditions on its facts and a slowly-moving dimension:
// sales and returns -> client -> region -> country; sales -> product, which may refer to itself.
class RandomWarehouse : public TaskSite {
  public:
    explicit RandomWarehouse(unsigned seed) : dice_(seed) {
        for (const char* fact : {"sales", "returns"}) {
            warehouse.AddFact(fact, "client int, region int, product int, day datetime, n int",
                              Condition());
            Fill(fact, dice_.Below(9), [&] {
                return fmt::format("{},{},{},'2024-01-{:02} 00:00:00',{}", Key(8), Key(4), Key(4),
                                   1 + dice_.Below(9), Key(5));
            });
        }
        warehouse.AddSlowMovingDimension("client", "id int, code varchar(5), region int");
        AddVersions();
        for (const char* dimension : {"region", "country", "product"}) {
            warehouse.AddDimension(dimension, "id int, parent int", dice_.Chance(85));
            const unsigned size = 1 + dice_.Below(4);
            for (unsigned id = 1; id <= size; ++id) {
                script_ += fmt::format(
                    "INSERT INTO {} (id, parent, is_sustainable, is_deletable) "
                    "VALUES({},{},{},{});",
                    dimension, id, Key(4), dice_.Flag(15), dice_.Flag(20));
            }
        }
        warehouse.AddRelation("sales", "client", "client", "id", true, "code");
        warehouse.AddRelation("client", "region", "region", "id");
        warehouse.AddRelation("region", "parent", "country", "id");
        warehouse.AddRelation("sales", "product", "product", "id");
        if (dice_.Chance(50)) {
            warehouse.AddRelation("returns", "region,n", "region", "id,parent");
        }
        if (dice_.Chance(20)) {
            warehouse.AddRelation("product", "parent", "product", "id");
        }
        warehouse.Run("BEGIN;" + script_ + "COMMIT");
        std::filesystem::copy_file(warehouse.File(), original_);
    }

    void Restore() {
        std::filesystem::copy_file(original_, warehouse.File(),
                                   std::filesystem::copy_options::overwrite_existing);
        state.WarehouseConnection = warehouse.Connect();
        state.Result = {};
        state.ErrorText.clear();
    }

    void Archive() const {
        for (const char* fact : {"sales", "returns"}) {
            const std::string condition = warehouse.Text(
                fmt::format("SELECT where_clause FROM dwm_tables WHERE table_name = '{}'", fact));
            if (!condition.empty() && condition != "NULL") {
                state.WarehouseConnection->Execute(
                    fmt::format("delete from {} where {}", fact, condition));
            }
        }
    }

    void Mark() {
        Transaction oneWriteToTheDisk(*state.WarehouseConnection);
        ASSERT_EQ(MarkUnusedElements(state, progress), Outcome::Done) << state.ErrorText;
        oneWriteToTheDisk.Commit();
    }

    std::int64_t Count(const std::string& sql) const { return std::stoll(warehouse.Text(sql)); }

    // Deletes after marking and compares with what was planned.
    void ExpectDeletion(const MarkedCounts& client, bool atomic) {
        ASSERT_EQ(DeleteRecords(state, progress, CreateConnection, atomic), Outcome::Done)
            << state.ErrorText;
        const TableResult& result = state.Result.Of("client");
        EXPECT_EQ(result.Deleted, atomic ? client.ElementRows : client.Rows);
        EXPECT_EQ(result.Marked, client.Rows);
        if (!atomic) {
            EXPECT_EQ(result.Relinked, client.Relinked);
        }
    }

  private:
    std::string Key(unsigned limit) {
        return dice_.Chance(8) ? "NULL" : std::to_string(1 + dice_.Below(limit));
    }

    std::string Condition() {
        const char* const conditions[] = {"", "day < '20240105' -- old", "n > 2 or client is null",
                                          "region in (select id from region where parent = 1)"};
        return conditions[dice_.Below(4)];
    }

    template <typename Row>
    void Fill(const std::string& table, unsigned rows, const Row& row) {
        for (; rows > 0; --rows) {
            script_ += fmt::format("INSERT INTO {} VALUES({});", table, row());
        }
    }

    void AddVersions() {
        unsigned id = 0;
        for (const char* code : {"'a'", "'b'", "'c'", "NULL"}) {
            unsigned day = 1;
            for (unsigned rest = dice_.Below(5); rest > 0; --rest) {
                const unsigned end = day + dice_.Below(3);
                script_ += fmt::format(
                    "INSERT INTO client(id, code, region, start_date, end_date, is_current,"
                    " is_sustainable) VALUES({},{},{},'2024-01-{:02} 00:00:0{}','2024-01-{:02} "
                    "00:00:00',{},{});",
                    ++id, code, Key(4), day, rest, end, dice_.Flag(rest == 1 ? 85 : 10),
                    dice_.Flag(10));
                day = end;
            }
        }
    }

    Dice dice_;
    std::string script_;
    std::string original_ = warehouse.Folder() + "/original";
};

std::vector<std::string> Dimensions() {
    return {"client", "region", "country", "product"};
}

// What `Explain` says about each element, as the ids of those that go.
std::string GoingIds(RandomWarehouse& site, const std::string& table, Facts facts) {
    std::string ids;
    for (const std::string& id : site.warehouse.Rows("SELECT id FROM " + table + " ORDER BY id")) {
        const Explanation why =
            Explain(*site.state.WarehouseConnection, table, {"id=" + id}, NoReport);
        const std::int64_t going = facts == Facts::AsTheyAre ? why.GoNow : why.GoAfterArchiving;
        EXPECT_EQ(why.Rows, 1);
        ids += going > 0 ? id + " " : "";
    }
    return ids;
}

std::string MarkedIds(const RandomWarehouse& site, const std::string& table) {
    std::string ids;
    for (const std::string& id :
         site.warehouse.Rows("SELECT id FROM " + table + " WHERE is_deletable = 1 ORDER BY id")) {
        ids += id + " ";
    }
    return ids;
}

// For each assumption about the facts: plan and explain, then do it and compare.
void ExpectWhatWasPlanned(unsigned seed, Facts facts) {
    RandomWarehouse site(seed);
    // One dimension per warehouse, because each explanation is a walk of its own.
    const std::vector<std::string> explained = {Dimensions()[seed % 4]};
    const Plan plan = MakePlan(*site.state.WarehouseConnection, NoReport);
    std::map<std::string, std::string> going;
    for (const std::string& table : explained) {
        going[table] = GoingIds(site, table, facts);
    }
    if (facts == Facts::AfterArchiving) {
        std::int64_t archived = 0;
        for (const ArchivePlan& fact : plan.FactTables) {
            archived += fact.Archived;
        }
        const std::string all =
            "SELECT (SELECT count(*) FROM sales) + (SELECT count(*) FROM returns)";
        const std::int64_t before = site.Count(all);
        site.Archive();
        EXPECT_EQ(before - site.Count(all), archived);
    }
    site.Mark();
    for (const DimensionPlan& dimension : plan.Dimensions) {
        const MarkedCounts& counts =
            facts == Facts::AsTheyAre ? dimension.Now : dimension.AfterArchiving;
        EXPECT_EQ(counts.Rows,
                  site.Count("SELECT count(*) FROM " + dimension.Table + " WHERE is_deletable = 1"))
            << dimension.Table;
    }
    for (const std::string& table : explained) {
        EXPECT_EQ(going[table], MarkedIds(site, table)) << table;
    }
    EXPECT_TRUE(MarkedButReferredTo(*site.state.WarehouseConnection, true, NoReport).empty());
    for (const DimensionPlan& dimension : plan.Dimensions) {
        if (dimension.Table == "client") {
            site.ExpectDeletion(
                facts == Facts::AsTheyAre ? dimension.Now : dimension.AfterArchiving,
                seed % 2 == 0);
        }
    }
}

TEST(RandomWarehouse, RunsDoWhatWasPlannedAndExplained) {
    for (unsigned seed = 0; seed < 200 / MORVANE_TEST_THINNING && !::testing::Test::HasFailure();
         ++seed) {
        SCOPED_TRACE(seed);
        ExpectWhatWasPlanned(seed, (seed / 2) % 2 == 0 ? Facts::AsTheyAre : Facts::AfterArchiving);
    }
}

}  // namespace
}  // namespace morvane::testing
