#include "Oracle.h"
#include "RunOnSite.h"
#include "db/ConnectionFactory.h"

namespace morvane::testing {
namespace {

// A clock that somebody sets back by more than an hour between any two looks at it, from just after
// midnight on New Year's Day.
class BackwardsClock : public Clock {
  public:
    LocalMoment Now() const override {
        using namespace std::chrono;
        const sys_seconds moment =
            sys_days(year(2024) / 1 / 1) + minutes(30) - looks_++ * minutes(97);
        const sys_days day = floor<days>(moment);
        return {year_month_day(day), moment - day};
    }
    int Looks() const { return looks_; }

  private:
    mutable int looks_ = 0;
};

TEST(ClockSetBack, DuringARunChangesNothingButTheMomentsInItsTexts) {
    const TempFolder folder;
    const Site original(folder / "original");
    original.Fill();
    const Site undisturbed(folder / "undisturbed");
    undisturbed.CopyFrom(original);
    FaultPlan plan;
    const RunOutcome expected =
        RunOnSite(undisturbed, undisturbed.EveryTask(true, false), plan, 0, false);

    const Site site(folder / "site");
    site.CopyFrom(original);
    const BackwardsClock clock;
    TestServices world;
    RunServices services{
        clock, world.Prompt, world.Progress, CreateConnection, world.Output, world.Errors, {}, {}};
    RunState state;
    state.CommandLineMode = true;
    ASSERT_TRUE(RunTasks(site.EveryTask(true, false), state, services)) << state.ErrorText;
    EXPECT_GE(clock.Looks(), 4);

    const LocalMoment start = BackwardsClock().Now();
    const std::string log = ReadLog(site, start);
    EXPECT_EQ(log.find("---"), 0U) << log;
    const std::size_t archived = log.find("Date of Archiving: 2023-12-31 ");
    const std::size_t started = log.find("started On : Monday, Jan 1 2024 At : 00:30:00\r\n");
    const std::size_t stopped = log.find("stopped On : Sunday, Dec 31 2023 At : ");
    EXPECT_TRUE(archived < started && started < stopped && stopped != std::string::npos) << log;
    EXPECT_TRUE(ReportsAreWhole(expected.Reports));
    EXPECT_EQ(ReadReports(site, start), expected.Reports);
    EXPECT_EQ(ListFiles(site.Logs()),
              "DetailedReport01-01-202400-30-00.html Morvane_Log01-01-202400-30-00.txt "
              "SummaryReport01-01-202400-30-00.html TableFilterReport01-01-202400-30-00.html");
    const Contents before = ReadContents(original);
    const Oracle judge(before, ReadContents(undisturbed));
    EXPECT_EQ(judge.FindDamage(ReadContents(site)), Oracle::Findings());
    EXPECT_EQ(judge.FindDifferences(before, ReadContents(site)), Oracle::Findings());
}

}  // namespace
}  // namespace morvane::testing
