// SPDX-License-Identifier: Apache-2.0
#include "engine/write/limits/Compute.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "tests/engine/write/limits/limits_fixture.h"

namespace orvspc::engine::limits {
namespace {

constexpr std::size_t kCount = 40;
constexpr Shape kShapes[] = {Shape::Fives,    Shape::Different,  Shape::Singles,
                             Shape::Readings, Shape::Defectives, Shape::Defects};

// To the last digit; NaN is a value like any other.
bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
bool SameUpTo(std::size_t end, const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() >= end && b.size() >= end &&
         std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(end), b.begin(), Same);
}

class ComputeTest : public LimitsTest {
 protected:
  // From one subgroup up to and without another; 0: on and on.
  void AddPhase(const std::string& name, std::size_t begin, std::size_t end,
                std::int32_t freeze_after = 0, PhaseKind kind = PhaseKind::Stage) {
    Phase phase;
    phase.name = name;
    phase.start = TimeAt(begin);
    if (end != 0) phase.finish = TimeAt(end);
    phase.freeze_after = freeze_after;
    phase.kind = kind;
    Data().AddPhase(phase, {}, "for the test");
  }
  void ImportAll(std::size_t count = kCount) {
    unsigned seed = 1;
    for (const auto shape : kShapes) Import(CsvOf(shape, count, seed++));
    Import("part,test,opportunities\nA,defects,7\nA,defectives,3\n", ImportKind::Opportunities);
  }
};

TEST_F(ComputeTest, FiguresAreThoseOfTheChartOfTheWindowOnEveryChart) {
  ImportAll();
  int compared = 0;
  for (const auto* const estimator : {"mvlue", "unweighted", "pooled", "pooled-as-sbar"}) {
    Data().Set("sigma_estimator", estimator);
    for (const auto shape : kShapes) {
      for (const auto word : WordsOf(shape)) {
        auto request = Request(shape, word);
        request.since = TimeAt(5);
        request.until = TimeAt(34);
        const auto chart = ChartOf(shape, word, TimeAt(34), 0, 0.0, TimeAt(5));
        if (!OfCounts(shape) &&
            !(chart.estimates.sp.value > 0.0 && chart.estimates.sw.value > 0.0)) {
          EXPECT_NE(FailureOf([&] { Data().ComputeLimits(request); }), "") << word;
          continue;
        }
        const auto limits = Data().ComputeLimits(request);
        ++compared;
        SCOPED_TRACE(std::string(kShapeNames[static_cast<std::size_t>(shape)]) + " " +
                     std::to_string(word) + " " + estimator);
        EXPECT_EQ(limits.chart_word, chart.word);
        EXPECT_TRUE(Same(limits.mean, chart.estimates.mean));
        EXPECT_EQ(limits.used, 30);
        EXPECT_EQ(limits.start, TimeAt(5));
        EXPECT_EQ(limits.finish, TimeAt(34));
        EXPECT_TRUE(Same(limits.average_size, chart.estimates.mean_size));
        if (!OfCounts(shape)) {
          EXPECT_TRUE(Same(limits.sp, chart.estimates.sp.value));
          EXPECT_TRUE(Same(limits.sw, chart.estimates.sw.value));
          EXPECT_EQ(limits.estimator, chart.estimates.sp.name);
        }
        for (const auto& lines : limits.lines) {
          const auto& graph = chart.graphs.at(static_cast<std::size_t>(lines.graph) - 1);
          EXPECT_TRUE(Same(lines.centre, graph.ccl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.upper, graph.cucl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.lower, graph.clcl.back())) << lines.graph;
          const bool differ =
              !std::equal(graph.cucl.begin(), graph.cucl.end() - 1, graph.cucl.begin() + 1, Same);
          EXPECT_TRUE(lines.differ || !differ) << lines.graph;
        }
      }
    }
  }
  EXPECT_GT(compared, 700) << "most charts have limits of every test";
}

// A row of limits has one estimate, a chart one for each phase: the row has that of the newest.
TEST_F(ComputeTest, AWindowOfSeveralPhasesHasTheLimitsOfItsNewestOnEveryChart) {
  ImportAll();
  AddPhase("Tool A", 0, 14);
  AddPhase("Tool B", 14, 25);
  AddPhase("Tool C", 25, 0);
  int compared = 0;
  for (const auto shape : kShapes) {
    for (const auto word : WordsOf(shape)) {
      // The second window ends inside the phase before.
      for (const std::size_t last : {kCount - 1, std::size_t{22}}) {
        auto request = Request(shape, word);
        request.since = TimeAt(3);
        request.until = TimeAt(last);
        const bool newest = last == kCount - 1;
        const auto chart = ChartOf(shape, word, TimeAt(last), 0, 0.0, TimeAt(3));
        auto alone = request;
        alone.since = TimeAt(newest ? 25 : 14);
        alone.all_phases = true;
        LimitProposal of_phase;
        const auto failure = FailureOf([&] { of_phase = Data().ComputeLimits(alone); });
        if (!failure.empty()) {
          EXPECT_EQ(FailureOf([&] { Data().ComputeLimits(request); }), failure);
          continue;
        }
        const auto limits = Data().ComputeLimits(request);
        ++compared;
        SCOPED_TRACE(std::string(kShapeNames[static_cast<std::size_t>(shape)]) + " " +
                     std::to_string(word) + " " + std::to_string(last));
        EXPECT_EQ(limits.phase, newest ? "Tool C" : "Tool B");
        EXPECT_EQ(limits.used, newest ? 15 : 9);
        EXPECT_EQ(limits.start, alone.since);
        EXPECT_EQ(limits.finish, TimeAt(last));
        EXPECT_TRUE(Same(limits.mean, of_phase.mean));
        EXPECT_TRUE(Same(limits.sp, of_phase.sp));
        EXPECT_EQ(limits.digest, of_phase.digest);
        ASSERT_FALSE(limits.warnings.empty());
        EXPECT_EQ(limits.warnings[0], newest ? "newest of 3 phases, 15 of 37 subgroups: Tool C"
                                             : "newest of 2 phases, 9 of 20 subgroups: Tool B");
        for (const auto& lines : limits.lines) {
          const auto& graph = chart.graphs.at(static_cast<std::size_t>(lines.graph) - 1);
          EXPECT_TRUE(Same(lines.centre, graph.ccl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.upper, graph.cucl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.lower, graph.clcl.back())) << lines.graph;
        }
      }
    }
  }
  EXPECT_GT(compared, 300);
}

// A subgroup of which no unit was inspected has no point on a chart of rates.
TEST_F(ComputeTest, TheFirstOfAFrozenPhaseAreThoseWithAPointOnTheChart) {
  const auto defects = [&](std::int32_t from, std::int32_t size) {
    std::string text = "part,process,test,subgroup,time,count,size,test-type\n";
    for (std::int32_t i = from; i < from + 20; ++i) {
      text += "A,P,defects," + std::to_string(i + 1) + "," +
              platform::IsoText(TimeAt(static_cast<std::size_t>(i))) + "," + std::to_string(i % 7) +
              "," + std::to_string(i % 3 == 1 ? 0 : size) + ",defects\n";
    }
    Import(text);
  };
  defects(0, 50);
  defects(20, 80);
  AddPhase("Tool A", 0, 0, 12);
  for (const std::int32_t word : {0, 0x900, 0xB00, 0xE00, 0xF00}) {
    SCOPED_TRACE(word);
    const auto limits = Data().ComputeLimits(Request(Shape::Defects, word));
    const auto chart = ChartOf(Shape::Defects, word);
    EXPECT_EQ(limits.used, 12);
    const bool bears_no_size = word == 0xE00;
    EXPECT_EQ(limits.finish, TimeAt(bears_no_size ? 11 : 17));
    ASSERT_FALSE(limits.lines.empty());
    // The centre of a count is that of the point's size.
    if (bears_no_size) continue;
    EXPECT_TRUE(Same(limits.lines[0].centre, chart.graphs[0].ccl.back()))
        << limits.lines[0].centre << " " << chart.graphs[0].ccl.back();
  }
  auto request = Request(Shape::Defects, 0xF00);
  request.all_phases = true;
  request.first = 12;
  EXPECT_EQ(Data().ComputeLimits(request).finish, TimeAt(17)) << "also where somebody says so";
}

TEST_F(ComputeTest, LimitsOfAFrozenPhaseAreThoseOfItsFirstOnEveryChart) {
  ImportAll();
  AddPhase("Tool A", 0, 10);
  AddPhase("Tool B", 10, 0, 12);
  int compared = 0;
  for (const auto shape : kShapes) {
    for (const auto word : WordsOf(shape)) {
      // Wherever in the phase the window begins.
      for (const std::size_t since : {std::size_t{0}, std::size_t{10}, std::size_t{30}}) {
        auto request = Request(shape, word);
        request.since = TimeAt(since);
        LimitProposal limits;
        if (!FailureOf([&] { limits = Data().ComputeLimits(request); }).empty()) continue;
        const auto chart = ChartOf(shape, word, INT32_MAX, 0, 0.0, TimeAt(since));
        ++compared;
        SCOPED_TRACE(std::string(kShapeNames[static_cast<std::size_t>(shape)]) + " " +
                     std::to_string(word) + " " + std::to_string(since));
        EXPECT_EQ(limits.used, 12);
        EXPECT_EQ(limits.start, TimeAt(10));
        EXPECT_EQ(limits.finish, TimeAt(21));
        // Those of charts of sizes that vary are those of another point.
        if (shape == Shape::Different || OfCounts(shape)) continue;
        for (const auto& lines : limits.lines) {
          const auto& graph = chart.graphs.at(static_cast<std::size_t>(lines.graph) - 1);
          EXPECT_TRUE(Same(lines.centre, graph.ccl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.upper, graph.cucl.back())) << lines.graph;
          EXPECT_TRUE(Same(lines.lower, graph.clcl.back())) << lines.graph;
        }
      }
    }
  }
  EXPECT_GT(compared, 300);
  const auto limits = Data().ComputeLimits(Request(Shape::Fives));
  EXPECT_EQ(limits.warnings,
            (std::vector<std::string>{
                "newest of 2 phases, 30 of 40 subgroups: Tool B",
                "the limits of phase \"Tool B\" are frozen after its first 12 subgroups",
                "12 subgroups; limits from fewer than 20 change much with the next ones",
                "12 subgroups are enough here, since the phase says so"}));
}

TEST_F(ComputeTest, APhaseIsTakenByNameOrAllTogether) {
  Import(CsvOf(Shape::Fives, 40, 1));
  const auto whole = Data().ComputeLimits(Request(Shape::Fives));
  AddPhase("Tool A", 0, 20);
  AddPhase("Broken", 20, 22, 0, PhaseKind::Excluded);
  AddPhase("Tool B", 22, 40);
  auto request = Request(Shape::Fives);
  request.phase = "Tool A";
  const auto named = Data().ComputeLimits(request);
  EXPECT_EQ(named.phase, "Tool A");
  EXPECT_EQ(named.used, 20);
  EXPECT_TRUE(named.warnings.empty());
  request.exclusions = {{30, "worn"}};
  EXPECT_EQ(FailureOf([&] { Data().ComputeLimits(request); }),
            "limits: #30 lies outside the window, of which phase \"Tool A\" is taken");
  for (const auto* const unknown : {"Tool X", "Broken"}) {
    request.phase = unknown;
    EXPECT_EQ(FailureOf([&] { Data().ComputeLimits(request); }),
              "limits: A / P / fives has no phase \"" + std::string(unknown) + "\" with limits");
  }
  request = Request(Shape::Fives);
  request.all_phases = true;
  const auto joined = Data().ComputeLimits(request);
  EXPECT_EQ(joined.phase, "");
  EXPECT_EQ(joined.used, 38) << "without what is excluded";
  EXPECT_TRUE(joined.warnings.empty());
  EXPECT_NE(joined.mean, whole.mean);
  // Behind the last phase, and where none has a subgroup that counts.
  request = Request(Shape::Fives);
  Import("part,process,test,subgroup,time,value\nA,P,fives,41," + platform::IsoText(TimeAt(40)) +
         ",104\n");
  EXPECT_EQ(Data().ComputeLimits(request).used, 18) << "the newest phase";
  request.since = TimeAt(40);
  request.force = true;
  EXPECT_EQ(FailureOf([&] { Data().ComputeLimits(request); }),
            "limits: the values do not spread, or there is nothing to estimate sigma from");
}

TEST_F(ComputeTest, AProposalSaysWhichPhaseItIsOf) {
  Import(CsvOf(Shape::Fives, 40, 1));
  AddPhase("Tool A", 0, 20);
  AddPhase("Tool B", 20, 0);
  store::TakeNotes();
  auto request = Request(Shape::Fives);
  request.force = true;
  const auto id = Data().ProposeLimits(request, {ann_, "for the test"});
  EXPECT_EQ(Row(id).start, TimeAt(20));
  EXPECT_EQ(Row(id).used, 20);
  std::vector<std::string> texts;
  for (const auto& note : store::TakeNotes()) texts.push_back(note.Sentence());
  EXPECT_EQ(texts, std::vector<std::string>{
                       "A / P / fives: newest of 2 phases, 20 of 40 subgroups: Tool B"});
}

// limits(all, frozen after k) = limits(first k): lines and signals of the first k points, to the
// last digit, whatever comes behind them.
TEST_F(ComputeTest, FrozenAfterKAreTheLimitsOfTheFirstKOnEveryChart) {
  constexpr std::size_t kFirst = 25;
  ImportAll();
  int compared = 0;
  for (const auto* const estimator : {"mvlue", "pooled-as-sbar"}) {
    Data().Set("sigma_estimator", estimator);
    for (const auto shape : kShapes) {
      for (const auto word : WordsOf(shape)) {
        struct Form {
          std::int32_t processing;
          double ewma;
        };
        std::vector<Form> forms{{0, 0.0}};
        if (word != 0xC00) forms.push_back({16, 0.0});
        if (OfCounts(shape)) forms.insert(forms.end(), {{0, 1.0}, {0, 2.0}});
        std::vector<test::MadeChart> firsts;
        for (const auto& form : forms) {
          firsts.push_back(ChartOf(shape, word, TimeAt(kFirst - 1), form.processing, form.ewma));
        }
        const auto& estimates = firsts[0].estimates;
        if (!OfCounts(shape) && !(estimates.sp.value > 0.0 && estimates.sw.value > 0.0)) continue;
        const auto id = Freeze(shape, word, kFirst, TimeAt(0));
        for (std::size_t f = 0; f < forms.size(); ++f) {
          SCOPED_TRACE(std::string(kShapeNames[static_cast<std::size_t>(shape)]) + " " +
                       std::to_string(word) + " " + estimator + " form " + std::to_string(f));
          const auto all = ChartOf(shape, word, INT32_MAX, forms[f].processing, forms[f].ewma);
          ASSERT_EQ(all.graphs.size(), firsts[f].graphs.size());
          for (std::size_t g = 0; g < all.graphs.size(); ++g) {
            const auto& frozen = all.graphs[g];
            const auto& first = firsts[f].graphs[g];
            EXPECT_TRUE(SameUpTo(kFirst, frozen.points, first.points)) << g;
            EXPECT_TRUE(SameUpTo(kFirst, frozen.cl, first.ccl)) << g;
            EXPECT_TRUE(SameUpTo(kFirst, frozen.ucl, first.cucl)) << g;
            EXPECT_TRUE(SameUpTo(kFirst, frozen.lcl, first.clcl)) << g;
            EXPECT_TRUE(std::equal(first.coocs.begin(), first.coocs.end(), frozen.oocs.begin()))
                << g;
            // Where lines depend on nothing but the stream they go on unchanged.
            if (shape == Shape::Fives && forms[f].ewma == 0.0) {
              EXPECT_TRUE(Same(frozen.ucl.back(), first.cucl.back())) << g;
              EXPECT_TRUE(Same(frozen.lcl.back(), first.clcl.back())) << g;
            }
            ++compared;
          }
        }
        Data().VoidLimits(id, {ann_, "next chart"});
      }
    }
  }
  EXPECT_GT(compared, 500);
}

TEST_F(ComputeTest, SubgroupsThatDoNotCountTakeNoPart) {
  Import(CsvOf(Shape::Fives, 30, 1));
  Import(
      "part,process,test,subgroup,time,value,flag\n"
      "A,P,fives,31,2024-01-01,900,disabled\nA,P,fives,32,2024-01-01,901,incomplete\n");
  const auto limits = Data().ComputeLimits(Request(Shape::Fives, 0x110));
  EXPECT_EQ(limits.used, 30);
  EXPECT_EQ(limits.subgroups, 32);
  EXPECT_EQ(limits.finish, TimeAt(29));
}

TEST_F(ComputeTest, AnExclusionIsAsIfTheSubgroupWereDisabled) {
  Import(CsvOf(Shape::Fives, 30, 1));
  const auto before = Data().ComputeLimits(Request(Shape::Fives, 0x110));
  auto request = Request(Shape::Fives, 0x110);
  request.exclusions = {{7, "tool broke"}};
  const auto without = Data().ComputeLimits(request);
  EXPECT_EQ(without.used, 29);
  ASSERT_EQ(without.exclusions.size(), 1U);
  EXPECT_EQ(without.exclusions[0].subgroup, 7);
  EXPECT_EQ(without.exclusions[0].reason, "tool broke");
  EXPECT_NE(without.digest, before.digest);
  const auto chart = ChartOf(Shape::Fives, 0x110);
  double sum = 0.0;
  for (std::size_t i = 0; i < 30; ++i) sum += i == 6 ? 0.0 : chart.graphs[0].points[i];
  EXPECT_NEAR(without.mean, sum / 29.0, 1e-9);
  EXPECT_NE(without.mean, before.mean);
}

TEST_F(ComputeTest, SubgroupsOfExcludedPhasesTakeNoPart) {
  Import(CsvOf(Shape::Fives, 30, 1));
  auto request = Request(Shape::Fives, 0x110);
  request.exclusions = {{7, "tool broke"}, {8, "tool broke"}};
  const auto excluded = Data().ComputeLimits(request);
  request.exclusions.clear();
  Phase phase;
  phase.name = "tool broke";
  phase.start = TimeAt(6);
  phase.finish = TimeAt(8);
  phase.kind = PhaseKind::Excluded;
  Data().AddPhase(phase, {}, "tool broke");
  const auto limits = Data().ComputeLimits(request);
  EXPECT_EQ(limits.used, 28);
  EXPECT_EQ(limits.mean, excluded.mean);
  EXPECT_EQ(limits.sp, excluded.sp);
}

// What lies on both sides of it is one before the first phase, on the chart as in its limits.
TEST_F(ComputeTest, AnExcludedPhaseAloneLeavesOneChartOfAllTheRest) {
  ImportAll();
  AddPhase("tool broke", 10, 14, 0, PhaseKind::Excluded);
  for (const auto shape : kShapes) {
    for (const auto word : WordsOf(shape)) {
      const auto limits = Data().ComputeLimits(Request(shape, word));
      const auto chart = ChartOf(shape, word);
      EXPECT_EQ(limits.used, 36);
      for (const auto& lines : limits.lines) {
        const auto& graph = chart.graphs.at(static_cast<std::size_t>(lines.graph) - 1);
        EXPECT_TRUE(Same(graph.ccl.back(), lines.centre)) << std::hex << word;
        EXPECT_TRUE(Same(graph.cucl.back(), lines.upper)) << std::hex << word;
        EXPECT_TRUE(Same(graph.clcl.back(), lines.lower)) << std::hex << word;
        if (!lines.differ) {
          EXPECT_TRUE(Same(graph.cucl[5], lines.upper)) << std::hex << word;
        }
        EXPECT_TRUE(std::isnan(graph.cucl[11]));
      }
    }
  }
}

// On each side of subgroups 20 to 23 lie runs that no rule would find alone; the level after them
// is another one.
std::string RunsBesideATrial(bool singles) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (std::size_t i = 0; i < kCount; ++i) {
    const double level = i < 14   ? 9.0 + static_cast<double>(i % 3)
                         : i < 20 ? 11.2
                         : i < 24 ? 30.0
                         : i < 29 ? 12.4
                                  : 10.0 + static_cast<double>(i % 4);
    for (int piece = 0; piece < (singles ? 1 : 4); ++piece) {
      text += std::string("A,P,") + (singles ? "singles" : "fives") + "," + std::to_string(i + 1) +
              "," + platform::IsoText(TimeAt(i)) + "," +
              std::to_string(level + 0.1 * static_cast<double>((i * 7 + i / 3) % 5) +
                             0.8 * static_cast<double>(piece)) +
              "\n";
    }
  }
  return text;
}

