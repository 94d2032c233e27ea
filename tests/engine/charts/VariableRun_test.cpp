// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/VariableRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <random>

#include "platform/NaN.h"
#include "tests/engine/charts/FakeStore.h"

namespace orvspc::engine::test {
using namespace catalogue;
using namespace store;
using namespace statistics;
using namespace charts;

namespace {

using platform::kNaN;

using Sizes = std::vector<std::int32_t>;

// Every chart of the variable road.
std::vector<std::int32_t> AllWords() {
  std::vector<std::int32_t> words{0};
  for (std::int32_t word = 0x100; word <= 0xFFF; ++word) {
    if (IsVariableWord(word)) words.push_back(word);
  }
  return words;
}

std::vector<std::vector<double>> Samples(unsigned seed, std::size_t count, std::size_t size,
                                         bool varying = false) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal(50.0, 2.0);
  std::vector<std::vector<double>> samples(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto pieces = varying && i % 3 == 1 ? size - 1 : size;
    for (std::size_t j = 0; j < pieces; ++j) {
      samples[i].push_back(normal(random) + (i > count / 2 ? 3.0 : 0.0));
    }
  }
  return samples;
}

void ExpectEqual(const std::vector<double>& actual, const std::vector<double>& expected,
                 const std::string& what, double tolerance = 0.0) {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (std::isnan(expected[i])) {
      EXPECT_TRUE(std::isnan(actual[i])) << what << " at " << i;
    } else {
      EXPECT_NEAR(actual[i], expected[i], tolerance) << what << " at " << i;
    }
  }
}

// The elements of a column at some places.
template <class T>
std::vector<T> At(const std::vector<T>& column, const std::vector<std::size_t>& places) {
  std::vector<T> part;
  if (column.empty()) return part;
  for (const auto place : places) part.push_back(column[place]);
  return part;
}

struct Column {
  const char* name;
  std::vector<double> MadeGraph::*values;
};
constexpr Column kColumns[] = {{"points", &MadeGraph::points}, {"cucl", &MadeGraph::cucl},
                               {"ccl", &MadeGraph::ccl},       {"clcl", &MadeGraph::clcl},
                               {"ucl", &MadeGraph::ucl},       {"cl", &MadeGraph::cl},
                               {"lcl", &MadeGraph::lcl}};

// The chart at these places is the other chart, point by point.
void ExpectChartAt(const MadeChart& chart, const std::vector<std::size_t>& places,
                   const MadeChart& other, const std::string& what) {
  ASSERT_EQ(chart.graphs.size(), other.graphs.size()) << what;
  for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
    const auto& ours = chart.graphs[g];
    const auto& theirs = other.graphs[g];
    const auto where = what + " graph " + std::to_string(g + 1) + " ";
    for (const auto& column : kColumns) {
      ExpectEqual(At(ours.*column.values, places), theirs.*column.values, where + column.name,
                  1e-9);
    }
    EXPECT_EQ(At(ours.sizes, places), theirs.sizes) << where;
    EXPECT_EQ(At(ours.coocs, places), theirs.coocs) << where;
    EXPECT_EQ(At(ours.oocs, places), theirs.oocs) << where;
  }
}

std::string Hex(std::int32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%03X", static_cast<unsigned>(word));
  return text;
}

void AddSpec(FakeStore& store) { store.Spec(40.0, 50.0, 60.0, slfUSL | slfTAR | slfLSL); }

}  // namespace

TEST(VariableRunInvariant, DisablingASubgroupIsDeletingItForTheOthers) {
  for (const std::size_t size : {1U, 4U}) {
    for (const auto word : AllWords()) {
      for (const std::int32_t processing : {0, 16}) {
        const auto samples = Samples(3, 24, size, size > 1);
        FakeStore with, without;
        AddSpec(with);
        AddSpec(without);
        std::vector<std::size_t> places;
        for (std::size_t i = 0; i < samples.size(); ++i) {
          const bool out = i == 0 || i == 5 || i == 6 || i == 23;
          with.Add({samples[i], out ? sfDisabled : sfEnabled});
          if (out) continue;
          without.Add({samples[i]});
          places.push_back(i);
        }
        const auto chart = Make(with, word, processing);
        ExpectChartAt(chart, places, Make(without, word, processing), Hex(word));
        ASSERT_FALSE(chart.graphs.empty());
        EXPECT_FALSE(std::isnan(chart.graphs[0].points[5])) << "a disabled point is plotted";
        for (const auto& graph : chart.graphs) {
          for (const std::size_t i : {0U, 5U, 6U, 23U}) {
            EXPECT_EQ(graph.coocs[i], 0);
            EXPECT_EQ(graph.oocs[i], 0);
          }
        }
      }
    }
  }
}

