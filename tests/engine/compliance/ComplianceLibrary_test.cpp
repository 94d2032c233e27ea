// SPDX-License-Identifier: Apache-2.0
#include "engine/compliance/ComplianceLibrary.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <tuple>

#include "engine/time/calendar.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::compliance {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

constexpr std::int32_t kHour = 3600, kDay = 86400;
constexpr std::int32_t kStart = 1704067200;  // 2024-01-01T00:00:00Z, a Monday

class ComplianceTest : public StoreTest {
 protected:
  ComplianceTest() { TakeNotes(); }

  // Four subgroups of two presses, one state log, one requirement an hour.
  void SetUp() override {
    Import(
        "part,process,test,subgroup,time,value,flag\n"
        "A,Press,Width,1,2024-01-01T00:10,9,\nA,Press,Width,1,2024-01-01T00:10,11,\n"
        "A,Press,Width,2,2024-01-01T00:20,13,\nA,Press,Width,3,2024-01-01T02:30,7,\n"
        "A,Press,Width,4,2024-01-01T03:30,99,disabled\nB,Lathe,Depth,5,2024-01-01T00:30,5,\n");
    Import("part,test,usl,lsl\nA,Width,12,8\n", ImportKind::Limits);
    Import("process,test,kind,n,minutes\nPress,Width,interval,1,60\n", ImportKind::Requirements);
  }
  void AddStates() {
    RunSql(Path(),
           "INSERT INTO state_code(id, name, type) VALUES(1, 'Run', 2000), (2, 'Idle', 5000);"
           "INSERT INTO state_log(process, time, state_code) VALUES"
           "(1, 1704067200, 1), (1, 1704074400, 2), (1, 1704081600, 1);");
  }
  FlatSelection FourHours() {
    FlatSelection selection;
    selection.info.TimeType = drttStatic;
    selection.info.TimeStart = kStart;
    selection.info.TimeEnd = kStart + 4 * kHour - 1;
    return selection;
  }
  std::vector<API_SCRow> Rows(FlatSelection& selection) {
    auto filter = selection.Filter();
    const auto count =
        library_.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), selection.info, filter);
    if (const auto failure = Db().TakeFailure()) ADD_FAILURE() << failure->description;
    std::vector<API_SCRow> rows(static_cast<std::size_t>(count));
    library_.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, count);
    return rows;
  }
  std::vector<API_SCRow> Rows() {
    auto selection = FourHours();
    return Rows(selection);
  }

  ComplianceLibrary library_;
};

TEST_F(ComplianceTest, DetailsComeFirstThenTheSums) {
  std::vector<std::tuple<std::int32_t, std::int32_t, std::int32_t, std::int32_t>> kinds;
  for (const auto& row : Rows()) {
    kinds.emplace_back(row.ResultType, row.PartID, row.ProcessID, row.TestID);
  }
  // The requirement speaks of any part, part 0; the lathe has data and no requirement.
  const decltype(kinds) expected = {{0, 0, 1, 1}, {0, 2, 2, 2}, {14, 0, 1, 1}, {14, 2, 2, 2},
                                    {2, 0, 0, 0}, {2, 2, 0, 0}, {4, 0, 1, 0},  {4, 0, 2, 0},
                                    {8, 0, 0, 1}, {8, 0, 0, 2}, {16, 0, 0, 0}};
  EXPECT_EQ(kinds, expected);
}

TEST_F(ComplianceTest, AProcessWithoutALogRunsAllTheTimeAndANoteSaysSo) {
  const auto rows = Rows();
  EXPECT_EQ(rows[0].SamplesExpected, 4);
  EXPECT_EQ(rows[0].SamplesCollected, 2) << "the disabled subgroup is no sample";
  EXPECT_EQ(rows[0].SamplesMissed, 2);
  EXPECT_EQ(rows[0].PercentComplete, 50.0);
  EXPECT_EQ(rows[0].StateID, 0);
  EXPECT_EQ(rows[0].StateType, pst_None);
  EXPECT_EQ(rows[0].Duration, 240.0);
  EXPECT_EQ(rows[0].StartStamp, kStart);
  const auto notes = TakeNotes();
  ASSERT_FALSE(notes.empty());
  EXPECT_EQ(notes[0].code, "no-state-log");
  EXPECT_EQ(notes[0].stream, "Press");
}

