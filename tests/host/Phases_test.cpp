// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <variant>
#include <vector>

#include "host/render/chart/ChartPhases.h"
#include "host/render/core/Scene.h"
#include "tests/host/ChartViews.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

// Phases at the command line and in pictures.
namespace orvspc::host {
namespace {

// A chart cut into so many phases of equal length, with a step of the limits at each border.
ChartView PhasedView(std::size_t count, std::size_t phases) {
  auto view = SimpleView(count);
  auto& graph = view.graphs[0];
  view.phase_of.resize(count);
  for (std::size_t p = 0; p < phases; ++p) {
    PhaseView phase;
    phase.name = "Tool " + std::string(1, static_cast<char>('A' + p));
    phase.kind = "stage";
    phase.first = count * p / phases;
    phase.last = count * (p + 1) / phases - 1;
    phase.subgroups = phase.used = phase.last - phase.first + 1;
    for (auto i = phase.first; i <= phase.last; ++i) {
      view.phase_of[i] = static_cast<std::int32_t>(p);
      const double step = p % 2 == 0 ? 0.0 : 0.8;
      graph.points[i] += step;
      for (auto* line : {&graph.limits.upper, &graph.limits.centre, &graph.limits.lower})
        (*line)[i] += step;
    }
    view.phases.push_back(phase);
  }
  return view;
}

template <class ShapeType>
std::vector<ShapeType> ShapesOf(const Scene& scene, const std::string& style) {
  std::vector<ShapeType> found;
  for (const auto& shape : scene.shapes)
    if (const auto* const each = std::get_if<ShapeType>(&shape))
      if (each->style == style) found.push_back(*each);
  return found;
}

std::vector<double> BordersOf(const Scene& scene) {
  std::vector<double> borders;
  for (const auto& line : ShapesOf<PathShape>(scene, "pb")) borders.push_back(line.line[0].first);
  return borders;
}

std::size_t CountOf(const Scene& scene, const std::string& text) {
  std::size_t count = 0;
  for (const auto& shape : scene.shapes)
    if (const auto* const each = std::get_if<TextShape>(&shape)) count += each->text == text;
  return count;
}

bool HasText(const Scene& scene, const std::string& part) {
  return std::ranges::any_of(scene.shapes, [&](const Shape& shape) {
    const auto* const each = std::get_if<TextShape>(&shape);
    return each != nullptr && each->text.find(part) != std::string::npos;
  });
}

TEST(PhasePicture, EachBorderHasALineAndEachPhaseItsName) {
  const auto scene = ChartScene(PhasedView(60, 6));
  EXPECT_EQ(BordersOf(scene).size(), 5U);
  for (const char letter : {'A', 'B', 'C', 'D', 'E', 'F'})
    EXPECT_EQ(CountOf(scene, std::string("Tool ") + letter), 1U) << letter;
}

TEST(PhasePicture, NoStrokeOfALimitCrossesABorder) {
  for (const bool older : {false, true}) {
    auto view = PhasedView(60, 6);
    if (older) view.older_limits.resize(60);
    for (std::size_t i = 20; older && i < 30; ++i) view.older_limits[i] = true;
    const auto scene = ChartScene(view);
    const auto borders = BordersOf(scene);
    std::size_t strokes = 0;
    for (const char* style : {"lim", "cl", "lim old", "cl old"}) {
      for (const auto& path : ShapesOf<PathShape>(scene, style)) {
        ++strokes;
        for (const double border : borders) {
          const auto [first, last] = std::minmax_element(path.line.begin(), path.line.end());
          EXPECT_FALSE(first->first < border - 0.01 && last->first > border + 0.01) << style;
        }
      }
    }
    EXPECT_EQ(strokes, 18U) << "three lines in each of six phases";
    EXPECT_EQ(ShapesOf<PathShape>(scene, "lim old").size(), older ? 2U : 0U);
  }
}

// The other half of the phase has limits of its own.
TEST(PhasePicture, LimitsAreThinWhereTheyAreOlderThanThePhase) {
  auto view = PhasedView(60, 3);
  view.older_limits.resize(60);
  for (std::size_t i = 20; i < 30; ++i) view.older_limits[i] = true;
  const auto scene = ChartScene(view);
  const double middle = (BordersOf(scene).at(0) + BordersOf(scene).at(1)) / 2.0;
  const auto thin = ShapesOf<PathShape>(scene, "lim old");
  ASSERT_EQ(thin.size(), 2U);
  for (const auto& path : thin) {
    const auto [first, last] = std::minmax_element(path.line.begin(), path.line.end());
    EXPECT_GT(first->first, BordersOf(scene)[0] - 0.01);
    EXPECT_NEAR(last->first, middle, 0.01);
  }
}

TEST(PhasePicture, SpecificationLimitsGoOn) {
  auto view = PhasedView(60, 6);
  view.graphs[0].specification.upper.assign(60, 12.0);
  EXPECT_EQ(ShapesOf<PathShape>(ChartScene(view), "spec").size(), 1U);
}

TEST(PhasePicture, LimitsAreLabelledInsideTheirPhaseAndOverlapNothing) {
  const auto view = PhasedView(60, 6);
  const auto scene = ChartScene(view);
  const auto labels = ShapesOf<TextShape>(scene, "s ll");
  // Both limits of each phase but the last, which has its labels at the right edge.
  EXPECT_EQ(labels.size(), 10U);
  const auto borders = BordersOf(scene);
  const auto box = [](const TextShape& text) {
    return Box{text.x, text.y - 8.0, text.x + kDigit * static_cast<double>(text.text.size()),
               text.y + 1.5};
  };
  for (const auto& label : labels) {
    const auto at = box(label);
    for (const double border : borders)
      EXPECT_FALSE(at.left < border && border < at.right) << label.text;
    for (const auto& other : labels)
      EXPECT_TRUE(&other == &label || !at.Meets(box(other))) << label.text;
    for (const auto& shape : scene.shapes) {
      const auto* const point = std::get_if<SymbolShape>(&shape);
      if (point == nullptr) continue;
      EXPECT_FALSE(at.Meets({point->x - 2, point->y - 2, point->x + 2, point->y + 2}))
          << label.text;
    }
  }
  EXPECT_EQ(std::ranges::count(labels, "UCL 13.80", &TextShape::text), 2) << "B and D";
}

// The upper limit of phase B is 13.80 up to its middle and 13.40 from there; that of C begins at
// 13.20 and is 13.00 at its end, at the right edge.
TEST(PhasePicture, EachLevelOfALimitIsLabelledOnceWhereItIsDrawn) {
  auto view = PhasedView(60, 3);
  auto& upper = view.graphs[0].limits.upper;
  for (std::size_t i = 30; i < 40; ++i) upper[i] = 13.4;
  for (std::size_t i = 40; i < 50; ++i) upper[i] = 13.2;
  const auto scene = ChartScene(view);
  const auto borders = BordersOf(scene);
  ASSERT_EQ(borders.size(), 2U);
  const double half = (borders[1] - borders[0]) / 2.0;
  const struct {
    const char* text;
    double from, to;
  } rows[] = {{"UCL 13.80", borders[0], borders[0] + half},
              {"UCL 13.40", borders[0] + half, borders[1]},
              {"UCL 13.20", borders[1], borders[1] + half}};
  const auto labels = ShapesOf<TextShape>(scene, "s ll");
  for (const auto& row : rows) {
    ASSERT_EQ(std::ranges::count(labels, row.text, &TextShape::text), 1) << row.text;
    const auto label = *std::ranges::find(labels, row.text, &TextShape::text);
    EXPECT_GT(label.x, row.from) << row.text;
    EXPECT_LT(label.x + kDigit * 9.0, row.to) << row.text;
  }
  EXPECT_EQ(std::ranges::count(labels, "UCL 13.00", &TextShape::text), 1) << "of phase A";
}

TEST(PhasePicture, AboveSixPhasesTheLimitsAreListedBelow) {
  const auto scene = ChartScene(PhasedView(70, 7));
  EXPECT_TRUE(ShapesOf<TextShape>(scene, "s ll").empty());
  EXPECT_TRUE(HasText(scene, "Tool G, 10 subgroups: X-bar LCL 7.00, CL 10.00, UCL 13.00"));
}

TEST(PhasePicture, TheRightEdgeHasTheLimitsOfTheNewestPhaseAlone) {
  auto view = PhasedView(20, 2);
  EXPECT_EQ(CountOf(ChartScene(view), "UCL 13.80"), 1U);
  for (std::size_t i = 10; i < 20; ++i) view.graphs[0].limits.upper[i] = kNaN;
  EXPECT_EQ(CountOf(ChartScene(view), "UCL 13.80"), 0U);
  EXPECT_TRUE(std::isnan(NewestValues(view, view.graphs[0].limits.upper)[0]));
}

TEST(PhasePicture, ExcludedPointsAreHollowAndNamed) {
  auto view = PhasedView(20, 2);
  view.phases[1].is_excluded = true;
  view.excluded.assign(20, false);
  std::fill(view.excluded.begin() + 10, view.excluded.end(), true);
  const auto scene = ChartScene(view);
  EXPECT_EQ(CountOf(scene, "Tool B (excluded)"), 1U);
  EXPECT_TRUE(HasText(scene, "disabled, incomplete or excluded"));
  std::size_t hollow = 0;
  for (const auto& shape : scene.shapes)
    if (const auto* const point = std::get_if<SymbolShape>(&shape))
      hollow += point->look.style == "pu" && !point->tip.empty();
  EXPECT_EQ(hollow, 9U) << "one of the ten has a mark";
}

TEST(PhasePicture, APictureWithoutPhasesIsAsBefore) {
  const auto svg = RenderChartSvg(SimpleView(30));
  auto one = PhasedView(30, 1);
  one.phases.clear();
  one.phase_of.clear();
  EXPECT_EQ(RenderChartSvg(one), svg);
  EXPECT_EQ(svg.find("class=\"pb\""), std::string::npos);
}

TEST(PhaseText, TheTextHasATableAndBorders) {
  const auto text = RenderChartText(PhasedView(40, 2));
  EXPECT_NE(text.find("border of a phase"), std::string::npos);
  EXPECT_NE(text.find("Tool B"), std::string::npos);
  EXPECT_EQ(RenderChartText(SimpleView(40)).find("phase"), std::string::npos);
}

class PhaseCommandTest : public ProgramTest {
 protected:
  PhaseCommandTest() {
    std::string values = "subgroup,time,part,process,test,tsno,value\n";
    for (int day = 1; day <= 28; ++day)
      for (int piece = 1; piece <= 3; ++piece)
        values += std::to_string(day) + ",2024-02-" + std::string(day < 10 ? "0" : "") +
                  std::to_string(day) + ",Ring,Press A,Diameter," + std::to_string(piece) + "," +
                  std::to_string(day + day * piece % 5) + "\n";
    Write("v.csv", values);
    EXPECT_EQ(Run("import --db q.db v.csv").status, 0);
  }
  Outcome Add(const std::string& arguments) {
    return Run("phase add --db q.db --reason 'new tool' " + arguments);
  }
  void AddThree() {
    EXPECT_EQ(Add("--part Ring --name A --start 2024-02-01 --end 2024-02-09").status, 0);
    EXPECT_EQ(Add("--part Ring --name B --start 2024-02-09 --end 2024-02-21").status, 0);
    EXPECT_EQ(Add("--part Ring --name C --start 2024-02-21").status, 0);
  }
};

TEST_F(PhaseCommandTest, PhasesAreAddedListedEndedAndRemoved) {
  EXPECT_EQ(Add("--part Ring --name 'Tool A' --start 2024-02-01 --kind trial --freeze-after 5 "
                "--by Ann")
                .status,
            0);
  const auto list = Run("phase list --db q.db");
  EXPECT_EQ(list.out,
            "id  phase   part  process  test  start       end  kind   frozen\n"
            " 1  Tool A  Ring  any      any   2024-02-01       trial       5\n");
  const auto json = ParseJson(Run("phase list --db q.db --format json").out);
  const auto& phase = json.At("phase[0]");
  EXPECT_EQ(phase.At("Who").text, "Ann");
  EXPECT_EQ(phase.At("Reason").text, "new tool");
  EXPECT_EQ(Run("phase end 'Tool A' --end 2024-02-09 --reason worn --db q.db").status, 0);
  EXPECT_NE(Run("phase list --db q.db").out.find("2024-02-09"), std::string::npos);
  EXPECT_EQ(Run("phase remove 1 --reason mistake --db q.db").status, 0);
  EXPECT_NE(Run("phase list --db q.db").out.find("(none)"), std::string::npos);
}

TEST_F(PhaseCommandTest, ADryRunSaysWhatWouldBeDoneAndDoesNothing) {
  AddThree();
  const auto list = [&] { return Run("phase list --db q.db --format json").out; };
  const auto before = list();
  const auto dry = [&](const std::string& arguments) {
    return Run("phase " + arguments + " --reason 'new tool' --db q.db --dry-run");
  };
  EXPECT_EQ(dry("add --part Ring --name D --start 2024-01-01 --end 2024-01-05").out,
            "phase 4 would be added\n");
  EXPECT_EQ(dry("end C --end 2024-02-25").out, "phase 3 would be ended\n");
  EXPECT_EQ(dry("remove 1").out, "phase 1 would be removed\n");
  EXPECT_EQ(list(), before);
  // What the real run would refuse.
  EXPECT_EQ(dry("add --part Ring --name D --start 2024-02-22").status, 1);
}

TEST_F(PhaseCommandTest, TheListHasTheVersionThatAnEndExpects) {
  AddThree();
  const auto version = [&] {
    const auto json = ParseJson(Run("phase list --db q.db --format json").out);
    return std::to_string(static_cast<std::int64_t>(json.At("phase[2]").At("Version").number));
  };
  const auto end = [&](const std::string& time, const std::string& expected) {
    return Run("phase end C --reason worn --db q.db --end " + time + " --expect " + expected);
  };
  const auto seen = version();
  EXPECT_EQ(end("2024-02-25", seen).status, 0);
  EXPECT_NE(version(), seen);
  const auto late = end("2024-02-26", seen);
  EXPECT_EQ(late.status, 1);
  EXPECT_EQ(late.err.rfind("orvspc phase: phase \"C\" was changed by ", 0), 0U) << late.err;
  EXPECT_NE(late.err.find("(version " + version() + ", you saw " + seen + ")"), std::string::npos)
      << late.err;
  EXPECT_NE(Run("phase list --db q.db").out.find("2024-02-25"), std::string::npos);
  EXPECT_EQ(end("2024-02-26", version()).status, 0);
}

TEST_F(PhaseCommandTest, APhaseThatHasEndedIsNotEndedAgainByChance) {
  EXPECT_EQ(Add("--part Ring --name A --start 2024-01-01 --end 2024-01-02").status, 0);
  const auto again = Run("phase end A --reason worn --db q.db");
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.err, "orvspc phase: phase \"A\" ended 2024-01-02; --end changes that\n");
  EXPECT_EQ(Run("phase end A --end 2024-01-05 --reason worn --db q.db").status, 0);
  EXPECT_NE(Run("phase list --db q.db").out.find("2024-01-05"), std::string::npos);
  EXPECT_EQ(Add("--part Ring --name B --start 2024-01-05 --end 2037-01-01").status, 0);
  EXPECT_EQ(Run("phase end B --reason worn --db q.db").status, 0) << "it goes on";
}

TEST_F(PhaseCommandTest, WhatIsWrongIsOneLine) {
  AddThree();
  const auto expect = [&](const std::string& arguments, int status, const std::string& text) {
    const auto run = Run(arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_EQ(run.err, "orvspc phase: " + text + "\n") << arguments;
  };
  expect("phase add --db q.db --reason tool --name D --start 2024-02-25", 1,
         "\"D\" overlaps \"C\" (2024-02-21 to now); end or remove that one first (phase 3)");
  expect("phase add --db q.db --name D --start 2024-01-25 --end 2024-01-26", 1,
         "--reason: say why, in 3 to 500 characters");
  expect("phase add --db q.db --reason tool --start 2024-01-25", 2, "--name is missing");
  expect("phase add --db q.db --reason tool --name D --start soon", 2,
         "--start: \"soon\" is no time; write it as 2024-02-29T12:30:00");
  expect("phase add --db q.db --reason tool --name D --start 2024-01-25 --part Disc", 1,
         "no part is called \"Disc\"");
  expect("phase end D --db q.db --reason worn", 1,
         "there is no phase \"D\"; \"orvspc phase list\" shows them");
  expect("phase end --db q.db", 2, "which phase? its number or name follows");
  expect("phase --db q.db", 2, "what to do? add, end, list or remove follows");
  expect("phase stop --db q.db", 2, "there is no \"stop\", only add, end, list or remove");
  EXPECT_EQ(Add("--part Ring --name D --start 2023-02-01 --end 2023-02-02 --freeze-after 1").status,
            2);
}

TEST_F(PhaseCommandTest, TheDocumentOfAChartNamesPhases) {
  AddThree();
  const auto json = ParseJson(Run("chart --db q.db --max 0 --format json").out);
  EXPECT_EQ(json.At("Subgroups[0].Phase").text, "A");
  EXPECT_EQ(json.At("Subgroups[27].Phase").text, "C");
  const auto& phases = json.At("Streams[0].Phases");
  ASSERT_EQ(phases.elements.size(), 3U);
  EXPECT_EQ(phases.At("[1].Name").text, "B");
  EXPECT_EQ(phases.At("[1].First").number, 8.0);
  EXPECT_EQ(phases.At("[1].Last").number, 19.0);
  // The limits of a phase are those that its points have.
  EXPECT_EQ(phases.At("[1].Limits[0].cUCL").number, json.At("Graphs[0].cUCLs[10]").number);
  EXPECT_EQ(phases.At("[2].Mean.Value").number, json.At("Streams[0].Mean.Value").number);
}

TEST_F(PhaseCommandTest, WithoutPhasesTheDocumentHasNoneOfTheseKeys) {
  const auto run = Run("chart --db q.db --max 0 --format json");
  EXPECT_EQ(run.out.find("Phase"), std::string::npos);
}

TEST_F(PhaseCommandTest, APhaseIsSelectedByName) {
  AddThree();
  const auto count = [&](const std::string& arguments) {
    return ParseJson(Run("chart --db q.db --format json " + arguments).out)
        .At("TotalSubgroups")
        .number;
  };
  EXPECT_EQ(count("--phase B"), 12.0);
  EXPECT_EQ(count("--phase B --max 5"), 5.0) << "of the phase, not of all";
  EXPECT_EQ(count("--phase B --since 2024-02-15"), 6.0);
  EXPECT_EQ(count("--phase C --until 2024-02-22"), 2.0);
  EXPECT_EQ(Run("chart --db q.db --phase X").err,
            "orvspc chart: no phase of what is selected is called \"X\"; \"orvspc phase list\" "
            "shows all\n");
  EXPECT_EQ(Run("chart --db q.db --phase B --all-phases").status, 2);
  EXPECT_EQ(Run("chart --db q.db --phase B --last 3").status, 2);
}

TEST_F(PhaseCommandTest, PointsOfAnExcludedPhaseAreOutOfNoSpecification) {
  Write("s.csv", "part,test,usl,alarms\nRing,Diameter,0.5,usl\n");
  ASSERT_EQ(Run("import --db q.db s.csv --kind limits").status, 0);
  const std::string chart = "chart --db q.db --part Ring ";
  const auto marked = [&](const std::string& options) {
    int count = 0;
    const auto json = ParseJson(Run(chart + "--format json " + options).out);
    for (const auto& bits : json.At("Graphs[0].OOSs").elements) count += bits.number != 0.0 ? 1 : 0;
    return count;
  };
  EXPECT_EQ(marked("--max 0"), 28);
  const auto stored = Run(chart + "--max 0 --format xml").out;
  ASSERT_EQ(Add("--part Ring --name bad --start 2024-02-21 --kind excluded").status, 0);
  for (const std::string options : {"--max 0", "--max 0 --all-phases"}) {
    EXPECT_EQ(marked(options), 20) << options;
    const auto text = Run(chart + options).out;
    EXPECT_NE(text.find("2024-02-20"), std::string::npos) << options;
  }
  const auto list_of = [](const std::string& xml) {
    const auto begin = xml.find("OOSs");
    return xml.substr(begin, xml.find("\" ", begin) - begin);
  };
  EXPECT_EQ(list_of(Run(chart + "--max 0 --format xml").out), list_of(stored));
  const std::string excluded = chart + "--since 2024-02-21 ";
  for (const std::string options :
       {"--exit-code=any", "--exit-code", "--exit-code=any --format xml",
        "--exit-code=any --all-phases"}) {
    EXPECT_EQ(Run(excluded + options).status, 0) << options;
  }
  for (const std::string format : {"text", "svg", "html"}) {
    EXPECT_EQ(Run(excluded + "--format " + format).out.find("above USL"), std::string::npos)
        << format;
    EXPECT_NE(Run(chart + "--until 2024-02-20 --format " + format).out.find("above USL"),
              std::string::npos)
        << format;
  }
  EXPECT_EQ(Run(chart + "--exit-code").status, 3) << "the newest point that counts";
}

TEST_F(PhaseCommandTest, PointsOfAnExcludedPhaseAreHollowAlsoWherePhasesAreTakenTogether) {
  const std::string chart = "chart --db q.db --max 0 ";
  const auto hollow = [&](const std::string& options) {
    const auto svg = Run(chart + options + "--graph1 xbar --graph2 none --format svg").out;
    int count = 0;
    for (auto at = svg.find("class=\"pu\""); at != svg.npos; at = svg.find("class=\"pu\"", at + 1))
      ++count;
    return count;
  };
  EXPECT_EQ(hollow("--all-phases "), 0);
  ASSERT_EQ(Add("--part Ring --name bad --start 2024-02-21 --kind excluded").status, 0);
  const auto usual = hollow("");
  EXPECT_GE(usual, 8) << "and what the sign means";
  EXPECT_EQ(hollow("--all-phases "), usual);
  const auto text = Run(chart + "--all-phases").out;
  EXPECT_NE(text.find("x disabled, incomplete or excluded"), text.npos);
  EXPECT_NE(text.find("28 subgroups, 20 used"), text.npos);
  const auto page = Run(chart + "--all-phases --format html").out;
  EXPECT_NE(page.find("<td>excluded</td>"), page.npos);
}

TEST_F(PhaseCommandTest, CapabilityTakesTheNewestPhaseUnlessToldOtherwise) {
  const auto before = Run("capability --db q.db --format json").out;
  AddThree();
  const auto pieces = [&](const std::string& arguments) {
    return ParseJson(Run("capability --db q.db --format json " + arguments).out)
        .At("Statistics.Summary.PieceCount")
        .number;
  };
  EXPECT_EQ(pieces(""), 24.0);
  EXPECT_NE(Run("capability --db q.db").out.find("newest of 3 phases, 8 of 28 subgroups"),
            std::string::npos);
  EXPECT_EQ(pieces("--phase A"), 24.0);
  EXPECT_EQ(pieces("--phase B"), 36.0);
  EXPECT_EQ(Run("capability --db q.db --all-phases --format json").out, before);
}

TEST_F(PhaseCommandTest, ParetoAndComplianceAreAsBefore) {
  const std::string samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
  for (const auto& [kind, file] : {std::pair{"values", "panels.csv"},
                                   {"values", "filling.csv"},
                                   {"requirements", "filling-requirements.csv"}}) {
    ASSERT_EQ(
        Run("import --db q.db --kind " + std::string(kind) + " '" + samples + file + "'").status, 0)
        << file;
  }
  const std::string pareto = "pareto --db q.db --part 'Door panel' --by process --format json";
  const std::string compliance = "compliance --db q.db --since 2024-04-08 --until 2024-04-13";
  const auto categories = Run(pareto).out, samples_due = Run(compliance).out;
  EXPECT_FALSE(ParseJson(categories).At("Bins").elements.empty());
  EXPECT_NE(samples_due.find("Capper"), std::string::npos);
  EXPECT_EQ(Add("--name all --start 2024-03-20 --end 2024-04-10").status, 0);
  EXPECT_EQ(Add("--name out --start 2024-04-10 --kind excluded").status, 0);
  EXPECT_EQ(Run(pareto).out, categories);
  EXPECT_EQ(Run(compliance).out, samples_due);
  const auto due = ParseJson(Run(compliance + " --by phase --format json").out);
  std::vector<std::string> phases;
  double expected = 0.0, of_shifts = 0.0;
  for (const auto& each : due.At("Phases").elements) {
    phases.push_back(each.At("Phase").text);
    EXPECT_GT(each.At("SamplesExpected").number, 0.0);
    expected += each.At("SamplesExpected").number;
  }
  EXPECT_EQ(phases, (std::vector<std::string>{"all", "out"}));
  for (const auto& each : due.At("Shifts").elements) of_shifts += each.At("SamplesExpected").number;
  EXPECT_EQ(expected, of_shifts) << "each sample falls due in one of them";
  for (const std::string format : {"text", "html"}) {
    EXPECT_NE(Run(compliance + " --by phase --format " + format).out.find("Samples by phase"),
              std::string::npos);
  }
  const auto picture = Run(compliance + " --by phase --format svg").out;
  for (const std::string name : {">phase</text>", ">all</text>", ">out</text>"})
    EXPECT_NE(picture.find(name), std::string::npos) << name;
  EXPECT_EQ(Run(compliance + " --format svg").out.find(">phase</text>"), std::string::npos);
  const auto by_phase =
      ParseJson(Run("pareto --db q.db --part 'Door panel' --by phase --format json").out);
  std::vector<std::string> names;
  double count = 0.0;
  for (const auto& bin : by_phase.At("Bins").elements) {
    names.push_back(bin.At("Name").text);
    count += bin.At("BinCount").number;
  }
  std::ranges::sort(names);
  EXPECT_EQ(names, (std::vector<std::string>{"(none)", "all"}));
  double all = 0.0;
  const auto by_process = ParseJson(categories);
  for (const auto& bin : by_process.At("Bins").elements) all += bin.At("BinCount").number;
  EXPECT_EQ(count, all);
}

}  // namespace
}  // namespace orvspc::host
