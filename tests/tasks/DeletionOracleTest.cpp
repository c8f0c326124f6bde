// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "base/Text.h"
#include "support/Texts.h"
#include "tasks/TaskTest.h"
#include "tasks/modDeleteRecords.h"

namespace morvane::testing {
namespace {

using Text = std::optional<std::string>;  // or NULL
using Flag = std::optional<bool>;

// A type of a key column, with values whose text order is the order of the server.
struct KeyKind {
    const char* Type;
    bool Number;
    bool IgnoresCase;
    std::vector<std::string> Values;
};

const std::vector<KeyKind> kKinds{
    {"int", true, false, {"-3", "12", "70"}},
    {"decimal(9,2)", true, false, {"-1.5", "0.25", "4"}},
    {"varchar(9)", false, false, {"", "A", "a", "b"}},
    {"nvarchar(9) COLLATE NOCASE", false, true, {"A", "a", "B", "it's"}},
    {"datetime",
     false,
     false,
     {"2020-01-02 00:00:00", "2020-02-01 00:00:00", "2020-02-01 10:20:30"}},
    {"date", false, false, {"2020-01-02", "2020-02-01"}},
};

struct Version {
    std::vector<Text> Key;
    std::vector<Text> Element;  // the key, normalized as the server compares it
    Text Start;
    Text End;
    Flag Current;
    Flag Marked;

    bool IsCurrent() const { return Current.value_or(false); }
    bool IsMarked() const { return Marked.value_or(false); }
    bool ComesBefore(const Version& other) const {
        return std::tie(Element, Start) < std::tie(other.Element, other.Start);
    }
};

bool HoldsNull(const std::vector<Text>& key) {
    return std::find(key.begin(), key.end(), std::nullopt) != key.end();
}

// The rules of deletion, applied to versions in memory.
struct Model {
    std::vector<KeyKind> Kinds;
    std::map<int, Version> Versions;  // by id

    // Processes the marked versions in order, each as left by those before it. The first one
    // decides which date is passed on and which is matched; the other statement has them swapped.
    void Relink() {
        std::vector<const Version*> turns;
        for (const auto& [id, version] : Versions) {
            if (version.IsMarked()) {
                turns.push_back(&version);
            }
        }
        std::sort(turns.begin(), turns.end(),
                  [](const Version* a, const Version* b) { return a->ComesBefore(*b); });
        const bool startIsHandedOn = !turns.empty() && !turns[0]->IsCurrent();
        for (const Version* turn : turns) {
            const Version now = *turn;
            const Text handedOn = startIsHandedOn ? now.Start : now.End;
            const Text lookedFor = startIsHandedOn ? now.End : now.Start;
            for (auto& [id, other] : Versions) {
                Text& date = now.IsCurrent() ? other.End : other.Start;
                const bool same = other.Element == now.Element && !HoldsNull(now.Element);
                if (same && date && lookedFor && date->substr(0, 10) == lookedFor->substr(0, 10)) {
                    date = handedOn ? Text(handedOn->substr(0, 19)) : std::nullopt;
                    other.Current = now.IsCurrent() ? Flag(true) : other.Current;
                }
            }
        }
    }

    void DeleteMarked() {
        std::erase_if(Versions, [](const auto& held) { return held.second.IsMarked(); });
    }

    // Deletes whole elements. A key with a NULL number or a quote is an error; an element with a
    // NULL text or date is skipped.
    bool DeleteAtomically() {
        std::set<std::vector<Text>> gone;
        std::set<std::vector<Text>> kept;
        for (const auto& [id, version] : Versions) {
            (version.IsMarked() ? gone : kept).insert(version.Element);
        }
        std::erase_if(gone, [&](const std::vector<Text>& key) {
            bool addressed = true;
            for (std::size_t i = 0; i < Kinds.size(); ++i) {
                addressed = addressed && (key[i] || Kinds[i].Number);
            }
            return kept.count(key) > 0 || !addressed;
        });
        for (const std::vector<Text>& key : gone) {
            if (HoldsNull(key) || std::find(key.begin(), key.end(), "it's") != key.end()) {
                return false;
            }
        }
        std::erase_if(Versions,
                      [&](const auto& held) { return gone.count(held.second.Element) > 0; });
        return true;
    }

    // One line per version, as the database shows it.
    std::string Picture() const {
        std::string picture;
        for (const auto& [id, version] : Versions) {
            picture += std::to_string(id);
            for (const Text& key : version.Key) {
                picture += "|" + key.value_or("NULL");
            }
            for (const Text& date : {version.Start, version.End}) {
                picture += "|" + date.value_or("NULL").substr(0, 19);
            }
            for (const Flag flag : {version.Current, version.Marked}) {
                picture += flag ? fmt::format("|{:d}", *flag) : "|NULL";
            }
            picture += "\n";
        }
        return picture;
    }
};

class RandomTable : public TaskSite {
  public:
    explicit RandomTable(unsigned seed) : dice_(seed), seed_(seed) {
        std::string columns = "id int";
        const unsigned width = 1 + dice_.Below(3);
        for (unsigned i = 0; i < width; ++i) {
            model.Kinds.push_back(dice_.OneOf(kKinds));
            columns += fmt::format(", k{} {}", i, model.Kinds[i].Type);
            keys_ += fmt::format("{}k{}", i == 0 ? "" : " , ", i);
        }
        warehouse.AddSlowMovingDimension("client", columns);
        warehouse.AddRelation("sales", "client", "client", "id", true, keys_);
        for (unsigned i = 0; i < 5; ++i) {
            AddElement();
        }
        Insert();
    }

