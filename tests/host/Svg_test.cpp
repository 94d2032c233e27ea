// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/Chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <regex>
#include <set>

#include "host/render/chart/ChartLayout.h"
#include "host/render/core/Scene.h"
#include "tests/host/ChartViews.h"

namespace orvspc::host {

using namespace render;
namespace {

std::size_t Occurrences(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

TEST(SvgNotes, TheLastLineCountsThoseLeftOut) {
  std::vector<Note> notes(7, Note{"code", "A note.", ""});
  EXPECT_EQ(NoteLines(notes).back(), "and 1 more note");
  notes.push_back(notes[0]);
  EXPECT_EQ(NoteLines(notes).back(), "and 2 more notes");
}

TEST(SvgNotes, ALongNoteTakesTheLinesThatItNeeds) {
  std::string sentence = "A note";
  for (int i = 1; i <= 60; ++i) sentence += " of word " + std::to_string(i);
  sentence += ".";
  ChartView view = SimpleView(5);
  view.notes = {{"code", "A note.", ""}};
  const auto before = ChartScene(view, false);
  view.notes = {{"code", sentence, ""}};
  const auto lines = NoteLines(view.notes);
  ASSERT_GT(lines.size(), 2U);
  std::string joined;
  for (const auto& line : lines) {
    joined += (joined.empty() ? "" : " ") + line;
    EXPECT_LE(WidthOf(line), kPictureWidth - 28.0);
  }
  EXPECT_EQ(joined, "Note: " + sentence);
  const auto scene = ChartScene(view, false);
  EXPECT_EQ(scene.height, before.height + 15.0 * static_cast<double>(lines.size() - 1));
  const auto picture = WriteSvg(scene);
  for (const auto& line : lines) EXPECT_NE(picture.find(">" + line + "<"), std::string::npos);
  Scene plain(view, false);
  EXPECT_EQ(plain.Notes(100.0), 100.0 + 15.0 * static_cast<double>(lines.size()));
}

TEST(SvgLayout, PanelsStandBelowEachOtherAboveTheAxis) {
  ChartView view = SimpleView(25);
  view.graphs.push_back(view.graphs[0]);
  view.graphs.push_back(view.graphs[0]);
  const Layout layout = MakeLayout(view, 44.0, 3);
  ASSERT_EQ(layout.panels.size(), 3U);
  for (std::size_t g = 0; g < 3; ++g) {
    EXPECT_LT(layout.panels[g].top, layout.panels[g].bottom);
    if (g > 0) {
      EXPECT_GT(layout.panels[g].top, layout.panels[g - 1].bottom);
    }
  }
  EXPECT_GE(layout.axis, layout.panels[2].bottom);
  EXPECT_GT(layout.height, layout.footer);
}

TEST(SvgLayout, EveryPointAndLimitLiesInsideItsPanel) {
  for (const std::size_t count : {1U, 2U, 25U, 2000U}) {
    const ChartView view = SimpleView(count);
    const Layout layout = MakeLayout(view, 44.0, 0);
    const Panel& panel = layout.panels[0];
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_GT(layout.X(i), kPlotLeft);
      EXPECT_LT(layout.X(i), kPlotRight);
      for (const double value : {view.graphs[0].points[i], 13.0, 7.0}) {
        EXPECT_GE(panel.Y(value), panel.top);
        EXPECT_LE(panel.Y(value), panel.bottom);
      }
    }
  }
}

TEST(SvgLayout, ThePlotLeavesRoomForTheLongestLabelOnEachSide) {
  ChartView view = SimpleView(25);
  const Layout usual = MakeLayout(view, 44.0, 0);
  EXPECT_EQ(usual.left, kPlotLeft);
  EXPECT_EQ(usual.right, kPlotRight);
  GraphView& graph = view.graphs[0];
  for (auto* values :
       {&graph.points, &graph.limits.upper, &graph.limits.centre, &graph.limits.lower})
    for (auto& value : *values) value += 1.5e9;
  const Layout wide = MakeLayout(view, 44.0, 0);
  EXPECT_GE(wide.left, 10 * kDigit + 6.0);             // "1500000010" and its gap
  EXPECT_LE(wide.right, 1000.0 - 11.0 - 17 * kDigit);  // "UCL 1500000013.00"
  for (std::size_t i = 0; i < view.Count(); ++i) {
    EXPECT_GT(wide.X(i), wide.left);
    EXPECT_LT(wide.X(i), wide.right);
  }
}

TEST(SvgLayout, ACaptionThatDoesNotFitBesideTheTitleStandsBelowThePictureAndMovesNothing) {
  ChartView view = SimpleView(3);
  const Layout usual = MakeLayout(view, 44.0, 0);
  view.graphs[0].caption = std::string(100, 'n') + " " + std::string(100, 'm');
  const Layout layout = MakeLayout(view, 44.0, 0);
  EXPECT_EQ(layout.panels[0].top, usual.panels[0].top);
  EXPECT_EQ(layout.axis, usual.axis);
  const std::string svg = RenderChartSvg(view);
  EXPECT_NE(svg.find(">X-bar: " + std::string(100, 'n') + "<"), std::string::npos);
  EXPECT_NE(svg.find(">" + std::string(100, 'm') + "<"), std::string::npos);
}

TEST(SvgLayout, ACaptionIsBrokenBetweenItsStatements) {
  ChartView view = SimpleView(3);
  view.graphs[0].caption = std::string(60, 'n') + " a; b " + std::string(100, 'm');
  EXPECT_EQ(CaptionLines(view.graphs[0]),
            (std::vector<std::string>{"X-bar: " + std::string(60, 'n') + " a;",
                                      "b " + std::string(100, 'm')}));
}

TEST(Svg, ARuleWithoutATextIsNamedByItsNumber) {
  ChartView view = SimpleView(10);
  view.graphs[0].marks[0].rules = {{5, ""}, {2, ""}};
  const std::string svg = RenderChartSvg(view);
  EXPECT_NE(svg.find(">2,5</text>"), std::string::npos);
  EXPECT_NE(svg.find(">rule 2 (1 point)<"), std::string::npos);
  EXPECT_NE(svg.find("rule 5; rule 2</title>"), std::string::npos);
}

TEST(SvgLayout, RuleNumbersKeepOffEachOtherAndInsideThePanel) {
  const ChartView view = SimpleView(100);
  const Layout layout = MakeLayout(view, 44.0, 0);
  const Panel& panel = layout.panels[0];
  std::vector<Tag> tags;
  for (std::size_t i = 0; i < 100; ++i)
    tags.push_back({layout.X(i), i % 2 == 0 ? panel.top + 5.0 : panel.bottom - 40.0, 8.0, true,
                    "1+", "1,5,6"});
  const auto placed = PlaceTags(tags, {}, layout, panel);
  EXPECT_GT(placed.size(), 50U);  // both heights and both sides are used
  for (const auto& one : placed) {
    EXPECT_GE(one.y - 9.0, panel.top);
    EXPECT_LE(one.y, panel.bottom);
    for (const auto& other : placed)
      EXPECT_TRUE(&one == &other || std::abs(one.y - other.y) >= 9.0 ||
                  std::abs(one.x - other.x) >= 7.0 * 2.0)
          << one.x << " " << other.x;
  }
}

TEST(SvgLayout, WhatIsNeverNegativeStandsOnZero) {
  ChartView view = SimpleView(3);
  GraphView& graph = view.graphs[0];
  graph.points = {0.0, 0.0, 0.0};
  graph.limits = {};
  graph.marks.clear();
  EXPECT_LT(MakeLayout(view, 44.0, 0).panels[0].range.low, 0.0);
  graph.from_zero = true;
  EXPECT_EQ(MakeLayout(view, 44.0, 0).panels[0].range.low, 0.0);
  graph.points = {0.1, 5.0, 6.0};
  EXPECT_EQ(MakeLayout(view, 44.0, 0).panels[0].range.low, 0.0);
}

TEST(SvgLayout, AFarSpecificationDoesNotSquashThePoints) {
  GraphView graph = SimpleView(25).graphs[0];
  graph.specification.upper.assign(25, 20.0);
  EXPECT_EQ(AxisRange(graph).high, 20.0);
  graph.specification.upper.assign(25, 2000.0);
  EXPECT_EQ(AxisRange(graph).high, 13.5);
}

TEST(SvgLayout, AnAxisOfEqualOrMissingValuesHasAWidth) {
  GraphView graph;
  graph.points = {5.0, 5.0};
  EXPECT_LT(AxisRange(graph).low, AxisRange(graph).high);
  graph.points = {std::numeric_limits<double>::quiet_NaN()};
  EXPECT_LT(AxisRange(graph).low, AxisRange(graph).high);
  graph.points = {0.0};
  EXPECT_LT(AxisRange(graph).low, AxisRange(graph).high);
}

TEST(SvgLayout, AnAxisOfTheLargestValuesHasALength) {
  GraphView graph;
  graph.points = {1.7e308, -1.7e308};
  EXPECT_TRUE(std::isfinite(AxisRange(graph).high - AxisRange(graph).low));
  graph.points = {1.6e308, 1.7e308};
  EXPECT_LT(AxisRange(graph).low, AxisRange(graph).high);
}

TEST(SvgLayout, LabelsAreKeptApartAndInside) {
  std::vector<Label> labels;
  for (const double y : {50.0, 51.0, 52.0, 99.0, 100.0}) labels.push_back({y, 0.0, "", ""});
  PushApart(labels, 12.0, 0.0, 100.0);
  for (std::size_t i = 0; i < labels.size(); ++i) {
    EXPECT_LE(labels[i].at, 100.0);
    if (i > 0) {
      EXPECT_GE(labels[i].at - labels[i - 1].at, 12.0 - 1e-9);
    }
  }
}

TEST(SvgLayout, AxisLabelsGrowRarerAsPlacesGrowNarrower) {
  EXPECT_EQ(LabelStep(10, 80.0, 70.0), 1U);
  EXPECT_EQ(LabelStep(25, 32.0, 80.0), 5U);
  EXPECT_EQ(LabelStep(2000, 0.4, 80.0), 200U);
}

TEST(SvgLayout, LimitsStepWithThePointAndBreakWhereTheyAreMissing) {
  ChartView view = SimpleView(5);
  const Layout layout = MakeLayout(view, 0.0, 0);
  const auto lines = StepLines(view, Places(view), {13.0, 13.0, 14.0, std::nan(""), 13.0}, layout,
                               layout.panels[0]);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].size(), 4U);  // level, up, level
  EXPECT_EQ(lines[0][1].first, lines[0][2].first);
  EXPECT_NE(lines[0][1].second, lines[0][2].second);
  EXPECT_EQ(lines[1].size(), 2U);
}

