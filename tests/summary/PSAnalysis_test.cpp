// SPDX-License-Identifier: Apache-2.0
// The process-state analysis: what is fetched in which order, and which records the log keeps.
#include "summary/PSAnalysis.h"

#include <gtest/gtest.h>

#include "frame/Friend.h"
#include "platform/TimeStamp.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;

constexpr std::int32_t kStart = 1'600'000'000, kEnd = kStart + 3600;

double At(std::int32_t stamp) { return platform::TimeStampToDate(stamp); }

class PSAnalysisTest : public testing::Test {
 protected:
  PSAnalysisTest() {
    fake::FillRows(fake_.script(), 2, 1);
    fake_.script().events = {API_EventData{}};
    select_->DateRangeTimeType(drttStatic);
    select_->DateRangeStart(At(kStart));
    select_->DateRangeEnd(At(kEnd));
  }

  void Record(std::int32_t stamp, std::int32_t process = 0, std::int32_t state = 1) {
    fake_.script().state_log.push_back({At(stamp), process, state, pst_Run, "running"});
  }
  void Process(std::initializer_list<std::int32_t> ids) {
    const auto descriptor = select_->Descriptors()->Add(dtProcess);
    for (const auto id : ids) descriptor->AddItemID(id);
  }
  std::shared_ptr<PSResults> Analyze() {
    return PSAnalysis().AnalyzeDataSelect(fake_.database, select_,
                                          std::make_shared<PSProcessing>());
  }
  // Times of the log's records as seconds after the start.
  static std::vector<std::int32_t> Times(platform::PrcsStateLog& log) {
    std::vector<std::int32_t> times;
    for (bool found = log.MoveFirst(); found; found = log.MoveNext())
      times.push_back(platform::DateToTimeStamp(log.Time()) - kStart);
    return times;
  }
  static std::string Line(const std::string& name, double value) {
    fake::CallLog log;
    log.External(name, value);
    return log.Lines().at(0);
  }

  fake::FakeScope fake_;
  std::shared_ptr<DataSelect> select_ = std::make_shared<DataSelect>();
};

TEST_F(PSAnalysisTest, SubgroupsThenEventsThenTheTwoReadsOfTheLog) {
  Process({3});
  Record(kStart - 600, 9);
  Record(kStart + 60, 3);
  Analyze();
  const auto lines =
      fake_.log().LinesOf({"VLXDBL_BUILD", "VLXDBL_GETEVENTS", "MakePrcsStateLog", "PrcsStateLog"});
  EXPECT_EQ(lines, (Lines{
                       "VLXDBL_BUILDDATASETDATA(0, 77, DSInfo, [19], 262657)",
                       "VLXDBL_BUILDEVENTDATA(0, 77, DSInfo, [19], [25], 0)",
                       "VLXDBL_GETEVENTS(0, 77, [25], [1 x 148], 1, 262144)",
                       "MakePrcsStateLog()",
                       "PrcsStateLog.RowLimit(10000)",
                       "PrcsStateLog.ProcessID(3)",
                       "PrcsStateLog.KeyMode(1)",
                       "MakePrcsStateLog()",
                       Line("PrcsStateLog.Time", At(kStart)),
                       "PrcsStateLog.QueryType(517)",
                       "PrcsStateLog.Read(database, 0)",
                       Line("PrcsStateLog.Time", At(kStart - 600)),
                       "PrcsStateLog.QueryType(259)",
                       "PrcsStateLog.Read(database, 0)",
                       "MakePrcsStateLog()",
                       "PrcsStateLog.Add()",
                   }));
}

