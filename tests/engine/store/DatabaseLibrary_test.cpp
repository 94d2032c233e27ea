// SPDX-License-Identifier: Apache-2.0
#include "engine/store/DatabaseLibrary.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <thread>

#include "engine/store/Store.h"
#include "engine/time/calendar.h"
#include "platform/FixedText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::store {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace import;

namespace {

constexpr std::int32_t kBoth = platform::DBLib6::kSubgroupsAndTests;

template <class Row>
platform::ArrayRef RefTo(std::vector<Row>& rows) {
  return {rows.data(), sizeof(Row), rows.size(), {}};
}

class DatabaseLibraryTest : public StoreTest {
 protected:
  DatabaseLibraryTest() { TakeNotes(); }
  ~DatabaseLibraryTest() override { library_.VLXDBL_CLEARDATASETDATA(); }

  std::int32_t Build(FlatSelection& selection) {
    auto filter = selection.Filter();
    return library_.VLXDBL_BUILDDATASETDATA(0, Db().ConnectionHandle(), selection.info, filter,
                                            kBoth);
  }
  std::string Failure() {
    const auto failure = Db().TakeFailure();
    return failure ? failure->description : "";
  }
  // Two parts, one with two tests, three days.
  void ImportSmall() {
    Import(
        "part,process,test,subgroup,time,value,comment,descriptor:Cavity,employee\n"
        "A,P,T,1,2024-01-01,5,,C1,\nA,P,T,1,2024-01-01,6,late,C2,E\n"
        "A,P,U,1,2024-01-01,7,,,\nB,P,T,2,2024-01-02,8,,C1,\nA,P,T,3,2024-01-03,9,x,,\n");
  }

  DatabaseLibrary library_;
};

TEST_F(DatabaseLibraryTest, BuildAndReadGiveTheRowsOldestFirst) {
  ImportSmall();
  FlatSelection all;
  ASSERT_EQ(Build(all), 5);
  std::vector<API_SubgroupData> subgroups(5);
  std::vector<API_TestData> tests(5);
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(subgroups), platform::DBLib6::kSubgroups), 4);
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(tests), platform::DBLib6::kTests), 5);
  const std::int32_t times[] = {1704067200, 1704067200, 1704153600, 1704240000};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(subgroups[i].Sgtm, times[i]);
  EXPECT_EQ(subgroups[0].Test_Start, 0);
  EXPECT_EQ(subgroups[0].Test_End, 1);
  EXPECT_EQ(subgroups[3].Test_End, 4);
  EXPECT_EQ(tests[1].Val, 6.0);
  EXPECT_EQ(tests[1].Tsno, 2);
  // Every other code, and rows of another width, give nothing.
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(tests), 2), 0);
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(tests), platform::DBLib6::kSubgroups), 0);
  EXPECT_NE(Failure(), "");
  library_.VLXDBL_CLEARDATASETDATA();
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(tests), platform::DBLib6::kTests), 0);
}

TEST_F(DatabaseLibraryTest, AShortArrayIsNotWrittenPast) {
  ImportSmall();
  FlatSelection all;
  ASSERT_EQ(Build(all), 5);
  std::vector<API_TestData> four(4);
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(four), platform::DBLib6::kTests), 0);
  EXPECT_NE(Failure().find("too short"), std::string::npos);
}

TEST_F(DatabaseLibraryTest, TheDataSetBelongsToTheThread) {
  ImportSmall();
  FlatSelection all;
  ASSERT_EQ(Build(all), 5);
  std::vector<API_TestData> tests(5);
  std::int32_t elsewhere = -1;
  std::thread([&] {
    elsewhere = library_.VLXDBL_READDATA_SA(RefTo(tests), platform::DBLib6::kTests);
    library_.VLXDBL_CLEARDATASETDATA();
  }).join();
  EXPECT_EQ(elsewhere, 0);
  EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(tests), platform::DBLib6::kTests), 5);
}

TEST_F(DatabaseLibraryTest, ManyThreadsMaySelectAtOnce) {
  ImportSmall();
  std::vector<std::thread> threads;
  std::atomic<int> right = 0;
  const auto handle = Db().ConnectionHandle();
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        FlatSelection all;
        auto filter = all.Filter();
        if (library_.VLXDBL_BUILDDATASETDATA(0, handle, all.info, filter, kBoth) == 5) ++right;
      }
      library_.VLXDBL_CLEARDATASETDATA();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(right, 200);
}