TEST(SvgLayout, LimitsOfInterleavedStreamsAreNotJoined) {
  ChartView view = SimpleView(4);
  view.streams = {0, 1, 0, 1};
  const Layout layout = MakeLayout(view, 0.0, 0);
  EXPECT_EQ(StepLines(view, Places(view), {1, 2, 1, 2}, layout, layout.panels[0]).size(), 4U);
  view.groups = {{0, 1, 0}, {2, 3, 0}};
  const Layout grouped = MakeLayout(view, 0.0, 0);
  EXPECT_EQ(grouped.places, 2U);
  EXPECT_EQ(StepLines(view, Places(view), {1, 2, 1, 2}, grouped, grouped.panels[0]).size(), 2U);
}

TEST(SvgLayout, AThinnedLineKeepsItsEndsAndItsExtremes) {
  Polyline line;
  for (int i = 0; i < 100000; ++i)
    line.emplace_back(kPlotLeft + 800.0 * i / 100000.0, i == 50001 ? 3.0 : 100.0 + i % 7);
  const Polyline thin = Thinned(line);
  EXPECT_LE(thin.size(), 4U * 1602U);
  EXPECT_EQ(thin.front(), line.front());
  EXPECT_EQ(thin.back(), line.back());
  EXPECT_NE(std::find(thin.begin(), thin.end(), line[50001]), thin.end());
}

