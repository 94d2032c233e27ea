// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <set>

#include "tests/engine/charts/FakeStore.h"

// Phases of a stream, on charts of values and of counts.
namespace orvspc::engine::test {
namespace {

std::string Hex(std::int32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%03X", static_cast<unsigned>(word));
  return text;
}

// A chart that can be made of values or of counts.
struct Asked {
  std::int32_t word, processing;
  double ewma = 0.0;
  bool counts = false;

  MadeChart From(Store& store) const {
    return counts ? MakeAttribute(store, word, processing, ewma) : Make(store, word, processing);
  }
  std::string Text() const {
    return Hex(word) + (processing == 0 ? "" : " cusum") +
           (ewma == 0.0 ? "" : " ewma " + std::to_string(ewma));
  }
};

std::vector<Asked> ChartsOfValues() {
  std::vector<Asked> all;
  for (std::int32_t word = 0x100; word <= 0xFFF; ++word) {
    if (!IsVariableWord(word)) continue;
    for (const std::int32_t processing : {0, 16}) all.push_back({word, processing});
  }
  return all;
}

std::vector<Asked> ChartsOfCounts() {
  std::vector<Asked> all;
  for (std::int32_t word = 0x100; word <= 0xFFF; word += 0x100) {
    if (!IsAttributeWord(word)) continue;
    all.push_back({word, 16, 0.0, true});
    for (const double ewma : {0.0, 1.0, 2.0}) all.push_back({word, 0, ewma, true});
  }
  return all;
}

// What the subgroups of a store are made of.
enum class Data { Singles, Threes, Varying, Readings, Defectives, Defects };
constexpr Data kValues[] = {Data::Singles, Data::Threes, Data::Varying, Data::Readings};
constexpr Data kCounts[] = {Data::Defectives, Data::Defects};

// Adds subgroups from..to of one long series, which does not depend on the range. Every seventh is
// disabled.
void Fill(FakeStore& store, Data data, std::size_t from, std::size_t to) {
  std::mt19937 random(17);
  std::normal_distribution<double> normal(50.0, 2.0);
  std::poisson_distribution<int> poisson(4.0);
  if (data == Data::Defectives) store.types[1] = ttDefectives;
  if (data == Data::Defects) store.types[1] = ttDefects;
  if (data == Data::Defects) store.Opportunity(3);
  store.Spec(40.0, 50.0, 60.0, slfUSL | slfTAR | slfLSL);
  for (std::size_t i = 0; i < to; ++i) {
    const auto flag = i % 7 == 3 ? sfDisabled : sfEnabled;
    const double shift = i >= 22 ? 3.0 : 0.0;
    std::vector<std::vector<double>> readings(data == Data::Singles                 ? 1
                                              : data == Data::Varying && i % 3 == 1 ? 2
                                                                                    : 3);
    for (auto& piece : readings) {
      for (int r = 0; r < 3; ++r) piece.push_back(normal(random) + shift);
    }
    const int count = poisson(random);
    if (i < from) continue;
    if (data == Data::Defectives || data == Data::Defects) {
      store.AddCount(count, 40 + static_cast<std::int32_t>(i % 5), flag);
    } else if (data == Data::Readings) {
      store.AddWithReadings(readings);
      store.data.subgroups.back().Flag = flag;
    } else {
      Sample sample{{}, flag};
      for (const auto& piece : readings) sample.pieces.push_back(piece[0]);
      store.Add(sample);
    }
    store.data.subgroups.back().Sgtm = static_cast<std::int32_t>(10 * i);
  }
}

Phase Between(std::int32_t start, std::optional<std::int32_t> finish, const std::string& name,
              PhaseKind kind = PhaseKind::Stage, std::int32_t freeze_after = 0) {
  Phase phase;
  phase.id = start + 1;
  phase.start = start;
  phase.finish = finish;
  phase.name = name;
  phase.kind = kind;
  phase.freeze_after = freeze_after;
  return phase;
}

// The same bits, or no value in both.
bool Same(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
         (std::isnan(a) && std::isnan(b));
}

struct Column {
  const char* name;
  std::vector<double> MadeGraph::*values;
};
constexpr Column kColumns[] = {{"points", &MadeGraph::points}, {"cucl", &MadeGraph::cucl},
                               {"ccl", &MadeGraph::ccl},       {"clcl", &MadeGraph::clcl},
                               {"ucl", &MadeGraph::ucl},       {"cl", &MadeGraph::cl},
                               {"lcl", &MadeGraph::lcl}};

// From a place on the chart is the other chart, to the last digit and mark; as far as `count`.
void ExpectPart(const MadeChart& chart, std::size_t from, const MadeChart& part, std::size_t count,
                const std::string& what) {
  ASSERT_EQ(chart.word, part.word) << what;
  ASSERT_EQ(chart.graphs.size(), part.graphs.size()) << what;
  for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
    const auto& ours = chart.graphs[g];
    const auto& theirs = part.graphs[g];
    const auto where = what + " graph " + std::to_string(g + 1) + " ";
    for (const auto& column : kColumns) {
      const auto &a = ours.*column.values, &b = theirs.*column.values;
      ASSERT_EQ(a.empty(), b.empty()) << where << column.name;
      for (std::size_t i = 0; i < count && !a.empty(); ++i) {
        ASSERT_TRUE(Same(a.at(from + i), b.at(i)))
            << where << column.name << " at " << i << ": " << a[from + i] << ", " << b[i];
      }
    }
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(ours.sizes.at(from + i), theirs.sizes.at(i)) << where << i;
      ASSERT_EQ(ours.coocs.at(from + i), theirs.coocs.at(i)) << where << i;
      ASSERT_EQ(ours.oocs.at(from + i), theirs.oocs.at(i)) << where << i;
    }
  }
}