TEST_F(PSAnalysisTest, TheResultHoldsEverything) {
  Record(kStart);
  const auto processing = std::make_shared<PSProcessing>();
  const auto results = PSAnalysis().AnalyzeDataSelect(fake_.database, select_, processing);
  EXPECT_NE(results->Processing(), nullptr);
  EXPECT_NE(results->Processing(), processing);
  EXPECT_NE(results->DataSelect(), select_);
  EXPECT_EQ(results->SubgroupData()->TotalSubgroups(), 2);
  EXPECT_EQ(results->EventData()->Count(), 1);
  ASSERT_NE(results->PrcsStateLog(), nullptr);
  EXPECT_TRUE(results->PrcsStateLog()->MoveFirst());
  EXPECT_EQ(results->PrcsStateLog()->StateName(), "running");
}

TEST_F(PSAnalysisTest, TheEventsAreOfTheSelectionAsTheSubgroupsLeftIt) {
  std::vector<std::int32_t> starts;
  fake_.script().rewrite = [&starts](API_DSInfo& info, std::span<std::int32_t>) {
    starts.push_back(info.TimeStart);
    info.TimeStart += 10;
  };
  Analyze();
  EXPECT_EQ(starts, (std::vector<std::int32_t>{kStart, kStart + 10}));
}

TEST_F(PSAnalysisTest, TheSelectionOfTheHostStaysAsItWas) {
  const std::string before = select_->GetXML();
  fake_.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) {
    info.TimeStart = kStart + 10;
    info.Status = 7;
  };
  const auto results = Analyze();
  EXPECT_EQ(select_->GetXML(), before);
  EXPECT_EQ(results->DataSelect()->DateRangeStart(), At(kStart + 10));
}

TEST_F(PSAnalysisTest, TheLogIsBoundByTheRangeThatTheRetrievalResolved) {
  fake_.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) {
    info.TimeStart = kStart + 100;
    info.TimeEnd = kStart + 200;
  };
  for (const std::int32_t after : {0, 50, 150, 200, 201}) Record(kStart + after);
  // The record of second 50 was in force when the range began.
  EXPECT_EQ(Times(*Analyze()->PrcsStateLog()), (std::vector{50, 150, 200}));
}

TEST_F(PSAnalysisTest, WithoutRecordsTheLogIsNullAndTheRestIsThere) {
  const auto results = Analyze();
  EXPECT_EQ(results->PrcsStateLog(), nullptr);
  EXPECT_NE(results->SubgroupData(), nullptr);
  EXPECT_NE(results->EventData(), nullptr);
}

TEST_F(PSAnalysisTest, RecordsOnlyAfterTheEndGiveAnEmptyList) {
  Record(kEnd + 1);
  const auto log = Analyze()->PrcsStateLog();
  ASSERT_NE(log, nullptr);
  EXPECT_FALSE(log->MoveFirst());
}

TEST_F(PSAnalysisTest, ARecordExactlyAtTheEndIsKeptAndOneASecondLaterIsNot) {
  Record(kStart);
  Record(kEnd);
  Record(kEnd + 1);
  EXPECT_EQ(Times(*Analyze()->PrcsStateLog()), (std::vector{0, 3600}));
}

TEST_F(PSAnalysisTest, WithoutARecordBeforeTheReadBeginsAtTheStart) {
  Record(kStart);
  Record(kStart + 1);
  EXPECT_EQ(Times(*Analyze()->PrcsStateLog()), (std::vector{0, 1}));
}

TEST_F(PSAnalysisTest, TheLatestRecordBeforeMayBeOfAnyProcess) {
  Process({1});
  Record(kStart - 100, 1);
  Record(kStart - 10, 2);
  Record(kStart + 5, 1);
  // The state of process 1 in force at the start is missed.
  EXPECT_EQ(Times(*Analyze()->PrcsStateLog()), (std::vector{5}));
}