TEST(Svg, EachMarkedPointNamesItsRuleInATooltip) {
  const std::string svg = RenderChartSvg(SimpleView(25));
  EXPECT_EQ(Occurrences(svg, "1 point beyond a control limit</title>"), 2U);
  EXPECT_EQ(Occurrences(svg, "class=\"m\""), 3U);  // two points and the legend
  EXPECT_NE(svg.find("rule 1: 1 point beyond a control limit (2 points)"), std::string::npos);
}

TEST(Svg, LimitsCarryTheirValuesWithTheGraphsDecimals) {
  const std::string svg = RenderChartSvg(SimpleView(25));
  for (const char* label : {">UCL 13.00<", ">CL 10.00<", ">LCL 7.00<"})
    EXPECT_NE(svg.find(label), std::string::npos) << label;
}

TEST(Svg, ManyPointsHaveNoMarkersButTheMarkedOnes) {
  const std::string svg = RenderChartSvg(SimpleView(2000));
  EXPECT_EQ(Occurrences(svg, "<circle"), 0U);
  EXPECT_EQ(Occurrences(svg, "class=\"m\""), 201U);
}

TEST(Svg, PointsOfTwoStreamsAreNotJoinedAndDifferInShape) {
  ChartView view = SimpleView(6);
  view.streams = {0, 1, 0, 1, 0, 1};
  view.stream_views.resize(2);
  const std::string svg = RenderChartSvg(view);
  EXPECT_EQ(Occurrences(svg, "<path class=\"d\""), 1U);
  EXPECT_EQ(Occurrences(svg, "<path class=\"d k1\""), 1U);
  EXPECT_EQ(Occurrences(svg, "<circle class=\"p\""), 3U + 1U);
}