void ExpectSideBySide(const std::vector<Asked>& charts, Data data, bool stored) {
  const std::size_t borders[] = {0, 14, 25, 40};
  FakeStore whole, parts[3];
  Fill(whole, data, 0, 40);
  for (std::size_t p = 0; p < 3; ++p) {
    Fill(parts[p], data, borders[p], borders[p + 1]);
    whole.phases.push_back(Between(static_cast<std::int32_t>(10 * borders[p]),
                                   static_cast<std::int32_t>(10 * borders[p + 1]), "P"));
  }
  if (stored) {
    for (auto* store : {&whole, &parts[0], &parts[1], &parts[2]}) {
      const bool counts = data == Data::Defectives || data == Data::Defects;
      store->Limit(counts ? 0.08 : 50.0, 1.5, 1.0, 60);
      store->Limit(counts ? 0.12 : 51.0, 2.5, 2.0, 300);
    }
  }
  for (const auto& asked : charts) {
    const auto chart = asked.From(whole);
    for (std::size_t p = 0; p < 3; ++p) {
      ExpectPart(chart, borders[p], asked.From(parts[p]), borders[p + 1] - borders[p],
                 asked.Text() + " phase " + std::to_string(p));
    }
  }
}

void ExpectFrozen(const std::vector<Asked>& charts, Data data) {
  constexpr std::size_t kUsed = 12;
  FakeStore whole, first;
  Fill(whole, data, 0, 40);
  std::size_t count = 0, used = 0;
  for (; used < kUsed; ++count) used += whole.data.subgroups[count].Flag == sfEnabled;
  Fill(first, data, 0, count);
  whole.phases = {Between(0, std::nullopt, "frozen", PhaseKind::Stage, kUsed)};
  for (const auto& asked : charts) {
    const auto chart = asked.From(whole), part = asked.From(first);
    ExpectPart(chart, 0, part, count, asked.Text());
    const auto& ours = chart.estimates;
    const auto& theirs = part.estimates;
    ASSERT_TRUE(Same(ours.mean, theirs.mean)) << asked.Text();
    for (const auto sigma :
         {&StreamEstimates::sp, &StreamEstimates::within, &StreamEstimates::moving,
          &StreamEstimates::sw, &StreamEstimates::gamma}) {
      ASSERT_TRUE(Same((ours.*sigma).value, (theirs.*sigma).value)) << asked.Text();
      ASSERT_EQ((ours.*sigma).used, (theirs.*sigma).used) << asked.Text();
    }
    ASSERT_TRUE(Same(ours.mean_size, theirs.mean_size)) << asked.Text();
    ASSERT_TRUE(Same(ours.mean_readings, theirs.mean_readings)) << asked.Text();
    // Without windows and steps in size the lines go on as they were.
    if (data != Data::Singles && data != Data::Threes) continue;
    if ((asked.word >> 8) == 4 || (asked.word >> 8) == 5) continue;
    for (const auto& graph : chart.graphs) {
      for (std::size_t i = count; i < graph.cucl.size(); ++i) {
        ASSERT_TRUE(Same(graph.cucl[i], graph.cucl[count - 1])) << asked.Text() << " at " << i;
        ASSERT_TRUE(Same(graph.ccl[i], graph.ccl[count - 1])) << asked.Text() << " at " << i;
      }
    }
  }
}