TEST_F(ComputeTest, NothingRunsAcrossAnExcludedPhaseOnTheChartOrInTheLimits) {
  Import(RunsBesideATrial(true));
  Import(RunsBesideATrial(false));
  AddPhase("trial", 20, 24, 0, PhaseKind::Excluded);
  int across = 0, moving = 0;
  for (const auto shape : {Shape::Singles, Shape::Fives}) {
    const auto stream = Stream(shape);
    for (const auto word : WordsOf(shape)) {
      SCOPED_TRACE(std::string(kShapeNames[static_cast<std::size_t>(shape)]) + " " +
                   std::to_string(word));
      auto request = Request(shape, word);
      const auto chart = ChartOf(shape, word);
      LimitProposal limits;
      if (!FailureOf([&] { limits = Data().ComputeLimits(request); }).empty()) continue;
      EXPECT_TRUE(Same(limits.sp, chart.estimates.sp.value));
      for (const auto& lines : limits.lines) {
        const auto& graph = chart.graphs.at(static_cast<std::size_t>(lines.graph) - 1);
        EXPECT_TRUE(Same(lines.centre, graph.ccl.back())) << lines.graph;
        EXPECT_TRUE(Same(lines.upper, graph.cucl.back())) << lines.graph;
      }
      // What the limits signal is what the chart signals.
      std::vector<std::pair<std::int32_t, std::int32_t>> signals, drawn;
      for (const auto& each : limits.signals) signals.emplace_back(each.graph, each.subgroup);
      for (std::size_t g = 0; g < chart.graphs.size(); ++g) {
        const auto number = static_cast<std::int32_t>(g) + 1;
        const auto on = Opened()->AlarmBits(stream.part, stream.process, stream.test, number);
        const auto& marks = chart.graphs[g].coocs;
        for (std::size_t i = 0; i < marks.size(); ++i) {
          const bool is_marked = (static_cast<std::uint32_t>(marks[i]) & on) != 0;
          if (is_marked) drawn.emplace_back(number, static_cast<std::int32_t>(i) + 1);
        }
      }
      EXPECT_EQ(signals, drawn);
      // As if there were no phases, the runs join.
      request.all_phases = true;
      across += Data().ComputeLimits(request).signals.size() > signals.size();
      if ((word >> 4 & 0xF) != 3) continue;
      double sum = 0.0;
      int count = 0;
      for (const auto range : chart.graphs[1].points) {
        if (std::isnan(range)) continue;
        sum += range;
        ++count;
      }
      ++moving;
      EXPECT_EQ(count, 19 + 15);
      EXPECT_NEAR(chart.graphs[1].ccl.back(), sum / count, 1e-12);
    }
  }
  EXPECT_GT(across, 0);
  EXPECT_GT(moving, 0);
}

