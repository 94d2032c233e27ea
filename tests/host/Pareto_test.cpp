// SPDX-License-Identifier: Apache-2.0
// What people and scripts see of a Pareto: the model of the pictures, text, SVG and HTML.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/pareto/Pareto.h"
#include "platform/Platform.h"
#include "tests/host/ParetoViews.h"
#include "tests/host/ParsedJson.h"

namespace orvspc::host {

using namespace render;
namespace {

ParetoDocument Codes() {
  return ParetoOf(
      {paBinTypeDefect},
      {{{"Scratch"}, 50, {50}}, {{"Dent"}, 30, {30}}, {{"Sag"}, 15, {15}}, {{"Blister"}, 5, {5}}});
}

ParetoDocument CodesByShift() {
  return ParetoOf({paBinTypeDefect, paBinTypeShift}, {{{"Scratch", "Early"}, 40, {60, 40}},
                                                      {{"Scratch", "Late"}, 20, {60, 20}},
                                                      {{"Dent", "Late"}, 25, {30, 25}},
                                                      {{"Dent", "Early"}, 5, {30, 5}}});
}

std::size_t Count(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

bool Has(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

TEST(ParetoModel, SharesAddUpAndTheBarThatReaches80PercentIsMarked) {
  const ParetoView view = ViewOf(Codes());
  ASSERT_EQ(view.bars.size(), 4u);
  EXPECT_EQ(view.bars[0].cumulative, 50.0);
  EXPECT_EQ(view.bars[1].cumulative, 80.0);
  EXPECT_EQ(view.bars[3].cumulative, 100.0);
  EXPECT_EQ(view.eighty, std::optional<std::size_t>(1));
  EXPECT_EQ(view.whole, 100.0);
  EXPECT_EQ(view.other, 0.0);
  EXPECT_TRUE(view.groups.empty());
}

TEST(ParetoModel, WhatIsNotShownIsTold) {
  const ParetoView view =
      ViewOf(ParetoOf({paBinTypeDefect}, {{{"Scratch"}, 30, {60}}, {{"Dent"}, 5, {10}}}));
  EXPECT_EQ(view.other, 30.0);
  EXPECT_EQ(view.whole, 50.0);
  EXPECT_FALSE(view.eighty);
  EXPECT_TRUE(Has(view.subtitle, "30.0 % in bins that are not shown")) << view.subtitle;
}

TEST(ParetoModel, BarsOfOneFirstLevelAreAGroupWithItsOwnShare) {
  const ParetoView view = ViewOf(CodesByShift());
  ASSERT_EQ(view.groups.size(), 2u);
  EXPECT_EQ(view.groups[0].name, "Scratch");
  EXPECT_EQ(view.groups[0].value, 60.0);
  EXPECT_EQ(view.groups[0].share, 60.0);
  EXPECT_EQ(view.groups[1].first, 2u);
  EXPECT_EQ(view.groups[1].last, 3u);
  EXPECT_EQ(view.bars[2].name, "Late");
  EXPECT_EQ(view.bars[2].cumulative, 85.0);
}

TEST(ParetoModel, AGroupThatIsCutHasTheValueAndTheShareOfAllOfIt) {
  auto document = ParetoOf({paBinTypeDefect, paBinTypeShift}, {{{"Scratch", "Early"}, 40, {60, 40}},
                                                               {{"Dent", "Late"}, 10, {30, 10}}});
  const ParetoView view = ViewOf(document);
  EXPECT_DOUBLE_EQ(view.whole, 100.0);
  EXPECT_DOUBLE_EQ(view.groups[0].value, 60.0);
  EXPECT_EQ(view.groups[0].share, 60.0);
  EXPECT_DOUBLE_EQ(view.groups[1].value, 30.0);
  EXPECT_EQ(view.groups[1].share, 30.0);
  EXPECT_FALSE(view.groups[1].is_part);
  EXPECT_DOUBLE_EQ(view.MostValue(), 60.0);
  // Rates have no sum: what is said is of the bars that are there.
  document.pareto.processing->ProcessingType(paProcessByPPM);
  const ParetoView rates = ViewOf(document);
  EXPECT_EQ(rates.groups[1].name, "Dent (shown part)");
  EXPECT_TRUE(rates.groups[1].is_part);
  EXPECT_EQ(rates.groups[1].value, 10.0);
  EXPECT_EQ(rates.groups[1].share, 10.0);
}

TEST(ParetoJson, WhatHasNoBaseIsNull) {
  auto document = ParetoOf({paBinTypeDefect}, {{{"Scratch"}, 3, {0}}, {{"Dent"}, 0, {0}}});
  auto json = ParseJson(ParetoJson(document));
  EXPECT_EQ(json.At("Bins[0].Percentage[0]").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(json.At("Bins[0].Percentage[1]").number, 0.0);  // a level that is not in use
  EXPECT_EQ(json.At("Bins[0].Value").number, 3.0);
  document.pareto.bins[0].percentage[0] = 100.0;
  document.pareto.bins[0].total = 0.0;
  json = ParseJson(ParetoJson(document));
  EXPECT_EQ(json.At("Bins[0].Percentage[0]").number, 100.0);
  EXPECT_EQ(json.At("Bins[1].Percentage[0]").number, 0.0);
  EXPECT_EQ(json.At("Bins[0].Value").number, 3.0);  // a count needs no total
  for (const auto measure : {paProcessByPPM, paProcessByPPT}) {
    document.pareto.processing->ProcessingType(measure);
    json = ParseJson(ParetoJson(document));
    EXPECT_EQ(json.At("Bins[0].Value").kind, ParsedJson::Kind::Null);
    EXPECT_EQ(json.At("Bins[1].Value").number, 0.0);
  }
}

TEST(ParetoJson, CumulativePercentRunsUpToTheWhole) {
  const ParsedJson json = ParseJson(ParetoJson(ParetoOf(
      {paBinTypeDefect}, {{{"a"}, 6, {60}}, {{"b"}, 3, {30}}, {{"c"}, 1, {10.0 + 1e-12}}})));
  EXPECT_DOUBLE_EQ(json.At("Bins[0].CumulativePercent").number, 60.0);
  EXPECT_DOUBLE_EQ(json.At("Bins[1].CumulativePercent").number, 90.0);
  EXPECT_EQ(json.At("Bins[2].CumulativePercent").number, 100.0) << "never above the whole";
  const ParsedJson none =
      ParseJson(ParetoJson(ParetoOf({paBinTypeDefect}, {{{"a"}, 0, {0}}, {{"b"}, 0, {0}}})));
  EXPECT_EQ(none.At("Bins[1].CumulativePercent").kind, ParsedJson::Kind::Null) << "of nothing";
}

TEST(ParetoModel, TimeFirstHas80PercentNowhereAndDaysNoMidnight) {
  auto document =
      ParetoOf({paBinTypeTime}, {{{"2024-03-04 00:00"}, 1, {90}}, {{"2024-03-05 00:00"}, 9, {10}}});
  document.pareto.processing->BinTimePeriod(0, paDays);
  const ParetoView view = ViewOf(document);
  EXPECT_TRUE(view.chronological);
  EXPECT_FALSE(view.eighty);
  EXPECT_EQ(view.bars[0].name, "2024-03-04");
  document.pareto.processing->BinTimePeriod(0, paHours);
  EXPECT_EQ(ViewOf(document).bars[0].name, "2024-03-04 00:00");
}

struct Titled {
  std::int32_t resource, measure, accumulation;
  const char* title;
  const char* axis;
};

TEST(ParetoModel, TitleAndAxisSayWhatIsCounted) {
  for (const Titled& row :
       {Titled{0, 0, 0, "Defects by code", "defects"},
        Titled{0, 0, 1, "Records with defects by code", "records with defects"},
        Titled{0, 2, 0, "Defects by code", "defects per million"},
        Titled{0, 11, 2, "Defects by code", "defects"},  // subgroups have no time
        Titled{1, 0, 0, "Events by code", "events"},
        Titled{1, 11, 0, "Time of events by code", "time of events, hours"},
        Titled{1, 10, 3, "Time to the ACC by code", "time to the ACC, minutes"},
        Titled{2, 12, 1, "Time in states by code", "time in states, days"},
        Titled{2, 0, 0, "Entries into states by code", "entries into states"},
        Titled{1, 0, 4, "Time to the CAC by code", "time to the CAC, seconds"}}) {
    auto document = Codes();
    document.pareto.processing->ResourceType(paResourceTypes{row.resource});
    document.pareto.processing->ProcessingType(paProcessingTypes{row.measure});
    document.pareto.processing->AccumulationType(paAccumulationTypes{row.accumulation});
    const ParetoView view = ViewOf(document);
    EXPECT_EQ(view.title, row.title);
    EXPECT_EQ(view.axis, row.axis);
  }
}

TEST(ParetoModel, RatesDoNotAddUpToAWhole) {
  auto document = Codes();
  document.pareto.processing->ProcessingType(paProcessByPPM);
  EXPECT_TRUE(std::isnan(ViewOf(document).whole));
}

TEST(ParetoModel, TheTableHasAColumnForWhatSomeBinHas) {
  auto document = Codes();
  EXPECT_EQ(ViewOf(document).table.headings.size(), 7u);
  document.pareto.bins[1].yield = 98.25;
  document.pareto.bins[2].ppk = 1.5;
  const ParetoView view = ViewOf(document);
  ASSERT_EQ(view.table.headings.size(), 9u);
  EXPECT_EQ(view.table.rows[1][7], "98.25 %");
  EXPECT_EQ(view.table.rows[1][8], "");
  EXPECT_EQ(view.table.rows[2][8], "1.500");
}

TEST(ParetoModel, WithoutSettingsNothingIsClaimed) {
  auto document = Codes();
  document.pareto.processing = nullptr;
  document.pareto.levels_known = false;
  const ParetoView view = ViewOf(document);
  EXPECT_EQ(view.title, "Pareto");
  EXPECT_EQ(view.axis, "value");
  EXPECT_TRUE(std::isnan(view.whole));
  EXPECT_EQ(view.table.headings[0], "level 1");
}

TEST(ParetoText, BarsAreInProportionAndThe80PercentLineStandsBehindItsBar) {
  const std::string text = RenderParetoText(ViewOf(Codes()), {70, false});
  std::istringstream in(text);
  std::vector<std::size_t> lengths;
  std::size_t mark = 0;
  for (std::string line; std::getline(in, line);) {
    EXPECT_LE(Width(line), 70u) << line;
    if (Has(line, "80 % up to here")) mark = lengths.size();
    const auto bar = std::count(line.begin(), line.end(), '#');
    if (bar > 1) lengths.push_back(static_cast<std::size_t>(bar));
  }
  ASSERT_EQ(lengths.size(), 4u) << text;
  EXPECT_NEAR(static_cast<double>(lengths[0]) * 0.6, static_cast<double>(lengths[1]), 1.0);
  EXPECT_NEAR(static_cast<double>(lengths[0]) * 0.1, static_cast<double>(lengths[3]), 1.0);
  EXPECT_EQ(mark, 2u) << text;
  EXPECT_TRUE(Has(text, "100.0 %"));
  EXPECT_FALSE(Has(text, "\x1b"));
}

TEST(ParetoText, FurtherLevelsStandIndentedBelowTheirGroup) {
  const std::string text = RenderParetoText(ViewOf(CodesByShift()), {80, false});
  const auto group = text.find("\nScratch "), leaf = text.find("\n  Early ");
  EXPECT_LT(group, leaf);
  EXPECT_LT(leaf, text.find("\nDent "));
  EXPECT_TRUE(Has(text, "(not shown)")) << text;
}

TEST(ParetoText, ALongNameIsCutAndTheLineHoldsItsWidth) {
  const std::string name(60, 'x');
  const std::string text =
      RenderParetoText(ViewOf(ParetoOf({paBinTypePart}, {{{name}, 5, {100}}})), {60, false});
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) EXPECT_LE(Width(line), 60u) << line;
  EXPECT_TRUE(Has(text, "x\xE2\x80\xA6"));
}

TEST(ParetoText, WithoutBinsItSaysSo) {
  const std::string text = RenderParetoText(ViewOf(ParetoOf({paBinTypeDefect}, {})));
  EXPECT_TRUE(Has(text, "no data selected"));
}

TEST(ParetoSvg, EveryBinHasABarAPointAndItsName) {
  const std::string svg = RenderParetoSvg(ViewOf(Codes()));
  EXPECT_EQ(Count(svg, "<rect class=\"few\""), 2u);
  EXPECT_EQ(Count(svg, "<rect class=\"bar\""), 2u);
  EXPECT_EQ(Count(svg, "<circle class=\"dot\""), 4u);
  EXPECT_EQ(Count(svg, "class=\"e80\""), 1u);
  EXPECT_EQ(Count(svg, "class=\"cum\""), 1u);
  for (const char* name : {">Scratch<", ">Dent<", ">Sag<", ">Blister<"})
    EXPECT_TRUE(Has(svg, name)) << name;
}

// The figure of attribute `name` in the element that starts at `at`.
double Figure(const std::string& svg, std::size_t at, const std::string& name) {
  const auto start = svg.find(" " + name + "=\"", at) + name.size() + 3;
  return std::stod(svg.substr(start));
}

TEST(ParetoSvg, TheLineBeginsOnTheFirstBarAndHeightsAreInProportion) {
  const std::string svg = RenderParetoSvg(ViewOf(Codes()));
  const auto first = svg.find("<rect class=\"few\""), last = svg.rfind("<rect class=\"bar\"");
  EXPECT_NEAR(Figure(svg, first, "height"), 10.0 * Figure(svg, last, "height"), 0.1);
  const auto dot = svg.find("<circle");
  EXPECT_NEAR(Figure(svg, dot, "cy"), Figure(svg, first, "y"), 0.01);
  const auto end = svg.rfind("<circle");
  EXPECT_LT(Figure(svg, end, "cy"), Figure(svg, dot, "cy"));
}

TEST(ParetoSvg, GroupsStandBehindTheirBars) {
  const std::string svg = RenderParetoSvg(ViewOf(CodesByShift()));
  EXPECT_EQ(Count(svg, "<rect class=\"grp\""), 2u);
  const auto group = svg.find("<rect class=\"grp\""), bar = svg.find("<rect class=\"few\"");
  EXPECT_LT(group, bar) << "what is drawn later covers what is drawn before";
  EXPECT_LE(Figure(svg, group, "x"), Figure(svg, bar, "x"));
  EXPECT_LT(Figure(svg, group, "y"), Figure(svg, bar, "y"));
}

TEST(ParetoSvg, NamesAreEscapedInPicturesAndPages) {
  const auto view = ViewOf(ParetoOf({paBinTypeDefect}, {{{"<script>&\"'\x01"}, 5, {100}}}));
  for (const std::string& text : {RenderParetoSvg(view), RenderParetoHtml(view)}) {
    EXPECT_FALSE(Has(text, "<script>"));
    EXPECT_TRUE(Has(text, "&lt;script&gt;&amp;"));
    EXPECT_FALSE(Has(text, "\x01"));
  }
}

TEST(ParetoSvg, EveryPictureIsWellFormedWhateverTheBinsHold) {
  InstallEmbedded();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  auto many = ParetoOf({paBinTypeDefect}, {});
  for (int i = 0; i < 400; ++i) {
    ParetoBinRead bin;
    bin.parts[0] = "a rather long name of bin " + std::to_string(i);
    bin.value = 400 - i;
    bin.percentage[0] = 0.25;
    many.pareto.bins.push_back(bin);
  }
  const ParetoDocument documents[] = {
      Codes(),
      CodesByShift(),
      many,
      ParetoOf({paBinTypeDefect}, {}),
      ParetoOf({paBinTypeDefect}, {{{""}, 0, {0}, kBinEmpty}}),
      ParetoOf({paBinTypeDefect}, {{{"a"}, nan, {nan}}, {{"b"}, 1, {100}}}),
      ParetoOf({paBinTypeDefect}, {{{"a"}, infinity, {100}}, {{"b"}, -3, {0}}}),
      ParetoOf({paBinTypeDefect}, {{{"a"}, 1e300, {100}}, {{"b"}, 1e-300, {0}}})};
  for (const auto& document : documents) {
    const std::string svg = RenderParetoSvg(ViewOf(document));
    EXPECT_TRUE(platform::Current()->MakeXmlDocument()->LoadXml(svg)) << svg;
    EXPECT_FALSE(Has(svg, "=\"nan") || Has(svg, "=\"inf") || Has(svg, "\xE2\x80\x93\"")) << svg;
  }
}

}  // namespace
}  // namespace orvspc::host