std::set<std::string> NoteCodes() {
  std::set<std::string> codes;
  for (const auto& note : TakeNotes()) codes.insert(note.code);
  return codes;
}

constexpr std::int32_t kIxMr = 0x330, kXbarR = 0x110, kMaR = 0x410;
constexpr std::int32_t kOwnC = 0xE00;

FakeStore Steps(const std::vector<double>& values) {
  FakeStore store;
  for (const double value : values) store.Add({{value}});
  return store;
}

// Takes times and the number of subgroups of a selection as a database does.
struct CuttingStore : FakeStore {
  bool Select(API_DSInfo& info, std::span<const std::int32_t> filter, const SelectOptions& options,
              DataSet& out) override {
    if (!FakeStore::Select(info, filter, options, out)) return false;
    ++selections;
    if (info.TimeType == drttStatic) {
      std::erase_if(out.subgroups, [&](const auto& row) {
        return row.Sgtm < info.TimeStart || row.Sgtm > info.TimeEnd;
      });
    } else {
      info.TimeStart = INT32_MIN;
    }
    const auto count = static_cast<std::size_t>(info.Count);
    if (count > 0 && out.subgroups.size() > count)
      out.subgroups.erase(out.subgroups.begin(),
                          out.subgroups.end() - static_cast<std::ptrdiff_t>(count));
    return true;
  }
  int selections = 0;
};

// The centre of graph 1 at the newest point of the newest `count` subgroups.
double CentreOfNewest(CuttingStore& store, std::int32_t count, bool of_counts) {
  API_DSInfo info{};
  info.Count = count;
  const auto centre = [&](auto& run) {
    return Fetch<double>(run, platform::ChartData::cCLs, 1, static_cast<std::size_t>(count)).back();
  };
  if (of_counts) {
    AttributeRun run;
    EXPECT_NE(run.Process(store, info, {}, {kOwnC, 0, 0.0}), 0);
    return centre(run);
  }
  VariableRun run;
  API_CCVarOptions options{};
  options.ChartWord = kIxMr;
  EXPECT_NE(run.Process(store, info, {}, options), 0);
  return centre(run);
}

}  // namespace

TEST(PhasesInvariant, PhasesOnOneChartOfValuesAreChartsSideBySide) {
  for (const auto data : kValues) {
    for (const bool stored : {false, true}) ExpectSideBySide(ChartsOfValues(), data, stored);
  }
}

TEST(PhasesInvariant, PhasesOnOneChartOfCountsAreChartsSideBySide) {
  for (const auto data : kCounts) {
    for (const bool stored : {false, true}) ExpectSideBySide(ChartsOfCounts(), data, stored);
  }
}

TEST(PhasesInvariant, LimitsOfValuesFrozenAfterKAreThoseOfTheFirstK) {
  for (const auto data : kValues) ExpectFrozen(ChartsOfValues(), data);
}

