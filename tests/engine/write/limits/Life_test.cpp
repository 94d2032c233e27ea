// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <functional>

#include "engine/write/limits/StoredLimits.h"
#include "engine/write/log/Json.h"
#include "tests/engine/write/limits/limits_fixture.h"

namespace orvspc::engine::limits {
namespace {

class LifeTest : public LimitsTest {
 protected:
  LifeTest() { Import(CsvOf(Shape::Fives, 40, 1)); }

  // A row of its own first subgroups that holds from a subgroup on.
  std::int32_t Hold(std::size_t from, std::int32_t first) {
    return Freeze(Shape::Fives, 0x110, first, TimeAt(from));
  }
  std::vector<double> Centres() { return CentresOf(ChartOf(Shape::Fives, 0x110)); }
  // The row in force at each subgroup; 0: none.
  std::vector<std::int32_t> Rows() {
    std::vector<std::int32_t> rows;
    for (std::size_t i = 0; i < 40; ++i) {
      const auto row = Data().InForce<ControlLimits>(Stream(Shape::Fives), TimeAt(i));
      rows.push_back(row ? row->id : 0);
    }
    // The chart agrees.
    const auto chart = ChartOf(Shape::Fives, 0x110);
    for (std::size_t i = 0; i < 40; ++i) {
      const double centre = rows[i] == 0 ? chart.estimates.mean : Row(rows[i]).mean;
      EXPECT_EQ(chart.graphs[0].cl[i], centre) << i;
    }
    return rows;
  }
  static std::vector<std::int32_t> Expected(
      const std::vector<std::pair<std::size_t, std::int32_t>>& stretches) {
    std::vector<std::int32_t> rows;
    for (const auto& [count, id] : stretches) rows.insert(rows.end(), count, id);
    return rows;
  }
  void Approve(std::int32_t id, std::size_t from) {
    LimitApproval approval;
    approval.effective = TimeAt(from);
    Data().ApproveLimits(id, approval, {ann_, "looks right"});
  }
  std::int32_t Propose(std::int32_t first = 20) {
    auto request = Request(Shape::Fives, 0x110);
    request.first = first;
    request.force = true;
    return Data().ProposeLimits(request, {ann_, "first limits"});
  }
  std::vector<log::Entry> Log() {
    std::vector<log::Entry> entries;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db,
                       "SELECT seq, who, operation, object, before, after, reason FROM log "
                       "WHERE operation = 'limit' OR operation = 'phase' ORDER BY seq");
      while (query.Step()) {
        auto& entry = entries.emplace_back();
        query.Read(entry.seq, entry.who, entry.operation, entry.object, entry.before, entry.after,
                   entry.reason);
      }
    });
    return entries;
  }
};

TEST_F(LifeTest, AProposedRowHoldsNowhere) {
  const auto before = Centres();
  const auto id = Propose();
  EXPECT_EQ(Row(id).state, LimitState::Proposed);
  EXPECT_EQ(Row(id).effective, TimeAt(19) + 1) << "from behind its data on";
  EXPECT_EQ(Row(id).start, TimeAt(0));
  EXPECT_EQ(Row(id).finish, TimeAt(19));
  EXPECT_EQ(Row(id).used, 20);
  EXPECT_EQ(Row(id).estimator, "R-est mvlue");
  EXPECT_EQ(Row(id).digest.size(), 64U);
  EXPECT_EQ(Row(id).who, "Ann");
  EXPECT_EQ(Centres(), before);
  EXPECT_EQ(Rows(), Expected({{40, 0}}));
}

TEST_F(LifeTest, ApprovalEndsTheRowBefore) {
  const auto first = Hold(0, 10);
  EXPECT_EQ(Rows(), Expected({{40, first}}));
  const auto second = Propose(20);
  Approve(second, 20);
  EXPECT_EQ(Rows(), Expected({{20, first}, {20, second}}));
  EXPECT_EQ(Row(first).state, LimitState::Retired);
  EXPECT_EQ(Row(first).until, TimeAt(20));
  EXPECT_EQ(Row(first).replaced_by, second);
  EXPECT_EQ(Row(second).state, LimitState::Active);
  EXPECT_TRUE(Row(second).in_force);
  EXPECT_FALSE(Row(first).in_force);
}

