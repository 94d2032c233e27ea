// SPDX-License-Identifier: Apache-2.0
#include "host/render/chart/Chart.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "tests/host/ChartViews.h"

namespace orvspc::host {

using namespace render;
namespace {

TEST(Terminal, AChartWithoutSignalsSaysSo) {
  const std::string none = "\nno signals, no values out of specification\n";
  const std::string text = RenderChartText(SimpleView(9), {100, false});
  EXPECT_NE(text.find(none), std::string::npos) << text;
  EXPECT_EQ(text.find("signals and values out of specification:"), std::string::npos);
  EXPECT_EQ(RenderChartText(SimpleView(10), {100, false}).find(none), std::string::npos);
}

TEST(Terminal, TheDrawingHasPointsLimitsAndMarks) {
  const std::string text = RenderChartText(SimpleView(25), {100, false});
  for (const char* piece :
       {"UCL 13.00", "CL 10.00", "LCL 7.00", "o", "#", "signals and values out of specification:",
        "rule 1: 1 point beyond a control limit", "03-01 08:00", "# breaks a rule"})
    EXPECT_NE(text.find(piece), std::string::npos) << piece;
}

TEST(Terminal, NoDrawnLineIsWiderThanTheTerminal) {
  for (const std::size_t columns : {60U, 80U, 120U})
    for (const std::size_t count : {1U, 2U, 25U, 70U, 2000U}) {
      ChartView view = SimpleView(count);
      for (auto& mark : view.graphs[0].marks)
        mark.specifications = {"a value above USL", "a value below LSL"};
      view.graphs[0].caption = std::string(30, 'n') + " and " + std::string(70, 'm');
      view.graphs[0].limits.upper.back() = 1500000071.5;
      view.notes.push_back({"code", "A note of more words than a narrow terminal has columns for.",
                            "Ring / Press / Diameter"});
      std::istringstream lines(RenderChartText(view, {columns, false}));
      for (std::string line; std::getline(lines, line);)
        EXPECT_LE(Width(line), columns) << count << " points: " << line;
    }
}

TEST(Terminal, ColourIsUsedOnlyWhenAskedFor) {
  EXPECT_EQ(RenderChartText(SimpleView(25), {80, false}).find('\x1b'), std::string::npos);
  EXPECT_NE(RenderChartText(SimpleView(25), {80, true}).find('\x1b'), std::string::npos);
}

TEST(Terminal, SeveralStreamsHaveLettersAndATableOfTheirLimits) {
  ChartView view = SimpleView(6);
  view.streams = {0, 1, 0, 1, 0, 1};
  view.stream_views.resize(2);
  view.stream_views[1].name = "Ring / Lathe / Diameter";
  view.graphs[0].limits.upper = {13.0, 12.0, 13.0, 12.0, 13.0, 12.5};
  std::istringstream lines(RenderChartText(view, {100, false}));
  std::string first, second;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("a  Ring / Press", 0) == 0) first = line;
    if (line.rfind("b  Ring / Lathe", 0) == 0) second = line;
  }
  EXPECT_NE(first.find("7.00"), std::string::npos) << first;
  EXPECT_NE(first.find("13.00"), std::string::npos) << first;
  EXPECT_NE(second.find("12.50"), std::string::npos) << second;
}

TEST(Terminal, TheAxisHasTheYearWhereThereAreSeveral) {
  ChartView view = SimpleView(3);
  EXPECT_EQ(RenderChartText(view).find("\n   08:00"), std::string::npos);
  view.stamps[0] -= 86400 * 365;
  EXPECT_NE(RenderChartText(view).find("2023-03-02 08:00"), std::string::npos);
}

TEST(Terminal, NoPointsSayNoDataSelected) {
  ChartView view;
  view.title = "Control chart";
  EXPECT_NE(RenderChartText(view).find("no data selected"), std::string::npos);
}

TEST(Terminal, ManyLargeValuesThatHardlyDifferAreDrawn) {
  ChartView view = SimpleView(500);
  view.graphs[0].limits = {};
  for (std::size_t i = 0; i < 500; ++i) view.graphs[0].points[i] = 1e17 + (i % 2 == 0 ? 0.0 : 16.0);
  EXPECT_NE(RenderChartText(view, {100, false}).find("\xE2\x94\x82"), std::string::npos);
}

TEST(Terminal, ALongListOfMarksIsCutAndSaysSo) {
  EXPECT_NE(RenderChartText(SimpleView(2000)).find("... and 160 more"), std::string::npos);
}

}  // namespace
}  // namespace orvspc::host