TEST(PhasesInvariant, LimitsOfCountsFrozenAfterKAreThoseOfTheFirstK) {
  for (const auto data : kCounts) ExpectFrozen(ChartsOfCounts(), data);
}

TEST(PhasesInvariant, APhaseOfEverythingChangesNothing) {
  for (const auto data : kValues) {
    FakeStore with, without;
    for (auto* store : {&with, &without}) Fill(*store, data, 0, 40);
    with.phases = {Between(0, std::nullopt, "all")};
    for (const auto& asked : ChartsOfValues()) {
      ExpectPart(asked.From(with), 0, asked.From(without), 40, asked.Text());
    }
  }
}

TEST(PhasesInvariant, JoinedPhasesAreNone) {
  for (const auto data : kValues) {
    FakeStore with, without;
    for (auto* store : {&with, &without}) Fill(*store, data, 0, 40);
    with.phases = {Between(0, 140, "one"), Between(140, 300, "two")};
    with.joins_phases = true;
    for (const auto& asked : ChartsOfValues()) {
      ExpectPart(asked.From(with), 0, asked.From(without), 40, asked.Text());
    }
  }
}

TEST(PhasesInvariant, JoinedPhasesLeaveExcludedOnesOut) {
  FakeStore with, without;
  for (auto* store : {&with, &without}) Fill(*store, Data::Threes, 0, 40);
  with.phases = {Between(0, 100, "one"), Between(100, 130, "out", PhaseKind::Excluded),
                 Between(130, 300, "two")};
  with.joins_phases = true;
  for (std::size_t i = 10; i < 13; ++i) without.data.subgroups[i].Flag = sfDisabled;
  for (const auto& asked : ChartsOfValues()) {
    ExpectPart(asked.From(with), 0, asked.From(without), 40, asked.Text());
  }
}

TEST(PhasesInvariant, PhasesOfOneStreamLeaveTheOthersAlone) {
  FakeStore with, without;
  for (auto* store : {&with, &without}) {
    Fill(*store, Data::Threes, 0, 40);
    for (std::size_t i = 0; i < 40; ++i) store->data.subgroups[i].Test = i % 2 == 0 ? 1 : 2;
  }
  with.phases = {Between(100, 200, "two")};
  with.phases[0].test = 2;
  for (const auto& asked : ChartsOfValues()) {
    const auto chart = asked.From(with), plain = asked.From(without);
    for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
      for (std::size_t i = 0; i < 40; i += 2) {
        ASSERT_TRUE(Same(chart.graphs[g].points[i], plain.graphs[g].points[i])) << asked.Text();
        ASSERT_TRUE(Same(chart.graphs[g].ucl[i], plain.graphs[g].ucl[i])) << asked.Text();
        ASSERT_EQ(chart.graphs[g].coocs[i], plain.graphs[g].coocs[i]) << asked.Text();
      }
    }
  }
}

TEST(Phases, TheFirstMovingRangeOfAPhaseHasNoValue) {
  auto store = Steps({1, 2, 4, 20, 21, 23});
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  const auto chart = Make(store, kIxMr);
  const auto& ranges = chart.graphs.at(1).points;
  EXPECT_TRUE(std::isnan(ranges[0]));
  EXPECT_EQ(ranges[2], 2.0);
  EXPECT_TRUE(std::isnan(ranges[3])) << "4 to 20 is no moving range of a phase";
  EXPECT_EQ(ranges[4], 1.0);
  EXPECT_EQ(chart.graphs[1].sizes[3], 0);
}

TEST(Phases, MovingAveragesAndCusumsStartAnew) {
  auto store = Steps({1, 2, 3, 10, 11, 12});
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  const auto averages = Make(store, kMaR).graphs.at(0).points;
  EXPECT_EQ(averages[2], 2.0);
  EXPECT_EQ(averages[3], 10.0);
  EXPECT_EQ(averages[5], 11.0);
  store.Limit(0.0, 1.0, 1.0);
  const auto cusum = Make(store, kIxMr, 16).graphs.at(0).points;
  EXPECT_EQ(cusum[2], 0.5 + 1.5 + 2.5);
  EXPECT_EQ(cusum[3], 9.5);
}