TEST_F(LifeTest, OneApprovedBetweenTwoEndsWhereTheNextBegins) {
  const auto first = Hold(0, 10), last = Hold(30, 20);
  const auto between = Hold(10, 15);
  EXPECT_EQ(Rows(), Expected({{10, first}, {20, between}, {10, last}}));
  EXPECT_EQ(Row(between).until, TimeAt(30));
  EXPECT_EQ(Row(between).replaced_by, last);
  const auto earliest = Propose(12);
  LimitApproval approval;
  approval.effective = TimeAt(0) - 5;
  Data().ApproveLimits(earliest, approval, {ann_, "before all"});
  EXPECT_EQ(Rows(), Expected({{10, first}, {20, between}, {10, last}}));
  EXPECT_EQ(Row(earliest).until, TimeAt(0));
}

// Retiring a row must not change what was drawn with it.
TEST_F(LifeTest, ARetiredRowHoldsForItsOwnTime) {
  const auto id = Hold(0, 20);
  const auto before = ChartOf(Shape::Fives, 0x110);
  Data().RetireLimits(id, TimeAt(25), {ann_, "new tool"});
  const auto after = ChartOf(Shape::Fives, 0x110);
  for (std::size_t i = 0; i < 25; ++i) {
    EXPECT_EQ(after.graphs[0].ucl[i], before.graphs[0].ucl[i]) << i;
    EXPECT_EQ(after.graphs[1].ucl[i], before.graphs[1].ucl[i]) << i;
    EXPECT_EQ(after.graphs[0].oocs[i], before.graphs[0].oocs[i]) << i;
  }
  for (std::size_t i = 25; i < 40; ++i) {
    EXPECT_EQ(after.graphs[0].ucl[i], after.graphs[0].cucl[i]) << "calculated where there is none";
    EXPECT_NE(after.graphs[0].ucl[i], before.graphs[0].ucl[i]) << i;
  }
  EXPECT_EQ(Rows(), Expected({{25, id}, {15, 0}}));
  EXPECT_EQ(Row(id).until, TimeAt(25));
}

TEST_F(LifeTest, AGapHasNoRow) {
  const auto first = Hold(5, 10);
  Data().RetireLimits(first, TimeAt(15), {ann_, "shut down"});
  const auto second = Hold(30, 20);
  EXPECT_EQ(Rows(), Expected({{5, 0}, {10, first}, {15, 0}, {10, second}}));
  EXPECT_EQ(Row(first).replaced_by, 0) << "it had ended before";
}

// A file says nothing of ends: its rows follow one another, and none comes back.
TEST_F(LifeTest, ImportedRowsFollowOneAnother) {
  const auto line = [](std::size_t from, double mean) {
    return "A,P,fives," + std::to_string(mean) + ",1," + platform::IsoText(TimeAt(from)) + "\n";
  };
  Import("part,process,test,mean,sp,effective\n" + line(0, 104) + line(10, 105) + line(20, 106),
         ImportKind::ControlLimits);
  EXPECT_EQ(Rows(), Expected({{10, 1}, {10, 2}, {20, 3}}));
  for (const auto& row : Data().ListLimits()) EXPECT_EQ(row.state, LimitState::Active);
  Data().RetireLimits(3, TimeAt(30), {ann_, "ended"});
  EXPECT_EQ(Rows(), Expected({{10, 1}, {10, 2}, {10, 3}, {10, 0}}));
  const auto fourth = Hold(35, 20);
  EXPECT_EQ(Rows(), Expected({{10, 1}, {10, 2}, {10, 3}, {5, 0}, {5, fourth}}));
}

TEST_F(LifeTest, AVoidRowGivesItsTimeBack) {
  const auto first = Hold(0, 10), second = Hold(20, 20);
  Data().VoidLimits(second, {ann_, "wrong gage"});
  EXPECT_EQ(Rows(), Expected({{40, first}}));
  EXPECT_EQ(Row(first).state, LimitState::Active);
  EXPECT_EQ(Row(first).until, std::nullopt);
  EXPECT_EQ(Row(first).replaced_by, 0);
  EXPECT_EQ(Row(second).state, LimitState::Void);
  // Of three, the middle one: the first lasts up to the last.
  const auto middle = Hold(10, 15), last = Hold(30, 20);
  EXPECT_EQ(Rows(), Expected({{10, first}, {20, middle}, {10, last}}));
  Data().VoidLimits(middle, {ann_, "wrong, too"});
  EXPECT_EQ(Rows(), Expected({{30, first}, {10, last}}));
  EXPECT_EQ(Row(first).replaced_by, last);
}

