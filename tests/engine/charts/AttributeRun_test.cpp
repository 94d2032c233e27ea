// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/AttributeRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "platform/NaN.h"
#include "tests/engine/charts/FakeStore.h"

namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using platform::kNaN;

constexpr std::int32_t kAuto = 0, kPpt = 0x800, kDpto = 0x900, kPpm = 0xA00, kDpmo = 0xB00,
                       kNp = 0xC00, kP = 0xD00, kC = 0xE00, kU = 0xF00;
constexpr std::int32_t kEvery[] = {kPpt, kDpto, kPpm, kDpmo, kNp, kP, kC, kU};
constexpr std::int32_t kCusum = 16;
constexpr std::uint32_t kLimitRule = 1U << 1;
struct Sampled {
  double count;
  std::int32_t size;
  std::int32_t flag = sfEnabled;
};

FakeStore StoreOf(const std::vector<Sampled>& samples, std::int32_t type = ttDefectives) {
  FakeStore store;
  for (const auto& sample : samples) store.AddCount(sample.count, sample.size, sample.flag);
  store.types[1] = type;
  return store;
}

bool HasNote(const std::vector<Note>& notes, std::string_view code) {
  return std::any_of(notes.begin(), notes.end(),
                     [&](const Note& note) { return note.code == code; });
}

void ExpectSame(const std::vector<double>& actual, const std::vector<double>& expected,
                const char* what) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (std::isnan(expected[i])) {
      EXPECT_TRUE(std::isnan(actual[i])) << what << " at " << i;
    } else {
      EXPECT_NEAR(actual[i], expected[i], 1e-12 * std::max(1.0, std::fabs(expected[i])))
          << what << " at " << i;
    }
  }
}

}  // namespace

TEST(AttributeRun, TakesAttributeTestsOnly) {
  auto store = StoreOf({{1, 10}});
  EXPECT_EQ(MakeAttribute(store, kP).word, kP);
  EXPECT_EQ(store.asked_types, ttDefects | ttDefectives);
}

TEST(AttributeRun, NoDataIsANoteAndAnUnknownWordAFailure) {
  TakeNotes();
  FakeStore empty;
  EXPECT_EQ(MakeAttribute(empty, kP).word, 0);
  EXPECT_TRUE(HasNote(TakeNotes(), "no-data"));
  EXPECT_TRUE(empty.failures.empty());
  EXPECT_EQ(MakeAttribute(empty, 0x110).word, 0);
  ASSERT_EQ(empty.failures.size(), 1U);
  EXPECT_NE(empty.failures[0].second.find("272"), std::string::npos);
}

TEST(AttributeRun, ScaledChartsAreTheSameChartTimesTheirScale) {
  auto store = StoreOf({{3, 100}, {5, 150}, {0, 80}});
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  EXPECT_DOUBLE_EQ(p.points[0], 0.03);
  EXPECT_DOUBLE_EQ(p.ccl[0], 8.0 / 330.0);
  for (const auto& [word, scale] : {std::pair{kPpt, 1e3}, std::pair{kPpm, 1e6}}) {
    const auto scaled = MakeAttribute(store, word).graphs.at(0);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_DOUBLE_EQ(scaled.points[i], scale * p.points[i]);
      EXPECT_DOUBLE_EQ(scaled.cucl[i], scale * p.cucl[i]);
      EXPECT_DOUBLE_EQ(scaled.clcl[i], scale * p.clcl[i]);
    }
  }
  const auto np = MakeAttribute(store, kNp);
  EXPECT_EQ(np.word, kNp);
  EXPECT_EQ(np.graphs.at(0).points, (std::vector<double>{3, 5, 0}));
  EXPECT_DOUBLE_EQ(np.graphs.at(0).ccl[1], 150.0 * 8.0 / 330.0) << "stepped with the size";
}

TEST(AttributeRun, DefectsOfANamedUnitAreOneDefective) {
  FakeStore store;
  store.AddUnits({{1, 1}, {1, 1}, {1, 1}, {2, 0}, {3, 2}}, 10);  // three codes, none, two of one
  store.AddCount(12, 20);
  store.types[1] = ttDefects;
  EXPECT_EQ(MakeAttribute(store, kNp).graphs.at(0).points, (std::vector<double>{2, 12}));
  EXPECT_EQ(MakeAttribute(store, kC).graphs.at(0).points, (std::vector<double>{5, 12}));
  store.types[1] = ttDefectives;
  EXPECT_EQ(MakeAttribute(store, kNp).graphs.at(0).points, (std::vector<double>{3, 12}))
      << "in a test of defectives a unit counts as many as its largest row says";
}