TEST_F(ComputeTest, ASubgroupIsLeftOutOnce) {
  Import(CsvOf(Shape::Fives, 30, 1));
  auto request = Request(Shape::Fives, 0x110);
  request.exclusions = {{3, "tool"}, {4, "tool"}, {3, "again"}};
  EXPECT_NE(FailureOf([&] { Data().ComputeLimits(request); }).find("--exclude: #3 is named twice"),
            std::string::npos);
  EXPECT_NE(FailureOf([&] {
              Data().ProposeLimits(request, {ann_, "for the test"});
            }).find("--exclude: #3 is named twice"),
            std::string::npos);
}

// A chart that shows nothing of the phase before has its limits all the same.
TEST_F(ComputeTest, BehindAPhaseThatIsNotShownItsLimitsAreTaken) {
  ImportAll();
  AddPhase("Tool A", 0, 20);
  AddPhase("tool broke", 25, 27, 0, PhaseKind::Excluded);
  for (const auto shape : kShapes) {
    for (const auto word : WordsOf(shape)) {
      const auto whole = ChartOf(shape, word);
      store::TakeNotes();
      const auto part = ChartOf(shape, word, INT32_MAX, 0, 0.0, TimeAt(22));
      std::vector<std::string> texts;
      for (const auto& note : store::TakeNotes()) {
        if (note.code == "limits-of-phase") texts.push_back(note.text);
      }
      EXPECT_EQ(texts, std::vector<std::string>{
                           "Between phases: the calculated limits are those of phase \"Tool A\", "
                           "which is not shown."});
      for (std::size_t g = 0; g < part.graphs.size(); ++g) {
        for (std::size_t i = 30; i < kCount; ++i) {
          EXPECT_TRUE(Same(part.graphs[g].cucl[i - 22], whole.graphs[g].cucl[i])) << i;
          EXPECT_TRUE(Same(part.graphs[g].ccl[i - 22], whole.graphs[g].ccl[i])) << i;
        }
      }
    }
  }
  auto request = Request(Shape::Fives);
  request.since = TimeAt(28);
  EXPECT_EQ(Data().ComputeLimits(request).warnings.front(),
            "the window lies behind phase \"Tool A\"; charts of it have the limits of that phase");
}

