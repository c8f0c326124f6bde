// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "base/Text.h"
#include "tasks/TaskTest.h"
#include "tasks/modDeleteRecords.h"

namespace morvane::testing {
namespace {

// The type of a key column and some values as SQL literals.
struct KeyKind {
    const char* Type;
    bool IsNumber;
    std::vector<std::string> Values;
};

const std::vector<KeyKind> kKinds{
    {"int", true, {"-3", "12", "70"}},
    {"decimal(9,2)", true, {"-1.5", "0.25", "4"}},
    {"varchar(9)", false, {"''", "'A'", "'a'", "'b'"}},
    {"nvarchar(9) COLLATE NOCASE", false, {"'A'", "'a'", "'B'", "'it''s'"}},
    {"datetime",
     false,
     {"'2020-01-02 00:00:00'", "'2020-02-01 00:00:00'", "'2020-02-01 10:20:30'"}},
    {"date", false, {"'2020-01-02'", "'2020-02-01'"}},
};

// A slowly-moving dimension with some elements, and models of deletion in SQLite's own SQL.
class RandomHistory : public TaskSite {
  public:
    explicit RandomHistory(unsigned seed) : dice_(seed), seed_(seed) {
        std::vector<std::string> columns{"id int"};
        for (unsigned width = 1 + dice_.Below(3); width > 0; --width) {
            kinds_.push_back(kKinds[dice_.Below(static_cast<unsigned>(kKinds.size()))]);
            keys_.push_back("k" + std::to_string(width));
            columns.push_back(keys_.back() + " " + kinds_.back().Type);
        }
        warehouse.AddSlowMovingDimension("client", Join(columns, ", "));
        warehouse.AddRelation("sales", "client", "client", "id", true, Join(keys_, " , "));
        for (int elements = 5; elements > 0; --elements) {
            AddElement();
        }
        warehouse.Run("INSERT INTO client(id, " + Join(keys_, ", ") +
                      ", start_date, end_date, is_current, is_deletable) VALUES " +
                      Join(versions_, ","));
    }

    // Uses sessions with both date orders, as on servers of different languages.
    bool Delete(bool atomic) {
        return DeleteRecords(state, progress, InSessions(seed_ % 2 == 0 ? "mdy" : "dmy"), atomic) ==
               Outcome::Done;
    }

    // The rows after these statements, which are rolled back.
    std::string RowsAfter(const std::string& sql) const {
        return Join(warehouse.Rows("BEGIN;" + sql + "SELECT id," + Join(keys_, ",") +
                                   ", substr(start_date, 1, 19), substr(end_date, 1, 19),"
                                   " is_current, is_deletable FROM client ORDER BY id; ROLLBACK"),
                    "\n");
    }

    // Processes the marked versions in order, each as left by those before it. The first one
    // determines which date is passed on and which one is matched, also for versions that need it
    // the other way round.
    std::string NormalDeletion() const {
        const std::vector<std::string> marked = warehouse.Rows(
            "SELECT id, is_current IS 1 FROM client WHERE is_deletable = 1"
            " ORDER BY " +
            Join(keys_, ", ") + ", start_date");
        const bool startIsPassedOn = !marked.empty() && marked[0].ends_with("0");
        std::string sql;
        for (const std::string& row : marked) {
            sql += fmt::format(
                "UPDATE client AS other SET"
                " start_date = iif(current, other.start_date, passed),"
                " end_date = iif(current, passed, other.end_date),"
                " is_current = iif(current, 1, other.is_current)"
                " FROM (SELECT *, is_current IS 1 AS current, substr({}, 1, 19) AS passed,"
                " substr({}, 1, 10) AS day FROM client WHERE id = {}) AS this WHERE {} AND"
                " substr(iif(current, other.end_date, other.start_date), 1, 10) = day;",
                startIsPassedOn ? "start_date" : "end_date",
                startIsPassedOn ? "end_date" : "start_date", Split(row, '|')[0], SameKey("="));
        }
        return sql + "DELETE FROM client WHERE is_deletable = 1;";
    }