TEST(AttributeRun, RowsWithoutKeysAreNumberedUnits) {
  FakeStore store({{1.0, 0.0, 2.0}});
  store.types[1] = ttDefects;
  EXPECT_EQ(MakeAttribute(store, kNp).graphs.at(0).points, (std::vector<double>{2}));
  EXPECT_EQ(MakeAttribute(store, kC).graphs.at(0).points, (std::vector<double>{3}));
}

TEST(AttributeRun, ASubgroupWithoutRowsCountsNothingAndIsThere) {
  FakeStore store;
  store.AddEmptyMarker();
  store.data.subgroups[0].Size = 50;
  store.AddCount(5, 50);
  store.types[1] = ttDefectives;
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  EXPECT_EQ(p.points, (std::vector<double>{0.0, 0.1}));
  EXPECT_EQ(p.ccl[0], 0.05);
  EXPECT_EQ(p.sizes, (std::vector<std::int32_t>{50, 50}));
}

TEST(AttributeRun, WithoutASizeOnlyACountOfDefectsHasAValue) {
  auto store = StoreOf({{4, 0}, {3, 10}, {5, 20}}, ttDefects);
  for (const auto word : kEvery) {
    TakeNotes();
    const auto graph = MakeAttribute(store, word).graphs.at(0);
    EXPECT_TRUE(HasNote(TakeNotes(), "no-size")) << word;
    if (word == kC) {
      EXPECT_EQ(graph.points[0], 4.0);
      EXPECT_EQ(graph.sizes[0], 1);
      EXPECT_DOUBLE_EQ(graph.ccl[0], 12.0 / 31.0) << "one unit";
      EXPECT_DOUBLE_EQ(graph.ccl[2], 20.0 * 12.0 / 31.0);
      continue;
    }
    EXPECT_TRUE(std::isnan(graph.points[0])) << word;
    EXPECT_EQ(graph.sizes[0], 0) << word;
    EXPECT_TRUE(std::isnan(graph.cucl[0])) << word;
    const bool counted = word == kNp;
    EXPECT_EQ(std::isnan(graph.ccl[0]), counted) << word;
    EXPECT_FALSE(std::isnan(graph.cucl[1])) << word;
  }
  const auto u = MakeAttribute(store, kU).graphs.at(0);
  EXPECT_DOUBLE_EQ(u.ccl[1], 8.0 / 30.0) << "the subgroup without a size is out of the sums";
}

TEST(AttributeRun, CountsWithoutAnySizeNeedNoNote) {
  auto store = StoreOf({{4, 0}, {3, 0}}, ttDefects);
  TakeNotes();
  const auto c = MakeAttribute(store, kAuto);
  EXPECT_EQ(c.word, kC);
  EXPECT_DOUBLE_EQ(c.graphs.at(0).ccl[0], 3.5);
  EXPECT_TRUE(TakeNotes().empty());
}

TEST(AttributeRun, WithoutAnySizeThereIsNoShare) {
  auto store = StoreOf({{4, 0}, {3, 0}});
  TakeNotes();
  const auto chart = MakeAttribute(store, kP);
  EXPECT_EQ(chart.word, kP);
  for (const double value : chart.graphs.at(0).points) EXPECT_TRUE(std::isnan(value));
  for (const double value : chart.graphs.at(0).ccl) EXPECT_TRUE(std::isnan(value));
  EXPECT_TRUE(HasNote(TakeNotes(), "no-mean"));
  EXPECT_TRUE(std::isnan(chart.estimates.mean));
}

TEST(AttributeRun, CountsAreKeptForWhoAsks) {
  auto store = StoreOf({{4, 50}, {3, 0}});
  AttributeRun run;
  API_DSInfo info{};
  ASSERT_EQ(run.Process(store, info, {}, {kP, 0, 0.0}), kP);
  EXPECT_TRUE(run.Counts().empty());
  run.KeepCounts();
  ASSERT_EQ(run.Process(store, info, {}, {kP, 0, 0.0}), kP);
  ASSERT_EQ(run.Counts().size(), 2U);
  EXPECT_EQ(run.Counts()[0], 4.0);
  EXPECT_EQ(run.Counts()[1], 3.0) << "though without a size there is no share";
}