TEST_F(ComputeTest, BehindAPhaseWithoutPointsTheLimitsAreItsOwnWithANote) {
  Import(CsvOf(Shape::Fives, 30, 1));
  Phase phase;
  phase.name = "Trial";
  phase.start = TimeAt(0) - 100;
  phase.finish = TimeAt(0) - 50;
  Data().AddPhase(phase, {}, "for the test");
  const auto own = ChartOf(Shape::Fives, 0x110);
  EXPECT_TRUE(own.graphs.at(0).cucl[0] > 0.0);
  phase.name = "Later";
  phase.start = TimeAt(29);
  phase.finish.reset();
  Data().AddPhase(phase, {}, "for the test");
  store::TakeNotes();
  EXPECT_NE(ChartOf(Shape::Fives, 0x110).graphs.at(0).cucl[0], own.graphs.at(0).cucl[0]);
  const auto notes = store::TakeNotes();
  const auto note = std::ranges::find(notes, "limits-of-phase", &Note::code);
  ASSERT_NE(note, notes.end());
  EXPECT_EQ(note->text,
            "Between phases: those before have no points, so the calculated limits are of these.");
}

TEST_F(ComputeTest, MessagesOfWhatCannotBeComputed) {
  Import(CsvOf(Shape::Fives, 30, 1));
  Import(CsvOf(Shape::Defects, 4, 1));
  Import(
      "part,process,test,subgroup,time,value\nA,P,flat,1,2024-01-01,5\nA,P,flat,2,2024-01-02,5\n"
      "A,P,flat,3,2024-01-03,5\nA,P,flat,4,2024-01-04,5\nA,P,flat,5,2024-01-05,5\n");
  const auto failure = [&](const LimitRequest& request) {
    return FailureOf([&] { Data().ComputeLimits(request); });
  };
  auto outside = Request(Shape::Fives);
  outside.since = TimeAt(10);
  outside.exclusions = {{3, "worn"}};
  EXPECT_EQ(failure(outside), "limits: #3 lies outside the window");
  auto few = Request(Shape::Fives);
  few.until = TimeAt(3);
  EXPECT_EQ(failure(few), "limits: 4 subgroups; 5 are needed (--force)");
  few.force = true;
  EXPECT_EQ(Data().ComputeLimits(few).used, 4);
  EXPECT_EQ(failure(Request(Shape::Defects)), "limits: 4 subgroups; 5 are needed (--force)");
  auto empty = Request(Shape::Fives);
  empty.until = TimeAt(0) - 1;
  EXPECT_EQ(failure(empty), "limits: A / P / fives has no subgroup in the window");
  EXPECT_EQ(failure(Request(Shape::Fives, 0xD00)),
            "A / P / fives has values; its limits are those of a chart of values");
  EXPECT_EQ(failure(Request(Shape::Defects, 0x110)),
            "A / P / defects counts; its limits are those of a chart of counts");
  EXPECT_EQ(failure(Request(Shape::Fives, 0x510)),
            "limits: a pre-control chart has the lines of its specification limits");
  auto flat = Request(Shape::Fives);
  flat.test = Id(ItemKind::Test, "flat");
  EXPECT_EQ(failure(flat),
            "limits: the values do not spread, or there is nothing to estimate sigma from");
}