TEST_F(ComplianceTest, EachStateIsADetailAndPausesAskForNothing) {
  AddStates();
  auto selection = FourHours();
  selection.info.TimeEnd = kStart + 6 * kHour - 1;
  const auto rows = Rows(selection);
  const struct {
    std::int32_t start, state, type, expected, collected;
  } details[] = {{kStart, 1, pst_Run, 2, 1},
                 {kStart + 2 * kHour, 2, pst_Idle, 0, 0},
                 // The sample of the pause has the clock of the pause and serves the third window.
                 {kStart + 4 * kHour, 1, pst_Run, 2, 1}};
  ASSERT_GE(rows.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(rows[i].StartStamp, details[i].start);
    EXPECT_EQ(rows[i].StateID, details[i].state);
    EXPECT_EQ(rows[i].StateType, details[i].type);
    EXPECT_EQ(rows[i].SamplesExpected, details[i].expected);
    EXPECT_EQ(rows[i].SamplesCollected, details[i].collected);
    EXPECT_EQ(rows[i].Duration, 120.0);
  }
  EXPECT_EQ(rows[1].PercentComplete, 100.0) << "nothing was expected";
}

TEST_F(ComplianceTest, BeforeItsFirstRecordAProcessDoesNotRun) {
  AddStates();
  auto selection = FourHours();
  selection.info.TimeStart = kStart - 2 * kHour;
  selection.info.TimeEnd = kStart + kHour - 1;
  const auto rows = Rows(selection);
  EXPECT_EQ(rows[0].StartStamp, kStart - 2 * kHour);
  EXPECT_EQ(rows[0].StateID, 0);
  EXPECT_EQ(rows[0].SamplesExpected, 0);
  EXPECT_EQ(rows[1].SamplesExpected, 1);
}

TEST_F(ComplianceTest, TheStateOfTheStartMayHaveBegunBefore) {
  AddStates();
  auto selection = FourHours();
  selection.info.TimeStart = kStart + kHour;
  const auto rows = Rows(selection);
  EXPECT_EQ(rows[0].StartStamp, kStart + kHour);
  EXPECT_EQ(rows[0].StateID, 1);
  EXPECT_EQ(rows[0].SamplesExpected, 1);
}

TEST_F(ComplianceTest, CountIsNoBound) {
  auto one = FourHours();
  one.info.Count = 1;
  EXPECT_EQ(Rows(one)[0].SamplesCollected, 2);
  EXPECT_EQ(one.info.Count, 1) << "and is not written";
  EXPECT_EQ(one.info.Status, 7);
}

TEST_F(ComplianceTest, StatisticsAreOfEnabledPiecesInTheSegment) {
  const auto row = Rows()[0];
  EXPECT_EQ(row.TestCount, 4);
  EXPECT_EQ(row.MinimumValue, 7.0);
  EXPECT_EQ(row.MaximumValue, 13.0);
  EXPECT_EQ(row.AverageValue, 10.0);
  EXPECT_DOUBLE_EQ(row.StandardDeviation, std::sqrt(20.0 / 3.0));
  EXPECT_DOUBLE_EQ(row.PP, 4.0 / (6.0 * std::sqrt(20.0 / 3.0)));
  EXPECT_DOUBLE_EQ(row.PPK, 2.0 / (3.0 * std::sqrt(20.0 / 3.0)));
  EXPECT_EQ(row.SpecFlags, slfUSL | slfLSL);
  EXPECT_EQ(row.PercentAboveUSL, 25.0);
  EXPECT_EQ(row.PercentBelowLSL, 25.0);
  EXPECT_EQ(row.PercentOOS, 50.0);
  EXPECT_EQ(row.PPM, 500000.0);
  EXPECT_EQ(row.LimitFlags, 0);
}

