// SPDX-License-Identifier: Apache-2.0
// The analysis of sampling compliance: the calls of the library and the names of its rows.
#include "summary/SCAnalysis.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "frame/Friend.h"
#include "platform/TimeStamp.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

// In front of the one of the C library: what no memory of a test holds is not there, whatever the
// system would promise.
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  return size != 0 && count > kMost / size ? nullptr : __real_calloc(count, size);
}

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;
using platform::NameRecordKind;

class SCAnalysisTest : public testing::Test {
 protected:
  SCAnalysisTest() {
    fake_.script().names = {{{NameRecordKind::Part, 1}, "Ring"},
                            {{NameRecordKind::Process, 2}, "Press"},
                            {{NameRecordKind::Test, 3}, "Bore"},
                            {{NameRecordKind::SmplReq, 4}, "hourly"},
                            {{NameRecordKind::State, 5}, "running"}};
  }

  static API_SCRow Row(std::int32_t part, std::int32_t process = 0, std::int32_t test = 0,
                       std::int32_t requirement = 0, std::int32_t state = 0) {
    API_SCRow row{};
    row.PartID = part;
    row.ProcessID = process;
    row.TestID = test;
    row.SmplReqID = requirement;
    row.StateID = state;
    return row;
  }
  void Rows(std::int32_t count, const API_SCRow& row) {
    fake_.script().compliance_rows.assign(static_cast<std::size_t>(count), row);
  }
  std::shared_ptr<SCResults> Analyze() {
    return SCAnalysis().AnalyzeDataSelect(fake_.database, select_);
  }

  fake::FakeScope fake_;
  std::shared_ptr<DataSelect> select_ = std::make_shared<DataSelect>();
};

TEST_F(SCAnalysisTest, ComputesCopiesReleasesThenResolvesTheNames) {
  Rows(1, Row(1, 2, 3, 4, 5));
  const auto results = Analyze();
  EXPECT_EQ(fake_.log().LinesOf({"Database", "VLX", "MakeNameRecord", "NameRecord.ID"}),
            (Lines{
                "Database.ConnectionHandle()",
                "VLXSREQ_SREQ_COMPLIANCE(0, 77, DSInfo, [18])",
                "VLXSREQ_SREQ_COMPLIANCE_GETDATA(1, 1)",
                "VLXSREQ_SREQ_COMPLIANCE_FREEDATA()",
                // The five lists, then for each name the record that is read.
                "MakeNameRecord(0)",
                "MakeNameRecord(1)",
                "MakeNameRecord(2)",
                "MakeNameRecord(3)",
                "MakeNameRecord(4)",
                "MakeNameRecord(0)",
                "NameRecord.ID(1)",
                "MakeNameRecord(1)",
                "NameRecord.ID(2)",
                "MakeNameRecord(2)",
                "NameRecord.ID(3)",
                "MakeNameRecord(3)",
                "NameRecord.ID(4)",
                "MakeNameRecord(4)",
                "NameRecord.ID(5)",
            }));
  EXPECT_EQ(results->Part(), "Ring");
  EXPECT_EQ(results->Process(), "Press");
  EXPECT_EQ(results->Test(), "Bore");
  EXPECT_EQ(results->SmplReq(), "hourly");
  EXPECT_EQ(results->State(), "running");
}

TEST_F(SCAnalysisTest, NothingFoundIsAResultWithoutRowsAndNothingIsReleased) {
  for (const std::int32_t count : {0, -1}) {
    fake_.script().compliance_result = count;
    fake_.log().Clear();
    const auto results = Analyze();
    ASSERT_NE(results, nullptr);
    EXPECT_NE(results->DataSelect(), nullptr);
    EXPECT_EQ(results->Count(), 0);
    EXPECT_EQ(fake_.log().LinesOf({"VLX"}), Lines{"VLXSREQ_SREQ_COMPLIANCE(0, 77, DSInfo, [18])"});
  }
}