TEST_F(ComputeTest, FewSubgroupsAreWarnedOf) {
  Import(CsvOf(Shape::Fives, 19, 1));
  Import(CsvOf(Shape::Singles, 24, 1));
  const auto warnings = [&](Shape shape) { return Data().ComputeLimits(Request(shape)).warnings; };
  EXPECT_EQ(warnings(Shape::Fives),
            std::vector<std::string>{
                "19 subgroups; limits from fewer than 20 change much with the next ones"});
  EXPECT_EQ(warnings(Shape::Singles),
            std::vector<std::string>{
                "24 subgroups; limits from fewer than 25 change much with the next ones"});
  Import(
      "part,process,test,subgroup,time,value\nA,P,fives,20,2024-01-01,104\n"
      "A,P,singles,25,2024-01-01,104\n");
  EXPECT_TRUE(warnings(Shape::Fives).empty());
  EXPECT_TRUE(warnings(Shape::Singles).empty());
}

// Quiet points, and one far off.
constexpr std::size_t kQuiet = 30;
std::string Spike(std::size_t at, const std::string& comment = {}) {
  std::mt19937 random(3);
  std::string text = "part,process,test,subgroup,time,value,comment\n";
  for (std::size_t i = 0; i < kQuiet; ++i) {
    const double value = i == at ? 200.0 : 100.0 + static_cast<double>(random() % 1000) / 200.0;
    text += "A,P,singles," + std::to_string(i + 1) + "," + platform::IsoText(TimeAt(i)) + "," +
            std::to_string(value) + "," + (i == at ? comment : "") + "\n";
  }
  return text;
}