TEST_F(DatabaseLibraryTest, AClosedHandleGivesNothingAndANote) {
  FlatSelection all;
  auto filter = all.Filter();
  EXPECT_EQ(library_.VLXDBL_BUILDDATASETDATA(0, 123456, all.info, filter, kBoth), 0);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "database-closed");
}

TEST_F(DatabaseLibraryTest, EveryTruncatedFilterIsRefused) {
  ImportSmall();
  FlatSelection selection;
  selection.List(FlatSelection::kPart, {1, 2}).Group(FlatSelection::kLot, 5, 3).Other({1, 2});
  const auto whole = selection.Filter();
  for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
    auto filter = whole;
    filter.resize(length);
    auto info = selection.info;
    EXPECT_EQ(library_.VLXDBL_BUILDDATASETDATA(0, Db().ConnectionHandle(), info, filter, kBoth), 0);
    EXPECT_NE(Failure(), "") << length << " cells";
    EXPECT_EQ(std::memcmp(&info, &selection.info, sizeof info), 0) << length << " cells";
  }
  auto filter = whole;
  filter.resize(whole.size() - 1);  // the last cell is a spare that nobody reads
  library_.VLXDBL_BUILDDATASETDATA(0, Db().ConnectionHandle(), selection.info, filter, kBoth);
  EXPECT_EQ(Failure(), "");
}

TEST_F(DatabaseLibraryTest, AContentMaskThatAsksForNothingKnownIsRefused) {
  ImportSmall();
  struct Row {
    std::int32_t mask, rows;
  };
  for (const auto& row : {Row{1, 5}, Row{512, 5}, Row{0x40000, 5}, Row{513, 5}, Row{kBoth, 5},
                          Row{0, 0}, Row{2, 0}, Row{kBoth | 4, 0}, Row{-1, 0}}) {
    FlatSelection all;
    auto filter = all.Filter();
    EXPECT_EQ(
        library_.VLXDBL_BUILDDATASETDATA(0, Db().ConnectionHandle(), all.info, filter, row.mask),
        row.rows)
        << row.mask;
    EXPECT_EQ(Failure().find("content mask") != std::string::npos, row.rows == 0) << row.mask;
    std::vector<API_SubgroupData> subgroups(4);
    EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(subgroups), 1), row.rows == 0 ? 0 : 4) << row.mask;
  }
}

TEST_F(DatabaseLibraryTest, MalformedBlocksAreRefused) {
  ImportSmall();
  const std::vector<std::int32_t> zeros(40, 0);
  struct Row {
    const char* why;
    std::int32_t type;
    std::int32_t count;
  };
  for (const auto& row :
       {Row{"count below 0", ftItemList, -1}, Row{"count too large", ftItemList, 39},
        Row{"largest count", ftGroup, INT32_MAX}, Row{"filter type", 3, 0}}) {
    FlatSelection selection;
    selection.info.AllPart = row.type;
    auto filter = zeros;
    filter[1] = row.count;
    EXPECT_EQ(
        library_.VLXDBL_BUILDDATASETDATA(0, Db().ConnectionHandle(), selection.info, filter, kBoth),
        0)
        << row.why;
    EXPECT_NE(Failure(), "") << row.why;
  }
}

TEST_F(DatabaseLibraryTest, TheResolvedRangeAndStatesAreWrittenBack) {
  ImportSmall();
  const FixedNow now(1704300000);  // 2024-01-03T16:40:00
  struct Row {
    const char* why;
    std::int32_t type, period, count, start, end, rows;
  };
  const Row rows[] = {
      {"most recent", drttMostRecent, drpDay, 1, 1704153600, 1704240000, 2},
      {"years", drttMostRecent, drpYear, 25, 915321600, 1704240000, 5},
      {"no count", drttMostRecent, drpDay, 0, INT32_MIN, 1704240000, 5},
      {"no such period", drttMostRecent, 5, 3, INT32_MIN, 1704240000, 5},
      {"current day", drttCurrent, drpDay, 1, 1704240000, 1704300000, 1},
      {"two days", drttCurrent, drpDay, 2, 1704153600, 1704300000, 2},
      {"current month", drttCurrent, drpMonth, 1, 1704067200, 1704300000, 5},
      {"day before", drttPrevious, drpDay, 1, 1704153600, 1704239999, 1},
      {"year before", drttPrevious, drpYear, 1, 1672531200, 1704067199, 0},
  };
  for (const auto& row : rows) {
    FlatSelection selection;
    selection.info.TimeType = row.type;
    selection.info.TimePeriod = row.period;
    selection.info.TimeCount = row.count;
    auto expected = selection.info;
    expected.TimeStart = row.start;
    expected.TimeEnd = row.end;
    expected.Status = 7;
    EXPECT_EQ(Build(selection), row.rows) << row.why;
    EXPECT_EQ(std::memcmp(&selection.info, &expected, sizeof expected), 0)
        << row.why << ": " << selection.info.TimeStart << ".." << selection.info.TimeEnd;
  }
}

