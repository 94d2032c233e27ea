// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "tests/engine/charts/FakeStore.h"

// Published charts of counts through the whole chart engine: from stored counts to points, lines
// and marks. Tolerances are those of the printed digits.
namespace orvspc::engine::test {
namespace {

constexpr std::int32_t kNp = 0xC00, kP = 0xD00, kC = 0xE00, kU = 0xF00;
constexpr std::uint32_t kLimitRule = 1U << 1;

// Montgomery 8e, table 7.1: nonconforming orange juice cans in 30 samples of 50. The same counts,
// as chips on wafers, are the example of the NIST/SEMATECH e-Handbook, 6.3.3.2.
constexpr std::array kOrangeJuice = {12, 15, 8, 10, 4,  7,  16, 9,  14, 10, 5,  6, 17, 12, 22,
                                     8,  10, 5, 13, 11, 20, 18, 24, 15, 9,  12, 7, 13, 9,  6};

// Montgomery 6e, table 7.4: nonconforming purchase orders, 25 weeks.
constexpr std::array kOrders = {12, 8, 6, 9,  10, 12, 11, 16, 10, 6,  20, 15, 9,
                                8,  6, 8, 10, 7,  5,  8,  5,  8,  10, 6,  9};
constexpr std::array kOrderSizes = {100, 80,  80, 100, 110, 110, 100, 100, 90,  90,  110, 120, 120,
                                    120, 110, 80, 80,  80,  90,  100, 100, 100, 100, 90,  90};

// Montgomery 6e, example 7.4: errors of a supply chain in 20 samples of 50 shipments.
constexpr std::array kShipments = {2, 3, 8, 1, 1, 4, 1, 4, 5, 1, 8, 2, 4, 3, 4, 1, 8, 3, 7, 4};

// NIST/SEMATECH e-Handbook, 6.3.3.1: defects on 25 wafers.
constexpr std::array kWafers = {16, 14, 28, 16, 12, 20, 10, 12, 10, 17, 19, 17, 14,
                                16, 15, 13, 14, 16, 11, 20, 11, 19, 16, 31, 13};

// Montgomery, printed circuit boards: nonconformities in 26 samples of 100 boards, and the 20
// after.
constexpr std::array kCircuits = {21, 24, 16, 12, 15, 5,  28, 20, 31, 25, 20, 24, 16,
                                  19, 10, 17, 13, 22, 18, 39, 30, 24, 16, 19, 17, 15};
constexpr std::array kCircuitsAfter = {16, 18, 12, 15, 24, 21, 28, 20, 25, 19,
                                       18, 21, 16, 22, 19, 12, 14, 9,  16, 21};

// Wheeler, Understanding Statistical Process Control, page 276: leaks in radiators.
constexpr std::array kRadiators = {14, 4, 5, 13, 6, 2, 4, 11, 8, 10, 3, 11, 1, 3, 6, 8, 5, 2};
constexpr std::array kRadiatorSizes = {39, 45, 46, 48, 40, 58, 50, 50, 50,
                                       50, 32, 50, 33, 50, 50, 50, 50, 50};

FakeStore StoreOf(std::span<const int> counts, std::span<const int> sizes, std::int32_t type) {
  FakeStore store;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    store.AddCount(counts[i], sizes.size() == 1 ? sizes[0] : sizes[i]);
  }
  store.types[1] = type;
  return store;
}

struct Published {
  const char* what;
  double value, tolerance;
};

void CheckConstant(const std::vector<double>& line, const Published& published) {
  for (const double value : line) {
    EXPECT_NEAR(value, published.value, published.tolerance) << published.what;
  }
}

void CheckEach(const std::vector<double>& line, std::span<const double> published,
               double tolerance) {
  ASSERT_EQ(line.size(), published.size());
  for (std::size_t i = 0; i < line.size(); ++i) {
    EXPECT_NEAR(line[i], published[i], tolerance) << "point " << i + 1;
  }
}

// Points beyond the limits of the calculated form, counted from 1.
std::vector<std::size_t> Beyond(const std::vector<std::int32_t>& marks) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if ((static_cast<std::uint32_t>(marks[i]) & kLimitRule) != 0) places.push_back(i + 1);
  }
  return places;
}

}  // namespace

