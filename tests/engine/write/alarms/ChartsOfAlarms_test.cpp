// SPDX-License-Identifier: Apache-2.0
// Which chart a point is judged by.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/write/alarms/Judge.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::alarms {
namespace {

// Streams of values (T), of defectives (D) and of defects (C) with old records.
class ChartsOfAlarmsTest : public store::StoreTest {
 protected:
  ChartsOfAlarmsTest() {
    Import("part,process,test,subgroup,time,value\nA,P,T,0,2024-01-01T00:00:00Z,10\n");
    Import(
        "part,process,test,subgroup,time,count,size,test-type\n"
        "A,P,D,1,2024-01-02T00:00:00Z,2,100,defectives\n"
        "A,P,C,2,2024-01-02T00:00:00Z,2,,defects\n");
    start_ = CurrentTime() + 1;  // limits hold from when they were stored
  }
  void Limits(const std::string& lines) {
    Import("part,process,test,mean,sp,effective,chart-word\n" + lines, ImportKind::ControlLimits);
  }
  std::string At(std::int32_t second) const {
    return platform::IsoText(static_cast<std::int32_t>(start_ + second)) + "Z";
  }
  Recorded Put(const std::string& test, std::int32_t second, const std::vector<double>& values,
               double size = 0.0) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = test;
    record.time = start_ + second;
    record.size = size;
    for (const auto value : values) record.pieces.push_back({value, 0, 0, "", "", ""});
    return Data().Record(record, {});
  }
  // Graphs and rules of the alarms that are open.
  std::set<std::pair<std::int32_t, std::int32_t>> Open() {
    AlarmFilter filter;
    filter.is_open = true;
    std::set<std::pair<std::int32_t, std::int32_t>> found;
    for (const auto& each : Data().Alarms(filter)) found.emplace(each.graph, each.rule);
    return found;
  }

  std::int64_t start_ = 0;
};

TEST_F(ChartsOfAlarmsTest, ARowOfAnotherKindOfChartIsLeftOut) {
  struct Row {
    std::string test, good, newer, word;
    double value, size;
  };
  const Row rows[] = {{"T", "10,1", "99,1", "0xd00", 50.0, 0.0},
                      {"D", "0.02,", "0.9,", "0x110", 90.0, 100.0},
                      {"C", "0.02,", "0.9,", "0x330", 90.0, 100.0}};
  int second = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.test);
    Limits("A,P," + row.test + "," + row.newer + ",2024-02-01,\n");
    store::RunSql(Path(), "UPDATE control_limit SET chart_word = " +
                              std::to_string(std::stoi(row.word, nullptr, 16)) +
                              " WHERE id = (SELECT max(id) FROM control_limit)");
    const auto alone = Put(row.test, ++second, {row.value}, row.size);
    EXPECT_TRUE(alone.alarms.empty());
    ASSERT_EQ(alone.notes.size(), 1U) << "no limits are in force";
    EXPECT_EQ(alone.notes[0].code, kNoLimitsCode);
    Limits("A,P," + row.test + "," + row.good + ",2024-01-15,\n");
    const auto judged = Put(row.test, ++second, {row.value}, row.size);
    EXPECT_TRUE(judged.notes.empty());
    EXPECT_EQ(std::ranges::count(judged.alarms, 1, &Alarm::graph), 1);
  }
}

TEST_F(ChartsOfAlarmsTest, CountsWithoutAChartWordAreJudgedAsRates) {
  Import(
      "part,process,test,subgroup,time,count,size,test-type\n"
      "A,P,U,3,2024-01-02T00:00:00Z,2,100,defects\n");
  Limits("A,P,D,0.02,,,\nA,P,U,0.02,,,\nA,P,C,2,,,\n");
  for (int i = 1; i <= 7; ++i) {
    for (const auto* const test : {"D", "U"}) {
      EXPECT_TRUE(Put(test, i, {2.0 * i}, 100.0 * i).alarms.empty())
          << test << i << ": more units, the same rate";
    }
  }
  EXPECT_FALSE(Put("D", 8, {30.0}, 100.0).alarms.empty());
  EXPECT_FALSE(Put("U", 8, {30.0}, 100.0).alarms.empty());
  ASSERT_FALSE(Open().empty());
  store::RunSql(Path(), "UPDATE alarm SET state = 'closed'");
  Import("part,process,test,subgroup,time,count,size\nA,P,C,4," + At(9) + ",30,\n");
  EXPECT_FALSE(Open().empty()) << "a count without a size";
}

TEST_F(ChartsOfAlarmsTest, ARateThatIsNoneJudgesNothing) {
  Limits("A,P,D,2,,,\n");  // defectives a subgroup, not their share
  for (int i = 1; i <= 20; ++i) Put("D", i, {2.0 + i % 2}, 100.0);
  EXPECT_TRUE(Put("D", 21, {90.0}, 100.0).alarms.empty()) << "by limits that are not stored";
}

TEST_F(ChartsOfAlarmsTest, AGraphWhoseSigmaTheRowLacksRaisesNothing) {
  Import("number,graph,on\n1,1,yes\n1,2,yes\n", ImportKind::Alarms);
  Limits("A,P,T,10,,,\n");
  for (int i = 1; i <= 30; ++i) Put("T", i, {i % 2 == 0 ? 9.5 : 10.5});
  EXPECT_TRUE(Put("T", 31, {99.0}).alarms.empty()) << "by limits that are not stored";
  EXPECT_TRUE(Open().empty());
  Limits("A,P,T,10,1,,\n");
  start_ += 2;
  EXPECT_EQ(Put("T", 32, {10.0}).alarms.size(), 1U) << "the moving range";
  EXPECT_EQ(Put("T", 33, {99.0}).alarms.size(), 2U);
}

TEST_F(ChartsOfAlarmsTest, APointIsJudgedByTheChartOfItsOwnRow) {
  Limits("A,P,T,10,1,,0x110\nA,P,T,10,3," + At(60) + ",0x330\n");
  const auto wide = Put("T", 10, {5.0, 15.0});
  using All = std::set<std::pair<std::int32_t, std::int32_t>>;
  ASSERT_EQ(Open(), (All{{2, 1}})) << "its range";
  Put("T", 70, {10.0, 10.0});
  EXPECT_EQ(Open(), (All{{2, 1}}));
  ValueChange change;
  change.tsno = 1;
  change.value = 5.1;
  ChangeOptions why;
  why.reason = "trial run";
  Data().ChangeValue(wide.subgroup, 1, change, why);
  EXPECT_EQ(Open(), (All{{2, 1}})) << "the row in force now is one of moving ranges";
}

}  // namespace
}  // namespace orvspc::engine::alarms