TEST_F(PSAnalysisTest, WithoutAProcessTheLogIsThatOfProcessZero) {
  struct Row {
    const char* reason;
    std::vector<std::int32_t> ids;
    FilterTypes filter;
  };
  for (const Row& row : {Row{"no descriptor", {}, ftItemList},
                         {"not limited", {}, ftUnlimited},
                         {"a group", {}, ftGroup}}) {
    select_->Descriptors()->Clear();
    if (row.reason != std::string("no descriptor")) {
      const auto descriptor = select_->Descriptors()->Add(dtProcess);
      descriptor->FilterType(row.filter);
      descriptor->GroupID(4);
    }
    fake_.log().Clear();
    Analyze();
    EXPECT_EQ(fake_.log().Count("PrcsStateLog.ProcessID(0)"), 1) << row.reason;
  }
}

TEST_F(PSAnalysisTest, OfTwoProcessesTheFirstCounts) {
  Process({6, 2});
  Record(kStart, 2);
  Record(kStart + 1, 6);
  EXPECT_EQ(Times(*Analyze()->PrcsStateLog()), std::vector{1});
  EXPECT_EQ(fake_.log().Count("PrcsStateLog.ProcessID(6)"), 1);
}

TEST_F(PSAnalysisTest, MissingAndWrongObjectsFail) {
  const auto processing = std::make_shared<PSProcessing>();
  const auto no_processing =
      fake::FailureOf([&] { PSAnalysis().AnalyzeDataSelect(fake_.database, select_, nullptr); });
  EXPECT_EQ(no_processing.Number(), 91);
  EXPECT_EQ(no_processing.Source(), "PSAnalysis.AnalyzeDataSelect|orvSPCAnalysis6");
  EXPECT_EQ(
      fake::NumberOf([&] { PSAnalysis().AnalyzeDataSelect(fake_.database, nullptr, processing); }),
      91);
  const auto no_database =
      fake::FailureOf([&] { PSAnalysis().AnalyzeDataSelect(select_, select_, processing); });
  EXPECT_EQ(no_database.Number(), 13);
  EXPECT_EQ(no_database.Source(),
            "PSAnalysis.AnalyzeDataSelect|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{});
}

TEST_F(PSAnalysisTest, AFailureOfTheLogKeepsItsOwnSource) {
  fake_.log().FailOn("PrcsStateLog.Read");
  EXPECT_EQ(fake::SourceOf([&] { Analyze(); }),
            "PSAnalysis.AnalyzeDataSelect|PSAnalysis.GetProcessStateLogs|"
            "PSAnalysis.GetPreviousProcessStateTime|Outside.Object");
  fake_.log().FailOn("PrcsStateLog.Read", 2);
  EXPECT_EQ(fake::SourceOf([&] { Analyze(); }),
            "PSAnalysis.AnalyzeDataSelect|PSAnalysis.GetProcessStateLogs|Outside.Object");
}

TEST(PSProcessing, ACloneIsANewObject) {
  const PSProcessing processing;
  const auto clone = processing.Clone();
  ASSERT_NE(clone, nullptr);
  EXPECT_NE(clone.get(), &processing);
}

TEST(PSResults, ANewOneHoldsNothing) {
  const PSResults results;
  EXPECT_EQ(results.Processing(), nullptr);
  EXPECT_EQ(results.DataSelect(), nullptr);
  EXPECT_EQ(results.SubgroupData(), nullptr);
  EXPECT_EQ(results.EventData(), nullptr);
  EXPECT_EQ(results.PrcsStateLog(), nullptr);
}

TEST(PSResults, OnlyAStateLogIsTakenAsOne) {
  fake::FakeScope fake;
  PSResults results;
  const auto log = fake.platform->MakePrcsStateLog();
  results.PrcsStateLog(Friend{}, log);
  EXPECT_EQ(results.PrcsStateLog(), log);
  const auto failure =
      fake::FailureOf([&] { results.PrcsStateLog(Friend{}, std::make_shared<PSProcessing>()); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), "PSResults.PrcsStateLog(s)|orvSPCAnalysis6");
  EXPECT_EQ(results.PrcsStateLog(), log);
  results.PrcsStateLog(Friend{}, nullptr);
  EXPECT_EQ(results.PrcsStateLog(), nullptr);
}

}  // namespace
}  // namespace orvspc
