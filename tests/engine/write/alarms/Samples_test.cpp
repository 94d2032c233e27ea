// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/compliance/ComplianceLibrary.h"
#include "engine/time/calendar.h"
#include "platform/Enumerations.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::alarms {
namespace {

using store::FlatSelection;

constexpr std::int64_t kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour;
constexpr std::int64_t kStart = 1'773'187'200;  // 2026-03-11T00:00:00Z

class SamplesTest : public store::StoreTest {
 protected:
  static std::string Text(std::int64_t time) {
    return platform::IsoText(static_cast<std::int32_t>(time)) + "Z";
  }
  // A subgroup at so many minutes.
  void Sample(int minute, const std::string& lot = "") {
    const auto number = std::to_string(++samples_);
    Import("part,process,test,subgroup,time,value,lot\nA,P,T," + number + "," +
           Text(kStart + minute * kMinute) + ",1," + lot + "\n");
  }
  void Require(const std::string& what) {
    Import("part,process,test,kind,n,minutes,grace,from,to,name\nA,P,T," + what + "\n",
           ImportKind::Requirements);
  }
  void States(const std::vector<std::pair<int, std::string>>& changes) {
    Import("code,type\nRUN,run\nOFF,pause\n", ImportKind::StateCodes);
    std::string text = "process,time,state\n";
    for (const auto& [minute, code] : changes) {
      text += "P," + Text(kStart + minute * kMinute) + "," + code + "\n";
    }
    Import(text, ImportKind::States);
  }
  SamplingCheck CheckAt(std::int64_t minute) {
    const time::FixedNow now(kStart + minute * kMinute);
    return Data().CheckSamples();
  }
  static std::vector<int> MinutesOf(const std::vector<MissedWindow>& windows) {
    std::vector<int> minutes;
    for (const auto& each : windows) {
      minutes.push_back(static_cast<int>((each.due + 1 - kStart) / kMinute));
    }
    return minutes;
  }
  // When those are due that have an event which is not withdrawn.
  std::vector<int> Standing() {
    std::vector<int> minutes;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db,
                       "SELECT m.due FROM missed_sample m JOIN event e ON e.id = m.event "
                       "WHERE e.type = 3 AND e.time = m.due AND m.is_withdrawn = 0 ORDER BY m.due");
      while (query.Step()) {
        minutes.push_back(static_cast<int>((query.Int64(0) + 1 - kStart) / kMinute));
      }
    });
    return minutes;
  }
  // What the analysis of compliance calls short of what is due before so many minutes, counted from
  // a time on, or from the first state or subgroup.
  std::vector<int> ShortByCompliance(std::int64_t start, int end) {
    const time::FixedNow now(kStart + end * kMinute);
    FlatSelection all;
    all.info.Status = 7;
    all.info.TimeType = drttStatic;
    all.info.TimeStart = static_cast<std::int32_t>(start);
    all.info.TimeEnd = time::kNoStamp;
    auto filter = all.Filter();
    compliance::ComplianceLibrary library;
    EXPECT_GT(library.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), all.info, filter), 0);
    std::vector<int> minutes;
    for (const auto& each : compliance::ComplianceLibrary::TakeReport(Db().ConnectionHandle())) {
      if (each.collected < each.expected && each.due < kStart + end * kMinute) {
        minutes.push_back(static_cast<int>((each.due + 1 - kStart) / kMinute));
      }
    }
    return minutes;
  }
  std::int64_t Count(std::string_view text) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow(
        [&](sql::Connection& db) { count = sql::Query(db, text).RunForInt().value_or(0); });
    return count;
  }

  int samples_ = 0;
};

using Minutes = std::vector<int>;