// What takes over from a retired row and turns out wrong does not bring it back for good.
TEST_F(LifeTest, ARetiredRowStaysRetiredWhenWhatTookOverIsVoid) {
  const auto first = Hold(0, 10);
  Data().RetireLimits(first, TimeAt(25), {ann_, "new tool"});
  const auto second = Hold(20, 20), between = Hold(10, 15);
  EXPECT_EQ(Rows(), Expected({{10, first}, {10, between}, {20, second}}));
  Data().VoidLimits(between, {ann_, "wrong gage"});
  EXPECT_EQ(Rows(), Expected({{20, first}, {20, second}}));
  EXPECT_EQ(Row(first).replaced_by, second);
  Data().VoidLimits(second, {ann_, "wrong, too"});
  EXPECT_EQ(Rows(), Expected({{25, first}, {15, 0}}));
  EXPECT_EQ(Row(first).state, LimitState::Retired);
  EXPECT_EQ(Row(first).until, TimeAt(25));
  EXPECT_EQ(Row(first).replaced_by, 0);
}

// As the message about an active one says: retire it, then another may hold from its time on.
TEST_F(LifeTest, ARowOfTheTimeOfARetiredOneReplacesIt) {
  const auto first = Hold(10, 10);
  Data().RetireLimits(first, TimeAt(20), {ann_, "new tool"});
  const auto second = Hold(10, 20);
  EXPECT_EQ(Rows(), Expected({{10, 0}, {30, second}}));
  EXPECT_EQ(Row(first).until, TimeAt(10)) << "it holds nowhere any more";
  EXPECT_EQ(Row(first).replaced_by, second);
  Data().VoidLimits(second, {ann_, "wrong gage"});
  EXPECT_EQ(Rows(), Expected({{10, 0}, {10, first}, {20, 0}}));
  EXPECT_EQ(Row(first).until, TimeAt(20));
}

TEST_F(LifeTest, RowsOfTheProcessAndForAnyFollowTheirOwnKind) {
  Import("part,test,mean,sp\nA,fives,100,2\n", ImportKind::ControlLimits);
  const auto id = Hold(10, 20);
  EXPECT_EQ(Rows(), Expected({{10, 1}, {30, id}}));
  EXPECT_EQ(Row(1).until, std::nullopt) << "it goes on for other processes";
  Data().RetireLimits(id, TimeAt(20), {ann_, "ended"});
  EXPECT_EQ(Rows(), Expected({{10, 1}, {10, id}, {20, 1}}));
}

// Rates of another kind serve other charts.
TEST_F(LifeTest, RowsOfAnotherKindOfRateGoOn) {
  Import(CsvOf(Shape::Defects, 30, 1));
  const auto u = Freeze(Shape::Defects, 0xF00, 20, TimeAt(0));
  const auto dpmo = Freeze(Shape::Defects, 0xB00, 20, TimeAt(10));
  EXPECT_EQ(Row(u).until, std::nullopt);
  const auto chart = ChartOf(Shape::Defects, 0xF00);
  ASSERT_EQ(chart.limits.size(), 1U);
  EXPECT_EQ(chart.limits[0].Word0, u);
  const auto other = ChartOf(Shape::Defects, 0xB00);
  ASSERT_EQ(other.limits.size(), 1U);
  EXPECT_EQ(other.limits[0].Word0, dpmo);
}

TEST_F(LifeTest, RowsOfAnotherKindOfRateFromTheSameTimeGoOn) {
  Import(CsvOf(Shape::Defects, 30, 1));
  Import("part,test,opportunities\nA,defects,7\n", ImportKind::Opportunities);
  const auto u = Freeze(Shape::Defects, 0xF00, 20, TimeAt(10));
  const auto dpmo = Freeze(Shape::Defects, 0xB00, 20, TimeAt(10));
  for (const auto& [word, id] : {std::pair{0xF00, u}, {0xB00, dpmo}}) {
    const auto chart = ChartOf(Shape::Defects, word);
    ASSERT_EQ(chart.limits.size(), 1U) << word;
    EXPECT_EQ(chart.limits[0].Word0, id);
  }
  EXPECT_EQ(Data().Versions<ControlLimits>(Stream(Shape::Defects)).size(), 2U);
  // One of the same kind and time, though another row came between.
  const auto line = "A,P,defects,0.5,0xF00," + platform::IsoText(TimeAt(10)) + "\n";
  Import("part,process,test,mean,chart-word,effective\n" + line, ImportKind::ControlLimits);
  const auto chart = ChartOf(Shape::Defects, 0xF00);
  ASSERT_EQ(chart.limits.size(), 1U);
  EXPECT_EQ(chart.limits[0].Word0, dpmo + 1);
  EXPECT_EQ(ChartOf(Shape::Defects, 0xB00).limits.at(0).Word0, dpmo);
  EXPECT_EQ(Data().Versions<ControlLimits>(Stream(Shape::Defects)).size(), 2U);
}