TEST(AttributeRun, TheBestGuessIsMadeByTheTestsAndTheSizesThatCount) {
  auto alike = StoreOf({{1, 50}, {2, 50}, {9, 70, sfDisabled}}, ttDefects);
  EXPECT_EQ(MakeAttribute(alike, kAuto).word, kC) << "the disabled one does not count";
  auto differ = StoreOf({{1, 50}, {2, 51}}, ttDefects);
  EXPECT_EQ(MakeAttribute(differ, kAuto).word, kU);
  auto partly = StoreOf({{1, 50}, {2, 0}}, ttDefects);
  EXPECT_EQ(MakeAttribute(partly, kAuto).word, kU) << "counts on 50 and on who knows how many";
  auto mixed = StoreOf({{1, 50}, {2, 50}}, ttDefects);
  mixed.AddCount(3, 50, sfEnabled, 2);
  mixed.types[2] = ttDefectives;
  EXPECT_EQ(MakeAttribute(mixed, kAuto).word, kP);
}

TEST(AttributeRun, DisablingGivesTheOtherPointsWhatDeletingGives) {
  for (const auto word : kEvery) {
    for (const double ewma : {0.0, 1.0, 2.0}) {
      for (const auto processing : {0, kCusum}) {
        auto disabled = StoreOf({{3, 100}, {60, 90, sfDisabled}, {5, 150}, {0, 80}, {70, 100}});
        auto deleted = StoreOf({{3, 100}, {5, 150}, {0, 80}, {70, 100}});
        const auto a = MakeAttribute(disabled, word, processing, ewma).graphs.at(0);
        const auto b = MakeAttribute(deleted, word, processing, ewma).graphs.at(0);
        for (std::size_t i = 0; i < 4; ++i) {
          const auto j = i == 0 ? i : i + 1;
          EXPECT_EQ(a.points[j], b.points[i]) << word << ' ' << ewma << ' ' << i;
          EXPECT_EQ(a.cucl[j], b.cucl[i]) << word << ' ' << ewma << ' ' << i;
          EXPECT_EQ(a.clcl[j], b.clcl[i]) << word << ' ' << ewma << ' ' << i;
          EXPECT_EQ(a.oocs[j], b.oocs[i]) << word << ' ' << ewma << ' ' << i;
        }
        EXPECT_EQ(a.oocs[1], 0);
        EXPECT_FALSE(std::isnan(a.points[1])) << "plotted all the same";
      }
    }
  }
}

TEST(AttributeRun, MoreDefectivesThanUnitsIsPlottedAsItIs) {
  auto store = StoreOf({{5, 4}, {1, 4}}, ttDefects);
  EXPECT_EQ(MakeAttribute(store, kP).graphs.at(0).points[0], 1.25);
  auto above = StoreOf({{5, 4}, {6, 4}}, ttDefects);
  TakeNotes();
  const auto p = MakeAttribute(above, kP).graphs.at(0);
  EXPECT_EQ(p.ccl[0], 11.0 / 8.0);
  EXPECT_TRUE(std::isnan(p.cucl[0]));
  EXPECT_TRUE(std::isnan(p.clcl[0]));
  EXPECT_TRUE(HasNote(TakeNotes(), "too-many-defectives"));
  EXPECT_EQ(p.coocs, (std::vector<std::int32_t>{0, 0}));
}

