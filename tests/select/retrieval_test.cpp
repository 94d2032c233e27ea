// SPDX-License-Identifier: Apache-2.0
// GetSubgroupData: the calls, their order and arguments, and what becomes of the counts.
#include <gtest/gtest.h>

#include "select/DataSelect.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;

class GetSubgroupData : public testing::Test {
 protected:
  GetSubgroupData() { fake::FillRows(fake_.script(), 2, 2); }

  std::shared_ptr<SubgroupData> Get() { return select_.GetSubgroupData(fake_.database); }

  fake::FakeScope fake_;
  DataSelect select_;
};

TEST_F(GetSubgroupData, CallsInOrderWithTheirArguments) {
  Get();
  EXPECT_EQ(fake_.log().Lines(),
            (Lines{
                "VLXDBL_CLEARDATASETDATA()",
                "Database.ConnectionHandle()",
                "VLXDBL_BUILDDATASETDATA(0, 77, DSInfo, [18], 262657)",
                "VLXDBL_READDATA_SA([4 x 64], 1)",
                "VLXDBL_READDATA_SA([4 x 32], 512)",
                "Database.ConnectionHandle()",
                "VLXDBL_GETDESCDATA(0, 77, DSInfo, [18], [2 x 64], [60001 x 36], 1)",
                "VLXDBL_CLEARDATASETDATA()",
                "VLXDBL_DATATOFLTR_SA([2 x 64], 1, [10001], 10000)",
                "Database.ConnectionHandle()",
                "VLXDBL_FINDSGRPCMNT(0, 77, 0, 0, [10001], [10001 x 356], 0)",
            }));
}

TEST_F(GetSubgroupData, DeliversTheRows) {
  API_DescriptorData descriptor{};
  descriptor.Sgrp = 2;
  descriptor.Desc = 8;
  fake_.script().descriptors = {descriptor};
  API_CommentData comment{};
  comment.Sgrp = 1;
  fake_.script().comments = {comment, comment};
  const auto data = Get();
  EXPECT_EQ(data->TotalSubgroups(), 2);
  EXPECT_EQ(data->TotalTests(), 4);
  EXPECT_EQ(data->TotalDescriptors(), 1);
  EXPECT_EQ(data->CommentData()->Count(), 2);
  EXPECT_TRUE(data->MoveNext());
  EXPECT_EQ(data->DescriptorData()->Desc(), 8);
  EXPECT_EQ(data->TestData()->Val(), 12.0);
}

TEST_F(GetSubgroupData, NothingSelectedIsAnEmptyResult) {
  fake_.script().build_result = 0;
  const auto data = Get();
  EXPECT_EQ(data->TotalSubgroups(), 0);
  EXPECT_EQ(data->TotalTests(), 0);
  EXPECT_EQ(data->TotalDescriptors(), 0);
  EXPECT_EQ(
      fake_.log().LinesOf({"VLX"}),
      (Lines{"VLXDBL_CLEARDATASETDATA()", "VLXDBL_BUILDDATASETDATA(0, 77, DSInfo, [18], 262657)",
             "VLXDBL_CLEARDATASETDATA()"}));
  EXPECT_FALSE(select_.IncludeEnabled());  // written back all the same
}

TEST_F(GetSubgroupData, TestsWithoutSubgroupsStay) {
  fake_.script().build_result = 5;
  fake_.script().subgroup_result = 0;
  const auto data = Get();
  EXPECT_EQ(data->TotalSubgroups(), 0);
  EXPECT_EQ(data->TotalTests(), 5);
  EXPECT_EQ(data->TotalDescriptors(), 0);
  EXPECT_EQ(fake_.log().Count("VLXDBL_GETDESCDATA"), 0);
  EXPECT_EQ(fake_.log().Count("VLXDBL_FINDSGRPCMNT"), 0);
  EXPECT_EQ(fake_.log().Count("VLXDBL_CLEARDATASETDATA"), 2);
}

TEST_F(GetSubgroupData, WithoutDescriptorsCommentsAreStillSearched) {
  fake_.script().build_result = 5;
  EXPECT_EQ(Get()->TotalDescriptors(), 0);
  EXPECT_EQ(fake_.log().Count("VLXDBL_FINDSGRPCMNT"), 1);
}

TEST_F(GetSubgroupData, WithoutCommentsTheSliceIsEmpty) {
  EXPECT_EQ(Get()->CommentData()->Count(), 0);
}

TEST_F(GetSubgroupData, TheSubgroupsAreCutToTheirNumber) {
  fake_.script().build_result = 9;
  const auto data = Get();
  EXPECT_EQ(data->TotalSubgroups(), 2);
  EXPECT_EQ(data->TotalTests(), 9);
}

TEST_F(GetSubgroupData, TheHandleIsReadThreeTimes) {
  Get();
  EXPECT_EQ(fake_.log().Count("Database.ConnectionHandle"), 3);
}

TEST_F(GetSubgroupData, TheStartSubgroupIsOneLess) {
  struct Row {
    std::int32_t start;
    const char* argument;
  };
  for (const Row& row : {Row{0, "0"}, {1, "0"}, {10, "9"}, {-5, "0"}}) {
    fake_.log().Clear();
    fake_.script().rewrite = [&](API_DSInfo& info, std::span<std::int32_t>) {
      info.SubgroupStart = row.start;
      info.SubgroupEnd = 21;
    };
    Get();
    EXPECT_EQ(fake_.log().LinesOf({"VLXDBL_FINDSGRPCMNT"}).at(0),
              std::string("VLXDBL_FINDSGRPCMNT(0, 77, ") + row.argument +
                  ", 21, [10001], [10001 x 356], 0)");
  }
}