TEST_F(ComplianceTest, ARowWithoutValuesHasNoFlags) {
  auto selection = FourHours();
  selection.info.TimeStart = kStart + 10 * kHour;
  selection.info.TimeEnd = kStart + 12 * kHour - 1;
  const auto row = Rows(selection)[0];
  EXPECT_EQ(row.TestCount, 0);
  EXPECT_EQ(row.SpecFlags, 0);
  EXPECT_EQ(row.SamplesExpected, 2);
}

TEST_F(ComplianceTest, NetContentsFlagTheirFigures) {
  RunSql(
      Path(),
      "INSERT INTO net_content(id, part, test, effective, class, nominal, t1l, t2l, t1u, factor, "
      "who, made) VALUES(1, 1, 1, 0, 'own', 20, 19, 15, 25, 2, 'test', 0)");
  const auto row = Rows()[0];
  EXPECT_EQ(row.LimitFlags, 8 | nclT1L | nclT2L | nclT1U);
  // Values 9, 11, 13, 7 times the factor 2 against a content of 20.
  EXPECT_EQ(row.PercentAboveLSC, 50.0);
  EXPECT_EQ(row.PercentBelowLSC, 50.0);
  EXPECT_EQ(row.PercentBelowT1L, 50.0);
  EXPECT_EQ(row.PercentBelowT2L, 25.0);
  EXPECT_EQ(row.PercentAboveT1U, 25.0);
  EXPECT_EQ(row.PercentBelowMAVL, 0.0);
}

TEST_F(ComplianceTest, APackageExactlyOnANetContentLimitIsNotBeyondIt) {
  RunSql(
      Path(),
      "INSERT INTO net_content(id, part, test, effective, class, nominal, t1l, t2l, t1u, factor, "
      "who, made) VALUES(1, 1, 1, 0, 'own', 0.77, 0.77, 0.63, 0.91, 0.07, 'test', 0)");
  const auto row = Rows()[0];
  // 9, 11 and 13 lie on a limit each, although 13 times 0.07 is 0.9100000000000001; 7 is below all.
  EXPECT_EQ(row.PercentBelowLSC, 50.0);
  EXPECT_EQ(row.PercentAboveLSC, 25.0);
  EXPECT_EQ(row.PercentBelowT1L, 50.0);
  EXPECT_EQ(row.PercentBelowT2L, 25.0);
  EXPECT_EQ(row.PercentAboveT1U, 0.0);
}

TEST_F(ComplianceTest, DataWithoutARequirementAskForNothing) {
  const auto row = Rows()[1];
  EXPECT_EQ(row.ProcessID, 2);
  EXPECT_EQ(row.SmplReqID, 0);
  EXPECT_EQ(row.SamplesExpected, 0);
  EXPECT_EQ(row.SamplesCollected, 0);
  EXPECT_EQ(row.SamplesMissed, 0);
  EXPECT_EQ(row.TestCount, 1);
}

TEST_F(ComplianceTest, AFilterChoosesRequirementsToo) {
  auto selection = FourHours();
  selection.List(FlatSelection::kProcess, {2});
  for (const auto& row : Rows(selection)) EXPECT_EQ(row.SamplesExpected, 0);
}

TEST_F(ComplianceTest, ANarrowedSampleHasANote) {
  auto selection = FourHours();
  selection.info.ItemNo = 1;
  TakeNotes();
  Rows(selection);
  bool told = false;
  for (const auto& note : TakeNotes()) told = told || note.code == "samples-narrowed";
  EXPECT_TRUE(told);
}

TEST_F(ComplianceTest, WhatIsYetToComeIsNotMissed) {
  auto selection = FourHours();
  selection.info.TimeEnd = kStart + kDay;
  {
    const FixedNow now(kStart + 5 * kHour - 1);
    EXPECT_EQ(Rows(selection)[0].SamplesExpected, 5);
  }
  selection = FourHours();
  const FixedNow now(kStart + 2 * kHour);
  EXPECT_EQ(Rows(selection)[0].SamplesExpected, 3) << "there is a subgroup of 03:30 already";
}

TEST_F(ComplianceTest, ARangeWithoutAStartBeginsWithTheFirstSubgroup) {
  auto selection = FourHours();
  selection.info.TimeStart = INT32_MIN;
  const auto row = Rows(selection)[0];
  EXPECT_EQ(row.StartStamp, kStart + 600);
  EXPECT_EQ(row.SamplesExpected, 3);
}