TEST(VariableRunInvariant, TwoStreamsInOneChartAreTwoCharts) {
  for (const auto word : AllWords()) {
    const auto samples = Samples(11, 30, 3);
    FakeStore both, first, second;
    for (auto* store : {&both, &first, &second}) {
      AddSpec(*store);
      store->specs.push_back(store->specs[0]);
      store->specs[1].F_TEST_ = 2;
      store->specs[1].F_USL = 58.0;
    }
    std::vector<std::size_t> of_first, of_second;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const bool is_first = i % 3 != 1;
      const std::int32_t test = is_first ? 1 : 2;
      both.Add({samples[i], sfEnabled, test});
      (is_first ? first : second).Add({samples[i], sfEnabled, test});
      (is_first ? of_first : of_second).push_back(i);
    }
    const auto chart = Make(both, word);
    ExpectChartAt(chart, of_first, Make(first, word), Hex(word));
    ExpectChartAt(chart, of_second, Make(second, word), Hex(word));
  }
}

// Where a row with its two sigmas cannot say what the first points had on a graph.
enum class Frozen { Same, Calculated, Ratio };
Frozen FrozenLinesOf(std::int32_t word, std::size_t graph, std::size_t pieces, bool readings) {
  const auto one = word >> 8, two = word >> 4 & 15, three = word & 15;
  if (graph != 1 || pieces == 1) return Frozen::Same;
  const bool ranges = two == ccGraph2Range || two == ccGraph2Sd;
  // The row's second sigma is that of a reading, its first that of the points.
  if (one == ccGraph1Ix && readings && three != 0 && (ranges || two == ccGraph2Cv)) {
    return Frozen::Calculated;
  }
  // The coefficient is the ratio of sigma and mean, which is another estimate than the first one's.
  if (two == ccGraph2Cv) return Frozen::Ratio;
  // Both sigmas of the row are from inside the subgroups, or from readings.
  const bool own_moving = one == ccGraph1Ma || one == ccGraph1Pc;
  return own_moving && two == ccGraph2Mr ? Frozen::Calculated : Frozen::Same;
}

TEST(VariableRunInvariant, FrozenLimitsAreThoseOfTheFirstPointsAlone) {
  std::array<int, 3> met{};
  for (const auto asked : AllWords()) {
    for (const std::size_t size : {1U, 2U, 4U, 12U}) {
      for (const bool readings : {false, true}) {
        const auto samples = Samples(5, 30, size);
        FakeStore start, all;
        for (auto* store : {&start, &all}) {
          AddSpec(*store);
          for (std::size_t i = 0; i < (store == &all ? 30U : 12U); ++i) {
            if (!readings) {
              store->Add({samples[i]});
              continue;
            }
            std::vector<std::vector<double>> inside;
            for (std::size_t j = 0; j < size; ++j) {
              const double width = 0.25 * static_cast<double>(1 + (3 * i + j) % 4);
              inside.push_back({samples[i][j] - width, samples[i][j], samples[i][j] + 2 * width});
            }
            store->AddWithReadings(inside);
          }
        }
        const auto first = Make(start, asked);
        all.Limit(first.estimates.mean, first.estimates.sp.value, first.estimates.sw.value, 0, 1,
                  first.word);
        const auto chart = Make(all, asked);
        ASSERT_EQ(chart.word, first.word);
        for (std::size_t g = first.word >> 8 == ccGraph1Pc ? 1 : 0; g < first.graphs.size(); ++g) {
          const auto kind = FrozenLinesOf(first.word, g, size, readings);
          ++met[static_cast<std::size_t>(kind)];
          const auto& ours = chart.graphs[g];
          const auto& expected = kind == Frozen::Same ? first.graphs[g] : chart.graphs[g];
          const auto where = Hex(first.word) + " graph " + std::to_string(g + 1) + " pieces " +
                             std::to_string(size) + (readings ? " with readings" : "");
          for (std::size_t i = 0; i < 12; ++i) {
            if (std::isnan(expected.ccl[i])) continue;
            if (kind == Frozen::Ratio) {
              EXPECT_NEAR(ours.cl[i], first.graphs[g].ccl[i], 0.1 * first.graphs[g].ccl[i])
                  << where;
              continue;
            }
            EXPECT_NEAR(ours.ucl[i], expected.cucl[i], 1e-9) << where;
            EXPECT_NEAR(ours.cl[i], expected.ccl[i], 1e-9) << where;
            EXPECT_NEAR(ours.lcl[i], expected.clcl[i], 1e-9) << where;
            EXPECT_EQ(ours.oocs[i], expected.coocs[i]) << where;
          }
        }
      }
    }
  }
  for (const auto count : met) EXPECT_GT(count, 0);
}