// An imported row takes over silently from one of its own time.
TEST_F(LifeTest, ARetiredRowDoesNotBringBackTheOneOfItsTime) {
  const std::string head = "part,process,test,mean,sp,effective\n",
                    from = platform::IsoText(TimeAt(0));
  Import(head + "A,P,fives,104,1," + from + "\n", ImportKind::ControlLimits);
  Import(head + "A,P,fives,105,1," + from + "\n", ImportKind::ControlLimits);
  EXPECT_EQ(Rows(), Expected({{40, 2}}));
  Data().RetireLimits(2, TimeAt(20), {ann_, "ended"});
  EXPECT_EQ(Rows(), Expected({{20, 2}, {20, 0}}));
  Data().VoidLimits(2, {ann_, "wrong gage"});
  EXPECT_EQ(Rows(), Expected({{20, 1}, {20, 0}})) << "in its place";
}

TEST_F(LifeTest, ARowWhoseSuccessorIsPlannedCanBeRetired) {
  const auto first = Hold(0, 10), second = Hold(30, 20);
  Data().RetireLimits(first, TimeAt(15), {ann_, "new tool"});
  EXPECT_EQ(Rows(), Expected({{15, first}, {15, 0}, {10, second}}));
  EXPECT_EQ(Row(first).replaced_by, 0) << "nothing follows at once";
  EXPECT_EQ(FailureOf([&] {
              Data().RetireLimits(first, TimeAt(20), {ann_, "later"});
            }),
            "limits: " + std::to_string(first) + " ends at " + platform::IsoText(TimeAt(15)) +
                " as it is; --at names a time before that");
  Data().RetireLimits(first, TimeAt(12), {ann_, "earlier"});
  EXPECT_EQ(Rows(), Expected({{12, first}, {18, 0}, {10, second}}));
  Data().VoidLimits(second, {ann_, "wrong gage"});
  EXPECT_EQ(Rows(), Expected({{12, first}, {28, 0}})) << "it had ended by itself";
}

// Each stream has figures of its own.
TEST_F(LifeTest, ARowForAnyProcessIsComparedWithOneStream) {
  const auto row = "part,test,mean,sp\nA,fives,105,1\n";
  Import(row, ImportKind::ControlLimits);
  LimitRequest window;
  const auto alone = Data().CompareLimits(1, window);
  Import("part,process,test,subgroup,time,value\nA,Q,fives,1,2024-01-01,5\n");
  EXPECT_EQ(FailureOf([&] { Data().CompareLimits(1, window); }),
            "limits: 2 streams fit (A / P / fives, ...); name one by its process");
  window.process = Stream(Shape::Fives).process;
  EXPECT_EQ(Data().CompareLimits(1, window).centre.second, alone.centre.second);
}

TEST_F(LifeTest, MessagesOfStepsThatCannotBe) {
  const auto id = Propose();
  const auto failure = [](const auto& work) { return FailureOf(work); };
  const auto number = std::to_string(id);
  EXPECT_EQ(failure([&] {
              Data().RetireLimits(id, TimeAt(30), {ann_, "try it"});
            }),
            "limits: " + number + " is proposed, not active");
  EXPECT_EQ(failure([&] {
              Data().VoidLimits(id, {ann_, "try it"});
            }),
            "limits: " + number + " is proposed, not active or retired");
  Approve(id, 20);
  EXPECT_EQ(failure([&] { Approve(id, 30); }), "limits: " + number + " is active, not proposed");
  EXPECT_EQ(failure([&] {
              Data().RejectLimits(id, {ann_, "try it"});
            }),
            "limits: " + number + " is active, not proposed");
  EXPECT_EQ(failure([&] {
              Data().RetireLimits(id, TimeAt(20), {ann_, "try it"});
            }),
            "limits: " + number + " holds from " + platform::IsoText(TimeAt(20)) +
                " on; retire it later, or void it");
  EXPECT_EQ(failure([&] { Data().ShowLimits(99); }),
            "limits: there is no row 99 (orvspc limits list shows them)");
  EXPECT_EQ(failure([&] {
              Data().VoidLimits(99, {ann_, "try it"});
            }),
            "limits: there is no row 99 (orvspc limits list shows them)");
}