TEST_F(ComputeTest, ScreeningLeavesOutWhatHasACause) {
  Import(Spike(10));
  auto request = Request(Shape::Singles, 0x330);
  auto limits = Data().ComputeLimits(request);
  EXPECT_TRUE(limits.rounds.empty()) << "never by default";
  EXPECT_EQ(limits.used, 30);
  ASSERT_FALSE(limits.missing.empty());
  EXPECT_EQ(limits.missing[0],
            "#11 lies beyond a limit; leave out what has a cause (--exclude, --iterate)");

  request.screening = LimitScreening::WithCause;
  limits = Data().ComputeLimits(request);
  EXPECT_EQ(limits.used, 30) << "no cause is known";
  ASSERT_EQ(limits.rounds.size(), 1U);
  EXPECT_EQ(limits.rounds[0].candidates, std::vector<std::int32_t>{11});
  EXPECT_TRUE(limits.rounds[0].left_out.empty());

  request.screening = LimitScreening::Every;
  limits = Data().ComputeLimits(request);
  EXPECT_EQ(limits.used, 29);
  ASSERT_EQ(limits.exclusions.size(), 1U);
  EXPECT_EQ(limits.exclusions[0].reason, "beyond a limit, no cause recorded");
  EXPECT_EQ(limits.rounds.size(), 2U);
  EXPECT_TRUE(limits.missing.empty()) << limits.missing.front();

  Import("type,time,name,process,part,acc\ngeneral," + platform::IsoText(TimeAt(10) - 60) +
             ",Tool broke,P,A,\n",
         ImportKind::Events);
  request.screening = LimitScreening::WithCause;
  limits = Data().ComputeLimits(request);
  EXPECT_EQ(limits.used, 29);
  ASSERT_EQ(limits.exclusions.size(), 1U);
  EXPECT_EQ(limits.exclusions[0].reason, "event: Tool broke");
  EXPECT_LT(limits.mean, 103.0);
  EXPECT_EQ(ChartOf(Shape::Singles, 0x330).graphs[0].points[10], 200.0) << "nothing is changed";
}

TEST_F(ComputeTest, WhatIsNoCauseOfAPoint) {
  Import(Spike(10));
  // Of another process, of a point before, an alarm that nobody explained.
  const auto at = [](std::size_t i, int seconds) { return platform::IsoText(TimeAt(i) + seconds); };
  Import("part,process,test,subgroup,time,value\nA,Q,singles,1,2024-01-01,5\n");
  Import("type,time,name,process,part,acc\ngeneral," + at(10, -60) + ",Elsewhere,Q,A,\n" +
             "general," + at(9, -60) + ",Before,P,A,\ngeneral," + at(10, 60) + ",After,P,A,\n" +
             "subgroup-alarm," + at(10, 0) + ",Beyond limits,P,A,\n",
         ImportKind::Events);
  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::WithCause;
  EXPECT_EQ(Data().ComputeLimits(request).used, 30);
  Import("code,name\nTW,Tool wear\n", ImportKind::AccCodes);
  Import("type,time,name,process,part,acc\nsubgroup-alarm," + at(10, -1) + ",Explained,P,A,TW\n",
         ImportKind::Events);
  EXPECT_EQ(Data().ComputeLimits(request).used, 29);
}