// x -> 3 x + 1000 moves locations, stretches spreads and leaves every mark where it was.
TEST(VariableRunInvariant, ShiftAndScale) {
  for (const auto word : AllWords()) {
    if ((word >> 4 & 15) == ccGraph2Cv) continue;
    auto samples = Samples(9, 40, 3, true);
    FakeStore store(samples);
    AddSpec(store);
    for (auto& pieces : samples) {
      for (auto& piece : pieces) piece = 3.0 * piece + 1000.0;
    }
    FakeStore moved(samples);
    moved.Spec(1120.0, 1150.0, 1180.0, slfUSL | slfTAR | slfLSL);
    const auto chart = Make(store, word), other = Make(moved, word);
    ASSERT_EQ(chart.word, other.word);
    for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
      const double offset = g == 0 ? 1000.0 : 0.0;
      const auto where = Hex(word) + " graph " + std::to_string(g + 1);
      for (const auto& column : kColumns) {
        auto expected = chart.graphs[g].*column.values;
        for (auto& value : expected) value = 3.0 * value + offset;
        ExpectEqual(other.graphs[g].*column.values, expected, where + column.name, 1e-8);
      }
      EXPECT_EQ(other.graphs[g].coocs, chart.graphs[g].coocs) << where;
      EXPECT_EQ(other.graphs[g].oocs, chart.graphs[g].oocs) << where;
    }
  }
}

TEST(VariableRunContract, EmptySelectionGivesNothingAndANote) {
  for (const auto word : AllWords()) {
    FakeStore store;
    TakeNotes();
    EXPECT_EQ(Make(store, word).word, 0);
    EXPECT_EQ(TakeNotes().at(0).code, "no-data");
    EXPECT_TRUE(store.failures.empty()) << "no data is no failure";
  }
}

TEST(VariableRunContract, OnePoint) {
  for (const auto word : AllWords()) {
    FakeStore store(Groups{{49.0}});
    AddSpec(store);
    const auto chart = Make(store, word);
    ASSERT_NE(chart.word, 0);
    EXPECT_EQ(chart.totals.SubgroupCount, 1);
    EXPECT_EQ(chart.graphs[0].points[0], 49.0);
    if (word >> 8 == ccGraph1Pc) continue;
    EXPECT_EQ(chart.graphs[0].ccl[0], 49.0) << "the centre needs no sigma";
    EXPECT_TRUE(std::isnan(chart.graphs[0].cucl[0]));
    EXPECT_TRUE(std::isnan(chart.graphs[0].clcl[0]));
    EXPECT_EQ(chart.graphs[0].coocs[0], 0);
  }
}

TEST(VariableRunContract, AllEqualGivesLimitsOnTheCentreAndNoMark) {
  for (const auto word : AllWords()) {
    FakeStore store(std::vector<std::vector<double>>(20, {0.1, 0.1, 0.1}));
    store.Spec(0.0, 0.1, 0.2, slfUSL | slfTAR | slfLSL);
    const auto chart = Make(store, word);
    if (word >> 8 != ccGraph1Pc) {
      for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_DOUBLE_EQ(chart.graphs[0].ccl[i], 0.1) << Hex(word);
        EXPECT_EQ(chart.graphs[0].cucl[i], chart.graphs[0].ccl[i]) << Hex(word);
        EXPECT_EQ(chart.graphs[0].clcl[i], chart.graphs[0].ccl[i]) << Hex(word);
      }
    }
    for (const auto& graph : chart.graphs) {
      EXPECT_EQ(graph.coocs, Sizes(20, 0)) << Hex(word);
      EXPECT_EQ(graph.oocs, Sizes(20, 0)) << Hex(word);
    }
  }
}

TEST(VariableRun, WithSigmaZeroALimitIsStillTested) {
  FakeStore store(std::vector<std::vector<double>>(12, {5.0, 5.0}));
  store.Add({{6.0, 6.0}});
  store.Limit(5.0, 0.0, 0.0);
  const auto chart = Make(store, 0x110);
  EXPECT_EQ(chart.graphs[0].oocs[12], 1 << 1);
  EXPECT_EQ(chart.graphs[0].oocs[11], 0) << "no zone rule without a sigma";
}

TEST(VariableRunContract, APointWithoutValue) {
  for (const auto word : AllWords()) {
    auto samples = Samples(2, 12, 3);
    samples[4] = {kNaN, kNaN, kNaN};
    FakeStore store(samples);
    AddSpec(store);
    const auto chart = Make(store, word);
    for (const auto& graph : chart.graphs) {
      EXPECT_TRUE(std::isnan(graph.points[4])) << Hex(word);
      EXPECT_EQ(graph.sizes[4], 0) << Hex(word);
      EXPECT_EQ(graph.coocs[4], 0) << Hex(word);
    }
    EXPECT_EQ(chart.totals.TestCount, 36);
    if (word >> 8 != ccGraph1Pc) {
      EXPECT_FALSE(std::isnan(chart.graphs[0].ccl[4])) << "the centre goes on: " << Hex(word);
    }
  }
}