TEST(Svg, AMarkedPointKeepsTheShapeOfItsStream) {
  ChartView view = SimpleView(20);
  view.streams.assign(20, 0);
  view.streams[19] = 1;
  EXPECT_EQ(Occurrences(RenderChartSvg(view), "class=\"in\""), 0U);  // a single stream needs none
  view.stream_views.resize(2);
  const std::string svg = RenderChartSvg(view);
  EXPECT_EQ(Occurrences(svg, "<circle class=\"in\""), 1U);
  EXPECT_EQ(Occurrences(svg, "<path class=\"in\""), 1U);
}

TEST(Svg, StreamsThatTheLegendCannotTakeAreCounted) {
  ChartView view = SimpleView(20);
  view.streams.clear();
  for (std::int32_t i = 0; i < 20; ++i) view.streams.push_back(i);
  view.stream_views.resize(20);
  const std::string svg = RenderChartSvg(view);
  EXPECT_NE(svg.find("and 4 more streams"), std::string::npos);
  std::set<std::string> looks;
  for (std::int32_t s = 0; s < 20; ++s) {
    Scene scene(View(), true);
    scene.Add(SymbolShape{{.style = "p", .stream = s}, 0.0, 0.0, {}});
    looks.insert(WriteSvg(scene));
  }
  EXPECT_EQ(looks.size(), 20U);
}

TEST(ChartView, EveryPointIsAmongThePointsOfItsStreamOnce) {
  // Pictures of as many streams as points are drawn by this list, each point once.
  ChartView view = SimpleView(1000);
  for (std::size_t i = 0; i < view.Count(); ++i)
    view.streams.push_back(static_cast<std::int32_t>(i * 7 % 250));
  std::vector<bool> seen(view.Count(), false);
  std::size_t visited = 0;
  for (const auto& [stream, points] : PointsOfStreams(view))
    for (const auto point : points) {
      EXPECT_EQ(view.StreamOf(point), stream);
      EXPECT_FALSE(seen[point]);
      seen[point] = true;
      ++visited;
    }
  EXPECT_EQ(visited, view.Count());
  EXPECT_EQ(PointsOfStreams(SimpleView(5)).size(), 1U) << "without streams all are of one";
}

