// SPDX-License-Identifier: Apache-2.0
#include "host/render/Terminal.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/render/Numbers.h"
#include "tests/host/ChartViews.h"

namespace orvspc::host {
namespace {

TEST(Terminal, TheDrawingHasPointsLimitsAndMarks) {
  const std::string text = RenderTerminal(SimpleView(25), {80, false});
  for (const char* piece : {"UCL 13.00", "CL 10.00", "LCL 7.00", "o", "#",
                            "marks:", "rule 1: 1 point beyond a control limit", "03-01 08:00"})
    EXPECT_NE(text.find(piece), std::string::npos) << piece;
}

TEST(Terminal, NoDrawnLineIsWiderThanTheTerminal) {
  for (const std::size_t columns : {60U, 80U, 120U})
    for (const std::size_t count : {1U, 2U, 25U, 70U, 2000U}) {
      ChartView view = SimpleView(count);
      view.graphs[0].marks.clear();
      std::istringstream lines(RenderTerminal(view, {columns, false}));
      for (std::string line; std::getline(lines, line);)
        EXPECT_LE(Width(line), columns) << count << " points: " << line;
    }
}

TEST(Terminal, ColourIsUsedOnlyWhenAskedFor) {
  EXPECT_EQ(RenderTerminal(SimpleView(25), {80, false}).find('\x1b'), std::string::npos);
  EXPECT_NE(RenderTerminal(SimpleView(25), {80, true}).find('\x1b'), std::string::npos);
}

TEST(Terminal, NoPointsSayNoDataSelected) {
  ChartView view;
  view.title = "Control chart";
  EXPECT_NE(RenderTerminal(view).find("no data selected"), std::string::npos);
}

TEST(Terminal, ALongListOfMarksIsCutAndSaysSo) {
  EXPECT_NE(RenderTerminal(SimpleView(2000)).find("... and 160 more"), std::string::npos);
}

}  // namespace
}  // namespace orvspc::host