TEST_F(DatabaseLibraryTest, NothingSelectedWritesTheRangeBackToo) {
  ImportSmall();
  const FixedNow now(1704300000);
  FlatSelection selection;
  selection.List(FlatSelection::kPart, {99});
  selection.info.TimeCount = 2;
  selection.info.TimePeriod = drpDay;
  selection.info.Status = 1;
  EXPECT_EQ(Build(selection), 0);
  EXPECT_EQ(Failure(), "");
  EXPECT_EQ(selection.info.TimeEnd, 1704300000);
  EXPECT_EQ(selection.info.TimeStart, 1704300000 - 2 * 86400);
  EXPECT_EQ(selection.info.Status, 1);
}

TEST_F(DatabaseLibraryTest, AStaticRangeStaysAsItIs) {
  ImportSmall();
  FlatSelection selection;
  selection.info.TimeType = drttStatic;
  selection.info.TimeStart = selection.info.TimeEnd = INT32_MIN;  // not given
  EXPECT_EQ(Build(selection), 5);
  EXPECT_EQ(selection.info.TimeStart, INT32_MIN);
  EXPECT_EQ(selection.info.TimeEnd, INT32_MIN);
  selection.info.TimeStart = selection.info.TimeEnd = 1704153600;
  EXPECT_EQ(Build(selection), 1);
}

TEST_F(DatabaseLibraryTest, PeriodsAreThoseOfTheTimeZone) {
  ImportSmall();
  const FixedNow now(1704300000);
  Data().Set("time_zone", "-01:00");  // midnight in UTC is still the day before
  FlatSelection selection;
  selection.info.TimeType = drttPrevious;
  selection.info.TimePeriod = drpDay;
  selection.info.TimeCount = 1;
  EXPECT_EQ(Build(selection), 1);
  EXPECT_EQ(selection.info.TimeStart, 1704157200);
  EXPECT_EQ(selection.info.TimeEnd, 1704243599);
}

TEST_F(DatabaseLibraryTest, ADefectFilterSelectsWholeSubgroupsHere) {
  Import(
      "part,process,test,subgroup,time,count,defect,size\n"
      "A,P,T,1,2024-01-01,1,x,9\nA,P,T,1,2024-01-01,2,y,9\nA,P,T,2,2024-01-02,3,y,9\n"
      "A,P,T,3,2024-01-03,0,,9\n");
  FlatSelection selection;
  selection.List(FlatSelection::kDefect, {Id(ItemKind::Defect, "x")});
  EXPECT_EQ(Build(selection), 2);
  // The analyses narrow the rows instead and keep every subgroup.
  auto info = selection.info;
  const auto data = Select(info, selection.Filter(), {});
  ASSERT_EQ(data.subgroups.size(), 3u);
  EXPECT_EQ(data.values, (std::vector<double>{1, 0, 0}));
  EXPECT_EQ(data.Row(1, 0).Tsno, 0);
}

