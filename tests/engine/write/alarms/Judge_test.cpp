// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Judge.h"

#include <gtest/gtest.h>

#include "tests/engine/write/alarms/judge_fixture.h"

namespace orvspc::engine::alarms {
namespace {

TEST_F(JudgeTest, APointBeyondALimitOpensOneAlarmWithItsEvent) {
  EXPECT_TRUE(Record(1, 10.5).empty());
  const auto opened = Record(2, 15.0);
  ASSERT_EQ(opened.size(), 2U) << "the point, and its moving range";
  EXPECT_EQ(opened[0].rule, 1);
  EXPECT_EQ(opened[0].graph, 1);
  EXPECT_EQ(opened[0].text, "1 point beyond a control limit");
  EXPECT_EQ(opened[0].first_subgroup, latest_);
  EXPECT_EQ(opened[0].state, "open");
  EXPECT_FALSE(opened[0].is_late);
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE type = 1 AND flag = 3"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM outbox"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM log WHERE operation = 'alarm-open'"), 2);
  const auto next = Record(3, 15.0);
  EXPECT_EQ(std::ranges::count(next, 1, &Alarm::rule), 1) << "each point beyond a limit";
}

TEST_F(JudgeTest, ARuleThatGoesOnMarkingHasOneAlarm) {
  int opened = 0;
  for (int i = 1; i <= 15; ++i) {
    for (const auto& alarm : Record(i, 10.2)) opened += alarm.rule == 2;
  }
  EXPECT_EQ(opened, 1);
  const auto all = Stored();
  const auto run =
      std::ranges::find_if(all, [](const auto& each) { return std::get<1>(each) == 2; });
  ASSERT_NE(run, all.end());
  EXPECT_EQ(std::get<3>(*run) - std::get<2>(*run), 6) << "from the ninth point on";
  EXPECT_EQ(all, Charted());
}

TEST_F(JudgeTest, ALateValueIsJudgedWithWhatCameAfterIt) {
  Record(10, 10.0);
  Record(20, 10.1);
  const auto opened = Record(15, 15.0);
  ASSERT_FALSE(opened.empty());
  EXPECT_TRUE(opened[0].is_late);
  EXPECT_EQ(Stored(), Charted());
}

TEST_F(JudgeTest, ACorrectedValueWithdrawsItsAlarmAndTheEventStays) {
  Record(1, 14.0);
  EXPECT_FALSE(Stored().empty());
  ValueChange change;
  change.tsno = 1;
  change.value = 10.0;
  Data().ChangeValue(latest_, 1, change, Why());
  EXPECT_TRUE(Stored().empty());
  EXPECT_GT(Count("SELECT count(*) FROM event WHERE type = 1"), 0);
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE type = 1 AND flag <> 0"), 0);
  EXPECT_GT(Count("SELECT count(*) FROM log WHERE operation = 'alarm-withdraw'"), 0);
  change.value = 14.0;
  Data().ChangeValue(latest_, 1, change, Why());
  EXPECT_EQ(Stored(), Charted()) << "found again";
}

TEST_F(JudgeTest, DisabledAndDeletedSubgroupsRaiseNothing) {
  Record(1, 14.0);
  Data().ChangeFlag({latest_}, {}, sfDisabled, Why());
  EXPECT_TRUE(Stored().empty());
  Data().ChangeFlag({latest_}, {}, sfEnabled, Why());
  EXPECT_FALSE(Stored().empty());
  Data().DeleteSubgroups({latest_}, {}, Why());
  EXPECT_TRUE(Stored().empty());
}

TEST_F(JudgeTest, WhatIsOlderThanItsLimitsRaisesNothing) {
  start_ -= 24 * 60 * 60;
  EXPECT_TRUE(Record(1, 99.0).empty());
}

TEST_F(JudgeTest, WhatIsFarBehindTheNewestPointRaisesNothing) {
  Record(60 * 24 * 30, 10.0);
  const auto about_it = [&](const std::vector<Alarm>& alarms) {
    return std::ranges::count(alarms, latest_, &Alarm::first_subgroup);
  };
  EXPECT_EQ(about_it(Record(1, 99.0)), 0) << "the range of the newest point signals";
  Data().Set("alarm_horizon", "60");
  EXPECT_GT(about_it(Record(2, 99.0)), 0);
}

TEST_F(JudgeTest, AWrongTimeHindersNoAlarmOnceItIsMended) {
  constexpr std::int32_t kYear = 365 * 24 * 60;
  const auto rises = [&](std::int32_t minute) {
    const auto opened = Record(minute, 99.0);
    return std::ranges::any_of(opened, [&](const Alarm& each) {
      return each.first_subgroup == latest_ && each.graph == 1 && !each.is_late;
    });
  };
  EXPECT_TRUE(rises(1));
  Record(kYear, 10.0);
  Data().DeleteSubgroups({latest_}, {}, Why());
  EXPECT_TRUE(rises(2)) << "taken out";
  Record(kYear, 10.0);
  SubgroupChange change;
  change.time = static_cast<std::int32_t>(start_) + 3 * 60;
  Data().ChangeSubgroups({latest_}, {}, change, Why());
  EXPECT_TRUE(rises(4)) << "moved";
  Record(kYear, 10.0);
  const auto wrong = latest_;
  EXPECT_FALSE(rises(5)) << "it is the newest";
  Data().DeleteSubgroups({wrong}, {}, Why());
  const auto stored = Stored();
  EXPECT_TRUE(std::ranges::any_of(stored, [&](const auto& each) {
    return std::get<2>(each) == latest_;
  })) << "judged afterwards";
  EXPECT_TRUE(rises(6));
}

// Newer points may lie within the horizon of the wrong date, which passed over the older ones.
TEST_F(JudgeTest, WhatAWrongTimePassedOverIsJudgedWhenItIsTakenOut) {
  constexpr std::int32_t kDay = 24 * 60;
  Record(1, 10.0);
  Record(8 * kDay, 10.0);
  const auto wrong = latest_;
  Record(kDay / 2, 18.0);
  const auto passed_over = latest_;
  Record(2 * kDay, 10.0);
  const auto has_alarm = [&] {
    return std::ranges::any_of(Stored(), [&](const auto& each) {
      return std::get<0>(each) == 1 && std::get<2>(each) == passed_over;
    });
  };
  EXPECT_FALSE(has_alarm()) << "more than seven days before the newest";
  Data().DeleteSubgroups({wrong}, {}, Why());
  EXPECT_TRUE(has_alarm());
}

TEST_F(JudgeTest, WithoutStoredLimitsOnlySpecificationsAreJudged) {
  store::RunSql(Path(), "UPDATE control_limit SET status = 'void'");
  EXPECT_TRUE(Record(1, 99.0).empty());
  Import("part,test,usl,lsl,alarms\nA,T,20,0,usl\n", ImportKind::Limits);
  start_ += 60;
  const auto opened = Record(2, 99.0);
  ASSERT_EQ(opened.size(), 1U);
  EXPECT_EQ(opened[0].rule, 0);
  EXPECT_EQ(opened[0].graph, 0);
  EXPECT_EQ(opened[0].text, "a value beyond a specification limit");
  EXPECT_TRUE(Record(3, -5.0).empty()) << "that limit raises no alarm";
}

TEST_F(JudgeTest, RulesThatAreOffRaiseNothing) {
  Import("number,on\n1,no\n2,yes\n", ImportKind::Alarms);
  EXPECT_TRUE(Record(1, 99.0).empty());
}

// What recording keeps in mind between two calls.
TEST_F(JudgeTest, RecordingSeesLimitsAndRulesThatWereChangedMeanwhile) {
  auto data = Data();
  const auto alarms = [&](double value) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.time = ++start_;
    record.pieces = {{value, 0, 0, "", "", ""}};
    return data.Record(record, {"Ann", "gauge 7"}).alarms.size();
  };
  start_ -= 30;
  EXPECT_EQ(alarms(10.0), 0U);
  EXPECT_EQ(alarms(99.0), 2U) << "the point and its range";
  Import("number,on\n1,no\n", ImportKind::Alarms);
  EXPECT_EQ(alarms(-99.0), 0U);
  Import("part,test,usl,lsl,alarms\nA,T,20,0,usl lsl\n", ImportKind::Limits);
  EXPECT_EQ(alarms(99.0), 1U);
  Import("part,test,usl,lsl,alarms\nA,T,200,0,usl lsl\n", ImportKind::Limits);
  EXPECT_EQ(alarms(99.0), 0U);
}

TEST_F(JudgeTest, CodesThatAreNotNeededStayClosed) {
  Data().Set("alarm_needs", "acc");
  Record(1, 14.0);
  EXPECT_EQ(Count("SELECT max(flag) FROM event WHERE type = 1"), 1);
}

TEST_F(JudgeTest, ABatchThatLengthensALongRunCountsEachOfItsPoints) {
  for (int i = 1; i <= 60; ++i) Record(i, 10.2);
  Opened()->Write({}, "", [&](log::Writing& writing) {
    std::vector<store::RecordKey> keys;
    for (int i = 61; i <= 65; ++i) keys.push_back(Store(writing, i, 10.2));
    const Touched touched{1, keys.front(), keys.back()};
    EXPECT_TRUE(Judge(writing, std::span(&touched, 1)).empty());
  });
  const auto all = Stored();
  const auto run =
      std::ranges::find_if(all, [](const auto& each) { return std::get<1>(each) == 2; });
  ASSERT_NE(run, all.end());
  EXPECT_EQ(std::get<4>(*run), 65 - 8);
  EXPECT_EQ(all, Charted());
}

TEST_F(JudgeTest, ACorrectionInTheMiddleOfALongRunIsJudgedWithAllOfIt) {
  std::vector<std::int32_t> subgroups;
  for (int i = 1; i <= 120; ++i) {
    Record(i, 10.2);
    subgroups.push_back(latest_);
  }
  EXPECT_EQ(Stored(), Charted());
  ValueChange change;
  change.tsno = 1;
  const std::pair<std::size_t, double> steps[] = {{60, 10.3}, {60, 9.9}, {60, 10.2}, {10, 9.9}};
  for (const auto& [place, value] : steps) {
    SCOPED_TRACE(value);
    change.value = value;
    Data().ChangeValue(subgroups[place], 1, change, Why());
    EXPECT_EQ(Stored(), Charted());
  }
  Data().DeleteSubgroups({subgroups[70]}, {}, Why());
  EXPECT_EQ(Stored(), Charted());
  Record(65, 10.2);
  EXPECT_EQ(Stored(), Charted()) << "a late one";
}

TEST_F(JudgeTest, NewLimitsEndARun) {
  for (int i = 1; i <= 12; ++i) Record(i, 10.9);
  ChangeLimits(12, 5, 1.0);
  for (int i = 13; i <= 25; ++i) Record(i, 10.9);
  EXPECT_EQ(Stored(), Charted());
  const auto all = Stored();
  EXPECT_EQ(std::ranges::count_if(all, [](const auto& each) { return std::get<1>(each) == 2; }), 2);
}

TEST_F(JudgeTest, AlarmsAreThoseOfTheChartWhateverTheHistory) {
  for (unsigned seed = 1; seed <= 5; ++seed) RunHistory(seed);
  EXPECT_GT(alarms_, 0U);
}

}  // namespace
}  // namespace orvspc::engine::alarms
