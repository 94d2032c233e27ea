// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/ChartLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <set>
#include <thread>

#include "engine/chunks/subgroups.h"
#include "engine/sql/counter.h"
#include "engine/store/Store.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/chunks/SubgroupWriter.h"
#include "tests/engine/store/store_fixture.h"

// The chart library over a real database.
namespace orvspc::engine::charts {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

using platform::ChartData;

class ChartLibraryTest : public testing::Test {
 protected:
  ChartLibraryTest() : database_(OpenDatabase(folder_.Store("q.db"), true)) {
    Import(
        "part,process,test,subgroup,time,value\n"
        "A,P,W,1,2024-01-01T00:00:00Z,1\nA,P,W,1,2024-01-01T00:00:00Z,2\n"
        "A,P,W,1,2024-01-01T00:00:00Z,3\n"
        "A,P,W,2,2024-01-01T01:00:00Z,3\nA,P,W,2,2024-01-01T01:00:00Z,5\n"
        "A,P,W,2,2024-01-01T01:00:00Z,7\n"
        "A,P,W,3,2024-01-01T02:00:00Z,2\nA,P,W,3,2024-01-01T02:00:00Z,2\n"
        "A,P,W,3,2024-01-01T02:00:00Z,2\n",
        ImportKind::Values);
  }

  void Import(const std::string& text, ImportKind kind) {
    const auto file = folder_.File("in.csv");
    WriteFile(file, text);
    ImportCsv(file, *database_, kind);
  }

  std::int32_t Process(std::int32_t word, std::int32_t handle) {
    FlatSelection everything;
    auto filter = everything.Filter();
    API_CCVarOptions options{};
    options.ChartWord = word;
    options.Constant = 2;
    return library_.VLXCRT_VCHART_PROCESS_LT(0, handle, everything.info, filter, options, 0);
  }
  std::int32_t Process(std::int32_t word) { return Process(word, database_->ConnectionHandle()); }

  ChartReport Taken() { return ChartLibrary::TakeReport(database_->ConnectionHandle()); }

  std::vector<double> Points(std::int32_t graph, std::size_t count) {
    std::vector<double> out(count, -1.0);
    library_.VLXCRT_VAR_DATA(0, {out.data(), sizeof(double), out.size()}, ChartData::Points, graph);
    return out;
  }

  TemporaryFolder folder_;
  std::shared_ptr<EmbeddedDatabase> database_;
  ChartLibrary library_;
};

}  // namespace

TEST_F(ChartLibraryTest, FromTheFileToTheChart) {
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_EQ(Points(1, 3), (std::vector<double>{2, 5, 2}));
  EXPECT_EQ(Points(2, 3), (std::vector<double>{2, 4, 0}));
  std::vector<API_TestData> tests(9);
  EXPECT_EQ(library_.VLXCRT_VAR_DATA(0, {tests.data(), sizeof tests[0], 9}, ChartData::Tests, 0),
            9);
  EXPECT_EQ(tests[4].Val, 5.0);
  EXPECT_EQ(tests[4].Tsno, 2);
  double mean = -1, sp = -1, sw = -1, one = -1, two = -1, three = -1;
  EXPECT_EQ(library_.VLXCRT_VAR_LIMITS(0, mean, sp, sw, one, two, three), 1);
  EXPECT_NEAR(mean, 3.0, 1e-12);
  EXPECT_NEAR(sp, 2.0 / 1.692568750643269, 1e-12);
  EXPECT_EQ(sw, sp);
  EXPECT_EQ(one, 3.0);
  EXPECT_EQ(two, 3.0);
  EXPECT_EQ(three, 0.0);
  EXPECT_EQ(library_.VLXCRT_VAR_END(), 1);
}