TEST_F(LifeTest, WhatIsLeftOutLiesInTheWindow) {
  auto outside = Request(Shape::Fives);
  outside.until = TimeAt(20);
  outside.exclusions = {{35, "worn"}};
  for (const auto& work : {std::function<void()>([&] { Data().ComputeLimits(outside); }), {[&] {
                             Data().ProposeLimits(outside, {ann_, "try it"});
                           }}}) {
    EXPECT_EQ(FailureOf(work), "limits: #35 lies outside the window");
  }
}

TEST_F(LifeTest, TwoActiveRowsOfOneTimeAreRefused) {
  const auto id = Propose();
  Approve(id, 20);
  const auto next = Propose();
  EXPECT_EQ(FailureOf([&] { Approve(next, 20); }),
            "limits: an active row is effective at this very time (" + std::to_string(id) +
                "); retire or void it");
  EXPECT_EQ(Row(next).state, LimitState::Proposed);
  Data().VoidLimits(id, {ann_, "wrong"});
  Approve(next, 20);
  EXPECT_EQ(Rows(), Expected({{20, 0}, {20, next}}));
}

// The history of a stream reads as its charts were: each row for its own time, to the last digit.
TEST_F(LifeTest, ChartsOfEachTimeAreThoseOfTheirRows) {
  const auto first = Hold(5, 10);
  const auto of_first = ChartOf(Shape::Fives, 0x110, TimeAt(14));
  const auto second = Hold(15, 20);
  const auto of_second = ChartOf(Shape::Fives, 0x110, TimeAt(29));
  Data().RetireLimits(second, TimeAt(30), {ann_, "shut down"});
  const auto third = Hold(35, 30);
  EXPECT_EQ(Rows(), Expected({{5, 0}, {10, first}, {15, second}, {5, 0}, {5, third}}));
  const auto now = ChartOf(Shape::Fives, 0x110);
  for (std::size_t g = 0; g < now.graphs.size(); ++g) {
    for (std::size_t i = 5; i < 30; ++i) {
      const auto& then = i < 15 ? of_first : of_second;
      EXPECT_EQ(now.graphs[g].ucl[i], then.graphs[g].ucl[i]) << i;
      EXPECT_EQ(now.graphs[g].cl[i], then.graphs[g].cl[i]) << i;
      EXPECT_EQ(now.graphs[g].lcl[i], then.graphs[g].lcl[i]) << i;
      EXPECT_EQ(now.graphs[g].oocs[i], then.graphs[g].oocs[i]) << i;
    }
  }
}

TEST_F(LifeTest, AProposalNeedsEnoughSubgroups) {
  auto request = Request(Shape::Fives, 0x110);
  request.first = 19;
  EXPECT_EQ(FailureOf([&] {
              Data().ProposeLimits(request, {ann_, "try it"});
            }),
            "limits: not proposed: 19 subgroups; 20 are needed (--force)");
  EXPECT_TRUE(Data().ListLimits().empty());
  request.minimum = 12;
  EXPECT_NO_THROW(Data().ProposeLimits(request, {ann_, "the policy asks for 12"}));
}

TEST_F(LifeTest, EveryStepNeedsAReason) {
  const auto id = Propose();
  const std::string needed = "--reason: say why, in 3 to 500 characters";
  const auto failure = [](const auto& work) { return FailureOf(work); };
  auto request = Request(Shape::Fives);
  request.force = true;
  EXPECT_EQ(failure([&] { Data().ProposeLimits(request, {ann_, ""}); }), needed);
  EXPECT_EQ(failure([&] { Data().FreezeLimits(request, {}, {ann_, ""}); }), needed);
  EXPECT_EQ(failure([&] { Data().ApproveLimits(id, {}, {ann_, ""}); }), needed);
  EXPECT_EQ(failure([&] { Data().RejectLimits(id, {ann_, ""}); }), needed);
  EXPECT_EQ(failure([&] { Data().RetireLimits(id, TimeAt(30), {ann_, "no"}); }), needed);
  EXPECT_EQ(failure([&] { Data().VoidLimits(id, {ann_, ""}); }), needed);
  EXPECT_EQ(Log().size(), 1U) << "nothing happened";
}

