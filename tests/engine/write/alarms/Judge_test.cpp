// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Judge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "engine/QualityDatabase.h"
#include "engine/charts/ChartLibrary.h"
#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/store/alarm_rules.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "platform/CtrlChrt6.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::alarms {
namespace {

using catalogue::ItemKind;
using store::FlatSelection;

// graph, rule, first and last subgroup
using Found = std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t, std::int32_t>>;

// One stream with stored limits: mean 10, sigma of the points 1.
class JudgeTest : public store::StoreTest {
 protected:
  JudgeTest() {
    Import("part,process,test,subgroup,time,value\nA,P,T,0,2024-01-01T00:00:00Z,10\n");
    Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\n", ImportKind::ControlLimits);
    start_ = CurrentTime() + 60;
  }

  // Stores a value, as late as its time says, and judges it.
  std::vector<Alarm> Record(std::int32_t minute, double value) {
    std::vector<Alarm> opened;
    Opened()->Write({}, "", [&](log::Writing& writing) {
      auto& db = writing.Db();
      const auto id = static_cast<std::int32_t>(sql::TakeIds(db, "subgroup"));
      const auto time = static_cast<std::int32_t>(start_) + minute * 60;
      const auto label = std::to_string(id);
      store::SubgroupWriter subgroups(db);
      subgroups.Add({id, 1, 1, time, label});
      subgroups.Flush();
      store::Measurement record;
      record.time = time;
      record.subgroup = id;
      record.size = 1.0;
      record.values = std::span(&value, 1);
      store::StreamWriter writer(db);
      writer.Write(1, std::span(&record, 1));
      writer.Finish();
      const Touched touched{1, {time, id}, {time, id}};
      opened = Judge(writing, std::span(&touched, 1));
      latest_ = id;
    });
    return opened;
  }
  static ChangeOptions Why() {
    ChangeOptions options;
    options.reason = "trial run";
    return options;
  }

  // Alarms that are not withdrawn.
  Found Stored() {
    Found found;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db,
                       "SELECT graph, rule, first_subgroup, last_subgroup FROM alarm "
                       "WHERE state <> 'withdrawn'");
      while (query.Step()) {
        found.emplace(query.Int(0), query.Int(1), query.Int(2), query.Int(3));
      }
    });
    return found;
  }
  std::int64_t Count(std::string_view text) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow(
        [&](sql::Connection& db) { count = sql::Query(db, text).RunForInt().value_or(0); });
    return count;
  }

  // What one sees on the chart of everything.
  Found Charted() {
    charts::ChartLibrary library;
    FlatSelection all;
    all.info.Status = 7;
    auto filter = all.Filter();
    API_CCVarOptions options{};
    options.ChartWord = 0x330;
    Found found;
    if (library.VLXCRT_VCHART_PROCESS_LT(0, Db().ConnectionHandle(), all.info, filter, options,
                                         0) == 0) {
      return found;
    }
    const auto points = Select(all.info, all.Filter()).subgroups;
    const auto rules = Opened()->Rules();
    for (std::int32_t graph = 1; graph <= 2; ++graph) {
      std::vector<std::int32_t> marks(points.size());
      library.VLXCRT_VAR_DATA(0, {marks.data(), sizeof marks[0], marks.size()},
                              platform::ChartData::OOCs, graph);
      const auto on =
          Opened()->AlarmBits(1, 1, 1, graph) & store::ApplicableRules(rules, 0x330, graph);
      for (const auto& rule : rules) {
        bool goes_on = false;
        std::int32_t first = 0, last = 0;
        const auto end = [&] {
          if (goes_on) found.emplace(graph, rule.number, first, last);
          goes_on = false;
        };
        for (std::size_t i = 0; i < points.size(); ++i) {
          if (points[i].Sgtm < start_ || points[i].Flag != sfEnabled) continue;
          if ((static_cast<std::uint32_t>(marks[i]) & on & 1U << rule.number) == 0) {
            end();
            continue;
          }
          if (rule.m <= 1) end();
          if (!goes_on) first = points[i].Sgrp;
          last = points[i].Sgrp;
          goes_on = true;
        }
        end();
      }
    }
    library.VLXCRT_VAR_END();
    return found;
  }

  std::int64_t start_ = 0;
  std::int32_t latest_ = 0;
};

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

// Whatever came late and was corrected, the alarms are those of somebody who sees the end.
TEST_F(JudgeTest, AlarmsAreThoseOfTheChartWhateverTheHistory) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE("history " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&](int n) {
      return static_cast<std::int32_t>(random() % static_cast<unsigned>(n));
    };
    start_ += 8 * 24 * 60 * 60;
    std::vector<std::int32_t> subgroups;
    double level = 10.0;
    for (int i = 0; i < 60; ++i) {
      if (below(12) == 0) level = 10.0 + (below(7) - 3) / 2.0;
      const auto kind = below(10);
      if (kind < 7 || subgroups.empty()) {
        const auto minute = kind == 6 ? below(60) * 10 + 5 : i * 10;
        Record(minute, level + (below(2000) - 1000) / 500.0);
        subgroups.push_back(latest_);
        continue;
      }
      const auto subgroup =
          subgroups[static_cast<std::size_t>(below(static_cast<int>(subgroups.size())))];
      try {
        if (kind == 7) {
          Data().ChangeFlag({subgroup}, {}, below(2) == 0 ? sfDisabled : sfEnabled, Why());
        } else if (kind == 8) {
          ValueChange change;
          change.tsno = 1;
          change.value = level + (below(2000) - 1000) / 300.0;
          Data().ChangeValue(subgroup, 1, change, Why());
        } else {
          Data().DeleteSubgroups({subgroup}, {}, Why());
        }
      } catch (const Refused&) {
        // It is deleted already.
      }
    }
    Found stored = Stored(), charted = Charted();
    const auto is_older = [&](const auto& each) { return std::get<2>(each) < subgroups.front(); };
    std::erase_if(stored, is_older);
    std::erase_if(charted, is_older);
    EXPECT_EQ(stored, charted);
    EXPECT_FALSE(charted.empty());
  }
}

}  // namespace
}  // namespace orvspc::engine::alarms