TEST(Phases, AnEwmaOfCountsStartsAnewAtThePhasesOwnMean) {
  FakeStore store;
  store.types[1] = ttDefects;
  for (const double count : {1.0, 2.0, 3.0, 11.0, 12.0, 13.0}) store.AddCount(count, 1);
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  const auto chart = MakeAttribute(store, kOwnC, 0, 1.0);
  EXPECT_DOUBLE_EQ(chart.graphs.at(0).points[3], 0.2 * 11.0 + 0.8 * 12.0);
  EXPECT_EQ(chart.graphs[0].ccl[0], 2.0);
  EXPECT_EQ(chart.graphs[0].ccl[5], 12.0);
}

TEST(Phases, WindowsOfRunRulesLieInOnePhase) {
  // All above the stored centre, the border in their middle.
  std::vector<double> values;
  for (int i = 0; i < 12; ++i) values.push_back(i % 2 == 0 ? 0.2 : 0.3);
  auto store = Steps(values);
  store.Limit(0.0, 1.0, 1.0);
  const auto marks = [&] { return Make(store, kIxMr).graphs.at(0).oocs; };
  EXPECT_NE(marks()[11], 0) << "twelve in a row";
  store.phases = {Between(0, 60, "A"), Between(60, std::nullopt, "B")};
  EXPECT_EQ(marks(), std::vector<std::int32_t>(12, 0)) << "six and six";
}

TEST(Phases, BelowTwoPointsThatCountThereAreNoCalculatedLimitsAndANote) {
  auto store = FakeStore(Groups{{1, 2}, {2, 3}, {3, 1}, {7, 9}, {8, 9}, {7, 7}});
  store.phases = {Between(0, 30, "A"), Between(30, 40, "B"), Between(40, std::nullopt, "C")};
  TakeNotes();
  const auto chart = Make(store, kXbarR);
  const auto notes = TakeNotes();
  for (const auto& graph : chart.graphs) {
    EXPECT_FALSE(std::isnan(graph.cucl[2]));
    EXPECT_TRUE(std::isnan(graph.ccl[3]) && std::isnan(graph.cucl[3]));
    EXPECT_FALSE(std::isnan(graph.cucl[4]));
  }
  EXPECT_EQ(chart.graphs[0].points[3], 8.0) << "it is drawn";
  EXPECT_EQ(std::ranges::count(notes, "phase-short", &Note::code), 1);
  EXPECT_NE(std::ranges::find(notes,
                              "Phase \"B\": Fewer than 2 points count here, so there are no "
                              "calculated limits.",
                              &Note::text),
            notes.end());
}

TEST(Phases, StoredLimitsInForceStayInAPhaseThatHasNoneOfItsOwnPoints) {
  auto store = Steps({1, 2, 4, 20});
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  store.Limit(2.0, 1.0, 1.0);
  const auto graph = Make(store, kIxMr).graphs.at(0);
  EXPECT_TRUE(std::isnan(graph.cucl[3]));
  EXPECT_DOUBLE_EQ(graph.ucl[3], 5.0);
  EXPECT_NE(graph.oocs[3] & 2, 0) << "rule 1 by the stored limits";
}

TEST(Phases, StoredLimitsFromBeforeAPhaseStayInForceWithANote) {
  auto store = Steps({1, 2, 4, 3, 2, 3});
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  store.Limit(2.0, 1.0, 1.0, 5);
  TakeNotes();
  const auto graph = Make(store, kIxMr).graphs.at(0);
  EXPECT_DOUBLE_EQ(graph.ucl[3], 5.0);
  const auto notes = TakeNotes();
  const auto found = std::ranges::find(notes, "limits-before-phase", &Note::code);
  ASSERT_NE(found, notes.end());
  EXPECT_EQ(found->text, "Phase \"B\": The control limits in force are from before it began.");
  EXPECT_EQ(std::ranges::count(notes, "limits-before-phase", &Note::code), 1) << "A began before";
}