TEST_F(LifeTest, TwoPeopleWhereTheSettingSaysSo) {
  Data().Set("approval", "two");
  const auto id = Propose();
  const std::string refused = "approve: the one who proposed (Ann) cannot approve";
  EXPECT_EQ(FailureOf([&] { Approve(id, 20); }), refused);
  EXPECT_EQ(Row(id).state, LimitState::Proposed);
  auto request = Request(Shape::Fives);
  request.force = true;
  EXPECT_EQ(FailureOf([&] { Data().FreezeLimits(request, {}, {ann_, "alone"}); }), refused);
  EXPECT_EQ(Data().ListLimits().size(), 1U) << "freezing is all or nothing";
  Data().ApproveLimits(id, {}, {bob_, "agreed"});
  EXPECT_EQ(Row(id).state, LimitState::Active);
  Data().Set("approval", "one");
  const auto next = Propose(25);
  Approve(next, 30);
  EXPECT_EQ(Row(next).state, LimitState::Active);
}

TEST_F(LifeTest, EachStepIsAnEntryOfTheLog) {
  const auto first = Hold(0, 10);
  const auto second = Propose(20);
  Approve(second, 20);
  const auto entries = Log();
  ASSERT_EQ(entries.size(), 5U);
  EXPECT_EQ(entries[0].object, "limit " + std::to_string(first));
  EXPECT_EQ(entries[0].before, "");
  const auto made = log::ReadJson(entries[0].after);
  EXPECT_EQ(made["part"], "A");
  EXPECT_EQ(made["status"], "proposed");
  EXPECT_EQ(made["mean"].get<double>(), Row(first).mean);
  EXPECT_EQ(made["digest"], Row(first).digest);
  EXPECT_EQ(entries[1].reason, "for the test");
  EXPECT_EQ(log::ReadJson(entries[1].after)["status"], "active");
  // The row before ends by an entry of its own.
  EXPECT_EQ(entries[3].object, "limit " + std::to_string(first));
  EXPECT_EQ(entries[3].before,
            "{\"status\":\"active\",\"effective\":\"" + platform::IsoText(TimeAt(0)) + "\"}");
  EXPECT_EQ(entries[3].after, "{\"status\":\"retired\",\"effective\":\"" +
                                  platform::IsoText(TimeAt(0)) + "\",\"until\":\"" +
                                  platform::IsoText(TimeAt(20)) +
                                  "\",\"replaced_by\":" + std::to_string(second) + "}");
  EXPECT_EQ(entries[4].object, "limit " + std::to_string(second));
  EXPECT_EQ(entries[4].who, "Ann");
}

TEST_F(LifeTest, AVersionThatIsNotTheLatestConflicts) {
  const auto id = Propose();
  const auto seen = Data().ShowLimits(id).version;
  EXPECT_GT(seen, 0);
  Data().ApproveLimits(id, {}, {bob_, "agreed"});
  const auto failure = FailureOf([&] {
    Data().RetireLimits(id, TimeAt(35), {ann_, "try it", seen});
  });
  EXPECT_TRUE(failure.starts_with("limits: " + std::to_string(id) + " was changed by Bob at 20"))
      << failure;
  EXPECT_TRUE(failure.ends_with("(version " + std::to_string(Data().ShowLimits(id).version) +
                                ", you saw " + std::to_string(seen) + ")"))
      << failure;
  Data().RetireLimits(id, TimeAt(35), {ann_, "seen", Data().ShowLimits(id).version});
  EXPECT_EQ(Row(id).state, LimitState::Retired);
}