TEST_F(GetSubgroupData, ABadDescriptorFailsBeforeAnyCall) {
  select_.Descriptors()->Add(dtPart);
  const auto failure = fake::FailureOf([&] { Get(); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "Invalid ItemCount!");
  EXPECT_EQ(failure.Source(),
            "DataSelect.GetSubgroupData|DataSelect.API_GetData|DataSelect.GetDSFilter|"
            "DataSelect.LoadDSFilter|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{});
}

TEST_F(GetSubgroupData, ABadDatabaseFailsFirst) {
  select_.Descriptors()->Add(dtPart);
  EXPECT_EQ(fake::SourceOf([&] { select_.GetSubgroupData(nullptr); }),
            "DataSelect.GetSubgroupData|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(
      fake::NumberOf([&] { select_.GetSubgroupData(std::make_shared<DataSelectDescriptor>()); }),
      13);
}

TEST_F(GetSubgroupData, AnUnchangedRecordTurnsAllStatesOff) {
  Get();
  EXPECT_FALSE(select_.IncludeEnabled());
  EXPECT_FALSE(select_.IncludeIncomplete());
  EXPECT_FALSE(select_.IncludeDisabled());
  EXPECT_TRUE(select_.IncludeVariableTests());
  EXPECT_EQ(select_.MaximumItems(), 25);
}

TEST_F(GetSubgroupData, TheSelectionIsWhatTheLibraryMadeOfIt) {
  select_.Descriptors()->Add(dtPart)->AddItemID(7);
  const auto held = select_.Descriptors();
  fake_.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t> filter) {
    info.Status = 7;
    info.TimeStart = 86400;
    info.TimeEnd = 172800;
    info.Count = 3;
    info.Type = 5;
    filter[2] = 70;
  };
  Get();
  EXPECT_TRUE(select_.IncludeEnabled());
  EXPECT_EQ(select_.DateRangeStart(), 25570.0);
  EXPECT_EQ(select_.DateRangeEnd(), 25571.0);
  EXPECT_EQ(select_.MaximumItems(), 3);
  EXPECT_EQ(select_.Descriptors(), held);
  EXPECT_EQ(held->Count(), 1);
  EXPECT_EQ(held->Item(0)->ItemID(1), 70);
}

TEST_F(GetSubgroupData, NegativeCountsFailInTheDimensioning) {
  struct Row {
    std::optional<std::int32_t> fake::Script::*count;
    const char* source;
  };
  for (const Row& row :
       {Row{&fake::Script::build_result, "DataSelect.GetSubgroupData|orvSPCAnalysis6"},
        {&fake::Script::subgroup_result, "DataSelect.GetSubgroupData|orvSPCAnalysis6"},
        {&fake::Script::descriptor_result, "DataSelect.GetSubgroupData|orvSPCAnalysis6"},
        {&fake::Script::comment_result,
         "DataSelect.GetSubgroupData|DataSelect.GetEventData|orvSPCAnalysis6"}}) {
    fake_.script().*row.count = -1;
    const auto failure = fake::FailureOf([&] { Get(); });
    EXPECT_EQ(failure.Number(), 9);
    EXPECT_EQ(failure.Source(), row.source);
    fake_.script().*row.count = std::nullopt;
  }
}

TEST_F(GetSubgroupData, AFailureOfTheDatabaseKeepsItsSourceAndTheNextCallClearsFirst) {
  struct Row {
    int nth;
    const char* source;
  };
  for (const Row& row :
       {Row{1, "DataSelect.GetSubgroupData|Outside.Object"},
        {2, "DataSelect.GetSubgroupData|Outside.Object"},
        {3, "DataSelect.GetSubgroupData|DataSelect.GetEventData|Outside.Object"}}) {
    fake_.log().FailOn("Database.ConnectionHandle", row.nth);
    const auto failure = fake::FailureOf([&] { Get(); });
    EXPECT_EQ(failure.Number(), -2147217900);
    EXPECT_EQ(failure.Source(), row.source);
    EXPECT_TRUE(select_.IncludeEnabled());  // nothing was written back
    fake_.log().Clear();
    EXPECT_EQ(select_.Clone()->GetSubgroupData(fake_.database)->TotalSubgroups(), 2);
    EXPECT_EQ(fake_.log().Lines().at(0), "VLXDBL_CLEARDATASETDATA()");
  }
}

TEST_F(GetSubgroupData, TheResultOutlivesTheSelection) {
  auto select = std::make_shared<DataSelect>();
  const auto data = select->GetSubgroupData(fake_.database);
  select.reset();
  EXPECT_EQ(data->TotalSubgroups(), 2);
}

TEST_F(GetSubgroupData, WithoutAPlatformTheFailureSaysSo) {
  const platform::Scope none(nullptr);
  EXPECT_EQ(fake::DescriptionOf([&] { Get(); }), "No platform is installed");
}

}  // namespace
}  // namespace orvspc