TEST_F(ComputeTest, ChangesOfItemsAndForcedValuesAreNoCauseOfAPoint) {
  Import(Spike(10));
  Import(
      "part,process,test,subgroup,time,value,employee,lot\nB,Q,other,1,2024-01-01,5,Eve,L1\n"
      "B,Q,other,2,2024-01-02,5,Eve,L2\n");
  const ChangeOptions why{ann_, "tidied up"};
  Data().Rename(ItemKind::Lot, "L1", "Lot 1", why);
  Data().Merge(ItemKind::Lot, "L2", "Lot 1", why);
  Data().SetActive(ItemKind::Employee, "Eve", false, why);
  Data().SetActive(ItemKind::Process, "P", false, why);
  Data().SetActive(ItemKind::Process, "P", true, why);
  const auto events = [&](const std::string& which) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      count = sql::Query(db,
                         "SELECT count(*) FROM event e LEFT JOIN event_name n ON n.id = e.name "
                         "WHERE e.type = 2 AND " +
                             which)
                  .RunForInt()
                  .value_or(0);
    });
    return count;
  };
  ASSERT_EQ(events("n.name IS NULL"), 5);
  store::RunSql(Path(), "UPDATE event SET time = " + std::to_string(TimeAt(10) - 60));

  Import("part,test,url,lrl\nA,singles,150,0\n", ImportKind::Limits);
  ValueChange change;
  change.tsno = 1;
  change.value = 190.0;
  change.force = true;
  Data().ChangeValue(11, Stream(Shape::Singles).test, change, why);
  NewRecord record;
  record.part = "A";
  record.process = "P";
  record.test = "singles";
  record.time = TimeAt(kQuiet);
  record.pieces.emplace_back().value = 200.0;
  record.force = true;
  const auto recorded = Data().Record(record, ann_);
  ASSERT_EQ(events("n.name = 'Unreasonable value'"), 2);

  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::WithCause;
  const auto limits = Data().ComputeLimits(request);
  ASSERT_EQ(limits.rounds.size(), 1U);
  EXPECT_EQ(limits.rounds[0].candidates, (std::vector<std::int32_t>{11, recorded.subgroup}));
  EXPECT_TRUE(limits.exclusions.empty()) << limits.exclusions.front().reason;
  EXPECT_EQ(limits.used, 31);

  // A downtime needs no name.
  Import("type,time,process,part\ndowntime," + platform::IsoText(TimeAt(10) - 60) + ",P,A\n",
         ImportKind::Events);
  const auto without = Data().ComputeLimits(request);
  ASSERT_EQ(without.exclusions.size(), 1U);
  EXPECT_EQ(without.exclusions[0].subgroup, 11);
  EXPECT_EQ(without.exclusions[0].reason, "event: downtime");
}

TEST_F(ComputeTest, TheFirstPointOfAWindowHasNoCauseOfLongBefore) {
  Import(Spike(10));
  const auto event = [&](const std::string& time) {
    Import("type,time,name,process,part\ngeneral," + time + ",Cleaning,P,A\n", ImportKind::Events);
  };
  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::WithCause;
  for (const bool is_phase : {false, true}) {
    if (is_phase) {
      request.since.reset();
      AddPhase("Tool B", 10, 0);
      event("2019-05-01T00:00:00");
    } else {
      request.since = TimeAt(10);
      event(platform::IsoText(TimeAt(2)));
    }
    const auto limits = Data().ComputeLimits(request);
    ASSERT_EQ(limits.rounds.size(), 1U);
    EXPECT_EQ(limits.rounds[0].candidates, std::vector<std::int32_t>{11});
    EXPECT_TRUE(limits.exclusions.empty());
  }
  event(platform::IsoText(TimeAt(10) - 60));
  const auto limits = Data().ComputeLimits(request);
  ASSERT_EQ(limits.exclusions.size(), 1U) << "since the point before";
  EXPECT_EQ(limits.exclusions[0].subgroup, 11);
}

// One point lies too high, and of another the range is too large, of which nobody knows why.
TEST_F(ComputeTest, APointOfTheSpreadWithoutACauseLeavesGraphOneToBeScreened) {
  std::string text = "part,process,test,subgroup,time,value,tsno\n";
  for (int i = 0; i < 30; ++i) {
    for (int piece = 1; piece <= 5; ++piece) {
      const double far = i == 12 ? 10.0 * (piece % 2 == 0 ? 1 : -1) : i == 5 ? 15.0 : 0.0;
      text += "A,P,fives," + std::to_string(i + 1) + "," +
              platform::IsoText(TimeAt(static_cast<std::size_t>(i))) + "," +
              std::to_string(100.0 + (i * 7 + piece * 3) % 5 + far) + "," + std::to_string(piece) +
              "\n";
    }
  }
  Import(text);
  Import("type,time,name,process,part\ngeneral," + platform::IsoText(TimeAt(5) - 60) +
             ",Tool broke,P,A\n",
         ImportKind::Events);
  auto request = Request(Shape::Fives, 0x110);
  EXPECT_TRUE(Data().ComputeLimits(request).missing.at(0).starts_with("#6 #13 lie beyond a limit"))
      << Data().ComputeLimits(request).missing.at(0);
  request.screening = LimitScreening::WithCause;
  const auto limits = Data().ComputeLimits(request);
  ASSERT_EQ(limits.exclusions.size(), 1U);
  EXPECT_EQ(limits.exclusions[0].subgroup, 6);
  EXPECT_EQ(limits.exclusions[0].reason, "event: Tool broke");
  EXPECT_TRUE(limits.missing.at(0).starts_with("#13 lies beyond a limit")) << limits.missing.at(0);
  request.screening = LimitScreening::Every;
  const auto every = Data().ComputeLimits(request);
  ASSERT_EQ(every.rounds.size(), 3U);
  EXPECT_EQ(every.rounds[0].candidates, std::vector<std::int32_t>{13}) << "the spread first";
  EXPECT_EQ(every.rounds[1].candidates, std::vector<std::int32_t>{6});
  EXPECT_EQ(every.used, 28);
}