TEST_F(ComplianceTest, ARangeWithoutAnEndGoesOnUntilNow) {
  const FixedNow now(kStart + 6 * kHour - 1);
  auto selection = FourHours();
  selection.info.TimeEnd = INT32_MIN;
  EXPECT_EQ(Rows(selection)[0].SamplesExpected, 6);
}

TEST_F(ComplianceTest, ASelectionWithoutBoundsGoesOnUntilNow) {
  const FixedNow now(kStart + 8 * kHour - 1);
  FlatSelection selection;
  selection.info.TimeType = drttMostRecent;
  // From the first subgroup at 00:10 on.
  EXPECT_EQ(Rows(selection)[0].SamplesExpected, 7);
  selection.info.TimePeriod = drpDay;
  selection.info.TimeCount = 1;
  EXPECT_EQ(Rows(selection)[0].SamplesExpected, 24) << "up to the newest subgroup, of 03:30";
}

TEST_F(ComplianceTest, APartBesideARequirementForAnyPartHasANote) {
  auto selection = FourHours();
  selection.List(FlatSelection::kPart, {1});
  TakeNotes();
  Rows(selection);
  bool told = false;
  for (const auto& note : TakeNotes()) told = told || note.code == "samples-narrowed";
  EXPECT_TRUE(told);
}

TEST_F(ComplianceTest, ADefectFilterNarrowsNoSamples) {
  auto selection = FourHours();
  selection.List(FlatSelection::kDefect, {77});
  TakeNotes();
  EXPECT_EQ(Rows(selection)[0].SamplesCollected, 2);
  for (const auto& note : TakeNotes()) EXPECT_NE(note.code, "samples-narrowed");
}

TEST_F(ComplianceTest, PartsWithTheSameLimitsShareThemWhateverElseTheirRowsSay) {
  Import(
      "part,process,test,subgroup,time,value\nC,Press,Width,9,2024-01-01T00:40,10\n"
      "D,Press,Width,10,2024-01-01T00:50,10\n");
  Import("part,test,usl,target,lsl\nC,Width,12.000000001,10,8\n", ImportKind::Limits);
  auto selection = FourHours();
  selection.List(FlatSelection::kPart, {Id(ItemKind::Part, "A"), Id(ItemKind::Part, "C")});
  EXPECT_EQ(Rows(selection)[0].SpecFlags, slfUSL | slfLSL);
  EXPECT_EQ(Rows(selection)[0].TestCount, 5);
  EXPECT_EQ(Rows()[0].SpecFlags, 0) << "part D has no limits";
}

TEST_F(ComplianceTest, LotsAskWhateverOtherFiltersSay) {
  Import(
      "part,process,test,subgroup,time,value,lot,employee\n"
      "A,Press,Width,9,2024-01-01T00:40,10,L1,Ann\nA,Press,Width,10,2024-01-01T00:45,10,L2,Bob\n");
  Import("process,test,kind,n\nPress,Width,lot,1\n", ImportKind::Requirements);
  const auto expected = [&](FlatSelection::Block block, ItemKind kind, const char* name) {
    auto selection = FourHours();
    selection.List(block, {Id(kind, name)});
    for (const auto& row : Rows(selection)) {
      if (row.SmplReqID == 2) return row.SamplesExpected;
    }
    return -1;
  };
  EXPECT_EQ(expected(FlatSelection::kEmployee, ItemKind::Employee, "Ann"), 2);
  EXPECT_EQ(expected(FlatSelection::kLot, ItemKind::Lot, "L1"), 1);
  TakeNotes();
  expected(FlatSelection::kLot, ItemKind::Lot, "L1");
  bool told = false;
  for (const auto& note : TakeNotes()) told = told || note.code == "samples-narrowed";
  EXPECT_TRUE(told) << "the intervals ask for as much as without the filter";
}