TEST_F(SamplesTest, AWindowThatIsOverAndShortHasOneEvent) {
  Require("interval,2,30,0,2026-03-11T00:00:00Z,,Hourly");
  Sample(5);
  Sample(10);
  Sample(35);
  EXPECT_TRUE(CheckAt(30).missed.empty()) << "it is full";
  EXPECT_TRUE(CheckAt(59).missed.empty()) << "the second one is not over";
  const auto found = CheckAt(60).missed;
  ASSERT_EQ(MinutesOf(found), Minutes{60});
  EXPECT_EQ(found[0].name, "Hourly");
  EXPECT_EQ(found[0].expected, 2);
  EXPECT_EQ(found[0].collected, 1);
  EXPECT_TRUE(CheckAt(61).missed.empty()) << "once";
  EXPECT_EQ(MinutesOf(CheckAt(90).missed), Minutes{90});
  EXPECT_EQ(Standing(), (Minutes{60, 90}));
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE type = 3"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM outbox"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM log WHERE operation = 'samples-missed'"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM event e JOIN event_name n ON n.id = e.name "
                  "JOIN part ON part.id = e.part WHERE n.name = 'Hourly' AND e.flag = 0"),
            2);
  EXPECT_TRUE(Data().VerifyLog({.with_data = true}).finds.empty());
}

TEST_F(SamplesTest, AWindowThatIsFilledLaterIsWithdrawnAndTheEventStays) {
  Require("interval,1,30,0,2026-03-11T00:00:00Z,,Half");
  Sample(5);
  EXPECT_EQ(MinutesOf(CheckAt(95).missed), (Minutes{60, 90}));
  Sample(40);
  const auto found = CheckAt(96);
  EXPECT_TRUE(found.missed.empty());
  ASSERT_EQ(MinutesOf(found.withdrawn), Minutes{60});
  EXPECT_EQ(found.withdrawn[0].collected, 1);
  EXPECT_EQ(Standing(), Minutes{90});
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE type = 3"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM log WHERE operation = 'samples-withdraw'"), 1);
  EXPECT_EQ(Count("SELECT max(revision) FROM outbox"), 1);

  ChangeOptions why;
  why.reason = "not a sample";
  Data().DeleteSubgroups({2}, {}, why);
  EXPECT_EQ(MinutesOf(CheckAt(97).missed), Minutes{60}) << "short again, by the same event";
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE type = 3"), 2);
  EXPECT_EQ(Count("SELECT count(*) FROM outbox o JOIN outbox p ON p.id <> o.id "
                  "AND p.event = o.event AND p.revision = o.revision"),
            0)
      << "each message has an identifier of its own";
}

TEST_F(SamplesTest, WindowsOfWeeksAgoAreWithdrawnToo) {
  Require("interval,1,1440,0,2026-03-11T00:00:00Z,,Daily");
  for (int day = 1; day <= 40; ++day) CheckAt(day * 24 * 60);
  EXPECT_EQ(Standing().size(), 40U);
  Sample(24 * 60 * 2 + 5);
  EXPECT_EQ(MinutesOf(CheckAt(41 * 24 * 60).withdrawn), Minutes{3 * 24 * 60});
}

TEST_F(SamplesTest, ATestThatNobodyMeasuresIsMissedSinceItsProcessBegan) {
  Import("part,process,test,kind,n,minutes,grace\nA,P,R,interval,1,60,20\n",
         ImportKind::Requirements);
  EXPECT_TRUE(CheckAt(500).missed.empty()) << "the process has not begun";
  for (int hour = 0; hour < 12; ++hour) Sample(30 + 60 * hour);
  ASSERT_EQ(CheckAt(12 * 60).missed.size(), 11U);
  EXPECT_EQ(Standing(), ShortByCompliance(time::kNoStamp, 12 * 60));
  EXPECT_EQ(Standing().front(), 30 + 80);
}