TEST(VariableRunContract, NoValueAnywhere) {
  for (const auto word : AllWords()) {
    FakeStore store({{kNaN}, {kNaN, kNaN}});
    AddSpec(store);
    const auto chart = Make(store, word);
    ASSERT_NE(chart.word, 0) << Hex(word);
    EXPECT_EQ(chart.graphs[0].sizes, (Sizes{0, 0})) << Hex(word);
  }
}

TEST(VariableRunContract, VariableSizesStepWhereTheSizeDecides) {
  for (const auto word : AllWords()) {
    const auto kind = word >> 8;
    if (kind != ccGraph1XBar && kind != ccGraph1XMed) continue;
    if ((word >> 4 & 15) == ccGraph2Mr) continue;
    FakeStore store(Samples(4, 20, 5, true));
    const auto chart = Make(store, word);
    EXPECT_GT(chart.graphs[0].cucl[1], chart.graphs[0].cucl[0]) << "four pieces against five";
    EXPECT_EQ(chart.graphs[0].cucl[2], chart.graphs[0].cucl[0]);
  }
}

TEST(VariableRun, SubgroupsThatDoNotCountAreEstimatedFromOnlyWhereNothingElseWasAskedFor) {
  FakeStore store;
  store.Add({{1, 3}, sfDisabled});
  store.Add({{5, 7}, sfIncomplete});
  EXPECT_EQ(Make(store, 0x110, 0, 6).estimates.mean, 4.0);
  const auto chart = Make(store, 0x110, 0, 7);
  EXPECT_TRUE(std::isnan(chart.estimates.mean));
  EXPECT_EQ(chart.graphs[0].points, (std::vector<double>{2.0, 6.0}));
}

TEST(VariableRun, MarksOfBothFormsAreRunApart) {
  // Nine points above 5 but not above their own mean.
  std::vector<std::vector<double>> samples;
  for (int i = 0; i < 10; ++i) samples.push_back({5.5 + 0.25 * (i % 2), 6.5});
  FakeStore store(samples);
  store.Limit(5.0, 1.0, 1.0);
  const auto chart = Make(store, 0x110);
  const std::int32_t nine_in_a_row = 1 << 2;
  EXPECT_EQ(chart.graphs[0].coocs[9] & nine_in_a_row, 0);
  EXPECT_EQ(chart.graphs[0].oocs[8] & nine_in_a_row, nine_in_a_row);
  EXPECT_EQ(chart.graphs[0].oocs[7] & nine_in_a_row, 0);
}

// Only graph 1 of a cusum shows one form twice.
TEST(VariableRun, MarksOfBothFormsAreRunApartBesideACusum) {
  FakeStore store({{1, 2}, {1, 2}, {1, 2}, {1, 2}, {1, 9}});
  store.Limit(1.5, 0.1, 0.1);
  const auto plain = Make(store, 0x112), cusum = Make(store, 0x112, 16);
  EXPECT_EQ(plain.graphs[1].coocs, (Sizes{0, 0, 0, 0, 2}));
  EXPECT_EQ(plain.graphs[1].oocs, (Sizes{2, 2, 2, 2, 2}));
  for (const std::size_t graph : {1U, 2U}) {
    EXPECT_EQ(cusum.graphs[graph].coocs, plain.graphs[graph].coocs) << graph;
    EXPECT_EQ(cusum.graphs[graph].oocs, plain.graphs[graph].oocs) << graph;
  }
}

// Large enough for two threads; the seam between them must not show. The data repeat every 100
// points, and so must the marks.
TEST(VariableRun, MarksOfALargeStreamAreThoseOfItsParts) {
  constexpr std::size_t kCount = 100'050, kPeriod = 100;
  const auto pattern = Samples(8, kPeriod, 1);
  FakeStore store;
  for (std::size_t i = 0; i < kCount; ++i) store.Add({pattern[i % kPeriod]});
  store.Limit(51.0, 1.5, 1.5);
  const auto chart = Make(store, 0x330);
  const auto& graph = chart.graphs[0];
  for (const auto* marks : {&graph.coocs, &graph.oocs}) {
    EXPECT_GT(std::count_if(marks->begin(), marks->end(), [](auto mark) { return mark != 0; }),
              1000);
    for (std::size_t i = 2 * kPeriod; i < kCount; ++i) {
      ASSERT_EQ((*marks)[i], (*marks)[i - kPeriod]) << i;
    }
  }
  EXPECT_NE(graph.coocs, graph.oocs);
}