// The newest point has a row of the phase.
TEST(Phases, ARowThatTakesOverInsideAPhaseEndsTheNote) {
  auto store = Steps({1, 2, 4, 3, 2, 3});
  store.phases = {Between(0, 30, "A"), Between(30, std::nullopt, "B")};
  store.Limit(2.0, 1.0, 1.0, 5);
  store.Limit(2.5, 1.0, 1.0, 45);
  TakeNotes();
  const auto graph = Make(store, kIxMr).graphs.at(0);
  EXPECT_DOUBLE_EQ(graph.cl[3], 2.0);
  EXPECT_DOUBLE_EQ(graph.cl[5], 2.5);
  EXPECT_FALSE(NoteCodes().contains("limits-before-phase"));
}

TEST(Phases, StoredLimitsFromTheStartOfAPhaseHaveNoNote) {
  auto store = Steps({1, 2, 4, 3, 2, 3});
  store.phases = {Between(30, std::nullopt, "B")};
  store.Limit(2.0, 1.0, 1.0, 30);
  TakeNotes();
  Make(store, kIxMr);
  EXPECT_FALSE(NoteCodes().contains("limits-before-phase"));
}

TEST(Phases, ARowWithoutAPhaseRestartsRunsAndKeepsMovingRanges) {
  std::vector<double> values(18, 0.5);
  auto store = Steps(values);
  store.Limit(0.0, 1.0, 1.0, 0);
  const auto whole = Make(store, kIxMr);
  store.Limit(0.0, 1.0, 1.0, 60);
  const auto restarted = Make(store, kIxMr);
  EXPECT_NE(whole.graphs[0].oocs[8], 0);
  EXPECT_EQ(restarted.graphs[0].oocs[8], 0) << "a run begins with the new row";
  EXPECT_FALSE(std::isnan(restarted.graphs[1].points[6])) << "a moving range goes across";
}

TEST(Phases, BetweenPhasesChartsStartAnewWithTheLimitsOfThePhaseBefore) {
  auto store = Steps({1, 2, 4, 20, 21, 23, 50, 52});
  store.phases = {Between(0, 30, "A"), Between(60, std::nullopt, "B")};
  const auto chart = Make(store, kIxMr);
  const auto& x = chart.graphs.at(0);
  EXPECT_TRUE(Same(x.cucl[3], x.cucl[2]) && Same(x.ccl[5], x.ccl[0]));
  EXPECT_FALSE(Same(x.ccl[6], x.ccl[5]));
  EXPECT_TRUE(std::isnan(chart.graphs[1].points[3]));
  EXPECT_TRUE(std::isnan(chart.graphs[1].points[6]));
  EXPECT_EQ(chart.graphs[1].points[4], 1.0);
}

TEST(Phases, BeforeTheFirstPhaseThereAreLimitsOfItsOwn) {
  auto store = Steps({1, 2, 4, 20, 21, 23});
  store.phases = {Between(30, std::nullopt, "B")};
  auto before = Steps({1, 2, 4});
  ExpectPart(Make(store, kIxMr), 0, Make(before, kIxMr), 3, "before");
}

TEST(Phases, AnExcludedPhaseIsDrawnAndCountsForNothing) {
  auto store = Steps({1, 2, 4, 90, 95, 3, 2, 4});
  store.phases = {Between(0, 30, "A"), Between(30, 50, "out", PhaseKind::Excluded)};
  TakeNotes();
  const auto chart = Make(store, kIxMr);
  const auto& x = chart.graphs.at(0);
  EXPECT_EQ(x.points[3], 90.0);
  for (std::size_t i : {3U, 4U}) {
    EXPECT_TRUE(std::isnan(x.cucl[i]) && std::isnan(x.ccl[i]));
    EXPECT_EQ(x.oocs[i], 0);
    EXPECT_EQ(x.coocs[i], 0);
  }
  // What follows lies in no phase: with the limits of A, which is the phase before.
  EXPECT_TRUE(Same(x.ccl[5], x.ccl[0]));
  EXPECT_TRUE(std::isnan(chart.graphs[1].points[5]));
  EXPECT_TRUE(NoteCodes().empty()) << "nothing is amiss";
}