TEST_F(SCAnalysisTest, RowsThatTheLibraryAnnouncesAndDoesNotGiveAreEmpty) {
  Rows(2, Row(1, 2, 3, 4, 5));
  fake_.script().compliance_result = 5;
  const auto results = Analyze();
  EXPECT_EQ(fake_.log().LinesOf({"VLX"}),
            (Lines{"VLXSREQ_SREQ_COMPLIANCE(0, 77, DSInfo, [18])",
                   "VLXSREQ_SREQ_COMPLIANCE_GETDATA(5, 5)", "VLXSREQ_SREQ_COMPLIANCE_FREEDATA()"}));
  ASSERT_EQ(results->Count(), 5);
  for (std::int32_t row = 1; row <= 5; ++row) {
    ASSERT_TRUE(results->MoveTo(row));
    EXPECT_EQ(results->Part(), row <= 2 ? "Ring" : "") << row;
  }
}

// Without room for them nothing is taken, so nothing is released either: the library keeps them
// until it computes the next ones.
TEST_F(SCAnalysisTest, MoreRowsThanFitIntoMemoryFailAndStayInTheLibrary) {
  const Lines computed{"VLXSREQ_SREQ_COMPLIANCE(0, 77, DSInfo, [18])"};
  Rows(1, Row(1));
  for (const std::int32_t count : {INT32_MAX, INT32_MAX / 2}) {
    fake_.script().compliance_result = count;
    fake_.log().Clear();
    const auto failure = fake::FailureOf([&] { Analyze(); });
    EXPECT_EQ(failure.Number(), 7) << count;
    EXPECT_EQ(failure.Source(),
              "SCAnalysis.AnalyzeDataSelect|SCAnalysis.AnalyzeDS|orvSPCAnalysis6");
    EXPECT_EQ(fake_.log().LinesOf({"VLX", "MakeNameRecord"}), computed);
  }
  fake_.script().compliance_result.reset();
  fake_.log().Clear();
  EXPECT_EQ(Analyze()->Count(), 1);
  EXPECT_EQ(fake_.log().Count("VLXSREQ_SREQ_COMPLIANCE_FREEDATA"), 1);
}

TEST_F(SCAnalysisTest, IdentifierZeroHasNoNameAndCausesNoRead) {
  Rows(1, Row(0));
  EXPECT_EQ(Analyze()->Part(), "");
  EXPECT_EQ(fake_.log().Count("NameRecord.Read"), 0);
}

TEST_F(SCAnalysisTest, TenRowsWithTheSameKnownTestCauseOneRead) {
  Rows(10, Row(0, 0, 3));
  const auto results = Analyze();
  EXPECT_EQ(fake_.log().Count("NameRecord.Read"), 1);
  EXPECT_EQ(fake_.log().Count("NameRecord.Add"), 1);
  for (bool found = results->MoveFirst(); found; found = results->MoveNext())
    EXPECT_EQ(results->Test(), "Bore") << results->CurrentIndex();
  EXPECT_EQ(results->CurrentIndex(), 10);
}

TEST_F(SCAnalysisTest, TenRowsWithTheSameUnknownTestCauseTenReads) {
  Rows(10, Row(0, 0, 99));
  const auto results = Analyze();
  EXPECT_EQ(fake_.log().Count("NameRecord.Read"), 10);
  EXPECT_EQ(fake_.log().Count("NameRecord.Add"), 0);
  for (bool found = results->MoveFirst(); found; found = results->MoveNext())
    EXPECT_EQ(results->Test(), "");
}

TEST_F(SCAnalysisTest, AnUnknownIdentifierDoesNotTakeTheNameBeforeIt) {
  fake_.script().compliance_rows = {Row(1), Row(9), Row(1)};
  const auto results = Analyze();
  EXPECT_EQ(results->Part(), "Ring");
  results->MoveNext();
  EXPECT_EQ(results->Part(), "");
  results->MoveNext();
  EXPECT_EQ(results->Part(), "Ring");
}

TEST_F(SCAnalysisTest, AnItemKeepsItsNameForTheRunAndTheNextRunStartsEmpty) {
  fake_.script().names[{NameRecordKind::Part, 7}] = "Disc";
  fake_.script().compliance_rows = {Row(1), Row(7), Row(1), Row(7)};
  Analyze();
  EXPECT_EQ(fake_.log().Count("NameRecord.Read"), 2);
  fake_.script().names[{NameRecordKind::Part, 1}] = "Ring B";
  EXPECT_EQ(Analyze()->Part(), "Ring B");
  EXPECT_EQ(fake_.log().Count("NameRecord.Read"), 4);
}