TEST_F(LifeTest, ApprovalCanBeginAPhase) {
  const auto phases = [&] {
    std::vector<std::string> all;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT name, start, coalesce(finish, 0) FROM phase ORDER BY start");
      while (query.Step()) {
        all.push_back(std::string(query.Text(0)) + " " +
                      std::to_string((query.Int(1) - TimeAt(0)) / 3600) + " " +
                      (query.Int(2) == 0 ? std::string("on")
                                         : std::to_string((query.Int(2) - TimeAt(0)) / 3600)));
      }
    });
    return all;
  };
  const auto approve = [&](std::size_t from, const std::string& name) {
    LimitApproval approval;
    approval.effective = TimeAt(from);
    approval.new_phase = name;
    Data().ApproveLimits(Propose(), approval, {ann_, "new tool"});
  };
  approve(10, "Tool A");
  approve(20, "Tool B");
  EXPECT_EQ(phases(), (std::vector<std::string>{"Tool A 10 20", "Tool B 20 on"}));
  Data().VoidLimits(2, {ann_, "wrong"});
  EXPECT_EQ(FailureOf([&] { approve(20, "Tool C"); }),
            "\"Tool C\" overlaps \"Tool B\" (" + platform::IsoText(TimeAt(20)) +
                " to now); end or remove that one first (phase 2)");
  EXPECT_EQ(phases().size(), 2U);
}

TEST_F(LifeTest, ShowTellsWhereFiguresComeFromAndWhetherTheDataChanged) {
  auto request = Request(Shape::Fives, 0x110);
  request.first = 20;
  request.force = true;
  request.exclusions = {{7, "tool broke"}};
  const auto id = Data().ProposeLimits(request, {ann_, "first limits"});
  Data().ApproveLimits(id, {}, {bob_, "agreed"});
  auto details = Data().ShowLimits(id);
  EXPECT_EQ(details.row.id, id);
  ASSERT_EQ(details.exclusions.size(), 1U);
  EXPECT_EQ(details.exclusions[0].reason, "tool broke");
  ASSERT_EQ(details.steps.size(), 2U);
  EXPECT_EQ(details.steps[0].what, "proposed");
  EXPECT_EQ(details.steps[1].what, "active");
  EXPECT_EQ(details.steps[1].who, "Bob");
  EXPECT_EQ(details.steps[1].reason, "agreed");
  EXPECT_EQ(details.version, details.steps[1].version);
  EXPECT_EQ(details.data_changed, std::optional(false));
  EXPECT_EQ(details.digest_now, details.row.digest);
  EXPECT_EQ(details.mean_name, Data().ComputeLimits(request).mean_name);
  EXPECT_FALSE(details.mean_name.empty());
  EXPECT_EQ(details.within_estimator, Data().ComputeLimits(request).within_estimator);
  EXPECT_FALSE(details.within_estimator.empty());
  // Behind the window, and in it.
  Import("part,process,test,subgroup,time,value\nA,P,fives,late," +
         platform::IsoText(TimeAt(39) + 5) + ",101\n");
  EXPECT_EQ(Data().ShowLimits(id).data_changed, std::optional(false));
  Import("part,process,test,subgroup,time,value\nA,P,fives,late," +
         platform::IsoText(TimeAt(5) + 5) + ",101\n");
  EXPECT_EQ(Data().ShowLimits(id).data_changed, std::optional(true));
  Import("part,test,mean,sp\nA,fives,100,2\n", ImportKind::ControlLimits);
  EXPECT_EQ(Data().ShowLimits(id + 1).data_changed, std::nullopt) << "it says no data";
}

// Of two subgroups at one time the first N may have one only.
TEST_F(LifeTest, TheFirstOfTwoAtOneTimeAreNoChangeOfTheData) {
  Import("part,process,test,subgroup,time,value\nA,P,fives,20b," + platform::IsoText(TimeAt(19)) +
         ",104\nA,P,fives,20b," + platform::IsoText(TimeAt(19)) + ",105\n");
  const auto id = Hold(20, 20);
  EXPECT_EQ(Row(id).used, 20);
  EXPECT_EQ(Data().ShowLimits(id).data_changed, false);
  EXPECT_EQ(Data().ChangedSinceLimits(id).changed, 0);
  Data().ChangeFlag({20}, std::nullopt, 1, {ann_, "worn"});
  EXPECT_EQ(Data().ShowLimits(id).data_changed, true);
  EXPECT_NE(Data().ChangedSinceLimits(id).changed, 0);
}

TEST_F(LifeTest, ShowCountsTheSubgroupsThatWereChanged) {
  const auto id = Propose(20);
  Approve(id, 20);
  Data().ChangeFlag({3, 5}, {}, sfDisabled, {ann_, "wrong gage"});
  Data().ChangeFlag({30}, {}, sfDisabled, {ann_, "wrong gage"});
  auto details = Data().ShowLimits(id);
  EXPECT_EQ(details.data_changed, std::optional(true));
  EXPECT_EQ(details.changed, 2) << "the third is no part of its data";
  EXPECT_EQ(Row(id).mean, details.row.mean) << "limits stay as they were approved";
  Data().ChangeFlag({3, 5}, {}, sfEnabled, {ann_, "it was right"});
  EXPECT_EQ(Data().ShowLimits(id).data_changed, std::optional(false)) << "they are as they were";
}