TEST(AttributeRun, OpportunitiesAreThoseOfTheTimeOfThePoint) {
  auto store = StoreOf({{2, 10}, {3, 10}, {4, 20}}, ttDefects);  // at 0, 10, 20
  store.Opportunity(5, 0);
  store.Opportunity(8, 10);
  TakeNotes();
  const auto chart = MakeAttribute(store, kDpto);
  const auto& graph = chart.graphs.at(0);
  const double v = 9.0 / (50.0 + 80.0 + 160.0);
  ExpectSame(graph.points, {1e3 * 2 / 50.0, 1e3 * 3 / 80.0, 1e3 * 4 / 160.0}, "points");
  ExpectSame(graph.ccl, {1e3 * v, 1e3 * v, 1e3 * v}, "centre");
  EXPECT_NEAR(graph.cucl[2], 1e3 * (v + 3 * std::sqrt(v / 160.0)), 1e-9);
  EXPECT_EQ(graph.sizes, (std::vector<std::int32_t>{10, 10, 20})) << "units, not opportunities";
  ASSERT_EQ(chart.opportunities.size(), 1U) << "one row for a part and test";
  EXPECT_EQ(chart.opportunities[0].F_OPPS, 8) << "in force at the newest point";
  EXPECT_TRUE(HasNote(TakeNotes(), "opportunities-changed"));
  const auto u = MakeAttribute(store, kU);
  EXPECT_DOUBLE_EQ(u.graphs.at(0).points[0], 0.2) << "a unit is a unit";
  EXPECT_EQ(u.opportunities.size(), 1U);
  EXPECT_FALSE(HasNote(TakeNotes(), "opportunities-changed"));
}

TEST(AttributeRun, WithoutOpportunitiesAUnitIsOne) {
  auto store = StoreOf({{2, 10}, {3, 10}}, ttDefects);
  store.Opportunity(4, 10);  // not yet at the first point
  TakeNotes();
  const auto graph = MakeAttribute(store, kDpmo).graphs.at(0);
  EXPECT_TRUE(HasNote(TakeNotes(), "no-opportunities"));
  ExpectSame(graph.points, {2e5, 7.5e4}, "points");
  store.opportunities.clear();
  const auto none = MakeAttribute(store, kDpmo);
  EXPECT_EQ(none.totals.DefOppCount, 0);
  ExpectSame(none.graphs.at(0).points, {2e5, 3e5}, "points");
}

TEST(AttributeRun, StoredRatesAreJudgedByInEveryScale) {
  auto store = StoreOf({{30, 100}, {5, 100}, {9, 200}});
  store.Opportunity(2);
  store.Limit(0.05, 99.0, 99.0);  // sigma comes from the rate
  for (const auto word : kEvery) {
    const auto graph = MakeAttribute(store, word).graphs.at(0);
    const double n = 100.0;
    const bool opportunities = word == kDpto || word == kDpmo;
    const bool defectives = word == kP || word == kNp || word == kPpt || word == kPpm;
    const double units = opportunities ? 2.0 * n : n;
    const double factor = word == kNp || word == kC       ? n
                          : word == kPpt || word == kDpto ? 1e3
                          : word == kPpm || word == kDpmo ? 1e6
                                                          : 1.0;
    const double sigma = std::sqrt((defectives ? 0.05 * 0.95 : 0.05) / units);
    EXPECT_DOUBLE_EQ(graph.cl[0], factor * 0.05) << word;
    EXPECT_DOUBLE_EQ(graph.ucl[0], factor * (0.05 + 3 * sigma)) << word;
    EXPECT_NEAR(graph.lcl[0], factor * std::max(0.0, 0.05 - 3 * sigma), factor * 1e-15) << word;
    EXPECT_NE(graph.ccl[0], graph.cl[0]) << word << ": the calculated form stays";
    EXPECT_NE(graph.oocs[0] & 2, 0) << word;
  }
}

TEST(AttributeRun, LimitsFrozenAfterKPointsAreThoseOfTheFirstK) {
  const std::vector<Sampled> first = {{3, 100}, {5, 150}, {2, 80}, {4, 100}};
  auto before = StoreOf(first);
  const auto chart = MakeAttribute(before, kP);
  auto samples = first;
  samples.push_back({40, 100});
  auto after = StoreOf(samples);
  after.Limit(chart.estimates.mean, 0.0, 0.0);
  const auto longer = MakeAttribute(after, kP);
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_DOUBLE_EQ(longer.graphs.at(0).ucl[i], chart.graphs.at(0).cucl[i]);
    EXPECT_NEAR(longer.graphs.at(0).lcl[i], chart.graphs.at(0).clcl[i], 1e-15);
  }
  EXPECT_NE(longer.graphs.at(0).oocs[4] & 2, 0);
  EXPECT_EQ(longer.limits.size(), 1U);
}