// Subgroups close together are asked for at once, scattered ones one by one; a data set of more
// than one block, and one that names a subgroup twice, give the same as a walk by hand.
TEST_F(DatabaseLibraryTest, DescriptorsOfManySubgroupsAreThoseOfEachOne) {
  std::string csv = "part,process,test,subgroup,time,value,descriptor:A,descriptor:B\n";
  for (int i = 1; i <= 9000; ++i) {
    char time[32];
    std::snprintf(time, sizeof time, "2024-01-01T%02d:%02d:%02d", i / 3600, i / 60 % 60, i % 60);
    csv += "P,R,T,S" + std::to_string(i) + "," + time + ",1," +
           (i % 3 == 0 ? "a" + std::to_string(i % 4) : "") + "," +
           (i % 5 == 0 ? "b" + std::to_string(i % 2) : "") + "\n";
  }
  Import(csv);
  FlatSelection all;
  auto filter = all.Filter();
  const auto get = [&](std::vector<API_SubgroupData> subgroups, std::size_t room) {
    std::vector<API_DescriptorData> out(room);
    out.resize(static_cast<std::size_t>(
        library_.VLXDBL_GETDESCDATA(0, Db().ConnectionHandle(), all.info, filter, RefTo(subgroups),
                                    RefTo(out), platform::DBLib6::kSubgroups)));
    return out;
  };
  const auto key = [](const API_DescriptorData& row) {
    return std::array{row.Sgrp, row.Dsgp, row.Desc, row.Tsno};
  };
  const std::pair<int, int> steps[] = {{1, 9000}, {7, 1200}, {-1, 9000}};  // step, subgroups
  for (const auto& [step, count] : steps) {
    SCOPED_TRACE("step " + std::to_string(step));
    std::vector<API_SubgroupData> subgroups;
    for (int i = 0; i < count; ++i) {
      API_SubgroupData row{};
      row.Sgrp = step > 0 ? 1 + i * step : 9000 - i;
      subgroups.push_back(row);
      if (i % 11 == 0) subgroups.push_back(row);
    }
    std::vector<std::array<std::int32_t, 4>> expected;
    for (std::size_t i = 0; i < subgroups.size(); ++i) {
      if (i > 0 && subgroups[i].Sgrp == subgroups[i - 1].Sgrp) continue;
      for (const auto& row : get({subgroups[i]}, 4)) expected.push_back(key(row));
    }
    ASSERT_GT(expected.size(), 500U);
    std::vector<std::array<std::int32_t, 4>> actual;
    for (const auto& row : get(subgroups, 20000)) actual.push_back(key(row));
    EXPECT_EQ(actual, expected);
    EXPECT_TRUE(TakeNotes().empty());
    const auto newest = get(subgroups, 100);
    ASSERT_FALSE(newest.empty());
    EXPECT_GE(newest.size(), 98U);  // a subgroup comes whole or not at all
    EXPECT_EQ(key(newest.back()), expected.back());
    EXPECT_EQ(key(newest.front()), expected[expected.size() - newest.size()]);
    EXPECT_EQ(TakeNotes().size(), 1U);
  }
}

TEST_F(DatabaseLibraryTest, DescriptorsComeInTheOrderOfTheSubgroups) {
  ImportSmall();
  FlatSelection all;
  ASSERT_EQ(Build(all), 5);
  std::vector<API_SubgroupData> subgroups(4);
  library_.VLXDBL_READDATA_SA(RefTo(subgroups), platform::DBLib6::kSubgroups);
  auto filter = all.Filter();
  const auto get = [&](std::vector<API_DescriptorData>& out, std::int32_t code) {
    return library_.VLXDBL_GETDESCDATA(0, Db().ConnectionHandle(), all.info, filter,
                                       RefTo(subgroups), RefTo(out), code);
  };
  std::vector<API_DescriptorData> out(10);
  ASSERT_EQ(get(out, 1), 3);
  EXPECT_EQ(out[0].Sgrp, subgroups[0].Sgrp);
  EXPECT_EQ(out[1].Sgrp, subgroups[0].Sgrp);
  EXPECT_EQ(out[0].Desc, 1);
  EXPECT_EQ(out[1].Desc, 2);
  EXPECT_EQ(out[0].Dsgp, 1);
  EXPECT_EQ(out[2].Sgrp, subgroups[2].Sgrp);
  EXPECT_EQ(get(out, 2), 0);
  EXPECT_TRUE(TakeNotes().empty());
  std::vector<API_DescriptorData> one(1);
  ASSERT_EQ(get(one, 1), 1);
  EXPECT_EQ(one[0].Sgrp, subgroups[2].Sgrp);  // of the newest subgroup
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "descriptors-cut");
}

