// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <map>
#include <optional>
#include <set>

#include "base/Text.h"
#include "core/Transaction.h"
#include "tasks/TaskTest.h"
#include "tasks/modDetectAndMark.h"

namespace morvane::testing {
namespace {

using Number = std::optional<int>;  // or NULL

struct Row {
    std::vector<Number> Columns;  // c0, c1, ...
    Number Sustainable;
    Number Deletable;
};

struct Table {
    bool Fact;
    bool Selected;
    std::vector<Row> Rows;
};

struct Relation {
    std::string Foreign;
    std::string Primary;
    std::vector<std::pair<unsigned, unsigned>> Columns;  // of the foreign and the primary table
};

// The rules of marking, applied to rows in memory.
struct Model {
    std::map<std::string, Table> Tables;
    std::vector<Relation> Relations;

    bool RefersTo(const std::string& foreign, const std::string& primary) const {
        return std::any_of(Relations.begin(), Relations.end(), [&](const Relation& relation) {
            return relation.Foreign == foreign && relation.Primary == primary;
        });
    }
    bool IsReferredTo(const std::string& name) const {
        return std::any_of(Relations.begin(), Relations.end(),
                           [&](const Relation& relation) { return relation.Primary == name; });
    }
    // Such a table is never marked and delays no other.
    bool IsLeftAlone(const std::string& name) const {
        const Table& table = Tables.at(name);
        return RefersTo(name, name) || (!table.Fact && !table.Selected);
    }

    static bool Matches(const Row& foreign, const Row& primary, const Relation& relation) {
        return std::all_of(relation.Columns.begin(), relation.Columns.end(), [&](auto columns) {
            const Number a = foreign.Columns[columns.first];
            return a && a == primary.Columns[columns.second];
        });
    }

    // Whether a fact or an unmarked dimension row refers to it.
    bool IsUsed(const Row& row, const std::string& name) const {
        for (const Relation& relation : Relations) {
            if (relation.Primary != name) {
                continue;
            }
            const Table& foreign = Tables.at(relation.Foreign);
            for (const Row& other : foreign.Rows) {
                if ((foreign.Fact || other.Deletable == 0) && Matches(other, row, relation)) {
                    return true;
                }
            }
        }
        return false;
    }

    // Marks from the facts outwards, each table after all that refer to it. Returns the relations
    // that were processed.
    std::vector<Relation> Mark() {
        std::set<std::string> reached;
        for (const Relation& relation : Relations) {
            if (Tables.at(relation.Foreign).Fact && !Tables.at(relation.Primary).Fact) {
                reached.insert(relation.Foreign);
            }
        }
        for (auto& [name, table] : Tables) {
            if (!table.Fact && table.Selected && IsReferredTo(name)) {
                for (Row& row : table.Rows) {
                    row.Deletable = 0;
                }
            }
        }
        while (MarkNext(reached)) {
        }
        std::vector<Relation> lookedAt;
        std::copy_if(Relations.begin(), Relations.end(), std::back_inserter(lookedAt),
                     [&](const Relation& relation) {
                         return reached.count(relation.Primary) > 0 &&
                                !Tables.at(relation.Primary).Fact;
                     });
        return lookedAt;
    }

    // The number of steps of the progress bar.
    std::size_t CountForTheBar() const {
        const auto count =
            std::count_if(Relations.begin(), Relations.end(), [&](const Relation& relation) {
                return !Tables.at(relation.Primary).Fact && !IsLeftAlone(relation.Primary);
            });
        return std::max<std::size_t>(static_cast<std::size_t>(count), 1);
    }

    bool MarkNext(std::set<std::string>& reached) {
        for (auto& [name, table] : Tables) {
            bool ready = reached.count(name) == 0 && !IsLeftAlone(name);
            bool fromReached = false;
            for (const Relation& relation : Relations) {
                if (relation.Primary == name) {
                    const bool done = reached.count(relation.Foreign) > 0;
                    ready = ready && (done || IsLeftAlone(relation.Foreign));
                    fromReached = fromReached || done;
                }
            }
            if (ready && fromReached) {
                for (Row& row : table.Rows) {
                    if (!table.Fact && row.Sustainable == 0 && !IsUsed(row, name)) {
                        row.Deletable = 1;
                    }
                }
                reached.insert(name);
                return true;
            }
        }
        return false;
    }
};

std::string SqlOf(const Number& number) {
    return number ? std::to_string(*number) : "NULL";
}

// A snowflake of small tables, or sometimes an arbitrary graph. `filled` percent of the tables have
// rows.
class RandomWarehouse : public TaskSite {
  public:
    RandomWarehouse(unsigned seed, unsigned tables, unsigned relations, unsigned filled)
        : dice_(seed) {
        const unsigned facts = 1 + dice_.Below(tables / 3);
        const bool tangled = dice_.Chance(30);
        for (unsigned i = 0; i < tables; ++i) {
            names_.push_back((i < facts ? "fact" : "dim") + std::to_string(i));
            AddTable(names_.back(), i < facts, dice_.Chance(filled));
        }
        for (unsigned i = 0; i < relations; ++i) {
            const unsigned primary =
                dice_.Chance(8) ? dice_.Below(tables) : facts + dice_.Below(tables - facts);
            AddRelation(names_[dice_.Below(tangled ? tables : std::max(primary, 1U))],
                        names_[primary]);
        }
        warehouse.Run("BEGIN;" + Script + "COMMIT");
    }