TEST(AttributeRun, AStoredMeanThatIsNoRateIsNotUsedAndANoteSaysWhich) {
  const struct {
    double mean;
    std::int32_t made_from;
    std::vector<std::int32_t> refused;
    const char* says;
  } rows[] = {
      {1.5, 0, {kP, kNp, kPpt, kPpm}, "the mean 1.5 are not used: a share"},
      {1.5, kPpm, {kP, kNp, kPpt, kPpm}, "the mean 1.5 are not used: a share"},
      {-0.25, 0, {std::begin(kEvery), std::end(kEvery)}, "the mean -0.25 are not used: a "},
      {-2.0, kU, {kU, kC}, "the mean -2 are not used: a rate of defects is not below 0"},
      {-2.0, kDpmo, {kDpto, kDpmo}, "the mean -2 are not used: a rate of defects"},
      {1.0, 0, {}, ""},
      {0.0, 0, {}, ""},
  };
  auto store = StoreOf({{30, 100}, {5, 100}}, ttDefects);
  store.Opportunity(4);
  for (const auto& row : rows) {
    store.limits.clear();
    store.Limit(row.mean, 0.0, 0.0, 0, 1, row.made_from);
    for (const auto word : kEvery) {
      const bool refused = std::count(row.refused.begin(), row.refused.end(), word) != 0;
      if (!refused && row.made_from != 0) continue;  // of another kind of chart
      TakeNotes();
      const auto chart = MakeAttribute(store, word);
      const auto& graph = chart.graphs.at(0);
      const auto notes = TakeNotes();
      const auto note = std::find_if(notes.begin(), notes.end(), [](const Note& each) {
        return each.code == "limits-unsuited";
      });
      EXPECT_EQ(note != notes.end(), refused) << row.mean << ' ' << word;
      EXPECT_EQ(chart.limits.empty(), refused) << row.mean << ' ' << word;
      EXPECT_EQ(graph.cl[0] == graph.ccl[0], refused) << row.mean << ' ' << word;
      EXPECT_TRUE(std::isfinite(graph.ucl[0])) << row.mean << ' ' << word;
      if (!refused) continue;
      EXPECT_NE(note->text.find(row.says), std::string::npos) << note->text;
      EXPECT_EQ(graph.ucl, graph.cucl) << row.mean << ' ' << word;
      EXPECT_EQ(graph.oocs, graph.coocs) << row.mean << ' ' << word;
    }
  }
}

TEST(AttributeRun, AnEarlierStoredRateServesWhereTheNewestIsNone) {
  auto store = StoreOf({{30, 100}, {5, 100}});
  store.Limit(0.2, 0.0, 0.0, 0);
  store.Limit(20.0, 0.0, 0.0, 1);  // meant as percent
  TakeNotes();
  const auto chart = MakeAttribute(store, kP);
  EXPECT_EQ(chart.graphs.at(0).cl, (std::vector<double>{0.2, 0.2}));
  EXPECT_TRUE(HasNote(TakeNotes(), "limits-unsuited"));
}

TEST(AttributeRun, AStoredRateServesTheChartsOfItsKind) {
  auto store = StoreOf({{30, 100}, {5, 100}}, ttDefects);
  store.Opportunity(4);
  const struct {
    std::int32_t made_from;
    std::vector<std::int32_t> served;
  } rows[] = {
      {kU, {kU, kC}},
      {kC, {kU, kC}},
      {kPpm, {kP, kNp, kPpt, kPpm}},
      {kDpto, {kDpto, kDpmo}},
      {0, {std::begin(kEvery), std::end(kEvery)}},
  };
  for (const auto& row : rows) {
    store.limits.clear();
    store.Limit(0.25, 0.0, 0.0, 0, 1, row.made_from);
    for (const auto word : kEvery) {
      TakeNotes();
      const auto chart = MakeAttribute(store, word);
      const bool serves = std::count(row.served.begin(), row.served.end(), word) != 0;
      EXPECT_EQ(chart.limits.size(), serves ? 1U : 0U) << row.made_from << ' ' << word;
      EXPECT_EQ(chart.graphs.at(0).cl[0] != chart.graphs.at(0).ccl[0], serves) << word;
      EXPECT_EQ(HasNote(TakeNotes(), "limits-unsuited"), !serves) << word;
    }
  }
}