TEST_F(ChartLibraryTest, EstimatesComeWithTheirProvenance) {
  ASSERT_EQ(Process(0x110), 0x110);
  library_.VLXCRT_VAR_END();
  std::thread([this] { EXPECT_TRUE(Taken().streams.empty()) << "of another thread"; }).join();
  const auto streams = Taken().streams;
  ASSERT_EQ(streams.size(), 1U);
  EXPECT_EQ(streams[0].mean.used, 3);
  EXPECT_EQ(streams[0].sp.used, 3);
  EXPECT_EQ(streams[0].sp.least_size, 3);
  EXPECT_EQ(streams[0].sp.largest_size, 3);
  EXPECT_NEAR(streams[0].sp.constant, 1.692568750643269, 1e-12);
  EXPECT_FALSE(streams[0].sp.name.empty());
  EXPECT_EQ(streams[0].sp.constant_name, "d2");
  EXPECT_EQ(streams[0].average_size, 3.0);
  EXPECT_TRUE(streams[0].gamma.name.empty());
  EXPECT_TRUE(Taken().streams.empty()) << "taken once";
  ASSERT_EQ(Process(0x140), 0x140);
  const auto gamma = Taken().streams.at(0).gamma;
  EXPECT_EQ(gamma.name, "Cv-est mvlue");
  EXPECT_EQ(gamma.constant_name, "c4");
  EXPECT_EQ(gamma.used, 3);
}

TEST_F(ChartLibraryTest, EachDatabaseOfAThreadHasItsOwnReport) {
  const auto other = OpenDatabase(folder_.Store("other.db"), true);
  WriteFile(folder_.File("in.csv"),
            "part,process,test,subgroup,time,value\nA,P,W,1,2024-01-01T00:00:00Z,1\n"
            "A,P,W,2,2024-01-01T01:00:00Z,2\n");
  ImportCsv(folder_.File("in.csv"), *other, ImportKind::Values);
  other->TakeReport();
  database_->TakeReport();
  ASSERT_EQ(Process(0x110), 0x110);
  ASSERT_EQ(Process(0x110, other->ConnectionHandle()), 0x130) << "single pieces";
  const auto mine = database_->TakeReport(), theirs = other->TakeReport();
  ASSERT_EQ(mine.chart.streams.size(), 1U);
  ASSERT_EQ(theirs.chart.streams.size(), 1U);
  EXPECT_EQ(mine.chart.streams[0].mean.used, 3);
  EXPECT_EQ(theirs.chart.streams[0].mean.used, 2);
  EXPECT_TRUE(mine.notes.empty());
  ASSERT_EQ(theirs.notes.size(), 1U);
  EXPECT_EQ(theirs.notes[0].code, "graph-changed");
  EXPECT_TRUE(other->TakeReport().notes.empty());
}

TEST_F(ChartLibraryTest, TheReportNamesTheStoredLimitsOfEachPoint) {
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_TRUE(Taken().limit_rows.empty()) << "none are stored";
  Import(
      "part,process,test,mean,sp,effective\n"
      "A,P,W,3,1,2024-01-01T01:00:00Z\nA,P,W,4,1,2024-01-01T01:30:00Z\n"
      "A,P,W,9,1,2024-02-01T00:00:00Z\n",
      ImportKind::ControlLimits);
  ASSERT_EQ(Process(0x110), 0x110);
  std::vector<API_CCCtrlLim> rows(2);
  ASSERT_EQ(library_.VLXCRT_VAR_DATA(0, {rows.data(), sizeof rows[0], 2}, ChartData::CtrlLims, 0),
            2);
  std::vector<double> centres(3);
  library_.VLXCRT_VAR_DATA(0, {centres.data(), sizeof(double), 3}, ChartData::Cls, 1);
  const auto limit_rows = Taken().limit_rows;
  ASSERT_EQ(limit_rows, (std::vector<std::int32_t>{-1, 0, 1}));
  EXPECT_EQ(centres[1], rows[0].F_MEAN);
  EXPECT_EQ(centres[2], rows[1].F_MEAN);
}