    std::string Marks() const {
        std::string query;
        for (const auto& [name, table] : model.Tables) {
            if (!table.Fact) {
                query += (query.empty() ? "" : " UNION ALL ") +
                         fmt::format("SELECT '{0}', id, is_deletable FROM {0}", name);
            }
        }
        return Join(warehouse.Rows(query), "\n");
    }
    std::string ExpectedMarks() const {
        std::vector<std::string> lines;
        for (const auto& [name, table] : model.Tables) {
            for (std::size_t i = 0; !table.Fact && i < table.Rows.size(); ++i) {
                lines.push_back(fmt::format("{}|{}|{}", name, i, SqlOf(table.Rows[i].Deletable)));
            }
        }
        return Join(lines, "\n");
    }

    Model model;
    std::string Script;  // creates the warehouse

  private:
    static constexpr unsigned kColumns = 3;

    Number Flag() { return dice_.Chance(5) ? Number() : Number(dice_.Chance(25) ? 1 : 0); }

    void AddTable(const std::string& name, bool fact, bool filled) {
        Table table{fact, dice_.Chance(85), {}};
        std::string values;
        for (unsigned row = filled ? dice_.Below(7) : 0; row > 0; --row) {
            Row made{{}, Flag(), Flag()};
            values += fmt::format("{}({}", values.empty() ? "" : ",", table.Rows.size());
            for (unsigned i = 0; i < kColumns; ++i) {
                made.Columns.push_back(dice_.Chance(15) ? Number() : Number(dice_.Below(4)));
                values += "," + SqlOf(made.Columns.back());
            }
            values +=
                fact ? ")" : fmt::format(",{},{})", SqlOf(made.Sustainable), SqlOf(made.Deletable));
            table.Rows.push_back(std::move(made));
        }
        Script += fmt::format("CREATE TABLE {}(id int, c0 int, c1 int, c2 int{});\n", name,
                              fact ? "" : ", is_sustainable bit, is_deletable bit");
        if (dice_.Chance(30)) {
            Script +=
                fmt::format("CREATE INDEX ix_{0} ON {0}(c{1});\n", name, dice_.Below(kColumns));
        }
        Script += values.empty() ? "" : fmt::format("INSERT INTO {} VALUES{};\n", name, values);
        // The condition is for archiving.
        Script += fmt::format("INSERT INTO dwm_tables VALUES('{}','{}','c0 = 1',{:d});\n", name,
                              fact ? "Fact" : "DIMENSION", table.Selected);
        model.Tables[name] = std::move(table);
    }

    void AddRelation(const std::string& foreign, const std::string& primary) {
        Relation relation{foreign, primary, {}};
        std::string foreignColumns;
        std::string primaryColumns;
        for (unsigned i = 0; i <= dice_.Below(2); ++i) {
            relation.Columns.emplace_back(dice_.Below(kColumns), dice_.Below(kColumns));
            foreignColumns += (i == 0 ? "c" : ",c") + std::to_string(relation.Columns[i].first);
            primaryColumns += (i == 0 ? "c" : ", c") + std::to_string(relation.Columns[i].second);
        }
        const bool loud = dice_.Chance(20);
        Script +=
            fmt::format("INSERT INTO dwm_star_relations VALUES(1,'{}','{}','{}','{}',0,NULL);\n",
                        loud ? ToUpper(foreign) : foreign, foreignColumns, primary, primaryColumns);
        model.Relations.push_back(std::move(relation));
    }

    Dice dice_;
    std::vector<std::string> names_;
};

void ExpectWhatTheModelSays(RandomWarehouse& site) {
    const std::size_t most = site.model.CountForTheBar();
    std::vector<std::string> relations;
    for (const Relation& relation : site.model.Mark()) {
        relations.push_back("relation " + relation.Primary + " <- " + relation.Foreign + "; ");
    }
    std::sort(relations.begin(), relations.end());
    std::vector<std::string> log = Split(ToLower(Join(site.progress.Log, "|")), '|');
    std::sort(log.begin() + 3, log.end() - 3);  // the order is up to the server
    EXPECT_EQ(
        Join(log, "; "),
        fmt::format("hide overallprogframe; show detectprogframe; range 0..{}; {}value {} to 0;"
                    " hide detectprogframe; show overallprogframe",
                    most, Join(relations, ""), relations.size()));
    EXPECT_EQ(site.Marks(), site.ExpectedMarks());
}

TEST(SnowflakeOracle, MarksWhatNothingRefersTo) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomWarehouse site(seed, 3 + seed % 7, seed % 13, 100);
        Transaction oneWriteToTheDisk(*site.state.WarehouseConnection);
        ASSERT_EQ(MarkUnusedElements(site.state, site.progress), Outcome::Done)
            << site.state.ErrorText;
        oneWriteToTheDisk.Commit();
        ExpectWhatTheModelSays(site);
        ASSERT_FALSE(::testing::Test::HasFailure()) << site.Script;
    }
}

// More relations than the engine keeps in the meta tables: it makes indexed copies.
TEST(SnowflakeOracle, MarksAmongManyTables) {
    RandomWarehouse site(1, 160, 260, 15);
    ASSERT_EQ(MarkUnusedElements(site.state, site.progress), Outcome::Done) << site.state.ErrorText;
    ExpectWhatTheModelSays(site);
}

}  // namespace
}  // namespace morvane::testing