TEST(AttributeRun, AChangeOfTheStoredRateBeginsRunsAnewAndIsNoted) {
  std::vector<Sampled> samples(18, Sampled{6, 100});
  samples.push_back({0, 100});
  auto store = StoreOf(samples);
  store.Limit(0.05, 0.0, 0.0, 0);
  store.Limit(0.055, 0.0, 0.0, 90);  // from the tenth point on
  TakeNotes();
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  EXPECT_TRUE(HasNote(TakeNotes(), "limits-changed"));
  const auto nine = 1U << 2;
  for (std::size_t i = 0; i < 18; ++i) {
    const bool full = i == 8 || i == 17;
    EXPECT_EQ((static_cast<std::uint32_t>(p.oocs[i]) & nine) != 0, full) << i;
  }
}

TEST(AttributeRun, OnlyRulesThatCountsCanBearAreTested) {
  // Two of three beyond two sigma, no point beyond three.
  auto store = StoreOf({{50, 1000}, {50, 1000}, {66, 1000}, {66, 1000}, {50, 1000}, {38, 1000}});
  store.Limit(0.05, 0.0, 0.0);
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  for (const auto mark : p.oocs) EXPECT_EQ(mark, 0);
  // Six rising.
  auto rising = StoreOf({{45, 1000}, {46, 1000}, {47, 1000}, {48, 1000}, {49, 1000}, {51, 1000}});
  rising.Limit(0.05, 0.0, 0.0);
  EXPECT_EQ(MakeAttribute(rising, kP).graphs.at(0).oocs[5], 1 << 3);
  // Both EWMA forms and the cusum depend on their past: only limits are tested.
  for (const double ewma : {1.0, 2.0})
    EXPECT_EQ(MakeAttribute(rising, kP, 0, ewma).graphs.at(0).oocs[5], 0) << ewma;
  EXPECT_EQ(MakeAttribute(rising, kP, kCusum).graphs.at(0).oocs[5], 0);
}

TEST(AttributeRun, PointsThatAllCountNothingAreMarkedByNoRule) {
  auto store = StoreOf(std::vector<Sampled>(20, Sampled{0, 50}));
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  for (const auto mark : p.coocs) EXPECT_EQ(mark, 0);
  EXPECT_EQ(p.cucl[0], 0.0);
}

TEST(AttributeRun, CusumCountsInSigmasOfItsPoint) {
  auto store = StoreOf({{10, 100}, {30, 200}, {2, 50}, {40, 100}});
  store.Limit(0.1, 0.0, 0.0);
  const auto graph = MakeAttribute(store, kP, kCusum).graphs.at(0);
  double up = 0.0, down = 0.0;
  const double shares[] = {0.1, 0.15, 0.04, 0.4}, sizes[] = {100, 200, 50, 100};
  for (std::size_t i = 0; i < 4; ++i) {
    const double y = (shares[i] - 0.1) / std::sqrt(0.09 / sizes[i]);
    up = std::max(0.0, up + y - 0.5);
    down = std::max(0.0, down - y - 0.5);
    EXPECT_NEAR(graph.points[i], up >= down ? up : -down, 1e-12) << i;
  }
  for (const auto& lines : {graph.cucl, graph.ucl}) EXPECT_EQ(lines[0], 5.0);
  for (const auto& lines : {graph.clcl, graph.lcl}) EXPECT_EQ(lines[0], -5.0);
  EXPECT_EQ(graph.cl[0], 0.0);
  EXPECT_NE(graph.oocs[3] & 2, 0);
}

TEST(AttributeRun, CusumOfNoDefectsHasNoSigmaAndSaysSo) {
  auto store = StoreOf({{0, 10}, {0, 10}});
  TakeNotes();
  const auto graph = MakeAttribute(store, kP, kCusum).graphs.at(0);
  EXPECT_TRUE(std::isnan(graph.points[0]));
  EXPECT_EQ(graph.sizes[0], 0);
  EXPECT_TRUE(HasNote(TakeNotes(), "no-cusum"));
}

TEST(AttributeRun, StandardEwmaFollowsItsRecursion) {
  auto store = StoreOf({{10, 100}, {30, 200}, {2, 50}, {40, 100}});
  const auto graph = MakeAttribute(store, kP, 0, 1.0).graphs.at(0);
  const double p = 82.0 / 450.0;
  const double shares[] = {0.1, 0.15, 0.04, 0.4}, sizes[] = {100, 200, 50, 100};
  double z = p, v = 0.0;
  for (std::size_t i = 0; i < 4; ++i) {
    z = 0.2 * shares[i] + 0.8 * z;
    v = 0.04 * p * (1 - p) / sizes[i] + 0.64 * v;
    EXPECT_NEAR(graph.points[i], z, 1e-14) << i;
    EXPECT_NEAR(graph.ccl[i], p, 1e-14) << i;
    EXPECT_NEAR(graph.cucl[i], p + 3 * std::sqrt(v), 1e-14) << i;
    EXPECT_NEAR(graph.clcl[i], p - 3 * std::sqrt(v), 1e-14) << i;
  }
}