// Another program stores a value and the mean that limits are about in one commit, again and again.
TEST_F(ChartLibraryTest, PointsAndLimitsAreOfOneState) {
  Import("part,process,test,effective,mean,sp\nA,P,W,2023-01-01T00:00:00Z,2,1\n",
         ImportKind::ControlLimits);
  const auto other = SqlStoreOf(*OpenDatabase(folder_.Store("q.db")));
  std::atomic<bool> is_done = false;
  std::thread writer([&] {
    for (std::int32_t k = 3; !is_done; ++k) {
      other->Write([&](Connection& db) {
        const double value = k;
        Measurement measurement;
        measurement.time = 1'800'000'000 + k;
        measurement.subgroup = static_cast<std::int32_t>(TakeIds(db, "subgroup"));
        measurement.size = 1.0;
        measurement.values = std::span(&value, 1);
        SubgroupWriter subgroups(db);
        const auto label = std::to_string(k);
        subgroups.Add({measurement.subgroup, 1, 1, measurement.time, label});
        subgroups.Flush();
        StreamWriter stream(db);
        stream.Write(1, std::span(&measurement, 1));
        stream.Finish();
        Query(db, "UPDATE control_limit SET mean = ?1", value).Run();
      });
    }
  });
  std::set<double> seen;
  while (seen.size() < 30 && !HasFailure()) {
    FlatSelection newest;
    newest.info.Count = 1;
    auto filter = newest.Filter();
    API_CCVarOptions options{};
    options.ChartWord = 0x330;
    if (library_.VLXCRT_VCHART_PROCESS_LT(0, database_->ConnectionHandle(), newest.info, filter,
                                          options, 0) == 0) {
      ADD_FAILURE() << "no chart";
      break;
    }
    double centre = -1;
    library_.VLXCRT_VAR_DATA(0, {&centre, sizeof centre, 1}, ChartData::Cls, 1);
    EXPECT_EQ(Points(1, 1).front(), centre);
    seen.insert(centre);
  }
  is_done = true;
  writer.join();
  EXPECT_EQ(seen.size(), 30U);
}

TEST_F(ChartLibraryTest, SeveralStreamsHaveNoSingleFigures) {
  Import("part,process,test,subgroup,time,value\nB,P,W,1,2024-01-01T00:00:00Z,1\n",
         ImportKind::Values);
  ASSERT_NE(Process(0x330), 0);
  double mean = -1, sp = -1, sw = -1, one = -1, two = -1, three = -1;
  EXPECT_EQ(library_.VLXCRT_VAR_LIMITS(0, mean, sp, sw, one, two, three), 1);
  for (const double figure : {mean, sp, sw, one, two, three}) EXPECT_EQ(figure, 0.0);
  EXPECT_EQ(Taken().streams.size(), 2U);
  EXPECT_EQ(OpenRunOf(database_->ConnectionHandle())->streams.size(), 2U);
}

TEST_F(ChartLibraryTest, AFigureThatDoesNotExistIsZeroInTheRecord) {
  Import("part,process,test,subgroup,time,value\nC,P,W,1,2024-01-01T00:00:00Z,4\n",
         ImportKind::Values);
  FlatSelection everything;
  everything.info.Count = 1;  // the newest alone
  auto filter = everything.Filter();
  API_CCVarOptions options{};
  options.ChartWord = 0x330;
  ASSERT_EQ(library_.VLXCRT_VCHART_PROCESS_LT(0, database_->ConnectionHandle(), everything.info,
                                              filter, options, 0),
            0x330);
  double mean = -1, sp = -1, sw = -1, one = -1, two = -1, three = -1;
  EXPECT_EQ(library_.VLXCRT_VAR_LIMITS(0, mean, sp, sw, one, two, three), 1);
  EXPECT_EQ(sp, 0.0);
  EXPECT_EQ(sw, 0.0);
  const auto streams = Taken().streams;
  ASSERT_EQ(streams.size(), 1U);
  EXPECT_TRUE(std::isnan(streams[0].sp.value));
}

TEST_F(ChartLibraryTest, AttributeTestsStayOffTheVariableRoad) {
  Import("part,process,test,subgroup,time,count,size\nA,P,D,1,2024-01-01T00:00:00Z,4,100\n",
         ImportKind::Values);
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_EQ(Taken().streams.size(), 1U);
}

