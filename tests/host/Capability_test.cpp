// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "host/render/capability/Capability.h"
#include "host/render/capability/capability_figures.h"
#include "platform/NaN.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {

using namespace render;
namespace {

using platform::kNaN;

using Kind = ParsedJson::Kind;

// Bursting strength of 100 bottles; in 20 subgroups, as Montgomery's Table 8.1 and its chart have
// them: mean 264.06, deviation 32.02, mean range 77.3, so sigma 77.3/d2(5) = 33.23 and, against at
// least 200, a one-sided index of 0.64.
class Capability : public ProgramTest {
 protected:
  void Import(const std::string& sample, const std::string& limits) {
    const std::string samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
    ASSERT_EQ(Run("import '" + samples + sample + "' --db q.db").status, 0);
    if (limits.empty()) return;
    Write("limits.csv", limits);
    ASSERT_EQ(Run("import limits.csv --db q.db --kind limits").status, 0);
  }
  void ImportBottles() {
    Import("bottle-strength.csv", "part,test,lsl\nBottle,Bursting strength,200\n");
  }
  ParsedJson Json(const std::string& options = "") {
    const Outcome outcome = Run("capability --db q.db --format json " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
};

TEST_F(Capability, JsonHasTheContractsKeysInOrder) {
  ImportBottles();
  const ParsedJson document = Json();
  EXPECT_EQ(document.Keys(),
            (std::vector<std::string>{"Processing", "DataSelect", "Statistics", "JohnsonCurveType",
                                      "Bins", "Curve", "Notes", "Fit", "ShortTerm"}));
  EXPECT_EQ(document.At("Statistics").Keys(),
            (std::vector<std::string>{"Summary", "CPs", "PPs", "Moments", "ChiSq", "Anova",
                                      "SpecLim", "SpecResults", "NccLim", "NccResults"}));
  EXPECT_EQ(document.At("Statistics.CPs").Keys(),
            (std::vector<std::string>{"Cp", "Cpk", "Cpu", "Cpl", "Cr", "TargetRatio", "Cpm"}));
  EXPECT_EQ(document.At("Bins[0]").Keys(),
            (std::vector<std::string>{"XMin", "XMax", "YMin", "YMax", "Expected"}));
  EXPECT_EQ(document.At("Bins").elements.size(), 21U);
  EXPECT_EQ(document.At("Curve.X").elements.size(), 80U);
  EXPECT_EQ(document.At("Curve.Y").elements.size(), 80U);
}

TEST_F(Capability, JsonHasEveryFigureThatHasAnOperation) {
  ImportBottles();
  const ParsedJson statistics = Json().At("Statistics");
  std::size_t figures = 0;
  for (const auto& record : statistics.elements) figures += record.elements.size();
  EXPECT_EQ(figures, 115U) << "all operations but JohnsonCurveType";
  std::set<std::string> names;
  for (const auto& figure : kCapabilityFigures) EXPECT_TRUE(names.insert(figure.name).second);
  for (const auto& name : names) EXPECT_NO_THROW(statistics.At(name)) << name;
}

TEST_F(Capability, PublishedFiguresOfTheBottles) {
  ImportBottles();
  const ParsedJson document = Json();
  EXPECT_EQ(document.At("Statistics.Summary.PieceCount").number, 100);
  EXPECT_EQ(document.At("Statistics.Summary.SubgroupCount").number, 20);
  EXPECT_EQ(document.At("Statistics.Summary.SubgroupSize").number, 5);
  EXPECT_NEAR(document.At("Statistics.Summary.Mean").number, 264.06, 1e-9);
  EXPECT_NEAR(document.At("Statistics.Summary.LongTermSD").number, 32.02, 0.005);
  EXPECT_NEAR(document.At("Statistics.Summary.ShortTermSD").number, 77.3 / 2.325928947281, 1e-9);
  EXPECT_NEAR(document.At("Statistics.CPs.Cpl").number, 0.64, 0.005);
  EXPECT_NEAR(document.At("Statistics.SpecResults.ActBelowLSL").number, 0.03, 1e-12);
}

TEST_F(Capability, WhatHasNoLimitIsNull) {
  ImportBottles();
  const ParsedJson document = Json();
  for (const char* name :
       {"CPs.Cpu", "PPs.Ppu", "SpecLim.Usl", "SpecLim.Tar", "SpecResults.zUsl",
        "SpecResults.ActAboveUSL", "SpecResults.ExpAboveTAR", "NccLim.Lsc", "NccResults.zLSC"})
    EXPECT_EQ(document.At(std::string("Statistics.") + name).kind, Kind::Null) << name;
  for (const char* name : {"CPs.Cp", "CPs.Cpk", "CPs.Cpl", "PPs.Ppl", "SpecLim.Lsl",
                           "SpecLim.EFlag", "Summary.ZBench", "NccLim.EFlag", "NccLim.T1U"})
    EXPECT_EQ(document.At(std::string("Statistics.") + name).kind, Kind::Number) << name;
}

TEST_F(Capability, WithoutLimitsTheIndicesAreNull) {
  Import("bottle-strength.csv", "");
  const ParsedJson document = Json();
  for (const char* name : {"CPs.Cp", "CPs.Cpk", "CPs.TargetRatio", "PPs.Pp", "Summary.ZBench"})
    EXPECT_EQ(document.At(std::string("Statistics.") + name).kind, Kind::Null) << name;
  EXPECT_EQ(document.At("Statistics.SpecLim.EFlag").number, 0);
}

TEST_F(Capability, FiguresThatAreDividedByZeroAreNull) {
  struct Row {
    const char* values;
    const char* names;  // of what is null
    const char* reason;
  };
  const Row rows[] = {
      {"7",
       "Summary.ShortTermSD Summary.LongTermSD Moments.SD Moments.Variance Moments.Skewness "
       "Summary.CoOfVariation CPs.Cp PPs.Ppk SpecResults.zUsl SpecResults.ExpAboveUSL "
       "Anova.MSWithin Anova.FRatio ChiSq.Value Summary.ZBench",
       "one value"},
      {"7 7 7 7",
       "Moments.Skewness Moments.Kurtosis CPs.Cpk PPs.Pp Summary.CoRobustness "
       "SpecResults.zLsl Anova.FRatio Summary.ZBench",
       "all equal"},
      {"6 8", "Moments.Skewness Moments.Kurtosis ChiSq.Probability", "two values"},
      {"-1 1 -1 1", "Summary.CoOfVariation", "mean 0"},
  };
  for (const Row& row : rows) {
    std::string csv = "part,process,test,subgroup,time,value\n", limits;
    std::istringstream values(row.values);
    int n = 0;
    for (std::string value; values >> value;) {
      const std::string number = std::to_string(++n);
      csv += "P,R,T," + number + ",2024-03-01T0" + number + ":00:00," + value + "\n";
    }
    Write("v.csv", csv);
    Write("l.csv", "part,test,usl,lsl\nP,T,9,5\n");
    ASSERT_EQ(Run("import v.csv --db z.db").status, 0);
    ASSERT_EQ(Run("import l.csv --db z.db --kind limits").status, 0);
    const Outcome outcome = Run("capability --db z.db --format json");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const ParsedJson document = ParseJson(outcome.out);
    std::istringstream names(row.names);
    for (std::string name; names >> name;)
      EXPECT_EQ(document.At("Statistics." + name).kind, Kind::Null) << row.reason << ": " << name;
    EXPECT_EQ(document.At("Statistics.Summary.Mean").kind, Kind::Number) << row.reason;
    for (const char* format : {"text", "svg", "html"})
      EXPECT_EQ(Run(std::string("capability --db z.db --format ") + format).status, 0)
          << row.reason << ", " << format;
    folder_.RemoveStore("z.db");
  }
}

TEST_F(Capability, AShortTermSigmaThatNobodyCanTellIsNull) {
  struct Row {
    const char* lines;
    bool sigma, spread;  // whether short-term and long-term sigma are known
    const char* reason;
  };
  constexpr Row kRows[] = {
      {"A,P,T,1,2024-03-01T01:00:00,1\nA,Q,T,1,2024-03-01T01:00:00,2\n"
       "A,R,T,1,2024-03-01T01:00:00,4\n",
       false, true, "three streams of one value each"},
      {"A,P,T,1,2024-03-01T01:00:00,1e308\nA,P,T,2,2024-03-01T02:00:00,-1e308\n"
       "A,P,T,3,2024-03-01T03:00:00,1e308\n",
       false, false, "beyond the largest number"},
      {"A,P,T,1,2024-03-01T01:00:00,5\nA,P,T,1,2024-03-01T01:00:00,5\n"
       "A,P,T,2,2024-03-01T02:00:00,7\nA,P,T,2,2024-03-01T02:00:00,7\n",
       true, true, "no spread within, which is a sigma of 0"},
      {"A,P,T,1,2024-03-01T01:00:00,5\nA,P,T,1,2024-03-01T01:00:00,5\n", true, true, "all equal"},
  };
  int n = 0;
  for (const Row& row : kRows) {
    const std::string db = " --db own" + std::to_string(++n) + ".db";
    Write("v.csv", std::string("part,process,test,subgroup,time,value\n") + row.lines);
    ASSERT_EQ(Run("import v.csv" + db).status, 0);
    const Outcome outcome = Run("capability --format json" + db);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const ParsedJson document = ParseJson(outcome.out);
    const auto known = [&](const char* name) {
      return document.At(std::string("Statistics.") + name).kind == Kind::Number;
    };
    EXPECT_EQ(known("Summary.ShortTermSD"), row.sigma) << row.reason;
    for (const char* name : {"Summary.LongTermSD", "Summary.UpperSD", "Summary.LowerSD",
                             "Moments.SD", "Moments.Variance", "Anova.SSTotal"})
      EXPECT_EQ(known(name), row.spread) << row.reason << ", " << name;
    const std::string text = Run("capability" + db).out;
    const auto line = [&](const std::string& head) {
      const std::size_t at = text.find(head);
      return text.substr(at, text.find('\n', at) - at);
    };
    const std::string dash = "\xE2\x80\x93";
    EXPECT_EQ(line("\xCF\x83 short-term").find(dash) == std::string::npos, row.sigma) << text;
    EXPECT_EQ(line("\xCF\x83 long-term").find(dash) == std::string::npos, row.spread) << text;
    for (const char* format : {"svg", "html"})
      EXPECT_EQ(Run("capability" + db + " --format " + format).status, 0) << row.reason;
  }
}

TEST_F(Capability, NothingWithinButSomethingBetweenIsCertain) {
  Write("v.csv",
        "part,process,test,subgroup,time,value\n"
        "A,P,T,1,2024-03-01T01:00:00,5\nA,P,T,1,2024-03-01T01:00:00,5\n"
        "A,P,T,2,2024-03-01T02:00:00,7\nA,P,T,2,2024-03-01T02:00:00,7\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const ParsedJson anova = Json().At("Statistics.Anova");
  EXPECT_EQ(anova.At("ProbOfF").kind, Kind::Number);
  EXPECT_EQ(anova.At("ProbOfF").number, 0.0);
  EXPECT_EQ(anova.At("FRatio").kind, Kind::Null) << "divided by 0";
}

// The last figure of each row of the net content table: what is allowed, empty without.
std::string AllowedOf(const std::string& text, const std::string& head) {
  const std::size_t at = text.find("\n  " + head);
  if (at == std::string::npos) return "no row";
  std::string line = text.substr(at + 1, text.find('\n', at + 1) - at - 1);
  // Values before it: limit, Z, observed and expected in percent.
  std::size_t place = line.find('%');
  if (place != std::string::npos) place = line.find('%', place + 1);
  if (place == std::string::npos) return line;
  const std::size_t allowed = line.find_first_not_of(' ', place + 1);
  return allowed == std::string::npos ? "" : line.substr(allowed);
}

TEST_F(Capability, WhatIsAllowedIsToldByTheFlagOfItsOwnLimit) {
  struct Row {
    const char* columns;
    const char* line;
    const char* head;
    const char* allowed;
  };
  constexpr Row kRows[] = {
      {"mavl", "420", "below lower MAV", ""},
      {"mavl,mavlp", "420,1", "below lower MAV", "1 %"},
      {"mavu,mavup", "580,2", "above upper MAV", "2 %"},
      {"t1u,t1up", "520,3", "above upper T1", "3 %"},
      {"t1u,t2u,t2up", "520,530,4", "above upper T1", ""},
      {"t1u,t2u,t2up", "520,530,4", "above upper T2", "4 %"},
      {"t1l,t1lp", "480,2.5", "below lower T1", "2.5 %"},
      {"t1l,t2l,t2lp", "480,460,0", "below lower T2", "0 %"},
      {"t1l,t2l,t2lp", "480,460,0", "below lower T1", ""},
  };
  Write("v.csv",
        "part,process,test,subgroup,time,value\n"
        "A,P,T,1,2024-03-01T01:00:00,410\nA,P,T,1,2024-03-01T01:00:00,470\n"
        "A,P,T,2,2024-03-01T02:00:00,540\nA,P,T,2,2024-03-01T02:00:00,590\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  for (const Row& row : kRows) {
    Write("n.csv",
          std::string("part,test,nominal,") + row.columns + "\nA,T,500," + row.line + "\n");
    ASSERT_EQ(Run("import n.csv --db q.db --kind net-contents").status, 0) << row.line;
    const std::string text = Run("capability --db q.db").out;
    EXPECT_EQ(AllowedOf(text, row.head), row.allowed) << row.columns << "\n" << text;
  }
}

TEST_F(Capability, NetContentStandsWhereTheValuesAreWhateverItsFactor) {
  Write("v.csv",
        "part,process,test,subgroup,time,value\n"
        "A,P,T,1,2024-03-01T01:00:00,490\nA,P,T,1,2024-03-01T01:00:00,512\n"
        "A,P,T,2,2024-03-01T02:00:00,505\nA,P,T,2,2024-03-01T02:00:00,498\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const auto place_of = [&](const char* line, const std::string& label) {
    Write("n.csv", std::string("part,test,nominal,factor\n") + line + "\n");
    EXPECT_EQ(Run("import n.csv --db q.db --kind net-contents").status, 0) << line;
    const std::string picture = Run("capability --db q.db --format svg").out;
    const std::size_t at = picture.find(label);
    EXPECT_NE(at, std::string::npos) << label;
    if (at == std::string::npos) return std::string();
    const std::size_t x = picture.rfind("x=\"", at) + 3;
    return picture.substr(x, picture.find('"', x) - x);
  };
  EXPECT_EQ(place_of("A,T,1000,2", "Stated 1000"), place_of("A,T,500,1", "Stated 500"));
}

// The share below x of the distribution that a document gives.
double ShareBelow(const ParsedJson& document, double x) {
  const auto figure = [&](const char* path) { return document.At(path).number; };
  double score = (x - figure("Statistics.Summary.Mean")) / figure("Statistics.Summary.LongTermSD");
  const double u = (x - figure("Fit.Xi")) / figure("Fit.Lambda");
  const auto type = static_cast<int>(figure("JohnsonCurveType"));
  if (type == 1) score = figure("Fit.Gamma") + figure("Fit.Delta") * std::asinh(u);
  if (type == 2) {
    if (u <= 0.0 || u >= 1.0) return u <= 0.0 ? 0.0 : 1.0;
    score = figure("Fit.Gamma") + figure("Fit.Delta") * std::log(u / (1.0 - u));
  }
  return 0.5 * std::erfc(-score / std::sqrt(2.0));
}

TEST_F(Capability, BinsHoldTheirPiecesAndWhatTheCurveExpects) {
  ImportBottles();
  Import("shaft-run-out.csv", "");
  struct Row {
    const char* options;
    int type;
    double pieces;
  };
  for (const Row& row : {Row{"--part Bottle", 0, 100}, Row{"--part Bottle --fit johnson", 1, 100},
                         Row{"--part Shaft --fit johnson", 2, 200}}) {
    const ParsedJson document = Json(row.options);
    EXPECT_EQ(document.At("JohnsonCurveType").number, row.type) << row.options;
    double pieces = 0.0;
    for (const auto& bin : document.At("Bins").elements) {
      pieces += bin.At("YMax").number;
      const double share =
          ShareBelow(document, bin.At("XMax").number) - ShareBelow(document, bin.At("XMin").number);
      EXPECT_NEAR(bin.At("Expected").number, row.pieces * share, 1e-9 * row.pieces) << row.options;
    }
    EXPECT_EQ(pieces, row.pieces) << row.options;
  }
}

TEST_F(Capability, AJohnsonFitTellsItsParameters) {
  Import("shaft-run-out.csv", "part,test,usl\nShaft,Run-out,35\n");
  const ParsedJson normal = Json(), johnson = Json("--fit johnson");
  EXPECT_EQ(normal.At("JohnsonCurveType").number, 0);
  EXPECT_EQ(normal.At("Fit.Law").text, "normal");
  EXPECT_EQ(normal.At("Fit.Delta").kind, Kind::Null);
  EXPECT_GT(johnson.At("JohnsonCurveType").number, 0);
  EXPECT_GT(johnson.At("Fit.Delta").number, 0);
  EXPECT_EQ(johnson.At("Statistics.CPs.Cpk").number, normal.At("Statistics.CPs.Cpk").number);
  EXPECT_LT(johnson.At("Statistics.PPs.Ppk").number, normal.At("Statistics.PPs.Ppk").number)
      << "the long tail counts";
  EXPECT_EQ(johnson.At("Processing.FitType").number, 1);
}

TEST_F(Capability, LimitsOfTheCommandLineReplaceTheStoredRow) {
  ImportBottles();
  const ParsedJson upper = Json("--usl 350");
  EXPECT_EQ(upper.At("Statistics.SpecLim.Usl").number, 350);
  EXPECT_EQ(upper.At("Statistics.SpecLim.Lsl").kind, Kind::Null) << "not given is no limit, not 0";
  EXPECT_EQ(upper.At("Statistics.SpecLim.Tar").kind, Kind::Null);
  EXPECT_EQ(upper.At("Processing.OverrideLSL").kind, Kind::Null);
  EXPECT_EQ(upper.At("Processing.AllowOverride").boolean, true);
  const ParsedJson zero = Json("--lsl 0 --usl 350 --target 260");
  EXPECT_EQ(zero.At("Statistics.SpecLim.Lsl").number, 0) << "0 is a limit";
  EXPECT_EQ(zero.At("Statistics.SpecLim.Tar").number, 260);
}

TEST_F(Capability, EachOptionReachesItsSetting) {
  ImportBottles();
  struct Row {
    const char* options;
    const char* path;
    double value;
  };
  for (const Row& row :
       {Row{"--fit johnson", "FitType", 1}, Row{"--bins 9", "BinCount", 9},
        Row{"--curve 33", "CurveCount", 33}, Row{"--window sd --window-sd 4.5", "WindowSD", 4.5},
        Row{"--window specs", "WindowType", 2},
        Row{"--window minmax --window-min 100 --window-max 400", "WindowType", 1},
        Row{"--window-min -1.5 --window-max 400", "WindowMinimum", -1.5},
        Row{"--window-min 100 --window-max 400", "WindowMaximum", 400},
        Row{"--short-term-sigma range", "ShortTermSigmaType", 1},
        Row{"--short-term-sigma sd", "ShortTermSigmaType", 2},
        Row{"--short-term-sigma pooled", "ShortTermSigmaType", 3},
        Row{"--normalize nominal", "Normalize", 1}, Row{"--normalize target", "Normalize", 2}})
    EXPECT_EQ(Json(row.options).At(std::string("Processing.") + row.path).number, row.value)
        << row.options;
}

TEST_F(Capability, TakesEverySubgroupUnlessMaxSaysOtherwise) {
  ImportBottles();
  EXPECT_EQ(Json("--max 3").At("Statistics.Summary.SubgroupCount").number, 3);
}

TEST_F(Capability, MisuseIsOneLineAndStatus2) {
  struct Row {
    const char* options;
    const char* says;
  };
  for (const Row& row :
       {Row{"--fit weibull", "normal or johnson"}, Row{"--bins 4", "--bins"},
        Row{"--bins 1e9", "--bins"}, Row{"--curve 1", "--curve"},
        Row{"--usl high", "--usl takes a number, not \"high\""},
        Row{"--usl NaN", "--usl takes a number"}, Row{"--usl 1e301", "--usl takes a number"},
        Row{"--usl 5 --lsl 5", "--lsl must lie below --usl"},
        Row{"--window minmax", "--window-min and --window-max"},
        Row{"--window-min 3", "--window-min and --window-max"},
        Row{"--window sd --window-min 3 --window-max 4", "only it does"},
        Row{"--window-min 4 --window-max 4", "must lie below"},
        Row{"--window specs --window-sd 3", "--window sd"}, Row{"--window-sd 0", "must be above 0"},
        Row{"--format png", "text, json, xml, svg or html"}}) {
    const Outcome outcome = Run(std::string("capability --db q.db ") + row.options);
    EXPECT_EQ(outcome.status, 2) << row.options;
    EXPECT_NE(outcome.err.find(row.says), std::string::npos) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  }
}

TEST_F(Capability, NothingSelectedIsSaidAndIsNoFailure) {
  ImportBottles();
  const std::string nothing = "capability --db q.db --since 2030-01-01 ";
  const Outcome text = Run(nothing);
  EXPECT_EQ(text.status, 0);
  EXPECT_NE(text.out.find("no data selected"), std::string::npos) << text.out;
  for (const char* format : {"json", "xml", "svg", "html"}) {
    const Outcome outcome = Run(nothing + "--allow-empty --format " + format);
    EXPECT_EQ(outcome.status, 0) << format;
    EXPECT_EQ(outcome.err.rfind("no data: 20 subgroups without --since 2030-01-01\n", 0), 0U)
        << format << outcome.err;
    EXPECT_NE(outcome.out, "") << format;
  }
  const ParsedJson document = ParseJson(Run(nothing + "--format json").out);
  EXPECT_TRUE(document.At("Bins").elements.empty());
  EXPECT_EQ(document.At("Statistics.Summary.PieceCount").number, 0);
  EXPECT_EQ(document.At("Statistics.Summary.Mean").kind, Kind::Null);
}

TEST_F(Capability, AStoredResultIsShownWithoutADatabase) {
  ImportBottles();
  ASSERT_EQ(Run("capability --db q.db --format xml -o c.xml").status, 0);
  EXPECT_EQ(Run("show c.xml --format xml").out, Text(folder_.File("c.xml")));
  ParsedJson before = Json(), after = ParseJson(Run("show c.xml --format json").out);
  EXPECT_EQ(after.Keys(), before.Keys());
  for (const char* path : {"Statistics.Summary.Mean", "Statistics.CPs.Cpl", "Statistics.PPs.Ppk",
                           "Bins[5].YMax", "Curve.Y[40]", "Statistics.ChiSq.Value"})
    EXPECT_EQ(after.At(path).number, before.At(path).number) << path;
  for (std::size_t b = 0; b < 21; ++b) {
    const std::string path = "Bins[" + std::to_string(b) + "].Expected";
    EXPECT_NEAR(after.At(path).number, before.At(path).number, 1e-9) << path;
  }
  EXPECT_EQ(after.At("Fit").kind, Kind::Null);
  for (const char* format : {"text", "svg", "html"}) {
    const Outcome outcome = Run(std::string("show c.xml --format ") + format);
    EXPECT_EQ(outcome.status, 0) << format;
    EXPECT_NE(outcome.out.find("LSL 200"), std::string::npos) << format;
  }
}

TEST_F(Capability, OfAStoredJohnsonCurveTheExpectedPiecesAreNotKnown) {
  Import("shaft-run-out.csv", "");
  ASSERT_EQ(Run("capability --db q.db --fit johnson -o c.xml").status, 0);
  const ParsedJson document = ParseJson(Run("show c.xml --format json").out);
  EXPECT_EQ(document.At("Bins[3].Expected").kind, Kind::Null);
  EXPECT_EQ(document.At("Bins[3].YMax").kind, Kind::Number);
}

TEST_F(Capability, StoredTextsThatDoNotHoldAWholeResult) {
  struct Row {
    const char* text;
    int status;
    const char* says;
  };
  const std::string elements =
      "<Summary/><SpecLim EFlag=\"2\"/><SpecResults/><NccLim/><NccResults/><CPs Cpr=\"NaN\"/>"
      "<PPs/><Moments/><ChiSq/><Anova/>";
  const std::string ragged = "<CAResults><Statistics>" + elements +
                             "</Statistics><Bins><Bin XMin=\"1\" XMax=\"2\"/></Bins>"
                             "<Curve X=\"1 2 3\" Y=\"4 5\"/></CAResults>";
  for (const Row& row :
       {Row{"<CAResults/>", 1, "Missing object"}, Row{"<CAProcessing BinCount=\"7\"/>", 0, "7"},
        Row{"<CAProcessing BinCount=\"x\"/>", 1, "Type mismatch"},
        Row{ragged.c_str(), 0, "null"}}) {
    Write("s.xml", row.text);
    const Outcome outcome = Run("show s.xml --format json");
    EXPECT_EQ(outcome.status, row.status) << row.text;
    EXPECT_NE((outcome.out + outcome.err).find(row.says), std::string::npos) << outcome.err;
  }
  const ParsedJson document = ParseJson(Run("show s.xml --format json").out);
  EXPECT_EQ(document.At("Curve.Y[2]").kind, Kind::Null);
  EXPECT_EQ(document.At("Statistics.CPs.TargetRatio").kind, Kind::Null);
}

TEST_F(Capability, SettingsAreShownInWords) {
  Write("p.xml",
        "<CAProcessing AllowOverride=\"1\" FitType=\"1\" OverrideUSL=\"1.5\" "
        "OverrideTarget=\"1E+308\" OverrideLSL=\"0\" WindowType=\"9\"/>");
  const Outcome outcome = Run("show p.xml");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  for (const char* line :
       {"fit                 johnson\n", "window              9\n", "USL                 1.5\n",
        "target              none\n", "LSL                 0\n", "short-term sigma    auto\n"})
    EXPECT_NE(outcome.out.find(line), std::string::npos) << line << outcome.out;
}

TEST_F(Capability, TheShaftsOfTheDemoAreSkewed) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  const ParsedJson shaft =
      ParseJson(Run("capability --db d/sample.db --part Shaft --fit johnson --format json").out);
  EXPECT_GT(shaft.At("JohnsonCurveType").number, 0);
  EXPECT_GT(shaft.At("Statistics.Moments.Skewness").number, 0.5);
}

// Renderers, fed by hand.

CapabilityView HandMade() {
  CapabilityView view;
  view.title = "Ring & <b>";
  view.subtitle = "8 pieces";
  view.axis = "value";
  view.bars = {{0.0, 1.0, 1.0, 1.5}, {1.0, 2.0, 5.0, 4.0}, {2.0, 3.0, 2.0, kNaN}};
  view.curve = {{0.0, 0.5}, {1.5, 4.5}, {3.0, 0.5}};
  view.limits = {{-0.5, "LSL -0.5"}, {100.0, "USL 100"}};
  view.targets = {{1.5, "Target 1.5"}};
  view.mean = 1.6;
  view.sigma = 0.5;
  view.decimals = 1;
  view.tables = {{"Beside", {"", "#value"}, {{"row", "1.25"}}, true},
                 {"Below", {"", "#more"}, {{"other", "2.5"}}, false}};
  view.notes = {{"code", "something was decided", "A / B / C"}};
  return view;
}

std::size_t Occurrences(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

TEST(CapabilityView, LimitsWidenTheRangeAsLongAsTheBinsKeepTwoFifths) {
  const CapabilityView view = HandMade();
  const Range range = ValueRange(view);
  EXPECT_LT(range.low, -0.5) << "a near limit is inside";
  EXPECT_LT(range.high, 4.0) << "a far one is not";
  EXPECT_GT(range.high, 3.0);
}

TEST(CapabilityView, ABinWithoutWidthHasARange) {
  CapabilityView view;
  view.bars = {{5.0, 5.0, 3.0, kNaN}};
  const Range range = ValueRange(view);
  EXPECT_LT(range.low, 5.0);
  EXPECT_GT(range.high, 5.0);
}

TEST(CapabilitySvg, HasBarsCurveLimitsTargetAndSigmaMarks) {
  const std::string svg = RenderCapabilitySvg(HandMade());
  EXPECT_EQ(Occurrences(svg, "class=\"bar\""), 3U);
  EXPECT_EQ(Occurrences(svg, "class=\"fit\""), 1U);
  EXPECT_EQ(Occurrences(svg, "class=\"spec\""), 1U) << "the far limit has no line";
  EXPECT_EQ(Occurrences(svg, "class=\"tar\""), 1U);
  EXPECT_EQ(Occurrences(svg, "class=\"mean\""), 1U);
  EXPECT_EQ(Occurrences(svg, "class=\"sig\""), 5U) << "-3 to +2; +3 lies outside";
  EXPECT_NE(svg.find("LSL -0.5"), std::string::npos);
  EXPECT_NE(svg.find("USL 100 \xE2\x86\x92"), std::string::npos) << "at the edge, with an arrow";
  EXPECT_NE(svg.find("1 to 2: 5 pieces, expected 4"), std::string::npos);
  EXPECT_NE(svg.find("2 to 3: 2 pieces<"), std::string::npos) << "expectation not known";
  EXPECT_NE(svg.find(">Beside<"), std::string::npos);
  EXPECT_EQ(svg.find(">Below<"), std::string::npos);
  EXPECT_NE(svg.find("Ring &amp; &lt;b&gt;"), std::string::npos);
  EXPECT_NE(svg.find("Note: A / B / C: something was decided"), std::string::npos);
}

TEST(CapabilitySvg, NothingLiesOutsideThePicture) {
  for (const std::size_t notes : {0U, 1U, 30U}) {
    CapabilityView view = HandMade();
    view.notes.resize(notes, {"c", "note", ""});
    for (const bool empty : {false, true}) {
      if (empty) view.bars.clear();
      const std::string svg = RenderCapabilitySvg(view);
      const auto at = svg.find(" height=\"") + 9;
      const double height = std::stod(svg.substr(at));
      for (auto y = svg.find(" y=\""); y != std::string::npos; y = svg.find(" y=\"", y + 1))
        EXPECT_LT(std::stod(svg.substr(y + 4)), height) << svg.substr(y, 40);
      EXPECT_EQ(svg.find("nan"), std::string::npos);
      EXPECT_EQ(svg.find("inf"), std::string::npos);
    }
  }
}

TEST(CapabilitySvg, EmptyResultsSaySo) {
  CapabilityView view;
  view.title = "Capability";
  EXPECT_NE(RenderCapabilitySvg(view).find("No data selected"), std::string::npos);
}

TEST(CapabilityHtml, HasPictureNotesTablesAndBins) {
  const std::string html = RenderCapabilityHtml(HandMade());
  EXPECT_EQ(Occurrences(html, "<svg "), 1U);
  EXPECT_EQ(html.find("<?xml"), std::string::npos);
  for (const char* text : {"<h2>Below</h2>", "<h2>Histogram</h2>", "something was decided"})
    EXPECT_EQ(Occurrences(html, text), 1U) << text;
  EXPECT_EQ(Occurrences(html, "<script"), 0U);
}

TEST(CapabilityText, BarsCurveAndMarksStandAtTheirBins) {
  const std::string text = RenderCapabilityText(HandMade(), {60, false});
  EXPECT_NE(text.find("below: LSL -0.5\n"), std::string::npos) << text;
  EXPECT_NE(text.find("above: USL 100\n"), std::string::npos);
  const auto at = text.find("\n1.0       5 |####");
  ASSERT_NE(at, std::string::npos) << text;
  const std::string line = text.substr(at + 1, text.find('\n', at + 1) - at - 1);
  EXPECT_NE(line.find('*'), std::string::npos) << line;
  EXPECT_NE(line.find("Target 1.5, mean 1.6"), std::string::npos) << line;
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  for (std::size_t from = 0; from < text.size();) {
    const auto end = text.find('\n', from);
    EXPECT_LE(end - from, 60U) << text.substr(from, end - from);
    from = end + 1;
  }
}

TEST(CapabilityText, ColourLeavesTheWordsAsTheyAre) {
  const std::string plain = RenderCapabilityText(HandMade(), {80, false});
  std::string painted = RenderCapabilityText(HandMade(), {80, true});
  EXPECT_NE(painted, plain);
  for (auto at = painted.find('\x1b'); at != std::string::npos; at = painted.find('\x1b'))
    painted.erase(at, painted.find('m', at) - at + 1);
  EXPECT_EQ(painted, plain);
}

}  // namespace
}  // namespace orvspc::host