// With one size throughout, the deviation is sigma sqrt(lambda/(2 - lambda) (1 - (1 - lambda)^2i)).
TEST(AttributeRun, StandardEwmaOfOneSizeHasTheClosedFormOfItsLimits) {
  auto store = StoreOf({{4, 100}, {6, 100}, {5, 100}, {7, 100}, {3, 100}}, ttDefects);
  const auto graph = MakeAttribute(store, kU, 0, 1.0).graphs.at(0);
  for (std::size_t i = 0; i < 5; ++i) {
    const double share = 0.2 / 1.8 * (1 - std::pow(0.8, 2.0 * static_cast<double>(i + 1)));
    EXPECT_NEAR(graph.cucl[i], 0.05 + 3 * std::sqrt(0.05 / 100 * share), 1e-14) << i;
  }
}

TEST(AttributeRun, EwmaLimitsStayWithinTheScale) {
  auto few = StoreOf({{0, 4}, {1, 4}, {0, 4}, {0, 4}, {0, 4}, {0, 4}, {0, 4}, {0, 4}});
  auto most = StoreOf({{4, 4}, {3, 4}, {4, 4}, {4, 4}, {4, 4}, {4, 4}, {4, 4}, {4, 4}});
  const struct {
    std::int32_t word;
    double top;
  } rows[] = {{kP, 1.0}, {kNp, 4.0}, {kPpt, 1e3}, {kPpm, 1e6}};
  for (const auto& row : rows) {
    for (const double ewma : {1.0, 2.0}) {
      const auto low = MakeAttribute(few, row.word, 0, ewma).graphs.at(0);
      const auto high = MakeAttribute(most, row.word, 0, ewma).graphs.at(0);
      for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_GE(low.clcl[i], 0.0);
        EXPECT_LE(high.cucl[i], row.top);
      }
      EXPECT_EQ(low.clcl[7], 0.0) << row.word << ' ' << ewma;
      EXPECT_EQ(high.cucl[7], row.top) << row.word << ' ' << ewma;
    }
  }
}

TEST(AttributeRun, TheMovingCentreLineIsTheEwmaOfThePointsBefore) {
  auto store = StoreOf({{10, 100}, {30, 200}, {2, 50}, {40, 100}});
  const double p = 82.0 / 450.0;
  const double shares[] = {0.1, 0.15, 0.04, 0.4}, sizes[] = {100, 200, 50, 100};
  for (const auto word : {kP, kNp, kPpm}) {
    const auto graph = MakeAttribute(store, word, 0, 2.0).graphs.at(0);
    double z = p;
    for (std::size_t i = 0; i < 4; ++i) {
      const double factor = word == kNp ? sizes[i] : word == kPpm ? 1e6 : 1.0;
      const double width = 3 * std::sqrt(z * (1 - z) / sizes[i]);
      EXPECT_NEAR(graph.points[i], factor * shares[i], factor * 1e-14) << "raw " << i;
      EXPECT_NEAR(graph.ccl[i], factor * z, factor * 1e-14) << i;
      EXPECT_NEAR(graph.cucl[i], factor * (z + width), factor * 1e-14) << i;
      EXPECT_NEAR(graph.clcl[i], factor * std::max(0.0, z - width), factor * 1e-14) << i;
      z = 0.2 * shares[i] + 0.8 * z;
    }
  }
}

TEST(AttributeRun, EwmaIsAboutTheStoredRateWhereThereIsOne) {
  auto store = StoreOf({{10, 100}, {30, 200}});
  store.Limit(0.1, 0.0, 0.0);
  const auto graph = MakeAttribute(store, kP, 0, 1.0).graphs.at(0);
  EXPECT_NEAR(graph.points[0], 0.1, 1e-14) << "it starts at the centre in force";
  EXPECT_NEAR(graph.cl[0], 0.1, 1e-14);
  EXPECT_NEAR(graph.ccl[0], 40.0 / 300.0, 1e-14);
  EXPECT_NEAR(graph.ucl[0], 0.1 + 3 * 0.2 * 0.03, 1e-14);
}

