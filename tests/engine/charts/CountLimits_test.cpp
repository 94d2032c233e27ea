// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

#include "engine/statistics/ExactLimits.h"
#include "tests/engine/charts/FakeStore.h"

// Charts of counts: limits by the distribution itself, and what the points say against it.
namespace orvspc::engine::test {
namespace {

constexpr std::int32_t kPpt = 0x800, kDpmo = 0xB00, kNp = 0xC00, kP = 0xD00, kC = 0xE00, kU = 0xF00;
constexpr std::int32_t kCusum = 16;
constexpr std::int32_t kLimitRule = 1 << 1;

struct Counted {
  double count;
  std::int32_t size;
};

FakeStore StoreOf(const std::vector<Counted>& samples, std::int32_t type) {
  FakeStore store;
  for (const auto& sample : samples) store.AddCount(sample.count, sample.size);
  store.types[1] = type;
  return store;
}

FakeStore Exact(const std::vector<Counted>& samples, std::int32_t type) {
  auto store = StoreOf(samples, type);
  store.chart_options["chart.limits"] = "probability";
  return store;
}

bool Notes(FakeStore store, std::int32_t word, const std::string& code,
           std::int32_t processing = 0) {
  TakeNotes();
  MakeAttribute(store, word, processing);
  const auto notes = TakeNotes();
  return std::ranges::find(notes, code, &Note::code) != notes.end();
}

// Limits of a mean of 16: P(X < 5) = 0.0004, P(X < 6) = 0.0014 > 0.00135; P(X > 29) = 0.0011.
TEST(ExactCountLimits, OfPoissonAndBinomialCounts) {
  auto counts = Exact({{16, 1}, {12, 1}, {20, 1}}, ttDefects);
  const auto c = MakeAttribute(counts, kC);
  EXPECT_DOUBLE_EQ(c.graphs[0].ccl[0], 16.0);
  EXPECT_EQ(c.graphs[0].clcl[0], 5.0);
  EXPECT_EQ(c.graphs[0].cucl[0], 29.0);
  EXPECT_EQ(c.graphs[0].ucl, c.graphs[0].cucl) << "without stored limits both forms are alike";
  // 2313 of 10,000: the share 0.2313 in samples of 50.
  auto defectives = Exact({{2300, 9950}, {13, 50}}, ttDefectives);
  const auto np = MakeAttribute(defectives, kNp).graphs[0];
  EXPECT_EQ(np.clcl[1], 4.0);
  EXPECT_EQ(np.cucl[1], 21.0);
  const auto p = MakeAttribute(defectives, kP).graphs[0];
  EXPECT_EQ(p.clcl[1], 4.0 / 50.0);
  EXPECT_EQ(p.cucl[1], 21.0 / 50.0);
  EXPECT_DOUBLE_EQ(p.ccl[1], 0.2313);
  const auto ppt = MakeAttribute(defectives, kPpt).graphs[0];
  EXPECT_EQ(ppt.cucl[1], 1000.0 * 21.0 / 50.0);
}

TEST(ExactCountLimits, EachPointHasThoseOfItsUnits) {
  auto store = Exact({{16, 4}, {8, 2}, {24, 6}, {0, 0}}, ttDefects);
  const auto u = MakeAttribute(store, kU).graphs[0];
  EXPECT_EQ(u.clcl[0], 5.0 / 4.0);
  EXPECT_EQ(u.cucl[0], 29.0 / 4.0);
  for (const std::size_t i : {1U, 2U}) {
    const double units = i == 1 ? 2.0 : 6.0;
    const auto limits = PoissonCountLimits(4.0 * units, 0.0027);
    EXPECT_EQ(u.cucl[i], limits.upper / units);
    EXPECT_EQ(u.clcl[i], limits.lower / units);
  }
  EXPECT_TRUE(std::isnan(u.cucl[3]));
  store.Opportunity(100);
  const auto dpmo = MakeAttribute(store, kDpmo).graphs[0];
  EXPECT_DOUBLE_EQ(dpmo.cucl[0], 29.0 / 400.0 * 1e6);
}

TEST(ExactCountLimits, OnALimitIsInsideAndAboveItIsASignal) {
  for (const double count : {29.0, 30.0, 5.0, 4.0}) {
    auto store = Exact({{16, 1}, {16, 1}, {count, 1}}, ttDefects);
    store.Limit(16.0, 0.0, 0.0);
    const auto c = MakeAttribute(store, kC).graphs[0];
    EXPECT_EQ(c.ucl[2], 29.0);
    EXPECT_EQ((c.oocs[2] & kLimitRule) != 0, count == 30.0 || count == 4.0) << count;
    // At 29 of three sigmas the limit is 28.
    store.chart_options.clear();
    const auto usual = MakeAttribute(store, kC).graphs[0];
    EXPECT_EQ(usual.ucl[2], 28.0);
    EXPECT_EQ((usual.oocs[2] & kLimitRule) != 0, count > 28.0) << count;
  }
}

TEST(ExactCountLimits, RulesOfSidesAndTrendsAreAsTheyWere) {
  std::vector<Counted> samples(20, {16, 1});
  for (std::size_t i = 10; i < 20; ++i) samples[i].count = 18.0;
  auto exact = Exact(samples, ttDefects);
  auto usual = StoreOf(samples, ttDefects);
  EXPECT_EQ(MakeAttribute(exact, kC).graphs[0].coocs, MakeAttribute(usual, kC).graphs[0].coocs);
  EXPECT_NE(MakeAttribute(exact, kC).graphs[0].coocs[19], 0);
}

TEST(ExactCountLimits, AlphaIsThatOfBothSidesTogether) {
  auto store = Exact({{16, 1}}, ttDefects);
  store.chart_options["chart.alpha"] = "0.05";
  const auto limits = PoissonCountLimits(16.0, 0.05);
  const auto wide = MakeAttribute(store, kC).graphs[0];
  EXPECT_EQ(wide.cucl[0], limits.upper);
  EXPECT_EQ(wide.clcl[0], limits.lower);
  EXPECT_LT(limits.upper, 29.0);
  EXPECT_LE(limits.risk_above, 0.025);
  EXPECT_LE(limits.risk_below, 0.025);
}

TEST(ExactCountLimits, SumsAndMeansOverTimeKeepTheirOwn) {
  const std::vector<Counted> samples(12, {16, 1});
  auto exact = Exact(samples, ttDefects);
  auto usual = StoreOf(samples, ttDefects);
  for (const auto& [processing, ewma] : {std::pair{kCusum, 0.0}, {0, 1.0}, {0, 2.0}}) {
    const auto ours = MakeAttribute(exact, kC, processing, ewma).graphs[0];
    EXPECT_EQ(ours.cucl, MakeAttribute(usual, kC, processing, ewma).graphs[0].cucl) << ewma;
  }
}

TEST(ExactCountLimits, NoneWhereTheMeanIsNone) {
  auto many = Exact({{30, 20}, {25, 20}}, ttDefectives);
  EXPECT_TRUE(std::isnan(MakeAttribute(many, kP).graphs[0].cucl[0]));
  auto none = Exact({{0, 20}, {0, 20}}, ttDefectives);
  EXPECT_EQ(MakeAttribute(none, kP).graphs[0].cucl[0], 0.0);
}

// From the definition, count by count.
TEST(ExactCountLimits, AgreeWithTheDefinition) {
  for (const double mean : {0.02, 0.4, 1.0, 3.7, 25.0, 400.0, 12345.6}) {
    for (const double alpha : {0.0001, 0.0027, 0.1}) {
      const auto limits = PoissonCountLimits(mean, alpha);
      double term = std::exp(-mean), below = term, count = 0.0;
      if (mean > 500.0) continue;  // the first term is 0
      double lower = 0.0, upper = -1.0;
      while (upper < 0.0) {
        if (below <= alpha / 2.0) lower = count + 1.0;
        if (1.0 - below <= alpha / 2.0) upper = count;
        count += 1.0;
        term *= mean / count;
        below += term;
      }
      EXPECT_EQ(limits.lower, lower) << mean << ' ' << alpha;
      EXPECT_EQ(limits.upper, upper) << mean << ' ' << alpha;
    }
  }
}

std::vector<Counted> Alternating(double low, double high, std::int32_t size, std::size_t count) {
  std::vector<Counted> samples;
  for (std::size_t i = 0; i < count; ++i) samples.push_back({i % 2 == 0 ? low : high, size});
  return samples;
}

// Shares of 0.1 +- d with a binomial sigma of 0.0003: each moving range is 2 d / 0.0003.
TEST(CountChartNotes, PointsThatVaryMoreThanTheirSizesExplain) {
  const double d2 = 1.1283791670955126;
  for (const double sigma_z : {1.19, 1.21}) {
    const double off = std::round(sigma_z * d2 * 0.0003 / 2.0 * 1e6);
    const auto samples = Alternating(100'000 - off, 100'000 + off, 1'000'000, 20);
    const double known = 2.0 * off / 1e6 / 0.0003 / d2;
    EXPECT_EQ(Notes(StoreOf(samples, ttDefectives), kP, "overdispersed"), known > 1.2) << known;
  }
  const auto wide = Alternating(800, 1200, 10'000, 20);
  EXPECT_TRUE(Notes(StoreOf(wide, ttDefectives), kP, "overdispersed"));
  EXPECT_TRUE(Notes(StoreOf(wide, ttDefects), kU, "overdispersed"));
  EXPECT_FALSE(Notes(StoreOf(wide, ttDefects), kU, "overdispersed", kCusum));
  EXPECT_FALSE(
      Notes(StoreOf(Alternating(800, 1200, 10'000, 19), ttDefectives), kP, "overdispersed"))
      << "below 20 points the factor says little";
  auto disabled = StoreOf(wide, ttDefectives);
  disabled.data.subgroups[3].Flag = sfDisabled;
  EXPECT_FALSE(Notes(disabled, kP, "overdispersed"));
}

TEST(CountChartNotes, NameTheChartThatServes) {
  for (const auto& [type, word, name] :
       {std::tuple{ttDefectives, kP, "p'"}, {ttDefects, kU, "u'"}, {ttDefects, kC, "u'"}}) {
    auto store = StoreOf(Alternating(800, 1200, 10'000, 20), type);
    TakeNotes();
    MakeAttribute(store, word);
    const auto notes = TakeNotes();
    ASSERT_FALSE(notes.empty());
    EXPECT_NE(notes[0].text.find(std::string("consider a ") + name), std::string::npos);
  }
}

TEST(CountChartNotes, RareEventsAreSeenBetterByTheTimeBetweenThem) {
  std::vector<Counted> rare(20, {0, 50}), mixed(20, {3, 50}), usual(20, {2, 50});
  for (std::size_t i = 0; i < 20; ++i) {
    if (i % 4 == 0) rare[i].count = 1.0;    // mean 0.25
    if (i % 20 < 11) mixed[i].count = 0.0;  // 11 of 20 are 0, mean 1.35
  }
  EXPECT_TRUE(Notes(StoreOf(rare, ttDefectives), kP, "rare-events"));
  EXPECT_TRUE(Notes(StoreOf(rare, ttDefects), kU, "rare-events"));
  EXPECT_TRUE(Notes(StoreOf(mixed, ttDefectives), kNp, "rare-events"));
  mixed[0].count = 3.0;  // 10 of 20
  EXPECT_FALSE(Notes(StoreOf(mixed, ttDefectives), kNp, "rare-events"));
  EXPECT_FALSE(Notes(StoreOf(usual, ttDefectives), kP, "rare-events"));
  EXPECT_FALSE(Notes(StoreOf({rare.begin(), rare.begin() + 9}, ttDefectives), kP, "rare-events"))
      << "below 10 points nothing is said";
  EXPECT_FALSE(Notes(StoreOf(rare, ttDefectives), kP, "rare-events", kCusum));
}

}  // namespace
}  // namespace orvspc::engine::test