TEST_F(ComplianceTest, MillionsOfIntervalsAreRefused) {
  Import("process,test,kind,n,minutes\nPress,Width,interval,1,1\n", ImportKind::Requirements);
  auto selection = FourHours();
  selection.info.TimeStart = 0;
  auto filter = selection.Filter();
  EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), selection.info, filter),
            0);
  const auto failure = Db().TakeFailure();
  ASSERT_TRUE(failure);
  EXPECT_NE(failure->description.find("choose a shorter range"), std::string::npos);
}

TEST_F(ComplianceTest, ShiftsStartAsTheSettingSaysInTheZone) {
  Import("process,test,kind,n\nPress,Width,shift,5\n", ImportKind::Requirements);
  Data().Set("shift_starts", "03:00 15:00");
  Data().Set("time_zone", "+02:00");
  // 03:00 there is 01:00 UTC: two shifts in the four hours.
  for (const auto& row : Rows()) {
    if (row.ResultType != 0 || row.SmplReqID != 2) continue;
    EXPECT_EQ(row.SamplesExpected, 10);
    EXPECT_EQ(row.SamplesCollected, 3);
  }
}

TEST_F(ComplianceTest, EveryWindowIsToldAfterTheRowsWereFreed) {
  Rows();
  library_.VLXSREQ_SREQ_COMPLIANCE_FREEDATA();
  const auto windows = ComplianceLibrary::TakeReport(Db().ConnectionHandle());
  ASSERT_EQ(windows.size(), 4u);
  const std::int32_t collected[] = {1, 0, 1, 0};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(windows[i].requirement, 1);
    EXPECT_EQ(windows[i].process, 1);
    EXPECT_EQ(windows[i].due, kStart + static_cast<std::int32_t>(i + 1) * kHour - 1);
    EXPECT_EQ(windows[i].expected, 1);
    EXPECT_EQ(windows[i].collected, collected[i]);
  }
}

TEST_F(ComplianceTest, FreedRowsAreGoneAndEveryThreadHasItsOwn) {
  auto selection = FourHours();
  ASSERT_FALSE(Rows(selection).empty());
  std::vector<API_SCRow> rows(1);
  std::thread([&] { EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, 1), 0); }).join();
  EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, 1), 1);
  library_.VLXSREQ_SREQ_COMPLIANCE_FREEDATA();
  EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, 1), 0);
}

TEST_F(ComplianceTest, AnEmptyDatabaseHasNoRows) {
  RunSql(Path(), "DELETE FROM requirement; DELETE FROM measurement;");
  Reopen();
  EXPECT_TRUE(Rows().empty());
}

TEST_F(ComplianceTest, AMalformedFilterIsAFailureThatIsKept) {
  auto selection = FourHours();
  selection.info.AllPart = ftItemList;
  std::vector<std::int32_t> filter{0, 50};
  EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE(0, Db().ConnectionHandle(), selection.info, filter),
            0);
  EXPECT_TRUE(Db().TakeFailure());
}

// The last of them is the commit that ends the reading.
TEST_F(ComplianceTest, AFailureAtAnyStepKeepsNothing) {
  const auto all = Rows().size();
  const auto handle = Db().ConnectionHandle();
  for (int n = 1;; ++n) {
    Opened()->Write([](Connection&) {});  // so that everything is read again
    auto selection = FourHours();
    const auto asked = selection.info;
    auto filter = selection.Filter();
    FailStep(n);
    const auto count = library_.VLXSREQ_SREQ_COMPLIANCE(0, handle, selection.info, filter);
    if (!FailStep(0)) {
      EXPECT_EQ(static_cast<std::size_t>(count), all);
      EXPECT_GT(n, 5);
      break;
    }
    EXPECT_EQ(count, 0) << "step " << n;
    EXPECT_TRUE(Db().TakeFailure()) << "step " << n;
    EXPECT_EQ(std::memcmp(&selection.info, &asked, sizeof asked), 0) << "step " << n;
    std::vector<API_SCRow> rows(1);
    EXPECT_EQ(library_.VLXSREQ_SREQ_COMPLIANCE_GETDATA(rows, 1), 0) << "step " << n;
    EXPECT_TRUE(ComplianceLibrary::TakeReport(handle).empty()) << "step " << n;
  }
}

}  // namespace
}  // namespace orvspc::engine::compliance