TEST_F(DatabaseLibraryTest, TheCommentFilterListsSubgroupsOrTheirRange) {
  std::vector<API_SubgroupData> subgroups(4);
  const std::int32_t ids[] = {9, 4, 9, 6};
  for (std::size_t i = 0; i < 4; ++i) subgroups[i].Sgrp = ids[i];
  std::vector<std::int32_t> filter(6, -5);
  EXPECT_EQ(library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 5), 3);
  EXPECT_EQ(filter, (std::vector<std::int32_t>{3, 4, 6, 9, -5, -5}));
  filter.assign(6, -5);
  library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 3);  // just room
  EXPECT_EQ(filter, (std::vector<std::int32_t>{3, 4, 6, 9, -5, -5}));
  filter.assign(6, -5);
  library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 2);  // room for the range alone
  EXPECT_EQ(filter, (std::vector<std::int32_t>{-1, 4, 9, -5, -5, -5}));
  filter.assign(6, -5);
  EXPECT_EQ(library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 1), 0);
  EXPECT_EQ(filter, std::vector<std::int32_t>(6, -5));
  EXPECT_EQ(library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 2, filter, 5), 0);
  subgroups.clear();
  EXPECT_EQ(library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 5), 0);
  EXPECT_EQ(filter[0], 0);
}

TEST_F(DatabaseLibraryTest, MoreThanTenThousandSubgroupsBecomeARange) {
  std::vector<API_SubgroupData> subgroups(10001);
  for (std::size_t i = 0; i < subgroups.size(); ++i) {
    subgroups[i].Sgrp = static_cast<std::int32_t>(i) + 7;
  }
  std::vector<std::int32_t> filter(10001);
  library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 10000);
  EXPECT_EQ(filter[0], -1);
  EXPECT_EQ(filter[1], 7);
  EXPECT_EQ(filter[2], 10007);
  subgroups.pop_back();
  library_.VLXDBL_DATATOFLTR_SA(RefTo(subgroups), 1, filter, 10000);
  EXPECT_EQ(filter[0], 10000);
  EXPECT_EQ(filter[10000], 10006);
}

TEST_F(DatabaseLibraryTest, CommentsAreFoundWithinTheirBounds) {
  ImportSmall();
  RunSql(Path(), "INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(9, 1, 0, 5, 'first')");
  std::vector<API_CommentData> out(5);
  const auto find = [&](std::int32_t start, std::int32_t end, std::vector<std::int32_t> filter) {
    return library_.VLXDBL_FINDSGRPCMNT(0, Db().ConnectionHandle(), start, end, filter, RefTo(out),
                                        0);
  };
  ASSERT_EQ(find(0, 0, {-1, 1, 3}), 3);
  EXPECT_EQ(platform::TrimFixedText({out[0].Note, 128}), u"first");  // by time
  EXPECT_EQ(out[0].Test, 0);
  EXPECT_EQ(platform::TrimFixedText({out[1].Note, 128}), u"late");
  EXPECT_EQ(platform::TrimFixedText({out[1].Empl, 32}), u"E");
  EXPECT_EQ(out[1].Test, Id(ItemKind::Test, "T"));
  EXPECT_EQ(out[2].Sgrp, 3);
  EXPECT_EQ(find(0, 0, {2, 2, 3}), 1);
  EXPECT_EQ(find(1, 0, {-1, 1, 3}), 1);  // start itself is left out
  EXPECT_EQ(find(0, 2, {-1, 1, 3}), 2);  // end belongs to it
  EXPECT_EQ(find(0, 0, {0}), 0);
  EXPECT_EQ(find(INT32_MAX, 0, {-1, 1, 3}), 0);
  EXPECT_EQ(Failure(), "");
  EXPECT_EQ(find(0, 0, {5, 1}), 0);
  EXPECT_NE(Failure(), "");
  EXPECT_EQ(find(0, 0, {}), 0);
  EXPECT_NE(Failure(), "");
  std::int32_t start = 0;
  std::vector<std::int32_t> filter{-1, 1, 3};
  out.resize(1);
  EXPECT_EQ(
      library_.VLXDBL_FINDSGRPCMNT(0, Db().ConnectionHandle(), start, 0, filter, RefTo(out), 0), 1);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(out[0].Sgrp, 3);  // the newest
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "comments-cut");
}