TEST(Svg, AsManyStreamsAsPointsHaveNoLines) {
  ChartView view = SimpleView(100'000);
  view.graphs[0].limits = {};
  view.stream_views.resize(view.Count());
  for (std::size_t i = 0; i < view.Count(); ++i)
    view.streams.push_back(static_cast<std::int32_t>(i));
  const std::string svg = RenderChartSvg(view);
  EXPECT_EQ(svg.find("class=\"dd"), std::string::npos);
  EXPECT_NE(svg.find("and 99984 more streams"), std::string::npos);
  // Each point with a signal once, and those of the legend: sixteen streams and the signal.
  const auto& marks = view.graphs[0].marks;
  EXPECT_EQ(marks.size(), 10'000U);
  EXPECT_EQ(Occurrences(svg, "class=\"m\""), marks.size() + 1);
  EXPECT_EQ(Occurrences(svg, " point beyond a control limit</title>"), marks.size());
  EXPECT_EQ(Occurrences(svg, "<text x=\"32\""), 17U);
  EXPECT_LT(Occurrences(svg, "<"), 5 * marks.size()) << "with the ends of elements";
}

TEST(Svg, ANoteNamesItsStream) {
  ChartView view = SimpleView(3);
  view.notes.push_back({"code", "Something was decided.", "Ring / Press / Diameter"});
  EXPECT_NE(RenderChartSvg(view).find("Note: Ring / Press / Diameter: Something was decided."),
            std::string::npos);
}

TEST(Svg, TheAxisHasTheYearWhereThereAreSeveral) {
  ChartView view = SimpleView(3);
  view.stamps[0] -= 86400 * 365;
  EXPECT_NE(RenderChartSvg(view).find(">2023-03-02 08:00<"), std::string::npos);
}

TEST(Svg, TextThatMarkupCannotHoldIsBlank) {
  ChartView view = SimpleView(3);
  view.title = "a\x1b[31mb\xEF\xBF\xBE\xEF\xBF\xBF\x7F\xC2\x85z\xC3";
  for (const auto& markup : {RenderChartSvg(view), RenderChartHtml(view)}) {
    EXPECT_NE(markup.find("a [31mb    z\xEF\xBF\xBD"), std::string::npos);
    EXPECT_EQ(markup.find('\x1b'), std::string::npos);
  }
}

TEST(Svg, ADisabledPointIsDrawnHollowAndNotJoined) {
  ChartView view = SimpleView(3);
  view.flags = {0, 1, 0};
  const std::string svg = RenderChartSvg(view);
  EXPECT_EQ(Occurrences(svg, "class=\"pu\""), 2U);  // the point and the legend
  EXPECT_EQ(Occurrences(svg, "<path class=\"d\""), 1U);
}

TEST(Svg, TextIsEscapedAndNothingIsFetched) {
  const std::string svg = RenderChartSvg(SimpleView(3));
  EXPECT_NE(svg.find("Ring &amp; &lt;Bolt&gt;"), std::string::npos);
  EXPECT_EQ(svg.find("href"), std::string::npos);
  EXPECT_EQ(svg.find("<script"), std::string::npos);
}

TEST(Svg, NoPointsSayNoDataSelected) {
  EXPECT_NE(RenderChartSvg(ChartView()).find("No data selected"), std::string::npos);
}

TEST(Svg, EveryCoordinateIsANumber) {
  ChartView view = SimpleView(4);
  view.graphs[0].points[1] = std::nan("");
  view.graphs[0].limits.upper.assign(4, std::nan(""));
  const std::string svg = RenderChartSvg(view);
  EXPECT_EQ(svg.find("nan"), std::string::npos);
  EXPECT_FALSE(std::regex_search(svg, std::regex("(x|y|d|cx|cy)=\"[^\"]*\xE2\x80\x93")));
}

TEST(Html, ThePageHoldsPictureEstimatesMarksAndNotes) {
  ChartView view = SimpleView(25);
  view.stream_views[0].sp = {1.02, "R-bar/d2", 2.326, 25};
  view.notes.push_back({"limits-changed", "The limits changed.", ""});
  const std::string page = RenderChartHtml(view);
  for (const char* piece : {"<svg", "R-bar/d2", "2.326", "2024-03-01T17:00:00", "13.50",
                            "1 point beyond a control limit", "The limits changed."})
    EXPECT_NE(page.find(piece), std::string::npos) << piece;
  EXPECT_EQ(page.find("http://"), page.find("http://www.w3.org/2000/svg"));
}

}  // namespace
}  // namespace orvspc::host
