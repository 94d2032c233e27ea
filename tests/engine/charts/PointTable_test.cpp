// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/PointTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/NaN.h"
#include "tests/engine/charts/FakeStore.h"

namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using platform::kNaN;

std::vector<double> PiecesOf(const DataSet& data, std::size_t subgroup) {
  PieceReader reader(data);
  const auto pieces = reader.Pieces(subgroup);
  return {pieces.begin(), pieces.end()};
}

}  // namespace

TEST(PieceReader, TakesTheRowsWithoutSubNumberInTheOrderOfTheirNumbers) {
  FakeStore store;
  store.AddEmptyMarker();
  store.data.values.clear();
  store.data.keys.clear();
  store.Row(2, 0, 20.0);
  store.Row(1, 1, 9.0);
  store.Row(1, 0, 10.0);
  store.Row(1, 2, 11.0);
  store.data.subgroups[0].Test_End = 3;
  EXPECT_EQ(PiecesOf(store.data, 0), (std::vector<double>{10.0, 20.0}));
}

TEST(PieceReader, LeavesOutWhatIsNotFinite) {
  const FakeStore store({{1.0, kNaN, 3.0}, {kNaN}, {std::numeric_limits<double>::infinity(), 2.0}});
  EXPECT_EQ(PiecesOf(store.data, 0), (std::vector<double>{1.0, 3.0}));
  EXPECT_TRUE(PiecesOf(store.data, 1).empty());
  EXPECT_EQ(PiecesOf(store.data, 2), (std::vector<double>{2.0}));
}

TEST(PieceReader, KeepsFiniteValuesWhoseSumOverflows) {
  const FakeStore store({{1e308, 1e308}});
  EXPECT_EQ(PiecesOf(store.data, 0).size(), 2U);
}

TEST(PieceReader, TheRowOfAnEmptySubgroupIsNoPiece) {
  FakeStore store;
  store.AddEmptyMarker();
  EXPECT_TRUE(PiecesOf(store.data, 0).empty());
}

TEST(PieceReader, BoundsOutsideTheDataGiveNoPieces) {
  FakeStore store({{1.0, 2.0}});
  auto& row = store.data.subgroups[0];
  row.Test_End = 2;
  EXPECT_TRUE(PiecesOf(store.data, 0).empty());
  row.Test_Start = -1;
  row.Test_End = 1;
  EXPECT_TRUE(PiecesOf(store.data, 0).empty());
  row.Test_Start = 1;
  row.Test_End = 0;
  EXPECT_TRUE(PiecesOf(store.data, 0).empty());
}

TEST(PointTable, KeepsStreamsApartInTheOrderOfTheirFirstSubgroup) {
  FakeStore store;
  store.Add({{1.0}, sfEnabled, 7});
  store.Add({{2.0}, sfEnabled, 3});
  store.Add({{3.0}, sfEnabled, 7});
  PointTable table;
  table.Build(store.data, 7);
  ASSERT_EQ(table.Streams().size(), 2U);
  EXPECT_EQ(table.Streams()[0].test, 7);
  EXPECT_EQ(table.Streams()[0].Count(), 2U);
  EXPECT_EQ(table.Streams()[1].test, 3);
  EXPECT_EQ(table.means, (std::vector<double>{1.0, 3.0, 2.0}));
  EXPECT_EQ(table.SubgroupAt(1), 2U);
}

TEST(PointTable, MeansOfEqualPiecesAreThatPiece) {
  const FakeStore store({{0.1, 0.1, 0.1}});
  PointTable table;
  table.Build(store.data, 7);
  EXPECT_EQ(table.means[0], 0.1);
  EXPECT_EQ(table.ranges[0], 0.0);
}

TEST(PointTable, EnabledSubgroupsCountUnlessOthersWereAskedForAlone) {
  FakeStore store;
  store.Add({{1.0}, sfEnabled});
  store.Add({{2.0}, sfDisabled});
  store.Add({{3.0}, sfIncomplete});
  PointTable table;
  table.Build(store.data, 7);
  EXPECT_TRUE(table.IsUsed(0));
  EXPECT_FALSE(table.IsUsed(1));
  EXPECT_FALSE(table.IsUsed(2));
  table.Build(store.data, 6);
  EXPECT_TRUE(table.IsUsed(1));
  EXPECT_TRUE(table.IsUsed(2));
}

TEST(PointTable, ShapeIsThatOfTheSubgroupsThatCount) {
  FakeStore store;
  store.Add({{1.0, 2.0}});
  store.Add({{1.0, 2.0, 3.0}, sfDisabled});
  PointTable table;
  table.Build(store.data, 7);
  EXPECT_EQ(table.Shape(store.data).largest_size, 2);
  store.data.subgroups[0].Flag = sfDisabled;
  table.Build(store.data, 7);
  EXPECT_EQ(table.Shape(store.data).largest_size, 3) << "none counts: all are looked at";
}

TEST(PointTable, ReadingsInsideThePieces) {
  FakeStore store;
  store.AddWithReadings({{1.0, 2.0}, {5.0, 5.0, 8.0}});
  store.AddWithReadings({{1.0}});
  PointTable table;
  table.Build(store.data, 7);
  EXPECT_EQ(table.Shape(store.data).most_readings, 3);
  EXPECT_EQ(table.Sizes()[0], 2);
  const auto within = ReadWithinPieces(store.data, table, true);
  EXPECT_EQ(within.points[0], 2.0) << "mean of the ranges 1 and 3";
  EXPECT_TRUE(std::isnan(within.points[1])) << "a single reading has no range";
  EXPECT_EQ(within.SizesAt(0).size(), 2U);
  EXPECT_TRUE(within.SizesAt(1).empty());
}

TEST(Forget, LargeColumnsGiveTheirStorageBackAndSmallOnesKeepIt) {
  std::vector<double> large(kKeptElements + 1), small(100);
  Forget(large);
  Forget(small);
  EXPECT_TRUE(large.empty());
  EXPECT_EQ(large.capacity(), 0U);
  EXPECT_TRUE(small.empty());
  EXPECT_GE(small.capacity(), 100U);
}

}  // namespace orvspc::engine::test