TEST_F(DatabaseLibraryTest, ALongCommentIsCutWithANote) {
  Import("part,process,test,subgroup,time,value,comment\nA,P,T,1,2024-01-01,5," +
         std::string(130, 'c') + "\n");
  std::vector<API_CommentData> out(1);
  std::int32_t start = 0;
  std::vector<std::int32_t> filter{1, 1};
  ASSERT_EQ(
      library_.VLXDBL_FINDSGRPCMNT(0, Db().ConnectionHandle(), start, 0, filter, RefTo(out), 0), 1);
  EXPECT_EQ(out[0].Note[127], u'c');
  ASSERT_EQ(TakeNotes().size(), 1u);
}

class AlarmMaskTest : public DatabaseLibraryTest {
 protected:
  std::vector<std::int32_t> Mask(std::int32_t word, std::int32_t graphs = 3) {
    FlatSelection all;
    auto filter = all.Filter();
    std::vector<std::int32_t> mask(3, 0);
    library_.VLXDBL_GETALARMMASK(0, Db().ConnectionHandle(), all.info, filter, word, graphs, mask);
    return mask;
  }
  static constexpr std::int32_t kNelson = 0x1fe, kFirst = 2;
};

TEST_F(AlarmMaskTest, WithoutRowsItIsTheNelsonSetAndRuleOne) {
  ImportSmall();
  struct Row {
    const char* why;
    std::int32_t word, first;
  };
  const Row rows[] = {
      {"mean and range", 0x110, kNelson},
      {"individuals", 0x330, kNelson},
      {"moving average", 0x420, kFirst},
      {"pre-control", 0x500, 0x70000},
      {"p", 0xc00, 0x1e},  // four of the eight can be judged on counts
      {"u", 0xe00, 0x1e},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Mask(row.word), (std::vector<std::int32_t>{row.first, kFirst, kFirst})) << row.why;
  }
  EXPECT_EQ(Mask(0x110, 1), (std::vector<std::int32_t>{kNelson, 0, 0}));
  EXPECT_EQ(Mask(0x110, 99), (std::vector<std::int32_t>{kNelson, kFirst, kFirst}));
}

TEST_F(AlarmMaskTest, TheNarrowestRowDecides) {
  ImportSmall();
  Import("number,on,part,process,test,graph\n1,yes,,,,\n5,yes,A,,,1\n5,no,A,P,,1\n1,no,,,,3\n",
         ImportKind::Alarms);
  const auto store = Opened();
  const auto a = Id(ItemKind::Part, "A"), b = Id(ItemKind::Part, "B");
  EXPECT_EQ(store->AlarmBits(a, 1, 1, 1), 2u);
  EXPECT_EQ(store->AlarmBits(a, 2, 1, 1), 2u | 32u);
  EXPECT_EQ(store->AlarmBits(b, 1, 1, 1), 2u);
  EXPECT_EQ(store->AlarmBits(b, 1, 1, 3), 0u);
  EXPECT_EQ(Mask(0x110), (std::vector<std::int32_t>{2, 2, 0}));
}

TEST_F(AlarmMaskTest, TheStreamsOfTheOpenRunCountInPlaceOfTheSelection) {
  ImportSmall();
  Import("number,on,part\n1,yes,\n5,yes,B\n", ImportKind::Alarms);
  EXPECT_EQ(Mask(0x110)[0], 2 | 32);  // B is in the selection
  const StreamIds only_a[] = {{Id(ItemKind::Part, "A"), 1, 1}};
  SetOpenRun(*Opened(), Db().ConnectionHandle(), only_a);
  EXPECT_EQ(Mask(0x110)[0], 2);
  ClearOpenRun();
  EXPECT_EQ(Mask(0x110)[0], 2 | 32);
}

TEST_F(AlarmMaskTest, Rule31SetsBit15) {
  ImportSmall();
  Import("number,kind,m\n31,trend,9\n", ImportKind::Rules);
  Import("number,on\n31,yes\n", ImportKind::Alarms);
  EXPECT_EQ(Mask(0x110)[0], 1 << 15);
}

class StoreFailureTest : public DatabaseLibraryTest {};