    // Deletes the elements whose versions are all marked, except those with a NULL in a text or
    // date of their key. Fails on a NULL number and on a quote in a key.
    bool AtomicDeletionFails() const {
        std::string unusable = " AND (0";
        for (const std::string& key : keys_) {
            unusable += " OR " + key + " IS NULL OR " + key + " LIKE '%''%'";
        }
        return warehouse.Text("SELECT count(*) FROM client AS this" + Unused() + unusable + ")") !=
               "0";
    }
    std::string AtomicDeletion() const { return "DELETE FROM client AS this" + Unused() + ";"; }

  private:
    // Mostly consecutive versions, with some gaps, overlaps and missing dates.
    void AddElement() {
        std::string key;
        for (const KeyKind& kind : kinds_) {
            const unsigned value = dice_.Below(static_cast<unsigned>(kind.Values.size()));
            key += "," + (dice_.Chance(6) ? "NULL" : kind.Values[value]);
        }
        const unsigned marked = 30 + 35 * dice_.Below(3);
        unsigned day = 10;
        for (unsigned rest = 1 + dice_.Below(5); rest > 0; --rest) {
            // At most one start is missing, since versions with the same start have no order.
            const bool noStart = dice_.Chance(5) && !std::exchange(startIsMissing_, true);
            std::string version = std::to_string(versions_.size() + 1) + key + ",";
            version += (noStart ? "NULL" : Date(day)) + ",";
            day += dice_.Below(3);
            const std::string end =
                Date(dice_.Chance(85) ? day : 10 + dice_.Below(15), rest % 3 == 0);
            version += (dice_.Chance(7) ? "NULL" : end) + ",";
            version += dice_.Flag(rest == 1 ? 85 : 10) + ",";
            versions_.push_back("(" + version + dice_.Flag(marked) + ")");
        }
    }

    // Midnight or a unique time of day.
    std::string Date(unsigned day, bool midnight = false) {
        const std::size_t time = ++dates_;
        return midnight ? fmt::format("'2024-01-{} 00:00:00'", day)
                        : fmt::format("'2024-01-{} 08:{:02}:{:02}{}'", day, time / 60, time % 60,
                                      time % 5 == 0 ? ".123" : "");
    }

    std::string SameKey(const std::string& comparison) const {
        std::vector<std::string> conditions;
        for (const std::string& key : keys_) {
            conditions.push_back("other." + key + " " + comparison + " this." + key);
        }
        return Join(conditions, " AND ");
    }

    // The condition of the elements that atomic deletion addresses.
    std::string Unused() const {
        std::string condition =
            " WHERE NOT EXISTS(SELECT 1 FROM client AS other WHERE is_deletable IS NOT 1 AND " +
            SameKey("IS") + ")";
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            condition += kinds_[i].IsNumber ? "" : " AND " + keys_[i] + " IS NOT NULL";
        }
        return condition;
    }

    Dice dice_;
    unsigned seed_;
    std::size_t dates_ = 0;
    bool startIsMissing_ = false;
    std::vector<KeyKind> kinds_;
    std::vector<std::string> keys_;
    std::vector<std::string> versions_;
};

constexpr unsigned kSeeds = 300;

TEST(RandomDeletion, PassesPeriodsOnAndDeletesTheMarkedVersions) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        RandomHistory history(seed);
        SCOPED_TRACE(fmt::format("seed {}\n{}", seed, history.RowsAfter("")));
        const std::string expected = history.RowsAfter(history.NormalDeletion());
        ASSERT_TRUE(history.Delete(false)) << history.state.ErrorText;
        ASSERT_EQ(history.RowsAfter(""), expected);
    }
}

TEST(RandomDeletion, DeletesWholeElementsAndNothingElseIfAtomic) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        RandomHistory history(seed);
        SCOPED_TRACE(fmt::format("seed {}\n{}", seed, history.RowsAfter("")));
        const bool fails = history.AtomicDeletionFails();
        const std::string expected = history.RowsAfter(fails ? "" : history.AtomicDeletion());
        ASSERT_EQ(history.Delete(true), !fails) << history.state.ErrorText;
        ASSERT_EQ(history.RowsAfter(""), expected);
    }
}

}  // namespace
}  // namespace morvane::testing