TEST_F(SCAnalysisTest, RowsStayInTheOrderOfTheLibrary) {
  fake_.script().compliance_rows = {Row(7), Row(1), Row(5)};
  fake_.script().compliance_rows[1].SamplesExpected = 12;
  const auto results = Analyze();
  ASSERT_EQ(results->Count(), 3);
  EXPECT_EQ(results->CurrentIndex(), 1);
  EXPECT_TRUE(results->MoveTo(2));
  EXPECT_EQ(results->SamplesExpected(), 12);
  EXPECT_EQ(results->Part(), "Ring");
}

TEST_F(SCAnalysisTest, WhatTheLibraryWritesShowsInTheSelectionOfTheResultAlone) {
  fake_.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) {
    info.TimeStart = 1'600'000'000;
    info.Status = 7;
  };
  const std::string before = select_->GetXML();
  const auto results = Analyze();  // without rows, too
  EXPECT_EQ(results->DataSelect()->DateRangeStart(), platform::TimeStampToDate(1'600'000'000));
  EXPECT_TRUE(results->DataSelect()->IncludeEnabled());
  EXPECT_EQ(select_->GetXML(), before);
}

TEST_F(SCAnalysisTest, AnUnchangedRecordTakesTheThreeStatesAway) {
  EXPECT_FALSE(Analyze()->DataSelect()->IncludeEnabled());
}

TEST_F(SCAnalysisTest, MissingAndWrongObjectsFail) {
  const auto no_select =
      fake::FailureOf([&] { SCAnalysis().AnalyzeDataSelect(fake_.database, nullptr); });
  EXPECT_EQ(no_select.Number(), 91);
  EXPECT_EQ(no_select.Source(), "SCAnalysis.AnalyzeDataSelect|orvSPCAnalysis6");
  EXPECT_EQ(fake::SourceOf([&] { SCAnalysis().AnalyzeDataSelect(nullptr, select_); }),
            "SCAnalysis.AnalyzeDataSelect|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{});
}

TEST_F(SCAnalysisTest, AFailureOfARecordBelongsToTheTrailOfTheNames) {
  Rows(1, Row(1));
  fake_.log().FailOn("NameRecord.Read");
  EXPECT_EQ(fake::SourceOf([&] { Analyze(); }),
            "SCAnalysis.AnalyzeDataSelect|SCAnalysis.AnalyzeDS|SCAnalysis.ResolveResultsEx|"
            "Outside.Object");
  // The rows of the library were released before.
  EXPECT_EQ(fake_.log().Count("VLXSREQ_SREQ_COMPLIANCE_FREEDATA"), 1);
}

TEST_F(SCAnalysisTest, AFilterWithoutCellsFailsBeforeTheLibraryIsEntered) {
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  SCResults results;
  const auto failure = fake::FailureOf(
      [&] { SCAnalysis::AnalyzeDS(Friend{}, fake_.database, info, filter, results); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "SCAnalysis.AnalyzeDS|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{"Database.ConnectionHandle()"});
}

TEST_F(SCAnalysisTest, NothingFoundEmptiesTheResults) {
  Rows(2, Row(1));
  const auto results = Analyze();
  fake_.script().compliance_rows.clear();
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  select_->API_GetData(info, filter);
  EXPECT_TRUE(SCAnalysis::AnalyzeDS(Friend{}, fake_.database, info, filter, *results));
  EXPECT_EQ(results->Count(), 0);
}

TEST_F(SCAnalysisTest, AnAnalysisThatWasNotDoneGivesNothing) {
  const auto results = Analyze();
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  select_->API_GetData(info, filter);
  info.TimeStart = 1'600'000'000;
  const std::string before = results->DataSelect()->GetXML();
  EXPECT_EQ(SCAnalysis::Finish(Friend{}, false, results, info, filter), nullptr);
  EXPECT_EQ(results->DataSelect()->GetXML(), before);
  EXPECT_EQ(SCAnalysis::Finish(Friend{}, true, results, info, filter), results);
  EXPECT_EQ(results->DataSelect()->DateRangeStart(), platform::TimeStampToDate(1'600'000'000));
}

}  // namespace
}  // namespace orvspc