TEST_F(LifeTest, WhatIsLeftOutIsNoneOfTheSubgroupsThatWereChanged) {
  auto request = Request(Shape::Fives, 0x110);
  request.force = true;
  request.exclusions = {{7, "tool broke"}};
  const auto id = Data().ProposeLimits(request, {ann_, "first limits"});
  Data().ChangeFlag({7}, {}, sfDisabled, {ann_, "wrong gage"});
  EXPECT_EQ(Data().ShowLimits(id).data_changed, std::optional(false));
  Data().ChangeFlag({9}, {}, sfDisabled, {ann_, "wrong gage"});
  EXPECT_EQ(Data().ShowLimits(id).data_changed, std::optional(true));
  EXPECT_EQ(Data().ShowLimits(id).changed, 1);
}

TEST_F(LifeTest, ADryRunDoesEverythingAndKeepsNothing) {
  const auto id = Propose();
  ChangeOptions dry{ann_, "try it"};
  dry.dry_run = true;
  Data().ApproveLimits(id, {}, dry);
  Data().RejectLimits(id, dry);
  auto request = Request(Shape::Fives);
  request.force = true;
  EXPECT_GT(Data().FreezeLimits(request, {}, dry), 0);
  EXPECT_EQ(FailureOf([&] { Data().VoidLimits(id, dry); }),
            "limits: " + std::to_string(id) + " is proposed, not active or retired");
  EXPECT_EQ(Row(id).state, LimitState::Proposed);
  EXPECT_EQ(Data().ListLimits().size(), 1U);
  EXPECT_EQ(Log().size(), 1U);
}

TEST_F(LifeTest, ComparisonIsInStandardErrors) {
  const auto first = Propose(20);
  auto request = Request(Shape::Fives, 0x110);
  request.since = TimeAt(20);
  request.force = true;
  const auto second = Data().ProposeLimits(request, {ann_, "second limits"});
  const auto a = Row(first), b = Row(second);
  const auto compared = Data().CompareLimits(first, second);
  EXPECT_EQ(compared.centre.first, a.mean);
  EXPECT_EQ(compared.centre.second, b.mean);
  const double error = std::sqrt((a.sp * a.sp + b.sp * b.sp) / 100.0);
  EXPECT_NEAR(compared.centre.errors, (b.mean - a.mean) / error, 1e-9);
  const double spread = std::sqrt((a.sp * a.sp + b.sp * b.sp) / 160.0);
  EXPECT_NEAR(compared.sigma.errors, (b.sp - a.sp) / spread, 1e-9);
  LimitRequest window;
  window.since = TimeAt(20);
  const auto computed = Data().CompareLimits(first, window);
  EXPECT_EQ(computed.centre.second, b.mean);
  EXPECT_EQ(computed.centre.errors, compared.centre.errors);
  Import(CsvOf(Shape::Defects, 30, 1));
  const auto other = Freeze(Shape::Defects, 0xF00, 20, TimeAt(0));
  EXPECT_EQ(FailureOf([&] { Data().CompareLimits(first, other); }),
            "limits: the two rows are of different kinds of charts");
  const auto same = Data().CompareLimits(other, other);
  EXPECT_EQ(same.centre.errors, 0.0);
  EXPECT_TRUE(std::isnan(same.sigma.errors)) << "a rate has none";
}

TEST_F(LifeTest, ACopyHasTheLifeOfItsLimits) {
  const auto first = Hold(0, 10), second = Hold(20, 20);
  Data().CopyTo(folder_.Store("copy.db"));
  const auto copy = QualityDatabase::Open(folder_.Store("copy.db"));
  const auto rows = copy.ListLimits();
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].id, first);
  EXPECT_EQ(rows[0].until, TimeAt(20));
  EXPECT_EQ(rows[1].id, second);
  EXPECT_EQ(copy.ShowLimits(second).data_changed, std::optional(false));
  EXPECT_EQ(rows[1].average_size, 5.0);
}

}  // namespace
}  // namespace orvspc::engine::limits