TEST_F(SamplesTest, ALotThatBeganBeforeAnyOfItsTestIsMissedToo) {
  Import("part,process,test,kind,n\nA,P,R,lot,1\n", ImportKind::Requirements);
  Sample(0, "L1");
  Sample(60, "L2");
  EXPECT_EQ(CheckAt(90).missed.size(), 1U) << "no test of it at all";
  Import("part,process,test,subgroup,time,value,lot\nA,P,R,9," + Text(kStart + 70 * kMinute) +
         ",1,L2\n");
  Sample(120, "L3");
  EXPECT_TRUE(CheckAt(150).withdrawn.empty());
  EXPECT_EQ(Standing(), Minutes{0});
}

// A disabled subgroup is none that counts.
TEST_F(SamplesTest, AProcessBeginsWithASubgroupThatCounts) {
  Import("part,process,test,kind,n,minutes,grace\nA,P,R,interval,1,60,0\n",
         ImportKind::Requirements);
  Sample(0);
  Sample(90);
  ChangeOptions why;
  why.reason = "trial run";
  Data().ChangeFlag({1}, {}, sfDisabled, why);
  EXPECT_EQ(MinutesOf(CheckAt(220).missed), (Minutes{150, 210}));
}

// Part Z has run for 70 hours when A comes to the process, and Q for longer.
TEST_F(SamplesTest, ARequirementOfAPartBeginsWithItsFirstSubgroupOnTheProcess) {
  Require("interval,1,60,0,,,Hourly");
  Import("part,process,test,kind,n,minutes,grace,name\n,P,T,interval,1,60,0,Any\n",
         ImportKind::Requirements);
  const auto add = [&](const std::string& names, int minute) {
    Import("part,process,test,subgroup,time,value\n" + names + "," + std::to_string(minute) + "," +
           Text(kStart + minute * kMinute) + ",1\n");
  };
  add("Z,Q,T", -600);
  add("Z,P,T", 0);
  add("Z,P,T", 65);
  EXPECT_EQ(MinutesOf(CheckAt(181).missed), Minutes{180}) << "of A nothing is asked yet";
  constexpr int kFirst = 70 * 60;
  add("A,P,R", kFirst);
  add("A,P,T", kFirst + 90);
  const auto missed = [&](const std::string& name) {
    auto windows = CheckAt(kFirst + 181).missed;
    std::erase_if(windows, [&](const MissedWindow& each) { return each.name != name; });
    return MinutesOf(windows);
  };
  EXPECT_EQ(missed("Hourly"), (Minutes{kFirst + 60, kFirst + 180}));

  // Whatever is selected.
  const auto short_ones = [&](const std::vector<std::string>& parts, bool selects_process) {
    const time::FixedNow now(kStart + (kFirst + 181) * kMinute);
    FlatSelection selection;
    selection.info.Status = 7;
    selection.info.TimeType = drttStatic;
    selection.info.TimeStart = selection.info.TimeEnd = time::kNoStamp;
    std::vector<std::int32_t> ids;
    for (const auto& part : parts) ids.push_back(Id(ItemKind::Part, part));
    if (!ids.empty()) selection.List(FlatSelection::kPart, ids);
    if (selects_process) selection.List(FlatSelection::kProcess, {Id(ItemKind::Process, "P")});
    auto filter = selection.Filter();
    compliance::ComplianceLibrary library;
    EXPECT_GT(library.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), selection.info, filter),
              0);
    Minutes minutes;
    for (const auto& each : compliance::ComplianceLibrary::TakeReport(Db().ConnectionHandle())) {
      if (each.requirement != 1 || each.collected >= each.expected) continue;
      minutes.push_back(static_cast<int>((each.due + 1 - kStart) / kMinute));
    }
    return minutes;
  };
  const Minutes expected{kFirst + 60, kFirst + 180};
  for (const bool selects_process : {false, true}) {
    EXPECT_EQ(short_ones({}, selects_process), expected);
    EXPECT_EQ(short_ones({"A"}, selects_process), expected);
    EXPECT_EQ(short_ones({"A", "Z"}, selects_process), expected);
  }
}