// The book rounds the mean share to 0.2313, the limits of the exact mean are 2.621377 and 20.51196.
TEST(AttributeRunCertified, MontgomeryOrangeJuiceCans) {
  auto store = StoreOf(kOrangeJuice, std::array{50}, ttDefectives);
  const auto chart = MakeAttribute(store, kNp);
  ASSERT_EQ(chart.word, kNp);
  const auto& np = chart.graphs.at(0);
  CheckConstant(np.ccl, {"centre as printed", 11.565, 0.005});
  CheckConstant(np.cucl, {"upper limit as printed", 20.51, 0.005});
  CheckConstant(np.clcl, {"lower limit as printed", 2.62, 0.005});
  CheckConstant(np.ccl, {"centre", 11.5666667, 5e-8});
  CheckConstant(np.cucl, {"upper limit", 20.51196, 5e-6});
  CheckConstant(np.clcl, {"lower limit", 2.621377, 5e-7});
  EXPECT_EQ(Beyond(np.coocs), (std::vector<std::size_t>{15, 23}));
  EXPECT_EQ(np.points[0], 12.0);
}

TEST(AttributeRunCertified, NistProportionsOfChips) {
  auto store = StoreOf(kOrangeJuice, std::array{50}, ttDefectives);
  const auto chart = MakeAttribute(store, kP);
  const auto& p = chart.graphs.at(0);
  CheckConstant(p.ccl, {"centre", 0.2313, 5e-5});
  CheckConstant(p.cucl, {"upper limit", 0.4103, 1e-4});
  CheckConstant(p.clcl, {"lower limit", 0.0524, 5e-5});
}

TEST(AttributeRunCertified, MontgomeryPurchaseOrdersOfVaryingNumber) {
  auto store = StoreOf(kOrders, kOrderSizes, ttDefectives);
  const auto chart = MakeAttribute(store, kP);
  const auto& p = chart.graphs.at(0);
  CheckConstant(p.ccl, {"centre", 0.0955102040816326, 1e-9});
  constexpr double kLower[] = {0.00733469472777307,
                               0,
                               0,
                               0.00733469472777307,
                               0.0114381546250528,
                               0.0114381546250528,
                               0.00733469472777307,
                               0.00733469472777307,
                               0.00256505628040661,
                               0.00256505628040661,
                               0.0114381546250528,
                               0.0150173449272715,
                               0.0150173449272715,
                               0.0150173449272715,
                               0.0114381546250528,
                               0,
                               0,
                               0,
                               0.00256505628040661,
                               0.00733469472777307,
                               0.00733469472777307,
                               0.00733469472777307,
                               0.00733469472777307,
                               0.00256505628040661,
                               0.00256505628040661};
  constexpr double kUpper[] = {
      0.183685713435492, 0.194093420514582, 0.194093420514582, 0.183685713435492,
      0.179582253538213, 0.179582253538213, 0.183685713435492, 0.183685713435492,
      0.188455351882859, 0.188455351882859, 0.179582253538213, 0.176003063235994,
      0.176003063235994, 0.176003063235994, 0.179582253538213, 0.194093420514582,
      0.194093420514582, 0.194093420514582, 0.188455351882859, 0.183685713435492,
      0.183685713435492, 0.183685713435492, 0.183685713435492, 0.188455351882859,
      0.188455351882859};
  CheckEach(p.clcl, kLower, 1e-9);
  CheckEach(p.cucl, kUpper, 1e-9);
  constexpr double kPoints[] = {0.12,
                                0.1,
                                0.075,
                                0.09,
                                0.0909090909090909,
                                0.109090909090909,
                                0.11,
                                0.16,
                                0.111111111111111,
                                0.0666666666666667,
                                0.181818181818182,
                                0.125,
                                0.075,
                                0.0666666666666667,
                                0.0545454545454545,
                                0.1,
                                0.125,
                                0.0875,
                                0.0555555555555556,
                                0.08,
                                0.05,
                                0.08,
                                0.1,
                                0.0666666666666667,
                                0.1};
  CheckEach(p.points, kPoints, 1e-9);
  EXPECT_EQ(Beyond(p.coocs), (std::vector<std::size_t>{11}));
}