TEST_F(StoreFailureTest, ADamagedRecordIsAFailureThatNamesStreamAndTime) {
  ImportSmall();
  struct Row {
    const char* why;
    const char* change;
  };
  const Row rows[] = {
      {"a value", "substr(packed, 1, 30) || x'ff' || substr(packed, 32)"},
      {"the head", "substr(packed, 1, 12) || x'ff' || substr(packed, 14)"},
      {"cut", "substr(packed, 1, length(packed) - 8)"},
      {"too long", "packed || x'0000000000000000'"},
      {"empty", "x''"},
  };
  for (const auto& row : rows) {
    RunSql(Path(),
           "CREATE TABLE IF NOT EXISTS kept AS SELECT * FROM measurement;"
           "UPDATE measurement SET packed = CAST(" +
               std::string(row.change) + " AS BLOB) WHERE subgroup = 2");
    FlatSelection all;
    EXPECT_EQ(Build(all), 0) << row.why;
    const auto reason = Failure();
    EXPECT_NE(reason.find("The values of B / P / T at 2024-01-02"), std::string::npos)
        << row.why << ": " << reason;
    std::vector<API_SubgroupData> subgroups(5);
    EXPECT_EQ(library_.VLXDBL_READDATA_SA(RefTo(subgroups), 1), 0) << row.why;
    RunSql(Path(),
           "UPDATE measurement SET packed = (SELECT packed FROM kept k "
           "WHERE k.subgroup = measurement.subgroup AND k.stream = measurement.stream)");
  }
  FlatSelection all;
  EXPECT_EQ(Build(all), 5);
}

TEST_F(StoreFailureTest, EverySingleByteOfARecordIsWatched) {
  ImportSmall();
  std::vector<unsigned char> packed;
  {
    Db();
    const auto connection = OpenAnother(Path());
    Query query(*connection, "SELECT packed FROM measurement WHERE subgroup = 3");
    ASSERT_TRUE(query.Step());
    for (const auto byte : query.Blob(0)) packed.push_back(static_cast<unsigned char>(byte));
  }
  const auto connection = OpenAnother(Path());
  for (std::size_t i = 0; i < packed.size(); ++i) {
    auto changed = packed;
    changed[i] ^= 0x10;
    Query(*connection, "UPDATE measurement SET packed = ?1 WHERE subgroup = 3",
          std::as_bytes(std::span<const unsigned char>(changed)))
        .Run();
    FlatSelection all;
    EXPECT_EQ(Build(all), 0) << "byte " << i;
    EXPECT_NE(Failure().find("2024-01-03"), std::string::npos) << "byte " << i;
  }
}

// Identifiers of a damaged file are neither places in memory nor sizes of it.
TEST_F(StoreFailureTest, AnIdentifierThatIsNotThereIsAFailureThatNamesIt) {
  struct Row {
    const char* why;
    const char* change;
    std::vector<std::string> says;
    bool shows_in_list;
  };
  const Row rows[] = {
      {"a context that is gone",
       "UPDATE context SET id = 77 WHERE id = 1",
       {"subgroup 1", "context 1"},
       true},
      {"context beyond memory",
       "UPDATE context SET id = 9223372036854775807",
       {"subgroup 1", "context 1"},
       true},
      {"a context below 0", "UPDATE context SET id = -5", {"table context", "-5"}, true},
      {"a context 0", "UPDATE context SET id = 0", {"table context", "0"}, true},
      {"a rule beyond the bits", "UPDATE rule SET number = 99 WHERE number = 9", {"rule 99"}, true},
      {"a record",
       "UPDATE measurement SET packed = x'00' WHERE subgroup = 3",
       {"2024-01-03", "damaged"},
       false},
  };
  for (const auto& row : rows) {
    db_.reset();
    folder_.RemoveStore("q.db");
    ImportSmall();
    db_.reset();
    RunSql(Path(), row.change);
    FlatSelection all;
    EXPECT_EQ(Build(all), 0) << row.why;
    const auto failure = Failure();
    const auto listed = FailureOf(
        [&] { Data().CountedItems(row.shows_in_list ? ItemKind::Employee : ItemKind::Gage); });
    for (const auto& message : {failure, listed}) {
      EXPECT_EQ(message.rfind(Path() + ": ", 0), 0u) << row.why << ": " << message;
      for (const auto& words : row.says) {
        EXPECT_NE(message.find(words), std::string::npos) << row.why << ": " << message;
      }
    }
  }
}