TEST(AttributeRun, StreamsAreJudgedEachByItself) {
  FakeStore store;
  store.AddCount(1, 10, sfEnabled, 1);
  store.AddCount(8, 10, sfEnabled, 2);
  store.AddCount(3, 10, sfEnabled, 1);
  store.AddCount(9, 20, sfEnabled, 2);
  store.types = {{1, ttDefectives}, {2, ttDefectives}};
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  EXPECT_EQ(p.points, (std::vector<double>{0.1, 0.8, 0.3, 0.45}));
  ExpectSame(p.ccl, {0.2, 17.0 / 30.0, 0.2, 17.0 / 30.0}, "centre");
}

TEST(AttributeRun, AlarmsThatDifferAreThoseOfTheStream) {
  FakeStore store;
  for (const std::int32_t test : {1, 2}) {
    for (int i = 0; i < 10; ++i) store.AddCount(1, 100, sfEnabled, test);
    store.AddCount(30, 100, sfEnabled, test);
  }
  store.types = {{1, ttDefectives}, {2, ttDefectives}};
  store.alarms[2] = 0;
  const auto p = MakeAttribute(store, kP).graphs.at(0);
  EXPECT_EQ(static_cast<std::uint32_t>(p.coocs[10]) & kLimitRule, kLimitRule);
  EXPECT_EQ(p.coocs[21], 0);
}

TEST(AttributeRun, WhatWasAskedForCountsWhereNoneIsEnabled) {
  auto store = StoreOf({{1, 10, sfDisabled}, {3, 10, sfDisabled}});
  constexpr std::int32_t kDisabledAlone = 2;
  EXPECT_DOUBLE_EQ(MakeAttribute(store, kP, 0, 0.0, kDisabledAlone).graphs.at(0).ccl[0], 0.2);
}

TEST(AttributeRun, SpecificationLinesStandAtTheirTimes) {
  auto store = StoreOf({{1, 10}, {3, 10}});
  store.Spec(0.0, 0.0, 2.0, slfUSL, 10);
  const auto chart = MakeAttribute(store, kP);
  ExpectSame(chart.usls, {kNaN, 2.0}, "upper");
  ExpectSame(chart.lsls, {kNaN, kNaN}, "lower");
  EXPECT_EQ(chart.specs.size(), 1U);
}

TEST(AttributeRun, WritesNothingForWhatItDoesNotHave) {
  auto store = StoreOf({{1, 10}, {3, 10}});
  AttributeRun run;
  API_DSInfo info{};
  ASSERT_EQ(run.Process(store, info, {}, {kP, 0, 0.0}), kP);
  std::vector<double> out(2, -1.0);
  const platform::ArrayRef array{out.data(), sizeof(double), out.size()};
  using platform::ChartData;
  EXPECT_EQ(run.Deliver(array, ChartData::Points, 2), 0) << "there is one graph";
  EXPECT_EQ(run.Deliver(array, ChartData::Points, 0), 0);
  EXPECT_EQ(run.Deliver(array, static_cast<ChartData>(99), 1), 0);
  EXPECT_EQ(run.Deliver(array, ChartData::SGSizes, 1), 0) << "elements of another size";
  EXPECT_EQ(run.Deliver({out.data(), sizeof(double), 1}, ChartData::Points, 1), 0) << "too short";
  EXPECT_EQ(out, (std::vector<double>{-1.0, -1.0}));
  run.Clear();
  EXPECT_EQ(run.Deliver(array, ChartData::Points, 1), 0) << "no open run";
}

TEST(AttributeRun, ReportsItsMeanAsARateAUnit) {
  auto store = StoreOf({{3, 100}, {5, 300}, {9, 100, sfDisabled}});
  const auto chart = MakeAttribute(store, kPpm);
  EXPECT_DOUBLE_EQ(chart.estimates.mean, 0.02) << "what a stored limit holds";
  EXPECT_EQ(chart.estimates.mean_name, "defectives / units");
  EXPECT_EQ(chart.estimates.mean_used, 2);
  EXPECT_EQ(chart.estimates.mean_size, 200.0);
  EXPECT_FALSE(chart.estimates.sp.Exists());
}

}  // namespace orvspc::engine::test