TEST_F(SamplesTest, OfAPauseNothingIsAsked) {
  States({{0, "RUN"}, {40, "OFF"}, {100, "RUN"}});
  Require("interval,1,30,0,,,Half");
  Sample(5);
  EXPECT_TRUE(CheckAt(99).missed.empty());
  EXPECT_EQ(MinutesOf(CheckAt(121).missed), Minutes{120}) << "10 minutes before the pause";
}

TEST_F(SamplesTest, GraceCountsBeforeAWindowIsOver) {
  Require("interval,1,30,10,2026-03-11T00:00:00Z,,Half");
  EXPECT_TRUE(CheckAt(35).missed.empty());
  Sample(38);
  EXPECT_TRUE(CheckAt(45).missed.empty());
  EXPECT_EQ(MinutesOf(CheckAt(70).missed), Minutes{70});
}

TEST_F(SamplesTest, AShiftIsOverAtItsEnd) {
  Require("shift,2,,,2026-03-11T06:00:00Z,,Shift");
  Sample(8 * 60);
  EXPECT_TRUE(CheckAt(14 * 60 - 1).missed.empty());
  EXPECT_EQ(MinutesOf(CheckAt(14 * 60).missed), Minutes{14 * 60});
  Sample(9 * 60);
  EXPECT_EQ(MinutesOf(CheckAt(15 * 60).withdrawn), Minutes{14 * 60});
}

TEST_F(SamplesTest, ALotIsOverWhenAnotherOneHasBegun) {
  Require("lot,2,,,,,Lot");
  Sample(0, "L1");
  EXPECT_TRUE(CheckAt(30 * 24 * 60).missed.empty()) << "more of it may come";
  Sample(60, "L2");
  const auto found = CheckAt(90).missed;
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].due, kStart);
  Sample(70, "L1");
  EXPECT_EQ(CheckAt(91).withdrawn.size(), 1U);
}

TEST_F(SamplesTest, RequirementsOfOneStreamAreJudgedEachByItself) {
  Require("interval,1,30,0,2026-03-11T00:00:00Z,,Half");
  Require("interval,1,60,0,2026-03-11T00:00:00Z,,Whole");
  Sample(5);
  CheckAt(61);
  EXPECT_EQ(Standing(), Minutes{60});
  EXPECT_EQ(Count("SELECT count(*) FROM sampling_mark"), 2);
}

TEST_F(SamplesTest, ThoseThatAreNotInUseAskForNothing) {
  Require("interval,1,30,0,2026-03-11T00:00:00Z,,Half");
  store::RunSql(Path(), "UPDATE requirement SET active = 0");
  EXPECT_TRUE(CheckAt(90).missed.empty());
}

TEST_F(SamplesTest, TheFirstCheckGoesNoFurtherBackThanTheHorizon) {
  Require("interval,1,60,0,2026-03-11T00:00:00Z,,Hourly");
  Data().Set("alarm_horizon", "2");
  const auto found = CheckAt(30 * 24 * 60).missed;
  ASSERT_FALSE(found.empty());
  EXPECT_LE(found.size(), 49U);
  EXPECT_GE(found.size(), 48U);
  EXPECT_EQ(CheckAt(40 * 24 * 60).missed.size(), 240U) << "all since the check before";
}

TEST_F(SamplesTest, AnOldFirstSampleLeavesTheFirstCheckItsHorizon) {
  Import("part,process,test,subgroup,time,value\nA,P,T,0,1970-01-02T00:00:00Z,1\n");
  Require("interval,1,5,0,,,Often");
  Sample(7);
  Data().Set("alarm_horizon", "2");
  const auto found = CheckAt(24 * 60);
  EXPECT_TRUE(found.notes.empty());
  EXPECT_EQ(found.missed.size(), 2U * 288U)
      << "of two days, one of them full, and one that begins before";
  EXPECT_EQ(Count("SELECT count(*) FROM sampling_mark"), 1);
}