// What two threads deliver: each column is that of a period again and again, to its end.
TEST(VariableRun, ColumnsOfALargeStreamAreDeliveredToTheirEnd) {
  constexpr std::size_t kCount = 100'050, kPeriod = 100;
  const auto pattern = Samples(8, kPeriod, 3);
  FakeStore store;
  for (std::size_t i = 0; i < kCount; ++i) store.Add({pattern[i % kPeriod]});
  store.Limit(51.0, 1.5, 1.5);
  store.Spec(40.0, 50.0, 60.0, slfUSL | slfTAR | slfLSL);
  const auto chart = Make(store, 0x110);
  const auto repeats = [&](const auto& column, const char* name) {
    ASSERT_EQ(column.size(), kCount) << name;
    for (std::size_t i = kPeriod; i < kCount; ++i) {
      ASSERT_EQ(column[i], column[i - kPeriod]) << name << " " << i;
    }
    EXPECT_NE(column.front(), typename std::decay_t<decltype(column)>::value_type{}) << name;
  };
  for (std::size_t g = 0; g < 2; ++g) {
    SCOPED_TRACE(g);
    const auto& graph = chart.graphs[g];
    repeats(graph.points, "points");
    repeats(graph.sizes, "sizes");
    for (const auto* line : {&graph.cucl, &graph.ccl, &graph.ucl, &graph.cl})
      repeats(*line, "line");
  }
  for (const auto* line : {&chart.usls, &chart.targets, &chart.lsls})
    repeats(*line, "specification");
}

TEST(VariableRun, ACusumWithoutASigmaAboveZeroSaysSo) {
  FakeStore store(std::vector<std::vector<double>>(4, {5.0, 5.0}));
  TakeNotes();
  const auto chart = Make(store, 0x110, 16);
  EXPECT_EQ(chart.graphs[0].sizes, (Sizes{0, 0, 0, 0}));
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "no-cusum");
  store.Limit(5.0, 1.0, 1.0);
  EXPECT_EQ(Make(store, 0x110, 16).graphs[0].sizes, (Sizes{2, 2, 2, 2}));
  EXPECT_TRUE(TakeNotes().empty());
}

// Pieces of both signs near the largest number: what cannot be held is no value anywhere.
TEST(VariableRunContract, ValuesBeyondTheLargestNumberAreNoValues) {
  for (const auto word : AllWords()) {
    for (const std::int32_t processing : {0, 16}) {
      auto samples = Samples(6, 12, 3);
      samples[4] = {1e308, -1e308, 1e308};
      samples[8] = {-1.7e308, -1.7e308, -1.7e308};
      FakeStore store(samples);
      store.Spec(-1.7e308, 0.0, 1.7e308, slfUSL | slfTAR | slfLSL);
      TakeNotes();
      const auto chart = Make(store, word, processing);
      const auto notes = TakeNotes();
      EXPECT_TRUE(std::any_of(notes.begin(), notes.end(), [](const auto& note) {
        return note.code == "overflow";
      })) << Hex(word);
      for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
        const auto where = Hex(word) + " graph " + std::to_string(g + 1) + " ";
        const auto& graph = chart.graphs[g];
        for (const auto& column : kColumns) {
          for (const double value : graph.*column.values) {
            EXPECT_FALSE(std::isinf(value)) << where << column.name;
          }
        }
        for (std::size_t i = 0; i < samples.size(); ++i) {
          EXPECT_EQ(graph.sizes[i] == 0, std::isnan(graph.points[i])) << where << i;
        }
      }
      for (const double figure : {chart.estimates.mean, chart.estimates.sp.value,
                                  chart.estimates.sw.value, chart.estimates.gamma.value}) {
        EXPECT_FALSE(std::isinf(figure)) << Hex(word);
      }
    }
  }
}

TEST(VariableRun, ARangeOrDeviationThatCannotBeHeldTakesNoPart) {
  FakeStore with({{1, 3}, {1e308, -1e308}, {2, 6}}), without({{1, 3}, {0, 0}, {2, 6}});
  without.data.subgroups[1].Flag = sfDisabled;
  for (const std::int32_t word : {0x110, 0x120}) {
    const auto chart = Make(with, word);
    EXPECT_EQ(chart.graphs[0].points, (std::vector<double>{2, 0, 4})) << "the mean can be held";
    EXPECT_TRUE(std::isnan(chart.graphs[1].points[1]));
    EXPECT_EQ(chart.graphs[1].sizes, (Sizes{2, 0, 2}));
    EXPECT_DOUBLE_EQ(chart.estimates.sp.value, Make(without, word).estimates.sp.value);
    EXPECT_EQ(chart.estimates.sp.used, 2);
  }
}

TEST(VariableRun, StoredRowInForceAtEachPointAndRunsBeginAnewWithIt) {
  std::vector<std::vector<double>> samples(16, {6.0, 6.5});
  FakeStore store(samples);
  store.Limit(5.0, 1.0, 1.0, 50);   // from point 5 on
  store.Limit(5.1, 2.0, 2.0, 120);  // from point 12 on
  TakeNotes();
  const auto chart = Make(store, 0x110);
  EXPECT_EQ(chart.graphs[0].cl[4], chart.graphs[0].ccl[4]) << "none yet: calculated";
  EXPECT_EQ(chart.graphs[0].cl[5], 5.0);
  EXPECT_EQ(chart.graphs[0].cl[12], 5.1);
  EXPECT_NEAR(chart.graphs[0].ucl[12], 5.1 + 6.0 / std::sqrt(2.0), 1e-12);
  EXPECT_EQ(chart.totals.CtrlLimCount, 2);
  const std::int32_t seven_in_a_row = 1 << 10;
  EXPECT_EQ(chart.graphs[0].oocs[11] & seven_in_a_row, seven_in_a_row) << "5 to 11";
  EXPECT_EQ(chart.graphs[0].oocs[12] & seven_in_a_row, 0);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "limits-changed");
  EXPECT_EQ(notes[0].stream, "1 / 1 / 1");
}