TEST_F(ComputeTest, ACommentIsACause) {
  Import(Spike(10, "drill slipped"));
  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::WithCause;
  const auto limits = Data().ComputeLimits(request);
  ASSERT_EQ(limits.exclusions.size(), 1U);
  EXPECT_EQ(limits.exclusions[0].reason, "comment: drill slipped");
}

// For which limits were made without it; not where nobody could say why.
TEST_F(ComputeTest, AnExclusionOfStoredLimitsIsACause) {
  Import(Spike(10));
  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::Every;
  Data().ProposeLimits(request, {ann_, "for the test"});
  request.screening = LimitScreening::WithCause;
  EXPECT_EQ(Data().ComputeLimits(request).used, 30);
  auto without = Request(Shape::Singles, 0x330);
  without.exclusions = {{11, "tool broke"}};
  const auto id = Data().ProposeLimits(without, {ann_, "for the test"});
  const auto limits = Data().ComputeLimits(request);
  ASSERT_EQ(limits.exclusions.size(), 1U);
  EXPECT_EQ(limits.exclusions[0].reason, "exclusion: tool broke");
  EXPECT_EQ(limits.used, 29);
  Data().RejectLimits(id, {ann_, "nothing broke"});
  EXPECT_EQ(Data().ComputeLimits(request).used, 30);
}

// Of 29 ranges two are those into the spike and out of it.
TEST_F(ComputeTest, LargeMovingRangesAreDroppedOnceWhereThatIsAskedFor) {
  Import(Spike(10));
  auto request = Request(Shape::Singles, 0x330);
  const auto plain = Data().ComputeLimits(request);
  EXPECT_EQ(plain.estimator, "MR-est");
  request.screen_mr = true;
  const auto screened = Data().ComputeLimits(request);
  EXPECT_EQ(screened.estimator, "MR-est screened");
  EXPECT_EQ(screened.used, 30) << "the points stay";
  EXPECT_EQ(screened.mean, plain.mean);
  const auto points = ChartOf(Shape::Singles, 0x330).graphs[0].points;
  double sum = 0.0;
  for (std::size_t i = 1; i < points.size(); ++i) {
    if (i != 10 && i != 11) sum += std::fabs(points[i] - points[i - 1]);
  }
  EXPECT_NEAR(screened.sp, sum / 27.0 / 1.128379167, 1e-8);
  EXPECT_TRUE(screened.warnings.empty());
  request.force = true;
  const auto id = Data().ProposeLimits(request, {ann_, "for the test"});
  EXPECT_EQ(Row(id).estimator, "MR-est screened");
  Import(CsvOf(Shape::Fives, 30, 1));
  auto fives = Request(Shape::Fives, 0x110);
  fives.screen_mr = true;
  EXPECT_EQ(Data().ComputeLimits(fives).warnings.front(),
            "sigma is not that of moving ranges, so none was left out");
}

TEST_F(ComputeTest, TooManyPointsBeyondTheLimitsAreNotScreened) {
  // A fifth would leave: levels that change every few points.
  std::string text = "part,process,test,subgroup,time,value\n";
  for (std::size_t i = 0; i < 40; ++i) {
    const double level = (i / 10) % 2 == 0 ? 100.0 : 150.0;
    text += "A,P,singles," + std::to_string(i + 1) + "," + platform::IsoText(TimeAt(i)) + "," +
            std::to_string(level + static_cast<double>((i * 7) % 5)) + "\n";
  }
  Import(text);
  auto request = Request(Shape::Singles, 0x330);
  request.screening = LimitScreening::Every;
  const auto limits = Data().ComputeLimits(request);
  ASSERT_FALSE(limits.missing.empty());
  EXPECT_EQ(limits.missing[0], "not in control: too many points lie beyond the limits");
  EXPECT_EQ(FailureOf([&] {
              Data().ProposeLimits(request, {ann_, "try it"});
            }).substr(0, 37),
            "limits: not proposed: not in control:");
}

TEST_F(ComputeTest, ASignalAmongTheLastPointsKeepsThemFromBeingProposed) {
  const auto missing = [&](std::size_t at) {
    auto request = Request(Shape::Singles, 0x330);
    request.exclusions = {{static_cast<std::int32_t>(at) + 1, "known"}};
    return Data().ComputeLimits(request).missing;
  };
  Import(Spike(10));
  EXPECT_TRUE(missing(10).empty());
  std::string text = "part,process,test,subgroup,time,value\n";
  for (std::size_t i = kQuiet; i < kQuiet + 10; ++i) {
    text += "A,P,singles," + std::to_string(i + 1) + "," + platform::IsoText(TimeAt(i)) + ",104\n";
  }
  Import(text);
  ASSERT_FALSE(missing(10).empty());
  EXPECT_EQ(missing(10).back(), "there are signals among the last 15 points");
}

}  // namespace
}  // namespace orvspc::engine::limits