TEST_F(ChartLibraryTest, TheRunEndsAndIsHarmlessToEndTwice) {
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_NE(OpenRunOf(database_->ConnectionHandle()), nullptr);
  library_.VLXCRT_VAR_END();
  library_.VLXCRT_VAR_END();
  EXPECT_EQ(OpenRunOf(database_->ConnectionHandle()), nullptr);
  EXPECT_EQ(Points(1, 3), (std::vector<double>{-1, -1, -1}));
  double mean = -1, other = -1;
  EXPECT_EQ(library_.VLXCRT_VAR_LIMITS(0, mean, other, other, other, other, other), 0);
  EXPECT_EQ(mean, -1.0);
}

TEST_F(ChartLibraryTest, ARunThatFailsLeavesNothingOpen) {
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_EQ(Process(0xD00), 0);
  EXPECT_EQ(Points(1, 3), (std::vector<double>{-1, -1, -1}));
  EXPECT_TRUE(Taken().streams.empty());
  const auto failure = database_->TakeFailure();
  ASSERT_TRUE(failure.has_value());
  EXPECT_NE(failure->description.find("chart word"), std::string::npos);
}

TEST_F(ChartLibraryTest, AClosedOrUnknownConnectionGivesNothing) {
  const auto handle = database_->ConnectionHandle();
  EXPECT_EQ(Process(0x110, 0), 0);
  database_.reset();
  EXPECT_EQ(Process(0x110, handle), 0);
}

TEST_F(ChartLibraryTest, EachThreadHasItsOwnRun) {
  ASSERT_EQ(Process(0x110), 0x110);
  std::thread([&] {
    EXPECT_EQ(Points(1, 3), (std::vector<double>{-1, -1, -1}));
    EXPECT_EQ(Process(0x330), 0x330);
    library_.VLXCRT_VAR_END();
  }).join();
  EXPECT_EQ(Points(2, 3), (std::vector<double>{2, 4, 0}));
}

class AttributeLibraryTest : public ChartLibraryTest {
 protected:
  AttributeLibraryTest() {
    Import(
        "part,process,test,subgroup,time,count,size,defect\n"
        "A,P,D,1,2024-01-01T00:00:00Z,4,100,\nA,P,D,2,2024-01-01T01:00:00Z,6,150,\n"
        "A,P,D,3,2024-01-01T02:00:00Z,0,50,\n"
        "B,P,S,1,2024-01-01T00:00:00Z,2,10,Scratch\nB,P,S,1,2024-01-01T00:00:00Z,1,10,Dent\n",
        ImportKind::Values);
  }

  std::int32_t ProcessAttribute(std::int32_t word, std::int32_t count = 0) {
    FlatSelection everything;
    if (count != 0) everything.info.Count = count;
    auto filter = everything.Filter();
    return library_.VLXCRT_ATTR_PROCESS_LT(0, database_->ConnectionHandle(), everything.info,
                                           filter, word, 0, 0.0, aql_, risk_, 0);
  }
  template <class T>
  std::vector<T> Column(ChartData code, std::size_t count) {
    std::vector<T> out(count);
    EXPECT_EQ(library_.VLXCRT_ATTR_DATA(0, {out.data(), sizeof(T), count}, code, 1),
              static_cast<std::int32_t>(count));
    return out;
  }

  double aql_ = 1.0, risk_ = 10.0;
};

TEST_F(AttributeLibraryTest, FromTheFileToTheChart) {
  Import("part,test,opportunities,effective\nB,S,5,2024-01-01\n", ImportKind::Opportunities);
  ASSERT_EQ(ProcessAttribute(0), 0xD00) << "defectives and defects mixed";
  EXPECT_EQ(OpenRunOf(database_->ConnectionHandle())->streams.size(), 2U);
  auto points = Column<double>(ChartData::Points, 4);
  std::sort(points.begin(), points.end());
  EXPECT_EQ(points, (std::vector<double>{0.0, 0.04, 0.04, 0.3}));
  API_CCDefOpp row{};
  EXPECT_EQ(library_.VLXCRT_ATTR_DATA(0, {&row, sizeof row, 1}, ChartData::DefOpps, 0), 1);
  EXPECT_EQ(row.F_OPPS, 5);
  const auto streams = Taken().streams;
  ASSERT_EQ(streams.size(), 2U);
  EXPECT_TRUE(std::isnan(streams[0].sp.value));
  EXPECT_EQ(library_.VLXCRT_ATTR_END(), 1);
  EXPECT_EQ(OpenRunOf(database_->ConnectionHandle()), nullptr);
  std::vector<double> out(4, -1.0);
  EXPECT_EQ(library_.VLXCRT_ATTR_DATA(0, {out.data(), sizeof(double), 4}, ChartData::Points, 1), 0);
}