TEST(Phases, AnExcludedPhaseHasNoMarksOfStoredLimitsEither) {
  auto store = Steps({1, 2, 4, 90, 95, 3, 2, 4});
  store.phases = {Between(30, 50, "out", PhaseKind::Excluded)};
  store.Limit(2.0, 1.0, 1.0);
  EXPECT_EQ(Make(store, kIxMr).graphs.at(0).oocs[3], 0);
}

TEST(Phases, AStartCountsAndAFinishDoesNot) {
  auto store = Steps({1, 2, 4, 20, 21, 23});
  store.phases = {Between(-5, 30, "A"), Between(30, 50, "B")};
  VariableRun run;
  API_DSInfo info{};
  API_CCVarOptions options{};
  options.ChartWord = kIxMr;
  ASSERT_NE(run.Process(store, info, {}, options), 0);
  EXPECT_EQ(run.PhaseOfPoints(), (std::vector<std::int32_t>{0, 0, 0, 1, 1, 2}));
  const auto phases = run.Phases();
  ASSERT_EQ(phases.size(), 3U);
  EXPECT_EQ(phases[1].phase.name, "B");
  EXPECT_EQ(phases[2].phase.id, 0);
  EXPECT_EQ(phases[2].limits_of, 1);
  EXPECT_EQ(phases[2].estimates.mean.value, 20.5);
  EXPECT_EQ(phases[2].subgroups, 1);
}

TEST(Phases, WithoutPhasesThereAreNoReports) {
  auto store = Steps({1, 2, 4});
  VariableRun run;
  API_DSInfo info{};
  API_CCVarOptions options{};
  options.ChartWord = kIxMr;
  ASSERT_NE(run.Process(store, info, {}, options), 0);
  EXPECT_TRUE(run.Phases().empty() && run.PhaseOfPoints().empty());
}

TEST(Phases, FrozenLimitsAreThoseOfThePhaseWhereTheSelectionBeginsInsideIt) {
  for (const bool of_counts : {false, true}) {
    CuttingStore store;
    if (of_counts) store.types[1] = ttDefects;
    for (const double value : {50.0, 1.0, 2.0, 6.0, 20.0, 30.0, 40.0}) {
      if (of_counts) {
        store.AddCount(value, 1);
      } else {
        store.Add({{value}});
      }
    }
    store.phases = {Between(10, 60, "A", PhaseKind::Stage, 3)};
    TakeNotes();
    // The point after the phase has its limits, too.
    for (const std::int32_t count : {2, 3, 6, 7}) {
      EXPECT_DOUBLE_EQ(CentreOfNewest(store, count, of_counts), 3.0) << count;
      // The one point before the phase has no limits.
      EXPECT_EQ(NoteCodes().contains("phase-short"), count == 7);
    }
    EXPECT_EQ(store.selections, 4 + 3) << "what holds the start of the phase is read once";
    store.phases[0].freeze_after = 0;
    EXPECT_DOUBLE_EQ(CentreOfNewest(store, 3, of_counts), 25.0);
  }
}

TEST(Phases, PointsOfTheFirstNThatCountFreezeTheLimits) {
  auto store = Steps({1, 2, 4, 3, 30, 60});
  store.data.subgroups[1].Flag = sfDisabled;
  store.phases = {Between(0, std::nullopt, "A", PhaseKind::Stage, 3)};
  EXPECT_DOUBLE_EQ(Make(store, kIxMr).graphs.at(0).ccl[5], (1.0 + 4.0 + 3.0) / 3.0);
}

}  // namespace orvspc::engine::test