TEST_F(StoreFailureTest, ASettingThatCannotBeUsedLeavesTheCatalogueAsAFailure) {
  ImportSmall();
  RunSql(Path(),
         "INSERT INTO setting(id, key, value, who, made) VALUES(9, 'time_zone', 'odd', '', 0)");
  const auto message = FailureOf([&] { Data().RuleSets(); });
  EXPECT_EQ(message.rfind(Path() + ": ", 0), 0u) << message;
  EXPECT_NE(message.find("odd"), std::string::npos) << message;
}

// Contexts with a gap in their identifiers are found all the same.
TEST_F(StoreFailureTest, ContextsNeedNotCountUpWithoutAGap) {
  Db();
  db_.reset();
  RunSql(Path(), "UPDATE counter SET last = 1000000006 WHERE name = 'context'");
  Import(
      "part,process,test,subgroup,time,value,job\n"
      "A,P,T,1,2024-01-01,5,J\nA,P,T,2,2024-01-02,6,K\nA,P,T,3,2024-01-03,7,L\n");
  FlatSelection k;
  k.List(FlatSelection::kJob, {Id(ItemKind::Job, "K")});
  const auto data = Select(k.info, k.Filter());
  ASSERT_EQ(data.subgroups.size(), 1u);
  EXPECT_EQ(data.values, std::vector<double>{6.0});
  EXPECT_EQ(data.subgroups[0].Job, Id(ItemKind::Job, "K"));
  EXPECT_EQ(Data().CountedItems(ItemKind::Job)[2].subgroups, 1);
}

TEST_F(StoreFailureTest, WhenTheNthStepFailsNothingIsDelivered) {
  ImportSmall();
  FlatSelection selection;
  selection.List(FlatSelection::kPart, {1, 2}).Group(FlatSelection::kTest, 1, 1).Other({1, 2});
  int n = 1;
  for (;; ++n) {
    Reopen();
    auto run = selection;
    FailStep(n);
    const auto rows = Build(run);
    if (!FailStep(0)) {
      EXPECT_EQ(rows, 3);
      break;
    }
    EXPECT_EQ(rows, 0) << "step " << n;
    EXPECT_EQ(std::memcmp(&run.info, &selection.info, sizeof run.info), 0) << "step " << n;
    EXPECT_NE(Failure(), "") << "step " << n;
    // The connection is as good as before.
    EXPECT_EQ(Build(run), 3) << "step " << n;
  }
  EXPECT_GT(n, 20);
}

TEST_F(StoreFailureTest, WhenTheNthStepOfAnImportFailsNothingIsStored) {
  Db();
  const std::string text =
      "part,process,test,subgroup,time,value,job,comment,descriptor:D\n"
      "A,P,T,1,2024-01-01,5,J,c,d\nA,P,T,2,2024-01-02,6,J,,\n";
  int n = 1;
  for (;; ++n) {
    db_.reset();
    Db();
    FailStep(n);
    const auto message = ImportFailure(text);
    if (!FailStep(0)) {
      EXPECT_EQ(message, "");
      break;
    }
    EXPECT_NE(message, "") << "step " << n;
    EXPECT_TRUE(Data().CountedItems(ItemKind::Part).empty()) << "step " << n;
  }
  EXPECT_GT(n, 20);
  EXPECT_EQ(Data().CountedItems(ItemKind::Part).size(), 1u);
}

TEST_F(StoreFailureTest, AThousandAnalysesPrepareNoMoreThanOne) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int part = 0; part < 100; ++part) {
    for (int test = 0; test < 10; ++test) {
      text += "A" + std::to_string(part) + ",P,T" + std::to_string(test) + ",1,2024-01-01,5\n";
    }
  }
  Import(text);
  const auto one = [&](std::int32_t part, std::int32_t test) {
    FlatSelection selection;
    selection.info.Count = 25;
    selection.List(FlatSelection::kPart, {part}).List(FlatSelection::kTest, {test});
    EXPECT_EQ(Build(selection), 1);
    Opened()->SpecLimits(part, test);
    Opened()->ControlLimits(part, 1, test);
    Opened()->AlarmBits(part, 1, test, 1);
    Opened()->StreamName(part, 1, test);
  };
  one(1, 1);
  const auto prepared = PreparedCount();
  for (std::int32_t part = 1; part <= 100; ++part) {
    for (std::int32_t test = 1; test <= 10; ++test) one(part, test);
  }
  EXPECT_EQ(PreparedCount(), prepared);
}

}  // namespace
}  // namespace orvspc::engine::store