TEST(AttributeRunCertified, MontgomeryErrorsAShipment) {
  auto store = StoreOf(kShipments, std::array{50}, ttDefects);
  const auto chart = MakeAttribute(store, kU);
  const auto& u = chart.graphs.at(0);
  CheckConstant(u.ccl, {"centre", 0.074, 1e-9});
  CheckConstant(u.cucl, {"upper limit", 0.189412304370028, 1e-9});
  CheckConstant(u.clcl, {"lower limit", 0.0, 0.0});
  EXPECT_NEAR(u.points[2], 0.16, 1e-9);
  EXPECT_TRUE(Beyond(u.coocs).empty());
}

TEST(AttributeRunCertified, NistDefectsOnWafersWithAPointOnTheLimit) {
  auto store = StoreOf(kWafers, std::array{0}, ttDefects);
  const auto chart = MakeAttribute(store, kC);
  const auto& c = chart.graphs.at(0);
  CheckConstant(c.ccl, {"centre", 16.0, 1e-9});
  CheckConstant(c.cucl, {"upper limit", 28.0, 1e-9});
  CheckConstant(c.clcl, {"lower limit", 4.0, 1e-9});
  EXPECT_EQ(Beyond(c.coocs), (std::vector<std::size_t>{24})) << "wafer 3 lies on the limit";
}

TEST(AttributeRunCertified, MontgomeryCircuitBoards) {
  auto store = StoreOf(kCircuits, std::array{100}, ttDefects);
  const auto chart = MakeAttribute(store, kC);
  const auto& c = chart.graphs.at(0);
  CheckConstant(c.ccl, {"centre", 19.84615, 5e-6});
  CheckConstant(c.cucl, {"upper limit", 33.21086, 5e-6});
  CheckConstant(c.clcl, {"lower limit", 6.481447, 5e-7});
  EXPECT_EQ(Beyond(c.coocs), (std::vector<std::size_t>{6, 20}));
}

// The samples after are judged by the rate of the first 26, stored as defects a board.
TEST(AttributeRunCertified, MontgomeryCircuitBoardsAfterByTheStoredRate) {
  auto before = StoreOf(kCircuits, std::array{100}, ttDefects);
  const auto first = MakeAttribute(before, kC);
  auto after = StoreOf(kCircuitsAfter, std::array{100}, ttDefects);
  after.Limit(first.estimates.mean, 0.0, 0.0);
  const auto chart = MakeAttribute(after, kC);
  const auto& c = chart.graphs.at(0);
  CheckConstant(c.cl, {"centre", 19.84615, 5e-6});
  CheckConstant(c.ucl, {"upper limit", 33.21086, 5e-6});
  CheckConstant(c.lcl, {"lower limit", 6.481447, 5e-7});
  EXPECT_TRUE(Beyond(c.oocs).empty());
}

TEST(AttributeRunCertified, WheelerLeaksInRadiators) {
  auto store = StoreOf(kRadiators, kRadiatorSizes, ttDefects);
  const auto chart = MakeAttribute(store, kU);
  const auto& u = chart.graphs.at(0);
  CheckConstant(u.ccl, {"centre", 0.137931034475624, 1e-6});
  CheckConstant(u.clcl, {"lower limit", 0.0, 0.0});
  constexpr double kUpper[] = {
      0.316341344506026, 0.304021994178809, 0.302206737929394, 0.298747914697134, 0.314097100325479,
      0.284228989200092, 0.295498753903216, 0.295498753903216, 0.295498753903216, 0.295498753903216,
      0.334890683760114, 0.295498753903216, 0.331883489621179, 0.295498753903216, 0.295498753903216,
      0.295498753903216, 0.295498753903216, 0.295498753903216};
  CheckEach(u.cucl, kUpper, 1e-6);
  EXPECT_EQ(Beyond(u.coocs), (std::vector<std::size_t>{1})) << "14 of 39 is 0.359";
}

}  // namespace orvspc::engine::test
