// SPDX-License-Identifier: Apache-2.0
// GetEventData: the two calls, their arguments, and what becomes of the count.
#include <gtest/gtest.h>

#include <cstdint>

#include "select/DataSelect.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;

class NoDatabase : public platform::Object {};

class GetEventData : public testing::Test {
 protected:
  GetEventData() {
    API_EventData first{}, second{};
    first.Evnt = 5;
    second.Evnt = 8;
    fake_.script().events = {first, second};
  }

  std::shared_ptr<EventData> Get() { return select_.GetEventData(fake_.database); }

  fake::FakeScope fake_;
  DataSelect select_;
};

TEST_F(GetEventData, CallsInOrderWithTheirArguments) {
  Get();
  EXPECT_EQ(fake_.log().Lines(), (Lines{
                                     "Database.ConnectionHandle()",
                                     "VLXDBL_BUILDEVENTDATA(0, 77, DSInfo, [18], [25], 0)",
                                     "Database.ConnectionHandle()",
                                     "VLXDBL_GETEVENTS(0, 77, [25], [2 x 148], 2, 262144)",
                                 }));
}

TEST_F(GetEventData, DeliversTheRows) {
  const auto events = Get();
  ASSERT_EQ(events->Count(), 2);
  EXPECT_EQ(events->Evnt(), 5);
  EXPECT_TRUE(events->MoveNext());
  EXPECT_EQ(events->Evnt(), 8);
}

TEST_F(GetEventData, MaximumItemsBoundsTheEvents) {
  select_.MaximumItems(1);
  EXPECT_EQ(Get()->Count(), 1);
  EXPECT_EQ(fake_.log().Count("VLXDBL_BUILDEVENTDATA(0, 77, DSInfo, [18], [1], 0)"), 1);
}

TEST_F(GetEventData, NothingSelectedIsAnEmptyResultAndNoRowsAreAskedFor) {
  fake_.script().events.clear();
  const auto events = Get();
  EXPECT_EQ(events->Count(), 0);
  EXPECT_EQ(events->CurrentIndex(), 1);
  EXPECT_FALSE(events->MoveFirst());
  EXPECT_EQ(events->Evnt(), 0);
  EXPECT_EQ(events->Name(), "");
  EXPECT_EQ(events->EventTime(), 0.0);
  EXPECT_EQ(fake_.log().Count("VLXDBL_GETEVENTS"), 0);
  EXPECT_EQ(fake_.log().Count("Database.ConnectionHandle"), 1);
}

TEST_F(GetEventData, TheSelectionStaysAsItWas) {
  fake_.script().rewrite = [](API_DSInfo& info, std::span<std::int32_t>) {
    info.TimeStart = 1000;
    info.Status = 1;
    info.SubgroupEnd = 9;
  };
  select_.Descriptors()->Add(dtPart)->AddItemID(3);
  const std::string before = select_.GetXML();
  Get();
  EXPECT_EQ(select_.GetXML(), before);
  API_DSInfo info = {};
  Array<std::int32_t> filter;
  select_.API_GetData(info, filter);
  EXPECT_EQ(info.SubgroupEnd, 0);
}

TEST_F(GetEventData, AMaximumOfZeroFailsBeforeTheDatabaseIsReached) {
  for (const std::string maximum : {"0", "-3"}) {
    select_.SetXML("<DataSelect MaximumItems=\"" + maximum + "\"/>");
    const auto failure = fake::FailureOf([&] { Get(); });
    EXPECT_EQ(failure.Number(), 9);
    EXPECT_EQ(failure.Source(), "DataSelect.GetEventData|orvSPCAnalysis6");
    EXPECT_EQ(fake_.log().Lines(), Lines{});
  }
}

TEST_F(GetEventData, TheSmallestMaximumOverflowsBeforeTheDatabaseIsReached) {
  select_.SetXML("<DataSelect MaximumItems=\"-2147483648\"/>");
  const auto failure = fake::FailureOf([&] { Get(); });
  EXPECT_EQ(failure.Number(), 6);
  EXPECT_EQ(failure.Description(), "Overflow");
  EXPECT_EQ(failure.Source(), "DataSelect.GetEventData|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{});
}

TEST_F(GetEventData, TheSmallestCountOverflows) {
  fake_.script().event_result = INT32_MIN;
  EXPECT_EQ(fake::NumberOf([&] { Get(); }), 6);
  EXPECT_EQ(fake_.log().Count("VLXDBL_GETEVENTS"), 0);
}

TEST_F(GetEventData, ANegativeCountFailsInTheDimensioning) {
  fake_.script().event_result = -1;
  EXPECT_EQ(fake::NumberOf([&] { Get(); }), 9);
  EXPECT_EQ(fake_.log().Count("VLXDBL_GETEVENTS"), 0);
}

TEST_F(GetEventData, ABadSelectionAndABadDatabaseFailBeforeAnyCall) {
  EXPECT_EQ(fake::SourceOf([&] { select_.GetEventData(std::make_shared<NoDatabase>()); }),
            "DataSelect.GetEventData|Support.ResolveDatabase|orvSPCAnalysis6");
  select_.Descriptors()->Add(dtPart);
  const auto failure = fake::FailureOf([&] { Get(); });
  EXPECT_EQ(failure.Description(), "Invalid ItemCount!");
  EXPECT_EQ(failure.Source(),
            "DataSelect.GetEventData|DataSelect.API_GetData|DataSelect.GetDSFilter|"
            "DataSelect.LoadDSFilter|orvSPCAnalysis6");
  EXPECT_EQ(fake_.log().Lines(), Lines{});
}

TEST_F(GetEventData, AFailureOfTheDatabaseKeepsItsOwnSource) {
  fake_.log().FailOn("Database.ConnectionHandle", 2);
  EXPECT_EQ(fake::SourceOf([&] { Get(); }), "DataSelect.GetEventData|Outside.Object");
  EXPECT_EQ(fake_.log().Count("VLXDBL_GETEVENTS"), 0);
}

}  // namespace
}  // namespace orvspc