TEST(VariableRun, FieldsThatAStoredRowLacksAreCalculated) {
  FakeStore store({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}});
  store.Limit(4.0, 0.0, 0.0);
  auto chart = Make(store, 0x112);
  EXPECT_EQ(chart.graphs[0].cl[0], 4.0);
  EXPECT_EQ(chart.graphs[1].ucl[0], chart.graphs[1].cucl[0]);
  EXPECT_EQ(chart.graphs[2].ucl[0], chart.graphs[2].cucl[0]);
  store.limits[0].row.F_SP = 2.0;
  chart = Make(store, 0x111);
  EXPECT_NEAR(chart.graphs[1].cl[0], 2.0 * 1.692568750643269, 1e-10);
  EXPECT_EQ(chart.graphs[2].cl[0], chart.graphs[1].cl[0]) << "no SW: SP";
  store.limits[0].row.F_SW = 1.0;
  chart = Make(store, 0x111);
  EXPECT_NEAR(chart.graphs[2].cl[0], 1.692568750643269, 1e-10);
  EXPECT_NEAR(chart.graphs[1].cl[0], 2.0 * 1.692568750643269, 1e-10);
  store.limits[0].chart_word = 0x130;
  chart = Make(store, 0x111);
  EXPECT_NEAR(chart.graphs[1].cl[0], 1.692568750643269, 1e-10)
      << "SW of a three-way chart is the sigma inside the subgroup";
}

// What a coefficient of variation is about is the sigma inside the subgroups, wherever a row has
// it.
TEST(VariableRun, TheCoefficientOfARowComesFromItsSigmaInsideTheSubgroups) {
  FakeStore store({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}});
  store.Limit(4.0, 2.0, 0.5);
  const double c4 = 0.886226925452758;
  const auto centre = [&](double gamma) { return c4 * gamma * (1.0 + gamma * gamma / 3.0); };
  EXPECT_NEAR(Make(store, 0x140).graphs[1].cl[0], centre(2.0 / 4.0), 1e-12);
  store.limits[0].chart_word = 0x340;
  EXPECT_NEAR(Make(store, 0x340).graphs[1].cl[0], centre(0.5 / 4.0), 1e-12);
}

// A row of individuals without a third graph has the sigma inside the subgroups also where the
// chart shown looks inside the pieces.
TEST(VariableRun, ARowWithoutThirdGraphDrivesTheRangesOfOneWithReadings) {
  FakeStore store;
  store.AddWithReadings({{1, 2}, {3, 6}});
  store.AddWithReadings({{2, 4}, {4, 4}});
  store.Limit(3.0, 2.0, 0.5, 0, 1, 0x310);
  EXPECT_NEAR(Make(store, 0x311).graphs[1].cl[0], 0.5 * 1.1283791670955126, 1e-12);
  store.limits[0].chart_word = 0x311;
  const auto chart = Make(store, 0x311);
  EXPECT_EQ(chart.graphs[1].cl[0], chart.graphs[1].ccl[0]) << "SW is that of a reading";
}

TEST(VariableRun, ARowForAnyProcessIsDeliveredOnce) {
  FakeStore store;
  store.Add({{1.0, 2.0}, sfEnabled, 1, 1});
  store.Add({{1.0, 2.0}, sfEnabled, 1, 2});
  store.Limit(1.5, 1.0, 1.0, 0, 0);
  const auto chart = Make(store, 0x110);
  ASSERT_EQ(chart.limits.size(), 1U);
  EXPECT_EQ(chart.limits[0].F_MEAN, 1.5);
}

TEST(VariableRun, SpecificationLinesAreThoseInForceAtEachPoint) {
  FakeStore store({{1.0}, {2.0}, {3.0}});
  store.Spec(0.0, 0.0, 5.0, slfUSL, 10);
  store.Spec(1.0, 3.0, 6.0, slfUSL | slfTAR | slfLSL, 20);
  TakeNotes();
  const auto chart = Make(store, 0x330);
  ExpectEqual(chart.usls, {kNaN, 5.0, 6.0}, "upper");
  ExpectEqual(chart.targets, {kNaN, kNaN, 3.0}, "target");
  ExpectEqual(chart.lsls, {kNaN, kNaN, 1.0}, "lower");
  ASSERT_EQ(chart.specs.size(), 1U) << "the one in force at the newest point";
  EXPECT_EQ(chart.specs[0].F_USL, 6.0);
  EXPECT_EQ(TakeNotes().at(0).code, "specification-changed");
}

