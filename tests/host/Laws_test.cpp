// SPDX-License-Identifier: Apache-2.0
// orvspc capability --law and --quantiles, as a user runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

class LawsProgram : public ProgramTest {
 protected:
  // 60 subgroups of 2; the values are exact quantiles of a Weibull law of shape 2 and scale 10, in
  // an order that is not theirs.
  void Import() {
    std::string csv = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 120; ++i) {
      const double share = (static_cast<double>(i * 37 % 120) + 0.5) / 120.0;
      const auto subgroup = std::to_string(i / 2 + 1);
      const auto minute = std::to_string(10 + i / 2 % 50);
      const std::string hour = i / 2 < 50 ? "06" : "07";
      csv += "Shaft,Grinder,Run-out," + subgroup + ",2024-03-04T" + hour + ":" + minute + ":00," +
             std::to_string(10.0 * std::sqrt(-std::log1p(-share))) + "\n";
    }
    Write("values.csv", csv);
    ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  }

  ParsedJson Json(const std::string& options) {
    const Outcome outcome = Run("capability --db q.db --format json " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
};

TEST_F(LawsProgram, JsonHasTheLawBesideAnUnchangedAnalysis) {
  Import();
  const auto plain = Json("--usl 35"), with = Json("--usl 35 --law weibull");
  auto keys = plain.Keys();
  for (const char* key : {"Options", "Laws", "Law", "Quantiles", "Indices", "Plot"})
    keys.emplace_back(key);
  EXPECT_EQ(with.Keys(), keys);
  EXPECT_EQ(with.At("Statistics.PPs.Ppk").number, plain.At("Statistics.PPs.Ppk").number);
  EXPECT_EQ(with.At("Fit.Law").text, "normal");
  EXPECT_EQ(with.At("Law").text, "weibull");
  EXPECT_EQ(with.At("Laws[0].Parameters").Keys(), (std::vector<std::string>{"shape", "scale"}));
  EXPECT_NEAR(with.At("Laws[0].Parameters.shape").number, 2.0, 0.05);
  EXPECT_NEAR(with.At("Laws[0].Parameters.scale").number, 10.0, 0.05);
  EXPECT_EQ(with.At("Laws[0].PLow").number, 0.25);
  EXPECT_NEAR(with.At("Quantiles.Median.Value").number, 10.0 * std::sqrt(std::log(2.0)), 0.1);
  EXPECT_EQ(with.At("Indices.Pp").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(with.At("Indices.Ppk").number, with.At("Indices.Ppu").number);
  EXPECT_EQ(with.At("Plot").elements.size(), 120U);
  EXPECT_EQ(with.At("Plot[0].P").number, 0.5 / 120.0);
}

TEST_F(LawsProgram, BestNamesItsChoiceAndWhatElseFits) {
  Import();
  const auto best = Json("--law best --draws 99");
  EXPECT_EQ(best.At("Laws").elements.size(), 14U);
  EXPECT_NE(best.At("Law").text, "");
  bool said = false;
  for (const auto& note : best.At("Notes").elements)
    said = said || note.At("Code").text == "laws-tried";
  EXPECT_TRUE(said);
}

TEST_F(LawsProgram, QuantilesGoWithoutALaw) {
  Import();
  const auto document = Json("--usl 35 --quantiles");
  EXPECT_EQ(document.At("Law").kind, ParsedJson::Kind::Null);
  EXPECT_GT(document.At("Indices.Ppu").number, 0.0);
  EXPECT_EQ(document.At("Quantiles.Low.Lower").kind, ParsedJson::Kind::Null);
  EXPECT_NEAR(document.At("Quantiles.Median.Value").number, 8.3, 0.1);
}

TEST_F(LawsProgram, EveryFormatShowsTheLaw) {
  Import();
  for (const std::string format : {"text", "svg", "html"}) {
    const Outcome outcome = Run("capability --db q.db --usl 35 --law weibull --format " + format);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("shape 2"), std::string::npos) << format;
    EXPECT_NE(outcome.out.find("law weibull"), std::string::npos) << format;
    if (format != "text") {
      EXPECT_NE(outcome.out.find("Probability plot, weibull"), std::string::npos);
    }
  }
}

TEST_F(LawsProgram, NamesOfLimitsAreBesideTheirLinesInThePlot) {
  Import();
  const Outcome outcome = Run("capability --db q.db --lsl 3 --usl 20 --law weibull --format svg");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto plot = outcome.out.substr(outcome.out.find("Probability plot, weibull"));
  std::vector<double> lines;
  const std::regex line("<path class=\"spec\" d=\"M([0-9.]+) ");
  for (std::sregex_iterator at(plot.begin(), plot.end(), line), end; at != end; ++at) {
    lines.push_back(std::stod((*at)[1]));
  }
  ASSERT_EQ(lines.size(), 2U);
  const auto beside = [&](const std::string& name) {
    std::smatch found;
    const std::regex text("<text x=\"([0-9.]+)\" y=\"[0-9.]+\" class=\"ls\"([^>]*)>" + name);
    if (!std::regex_search(plot, found, text)) return std::pair(0.0, std::string());
    return std::pair(std::stod(found[1]), found[2].str());
  };
  const double least = std::min(lines[0], lines[1]), greatest = std::max(lines[0], lines[1]);
  const auto lsl = beside("LSL 3"), usl = beside("USL 20");
  EXPECT_NEAR(lsl.first, least + 5.0, 0.02);  // coordinates have two decimals
  EXPECT_EQ(lsl.second, "");
  EXPECT_NEAR(usl.first, greatest - 5.0, 0.02);
  EXPECT_EQ(usl.second, " text-anchor=\"end\"");
}

TEST_F(LawsProgram, WhatStaysNormalIsSaid) {
  Import();
  const auto says = [&](const std::string& options) {
    const auto document = Json("--usl 35 " + options);
    for (const auto& note : document.At("Notes").elements)
      if (note.At("Code").text == "indices-normal") return true;
    return false;
  };
  EXPECT_TRUE(says("--law weibull"));
  EXPECT_FALSE(says("--law normal"));
  EXPECT_FALSE(says("--quantiles"));
}

TEST_F(LawsProgram, ValuesOutsideOfALawAreANoteNotAnError) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  int subgroup = 0;
  for (const char* value : {"-1", "2", "3", "4.5", "5", "6.5"}) {
    const auto number = std::to_string(++subgroup);
    csv += "Shaft,Grinder,Run-out," + number + ",2024-03-0" + number + "," + value + "\n";
  }
  Write("values.csv", csv);
  ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  const auto document = Json("--law weibull");
  EXPECT_EQ(document.At("Law").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(document.At("Laws[0].AIC").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(document.At("Quantiles.Low.Value").kind, ParsedJson::Kind::Null);
}

TEST_F(LawsProgram, TheDatabaseMayHaveTheLawAndTheLevel) {
  Import();
  const auto plain = Run("capability --db q.db --format json").out;
  const auto with_law = Json("--law weibull"), with_level = Json("--law weibull --level 0.9");
  const auto set = [&](const std::string& option) {
    const auto outcome = Run("set --db q.db --part Shaft " + option);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  };
  set("capability.level 0.9");
  EXPECT_EQ(Run("capability --db q.db --format json").out, plain) << "nothing has a level";
  const auto intervals = Json("--intervals");
  EXPECT_EQ(intervals.At("Options.Level.Value").number, 0.9);
  EXPECT_EQ(intervals.At("Options.Level.From").text, "database");
  EXPECT_EQ(Json("--intervals --level 0.8").At("Options.Level.From").text, "command");
  set("capability.law weibull");
  const auto stored = Json("");
  EXPECT_EQ(stored.At("Options.Law.Value").text, "weibull");
  EXPECT_EQ(stored.At("Options.Law.From").text, "database");
  for (const std::string key : {"Quantiles.Low.Value", "Laws[0].AIC"}) {
    EXPECT_EQ(stored.At(key).number, with_level.At(key).number) << key;
  }
  EXPECT_EQ(stored.At("Quantiles.Low.Lower").number, with_level.At("Quantiles.Low.Lower").number);
  EXPECT_EQ(Json("--level 0.95").At("Quantiles.Low.Lower").number,
            with_law.At("Quantiles.Low.Lower").number);
  const auto given = Json("--law lognormal");
  EXPECT_EQ(given.At("Options.Law.Value").text, "lognormal");
  EXPECT_EQ(given.At("Options.Law.From").text, "command");
  // What the command has in place of a law goes before it.
  for (const std::string other : {"--quantiles", "--fit johnson"}) {
    const auto outcome = Run("capability --db q.db --format json " + other);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.find("\"Laws\""), std::string::npos) << other;
  }
  EXPECT_EQ(Run("capability --db q.db --format xml").status, 0);
  EXPECT_EQ(Run("capability --db q.db --transform").status, 2) << "it is of other laws";
  set("capability.law default");
  EXPECT_EQ(Run("capability --db q.db --format json").out, plain);
}

TEST_F(LawsProgram, WhatIsInPlaceOfALawIsGivenAlsoWhereStreamsDifferInTheirs) {
  Import();
  Write("other.csv", "part,process,test,subgroup,time,value\nNut,Lathe,Length,1,2024-01-01,1\n");
  ASSERT_EQ(Run("import other.csv --db q.db").status, 0);
  ASSERT_EQ(Run("set --db q.db --part Nut capability.law normal").status, 0);
  ASSERT_EQ(Run("set --db q.db --part Shaft capability.law weibull").status, 0);
  EXPECT_NE(Run("capability --db q.db").err.find("the streams differ in capability.law"),
            std::string::npos);
  for (const std::string other : {"--quantiles", "--fit johnson"}) {
    EXPECT_EQ(Run("capability --db q.db " + other).status, 0) << other;
  }
}

TEST_F(LawsProgram, Misuse) {
  Import();
  const struct {
    const char* options;
    const char* said;
  } rows[] = {
      {"--law weibull --fit johnson", "--law goes without --fit"},
      {"--law weibull --quantiles", "--quantiles goes without --law"},
      {"--law cauchy", "--law"},
      {"--draws 500", "--draws goes with --law"},
      {"--level 0.9", "--level goes with --law, --quantiles or --intervals"},
      {"--law gamma --draws 50", "--draws takes a number from 99 to 100000, not 50"},
      {"--law gamma --draws 100.5", "--draws takes a whole number, not 100.5"},
      {"--quantiles --level 1", "--level takes a number above 0 to below 1, not 1"},
      {"--law gamma --format xml", "--format xml has no place for --law"},
  };
  for (const auto& row : rows) {
    const auto outcome = Run(std::string("capability --db q.db ") + row.options);
    EXPECT_EQ(outcome.status, 2) << row.options;
    EXPECT_NE(outcome.err.find(row.said), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "") << row.options;
  }
}

}  // namespace
}  // namespace orvspc::host