TEST_F(AttributeLibraryTest, TheRoadsDoNotReadEachOthersRun) {
  ASSERT_NE(ProcessAttribute(0xD00), 0);
  EXPECT_EQ(Points(1, 4), (std::vector<double>{-1, -1, -1, -1}));
  ASSERT_EQ(Process(0x110), 0x110);
  std::vector<double> out(3, -1.0);
  EXPECT_EQ(library_.VLXCRT_ATTR_DATA(0, {out.data(), sizeof(double), 3}, ChartData::Points, 1), 0);
  EXPECT_EQ(Points(1, 3), (std::vector<double>{2, 5, 2}));
}

TEST_F(AttributeLibraryTest, AcceptanceLimitsStandBesideTheChartAndChangeNothing) {
  ASSERT_NE(ProcessAttribute(0xD00), 0);
  const auto upper = Column<double>(ChartData::cUCLs, 4);
  const auto marks = Column<std::int32_t>(ChartData::cOOCs, 4);
  library_.VLXCRT_ATTR_END();
  const auto limits = Taken().acceptance;
  ASSERT_TRUE(limits.has_value());
  EXPECT_TRUE(limits->binomial);
  EXPECT_EQ(limits->level, 1.0);
  EXPECT_EQ(limits->risk, 10.0);
  ASSERT_EQ(limits->numbers.size(), 4U);
  EXPECT_EQ(limits->numbers[3], 1.0) << "50 units";
  EXPECT_EQ(limits->rates[3], 0.02);
  aql_ = 40.0;
  risk_ = 1.0;
  ASSERT_NE(ProcessAttribute(0xD00), 0);
  EXPECT_EQ(Column<double>(ChartData::cUCLs, 4), upper);
  EXPECT_EQ(Column<std::int32_t>(ChartData::cOOCs, 4), marks);
  EXPECT_EQ(aql_, 40.0);
  EXPECT_EQ(risk_, 1.0);
  ASSERT_NE(ProcessAttribute(0xF00), 0);
  EXPECT_FALSE(Taken().acceptance->binomial);
  ASSERT_EQ(Process(0x110), 0x110);
  EXPECT_FALSE(Taken().acceptance.has_value()) << "a chart of variables";
}

TEST_F(AttributeLibraryTest, FractionalSizesAreReportedAsTheyAre) {
  Import(
      "part,process,test,subgroup,time,count,size,test-type\n"
      "Ward,H,Falls,1,2024-01-01T00:00:00Z,4,101.5,defects\n"
      "Ward,H,Falls,2,2024-01-02T00:00:00Z,2,0.25,\n",
      ImportKind::Values);
  ASSERT_NE(ProcessAttribute(0xF00), 0);
  const auto report = Taken();
  EXPECT_EQ(std::count(report.sizes.begin(), report.sizes.end(), 101.5), 1);
  EXPECT_EQ(std::count(report.sizes.begin(), report.sizes.end(), 0.25), 1);
  const auto sizes = Column<std::int32_t>(ChartData::SGSizes, report.sizes.size());
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    EXPECT_EQ(sizes[i], std::max(std::round(report.sizes[i]), 1.0)) << i;
  }
}

TEST_F(AttributeLibraryTest, AWordOfTheOtherRoadIsAFailure) {
  EXPECT_EQ(ProcessAttribute(0x110), 0);
  const auto failure = database_->TakeFailure();
  ASSERT_TRUE(failure.has_value());
  EXPECT_NE(failure->description.find("chart word"), std::string::npos);
  EXPECT_FALSE(Taken().acceptance.has_value());
}

}  // namespace orvspc::engine::charts