// Each stream alone knows one version, and the values of the first are judged by the second's.
TEST(VariableRun, ASpecificationThatChangesBetweenTwoStreamsIsToldOfTheOneBefore) {
  FakeStore store;
  store.Add({{1.0}, sfEnabled, 1, 1});
  store.Add({{2.0}, sfEnabled, 1, 1});
  store.Add({{3.0}, sfEnabled, 1, 2});
  store.Add({{4.0}, sfEnabled, 1, 2});
  store.Spec(0.0, 0.0, 5.0, slfUSL, 0);
  store.Spec(0.0, 0.0, 7.0, slfUSL, 20);
  TakeNotes();
  const auto chart = Make(store, 0x330);
  ExpectEqual(chart.usls, {5.0, 5.0, 7.0, 7.0}, "upper");
  ASSERT_EQ(chart.specs.size(), 1U);
  EXPECT_EQ(chart.specs[0].F_USL, 7.0);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "specification-changed");
  EXPECT_EQ(notes[0].stream, "1 / 1 / 1");
}

TEST(VariableRun, OneSpecificationRowForEachPartAndTest) {
  FakeStore store;
  store.Add({{1.0}, sfEnabled, 1, 1});
  store.Add({{1.0}, sfEnabled, 1, 2});
  store.Add({{1.0}, sfEnabled, 2, 1});
  store.Spec(0.0, 0.0, 5.0, slfUSL);
  store.Spec(0.0, 0.0, 7.0, slfUSL, 10);
  store.specs.push_back(store.specs[0]);
  store.specs[2].F_TEST_ = 2;
  const auto chart = Make(store, 0x330);
  ASSERT_EQ(chart.specs.size(), 2U);
  EXPECT_EQ(chart.specs[0].F_USL, 7.0) << "newest of both processes";
}

TEST(VariableRun, MarksOfARuleThatIsOffForAStreamAreTakenAway) {
  FakeStore store;
  for (int i = 0; i < 24; ++i) store.Add({{5.0 + 0.1 * (i % 4)}, sfEnabled, 1 + i % 2});
  store.Add({{50.0}, sfEnabled, 1});
  store.Add({{50.0}, sfEnabled, 2});
  store.alarms = {{1, ~2U}, {2, ~0U}};
  const auto chart = Make(store, 0x330);
  EXPECT_EQ(chart.graphs[0].coocs[24] & 2, 0);
  EXPECT_EQ(chart.graphs[0].coocs[25] & 2, 2);
  store.alarms[2] = ~2U;
  EXPECT_EQ(Make(store, 0x330).graphs[0].coocs[25] & 2, 2)
      << "where all streams agree the reader's mask does it";
}

TEST(VariableRun, NotesOfSigmaAndChangedGraphs) {
  FakeStore store(Groups{{1.0}});
  TakeNotes();
  Make(store, 0x110);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 2U);
  EXPECT_EQ(notes[0].code, "graph-changed");
  EXPECT_EQ(notes[1].code, "no-sigma");
}

TEST(VariableRun, AFailedSelectionIsNoEmptyOne) {
  FakeStore store(Groups{{1.0}});
  store.select_fails = "disk";
  TakeNotes();
  EXPECT_EQ(Make(store, 0x110).word, 0);
  EXPECT_TRUE(TakeNotes().empty());
  EXPECT_EQ(store.failures.size(), 1U);
}

TEST(VariableRun, AWordOfTheOtherRoadIsRefusedWithAReason) {
  FakeStore store(Groups{{1.0}});
  for (const std::int32_t word : {0x600, 0xD00, 0x150, 0x103, 0x10000}) {
    EXPECT_EQ(Make(store, word).word, 0);
  }
  EXPECT_EQ(store.failures.size(), 5U);
}

class Delivery : public testing::Test {
 protected:
  Delivery() : store_({{1, 2, 3}, {3, 5, 7}, {2, 2, 2}}) {
    store_.Spec(0, 2, 9, slfUSL);
    API_DSInfo info{};
    API_CCVarOptions options{};
    options.ChartWord = 0x110;
    EXPECT_EQ(run_.Process(store_, info, {}, options), 0x110);
  }
  // Calls with an array of count elements of a size; true when nothing at all was written.
  bool LeavesAlone(platform::ChartData code, std::int32_t graph, std::size_t element,
                   std::size_t count) {
    std::vector<unsigned char> bytes(element * count + 64, 0xA5);
    const auto before = bytes;
    const auto result = run_.Deliver({bytes.data(), element, count}, code, graph);
    return result == 0 && bytes == before;
  }

  FakeStore store_;
  VariableRun run_;
};