TEST_F(SamplesTest, ARequirementOfTooManyWindowsLeavesTheOthersTheirCheck) {
  Require("interval,1,1,0,2026-03-11T00:00:00Z,,Minute");
  Require("interval,1,60,0,2026-03-11T00:00:00Z,,Hourly");
  CheckAt(30);
  store::RunSql(Path(), "UPDATE sampling_mark SET due = 0");
  store::RunSql(Path(), "UPDATE requirement SET valid_from = NULL WHERE name = 'Minute'");
  Import("part,process,test,subgroup,time,value\nA,P,T,0,1970-01-02T00:00:00Z,1\n");
  const auto found = CheckAt(61);
  EXPECT_EQ(MinutesOf(found.missed), Minutes{60});
  ASSERT_EQ(found.notes.size(), 1U);
  EXPECT_EQ(found.notes[0].stream, "Minute");
  EXPECT_NE(found.notes[0].text.find("2000000"), std::string::npos) << found.notes[0].text;
}

TEST_F(SamplesTest, AfterAYearOfFullWindowsOnlyTheHorizonIsRead) {
  Require("interval,1,1440,60,2026-03-11T00:00:00Z,,Daily");
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int day = 0; day < 400; ++day) {
    text += "A,P,T," + std::to_string(day) + "," + Text(kStart + day * kDay + kHour) + ",1\n";
  }
  Import(text);
  for (int day = 1; day < 400; day += 50) CheckAt(day * 24 * 60 + 120);
  EXPECT_TRUE(CheckAt(399 * 24 * 60).missed.empty());
  const auto mark = Count("SELECT due FROM sampling_mark");
  EXPECT_GT(mark, kStart + 389 * kDay);
  EXPECT_LT(mark, kStart + 392 * kDay);
}

TEST_F(SamplesTest, ATrialStoresNothing) {
  Require("interval,1,30,0,2026-03-11T00:00:00Z,,Half");
  const time::FixedNow now(kStart + kHour);
  ChangeOptions trial;
  trial.dry_run = true;
  EXPECT_EQ(Data().CheckSamples(trial).missed.size(), 2U);
  EXPECT_TRUE(Standing().empty());
  EXPECT_EQ(Data().CheckSamples().missed.size(), 2U);
}

// However often it was checked and whatever came late or went, what is missed is what the analysis
// of compliance shows at the end.
TEST_F(SamplesTest, WhatIsMissedIsWhatComplianceShowsAtTheEnd) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE("week " + std::to_string(seed));
    db_.reset();
    folder_.RemoveStore("q.db");
    samples_ = 0;
    std::mt19937 random(seed);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const int length = 30 + below(3) * 45, grace = below(2) * (5 + below(20));
    States({{0, "RUN"}, {600 + below(300), "OFF"}, {1000 + below(300), "RUN"}});
    Require("interval," + std::to_string(1 + below(2)) + "," + std::to_string(length) + "," +
            std::to_string(grace) + ",2026-03-11T00:00:00Z,,R");
    constexpr int kEnd = 3 * 24 * 60;
    int now = 0;
    std::vector<std::int32_t> there;
    while (now < kEnd) {
      now += 20 + below(100);
      const auto kind = below(10);
      if (kind < 6) {
        Sample(kind == 0 ? below(now) : now - below(20));
        there.push_back(samples_);
      } else if (kind == 6 && !there.empty()) {
        const auto which = there.begin() + below(static_cast<int>(there.size()));
        ChangeOptions why;
        why.reason = "trial run";
        Data().DeleteSubgroups({*which}, {}, why);
        there.erase(which);
      } else {
        CheckAt(now);
      }
    }
    CheckAt(kEnd);
    const auto expected = ShortByCompliance(kStart, kEnd);
    EXPECT_EQ(Standing(), expected);
    EXPECT_FALSE(expected.empty());
  }
}

}  // namespace
}  // namespace orvspc::engine::alarms