    // In sessions with both date orders, as on servers of other languages.
    bool Delete(bool atomic) {
        const char* order = seed_ % 2 == 0 ? "SET DATEFORMAT mdy" : "SET DATEFORMAT dmy";
        const ConnectionFactory factory = [order](std::string_view server) {
            auto connection = CreateConnection(server);
            Connection& session = *connection;
            return TraceStatements(std::move(connection),
                                   [order, &session](std::string_view) { session.Execute(order); });
        };
        return DeleteRecords(state, progress, factory, atomic) == Outcome::Done;
    }

    std::string Picture() const {
        std::string picture;
        for (const std::string& row :
             warehouse.Rows("SELECT id," + keys_ +
                            ", substr(start_date, 1, 19), substr(end_date, 1, 19), is_current,"
                            " is_deletable FROM client ORDER BY id")) {
            picture += row + "\n";
        }
        return picture;
    }

    Model model;

  private:
    // Mostly consecutive versions, with some gaps, overlaps and missing dates.
    void AddElement() {
        Version version;
        for (const KeyKind& kind : model.Kinds) {
            version.Key.push_back(dice_.Chance(6) ? Text() : Text(dice_.OneOf(kind.Values)));
            const Text& key = version.Key.back();
            version.Element.push_back(key && kind.IgnoresCase ? Text(ToLower(*key)) : key);
        }
        const unsigned marked = 30 + 35 * dice_.Below(3);
        unsigned day = 10;
        for (unsigned rest = 1 + dice_.Below(5); rest > 0; --rest) {
            // The order of versions with the same start is undefined.
            const bool noStart = dice_.Chance(5) && withoutStart_.insert(version.Element).second;
            version.Start = noStart ? Text() : Text(Date(day));
            day += dice_.Below(3);
            const unsigned end = dice_.Chance(85) ? day : 10 + dice_.Below(15);
            version.End = dice_.Chance(7) ? Text() : Text(Date(end, rest % 3 == 0));
            version.Current = RandomFlag(rest == 1 ? 85 : 10);
            version.Marked = RandomFlag(marked);
            model.Versions[static_cast<int>(model.Versions.size()) + 1] = version;
        }
    }

    Flag RandomFlag(unsigned percent) {
        return dice_.Chance(3) ? Flag() : Flag(dice_.Chance(percent));
    }

    // Midnight or a unique time of day.
    std::string Date(unsigned day, bool midnight = false) {
        ++times_;
        return midnight ? fmt::format("2024-01-{} 00:00:00", day)
                        : fmt::format("2024-01-{} 08:{:02}:{:02}{}", day, times_ / 60, times_ % 60,
                                      times_ % 5 == 0 ? ".123" : "");
    }

    void Insert() const {
        std::string rows;
        for (const auto& [id, version] : model.Versions) {
            std::vector<Text> values = version.Key;
            values.insert(values.end(), {version.Start, version.End});
            for (const Flag flag : {version.Current, version.Marked}) {
                values.push_back(flag ? Text(*flag ? "1" : "0") : Text());
            }
            rows += fmt::format("{}({}", rows.empty() ? "" : ",", id);
            for (const Text& value : values) {
                rows += value ? ",'" + ReplaceAll(*value, "'", "''") + "'" : ",NULL";
            }
            rows += ")";
        }
        warehouse.Run("INSERT INTO client(id, " + keys_ +
                      ", start_date, end_date, is_current, is_deletable) VALUES " + rows);
    }

    Dice dice_;
    unsigned seed_;
    unsigned times_ = 0;
    std::string keys_;
    std::set<std::vector<Text>> withoutStart_;
};

constexpr unsigned kSeeds = 300;

TEST(DeletionOracle, NormalDeletionHandsPeriodsOnAndTakesWhatIsMarked) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        RandomTable table(seed);
        SCOPED_TRACE(fmt::format("seed {}\n{}", seed, table.Picture()));
        ASSERT_TRUE(table.Delete(false)) << table.state.ErrorText;
        ASSERT_EQ(
            Join(table.progress.Log, "; "),
            "range 0..1; value 0 to 0; comment Deleting records from Dimension table : client;"
            " value 1 to 0; comment ");
        table.model.Relink();
        table.model.DeleteMarked();
        ASSERT_EQ(table.Picture(), table.model.Picture());
    }
}

TEST(DeletionOracle, AtomicDeletionTakesWholeElementsAndChangesNothingElse) {
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        RandomTable table(seed);
        SCOPED_TRACE(fmt::format("seed {}\n{}", seed, table.Picture()));
        ASSERT_EQ(table.Delete(true), table.model.DeleteAtomically()) << table.state.ErrorText;
        ASSERT_EQ(table.Picture(), table.model.Picture());
    }
}

}  // namespace
}  // namespace morvane::testing