TEST_F(Delivery, WritesNothingIntoAnArrayThatIsTooShortOrHoldsSomethingElse) {
  using enum platform::ChartData;
  struct Row {
    platform::ChartData code;
    std::size_t element, needed;
  };
  const Row rows[] = {{Points, 8, 3},    {SGSizes, 4, 3}, {cOOCs, 4, 3},      {OOCs, 4, 3},
                      {cUCLs, 8, 3},     {cCLs, 8, 3},    {cLCLs, 8, 3},      {UCLs, 8, 3},
                      {Cls, 8, 3},       {LCLs, 8, 3},    {USLs, 8, 3},       {Targets, 8, 3},
                      {LSLs, 8, 3},      {Totals, 28, 1}, {Subgroups, 64, 3}, {Tests, 32, 9},
                      {SpecLims, 744, 1}};
  for (const auto& row : rows) {
    const auto code = static_cast<int>(row.code);
    EXPECT_TRUE(LeavesAlone(row.code, 1, row.element, row.needed - 1)) << code;
    EXPECT_TRUE(LeavesAlone(row.code, 1, row.element + 4, row.needed + 5)) << code;
    EXPECT_EQ(run_.Deliver({nullptr, row.element, row.needed}, row.code, 1), 0) << code;
  }
}

TEST_F(Delivery, UnknownCodesAndGraphsWriteNothing) {
  using enum platform::ChartData;
  for (const std::int32_t code : {-1, 0, 2, 14, 17, 21, 36, 38, 1000}) {
    for (const std::size_t element : {4U, 8U, 28U, 32U, 40U, 64U, 744U}) {
      EXPECT_TRUE(LeavesAlone(static_cast<platform::ChartData>(code), 1, element, 20)) << code;
    }
  }
  for (const std::int32_t graph : {-1, 0, 3, 4, 1000}) {
    EXPECT_TRUE(LeavesAlone(Points, graph, 8, 20)) << graph;
    EXPECT_TRUE(LeavesAlone(OOCs, graph, 4, 20)) << graph;
  }
  EXPECT_TRUE(LeavesAlone(USLs, 2, 8, 20)) << "specification lines belong to graph 1";
}

TEST_F(Delivery, FillsTheFirstElementsOfALongerArray) {
  std::vector<double> points(5, -1.0);
  EXPECT_EQ(run_.Deliver({points.data(), 8, 5}, platform::ChartData::Points, 1), 3);
  EXPECT_EQ(points, (std::vector<double>{2.0, 5.0, 2.0, -1.0, -1.0}));
}

TEST_F(Delivery, TheTestsCanBeTakenOnce) {
  using enum platform::ChartData;
  const auto tests = Fetch<API_TestData>(run_, Tests, 0, 9);
  ASSERT_EQ(tests.size(), 9U);
  EXPECT_EQ(tests[4].Val, 5.0);
  EXPECT_EQ(tests[4].Tsno, 2);
  EXPECT_TRUE(LeavesAlone(Tests, 0, 32, 9)) << "the values left with the first call";
  EXPECT_EQ(Fetch<API_CCTotals>(run_, Totals, 0, 1)[0].TestCount, 9);
  EXPECT_EQ(Fetch<double>(run_, Points, 1, 3), (std::vector<double>{2.0, 5.0, 2.0}));
}

TEST_F(Delivery, TheSubgroupsLeaveWithTheTestsWhenBothWereTaken) {
  using enum platform::ChartData;
  EXPECT_EQ(Fetch<API_SubgroupData>(run_, Subgroups, 0, 3).size(), 3U);
  EXPECT_EQ(Fetch<API_SubgroupData>(run_, Subgroups, 0, 3).size(), 3U);
  const auto before = Fetch<double>(run_, USLs, 1, 3);
  EXPECT_EQ(Fetch<API_TestData>(run_, Tests, 0, 9).size(), 9U);
  EXPECT_TRUE(LeavesAlone(Subgroups, 0, sizeof(API_SubgroupData), 3));
  EXPECT_EQ(Fetch<double>(run_, USLs, 1, 3), before);
  EXPECT_EQ(Fetch<API_CCTotals>(run_, Totals, 0, 1)[0].SubgroupCount, 3);
}

TEST_F(Delivery, TestsThatAreTakenFirstLeaveTheSubgroups) {
  using enum platform::ChartData;
  EXPECT_EQ(Fetch<API_TestData>(run_, Tests, 0, 9).size(), 9U);
  EXPECT_EQ(Fetch<API_SubgroupData>(run_, Subgroups, 0, 3).size(), 3U);
}

TEST_F(Delivery, OfAClosedRunThereIsNothing) {
  run_.Clear();
  EXPECT_FALSE(run_.IsOpen());
  EXPECT_TRUE(LeavesAlone(platform::ChartData::Points, 1, 8, 3));
  EXPECT_TRUE(LeavesAlone(platform::ChartData::Totals, 0, 28, 1));
}

}  // namespace orvspc::engine::test
