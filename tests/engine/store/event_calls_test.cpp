// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <numeric>

#include "engine/store/DatabaseLibrary.h"
#include "engine/time/calendar.h"
#include "platform/FixedText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::store {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace import;

namespace {

constexpr std::int32_t kDay = 86400;

class EventCalls : public StoreTest {
 protected:
  // Three events of day 100, 101 and 102; the second is open.
  void SetUp() override {
    Import("part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\nB,Q,U,1,2024-01-02,6\n");
    db_.reset();
    RunSql(Path(),
           "INSERT INTO employee(id, name) VALUES(8, 'Eve'), (9, 'Max');"
           "INSERT INTO event_name(id, name) VALUES(1, 'Stop'), (2, 'Alarm');"
           "INSERT INTO acc_code(id, name) VALUES(5, 'Tool broken');"
           "INSERT INTO cac_code(id, name) VALUES(6, 'Tool changed');"
           "INSERT INTO event(id, type, name, time, finish, process, part, test, subgroup_time, "
           "employee, acc, acc_employee, acc_time, cac, cac_employee, cac_time, flag) VALUES"
           "(11, 1, 2, 8640000, 8640060, 1, 1, 1, 8639990, 8, 5, 9, 8640010, 6, 8, 8640020, 0),"
           "(12, 7, 1, 8726400, NULL, 2, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, "
           "NULL, 3),"
           "(13, 2, NULL, 8812800, NULL, 1, 2, NULL, NULL, 9, NULL, NULL, NULL, NULL, NULL, NULL, "
           "1);");
  }
  std::vector<std::int32_t> Build(FlatSelection& selection, std::size_t room = 10) {
    std::vector<std::int32_t> events(room);
    auto filter = selection.Filter();
    const auto count = library_.VLXDBL_BUILDEVENTDATA(0, Db().ConnectionHandle(), selection.info,
                                                      filter, events, 0);
    EXPECT_FALSE(Db().TakeFailure());
    events.resize(static_cast<std::size_t>(count));
    return events;
  }
  std::int32_t Get(std::vector<std::int32_t> events, std::vector<API_EventData>& rows,
                   std::int32_t code = platform::DBLib6::kEvents) {
    const platform::ArrayRef array{rows.data(), sizeof(API_EventData), rows.size(), {}};
    return library_.VLXDBL_GETEVENTS(0, Db().ConnectionHandle(), events, array,
                                     static_cast<std::int32_t>(events.size()), code);
  }

  DatabaseLibrary library_;
};

using Ids = std::vector<std::int32_t>;

TEST_F(EventCalls, OldestFirst) {
  FlatSelection all;
  EXPECT_EQ(Build(all), (Ids{11, 12, 13}));
}

TEST_F(EventCalls, CountKeepsTheNewest) {
  FlatSelection all;
  all.info.Count = 2;
  EXPECT_EQ(Build(all), (Ids{12, 13}));
}

TEST_F(EventCalls, WhatDoesNotFitIsCutWithANote) {
  TakeNotes();
  FlatSelection all;
  EXPECT_EQ(Build(all, 1), (Ids{13}));
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "events-cut");
}

TEST_F(EventCalls, AFilterAsksTheEventItself) {
  struct {
    FlatSelection::Block block;
    std::int32_t id;
    Ids expected;
  } const rows[] = {{FlatSelection::kPart, 1, {11}},
                    {FlatSelection::kProcess, 1, {11, 13}},
                    {FlatSelection::kTest, 1, {11}},
                    {FlatSelection::kEmployee, 9, {13}}};
  for (const auto& row : rows) {
    FlatSelection selection;
    selection.List(row.block, {row.id});
    EXPECT_EQ(Build(selection), row.expected) << row.block;
  }
}

TEST_F(EventCalls, MostRecentCountsFromTheNewestMatchingEvent) {
  FlatSelection selection;
  selection.info.TimeType = drttMostRecent;
  selection.info.TimePeriod = drpDay;
  selection.info.TimeCount = 1;
  EXPECT_EQ(Build(selection), (Ids{12, 13})) << "both ends belong to the range";
  EXPECT_EQ(selection.info.TimeStart, 101 * kDay);
  EXPECT_EQ(selection.info.TimeEnd, 102 * kDay);
  EXPECT_EQ(selection.info.Status, 7);
}

TEST_F(EventCalls, WithNoEventTheRangeEndsNow) {
  const FixedNow now(500 * kDay);
  FlatSelection selection;
  selection.List(FlatSelection::kPart, {77});
  selection.info.TimePeriod = drpDay;
  selection.info.TimeCount = 2;
  EXPECT_TRUE(Build(selection).empty());
  EXPECT_EQ(selection.info.TimeStart, 498 * kDay);
  EXPECT_EQ(selection.info.TimeEnd, 500 * kDay);
}

TEST_F(EventCalls, ARowHasEveryField) {
  std::vector<API_EventData> rows(2);
  ASSERT_EQ(Get({11, 12}, rows), 2);
  const auto& first = rows[0];
  EXPECT_EQ(platform::ToUtf8(platform::TrimFixedText({first.F_NAME, std::size(first.F_NAME)})),
            "Alarm");
  const std::int32_t words[] = {first.Evnt,   first.F_TYPE, first.F_EMPL,  first.F_EVTM,
                                first.F_PRCS, first.F_PART, first.F_TEST_, first.F_SGTM,
                                first.F_ACC,  first.F_ACEM, first.F_ACTM,  first.F_CAC,
                                first.F_CAEM, first.F_CATM, first.F_FLAG};
  const std::int32_t expected[] = {11, 1, 8,       8640000, 1, 1,       1, 8639990,
                                   5,  9, 8640010, 6,       8, 8640020, 0};
  for (std::size_t i = 0; i < std::size(words); ++i) EXPECT_EQ(words[i], expected[i]) << i;
  EXPECT_EQ(rows[1].F_TYPE, etDonwtime);
  EXPECT_EQ(rows[1].F_FLAG, efOpenACC | efOpenCAC);
  EXPECT_EQ(rows[1].F_ACTM, 0);
  EXPECT_EQ(rows[1].F_SGTM, 0);
}

TEST_F(EventCalls, AnUnknownCodeIsRefusedAndWritesNothing) {
  std::vector<API_EventData> rows(1);
  EXPECT_EQ(Get({11}, rows, 1), 0);
  EXPECT_EQ(rows[0].Evnt, 0);
  ASSERT_TRUE(Db().TakeFailure());
}

TEST_F(EventCalls, MoreEventsThanRowsAreRefused) {
  std::vector<API_EventData> rows(1);
  EXPECT_EQ(Get({11, 12}, rows), 0);
  EXPECT_TRUE(Db().TakeFailure());
}

TEST_F(EventCalls, AMalformedFilterIsAFailureThatIsKept) {
  FlatSelection all;
  all.info.AllPart = ftItemList;
  std::vector<std::int32_t> filter{0, 50}, events(3);
  EXPECT_EQ(library_.VLXDBL_BUILDEVENTDATA(0, Db().ConnectionHandle(), all.info, filter, events, 0),
            0);
  EXPECT_TRUE(Db().TakeFailure());
}

TEST_F(EventCalls, AClosedDatabaseHasNone) {
  FlatSelection all;
  std::vector<std::int32_t> events(3);
  auto filter = all.Filter();
  EXPECT_EQ(library_.VLXDBL_BUILDEVENTDATA(0, 999999, all.info, filter, events, 0), 0);
}

}  // namespace
}  // namespace orvspc::engine::store
