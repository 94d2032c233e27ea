// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

class RunLengthCommands : public ProgramTest {
 protected:
  ParsedJson Json(const std::string& arguments) {
    const Outcome outcome = Run("study " + arguments + " --format json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
  void ImportWafers() {
    const std::string samples = std::string(ORVSPC_TESTS_DIR) + "/../host/samples/";
    ASSERT_EQ(Run("import '" + samples + "flow-width.csv' --db q.db").status, 0);
  }
};

TEST_F(RunLengthCommands, JsonHasTheFiguresOfEachShift) {
  const auto document = Json("arl --scheme cusum --h 4 --shifts 0,1");
  EXPECT_EQ(document.Keys(),
            (std::vector<std::string>{"Study", "Version", "Options", "Selection", "Scheme",
                                      "Method", "States", "Runs", "Seed", "Shifts", "ARL", "SDRL",
                                      "P05", "Median", "P95", "Notes"}));
  EXPECT_NEAR(document.At("ARL[0]").number, 167.68, 0.005);
  EXPECT_NEAR(document.At("ARL[1]").number, 8.383, 0.0005);
  EXPECT_EQ(document.At("Options.H.From").text, "command");
  EXPECT_EQ(document.At("Options.K.From").text, "default");
}

// What was given is shown though nothing was simulated.
TEST_F(RunLengthCommands, ExactOnesHaveNoOptionsOfASimulation) {
  const auto keys = [&](const std::string& more) {
    return Json("arl --scheme shewhart --shifts 0" + more).At("Options").Keys();
  };
  const std::vector<std::string> exact{"Scheme", "Width", "Rules", "Sided",
                                       "Points", "Size",  "Mean",  "Shifts"};
  EXPECT_EQ(keys(""), exact);
  auto seeded = exact;
  seeded.emplace_back("Seed");
  EXPECT_EQ(keys(" --seed 4"), seeded);
  auto simulated = exact;
  simulated.insert(simulated.end(), {"Runs", "Seed"});
  EXPECT_EQ(keys(" --rules nelson --runs 100"), simulated);
}

TEST_F(RunLengthCommands, ASimulationSaysSo) {
  const auto document =
      Json("arl --scheme shewhart --rules nelson --shifts 0 --runs 1000 --seed 5");
  EXPECT_EQ(document.At("Method").text, "simulation");
  EXPECT_EQ(document.At("Runs").number, 1000.0);
  EXPECT_EQ(document.At("Seed").number, 5.0);
  EXPECT_NEAR(document.At("ARL[0]").number, 74.3, 4.0 * document.At("StandardError[0]").number);
}

TEST_F(RunLengthCommands, OfSeveralVariables) {
  const std::string mewma = "arl --scheme mewma --variables 3 --runs 1000 ";
  const auto document = Json(mewma + "--weight 0.2 --arl0 100 --shifts 0,1");
  EXPECT_EQ(document.At("Method").text, "simulation");
  EXPECT_EQ(document.At("Runs").number, 1000.0);
  EXPECT_EQ(document.At("Options.Variables.Value").number, 3.0);
  EXPECT_EQ(document.At("Options.Limits.Value").text, "asymptotic");
  EXPECT_GT(document.At("Options.H.Value").number, 8.0);
  EXPECT_NEAR(document.At("ARL[0]").number, 100.0, 4.0 * document.At("StandardError[0]").number);
  EXPECT_LT(document.At("ARL[1]").number, 15.0);
  const std::vector<std::pair<std::string, std::string>> refused = {
      {mewma + "--h 9 --arl0 100", "--arl0 does not go with --h"},
      {mewma + "--shifts -1", "--shifts of several variables must be 0 to 20, not -1"},
      {mewma + "--weight 0.005", "--weight must be 0.01 to 1, not 0.005"},
      {mewma + "--sided upper", "--sided goes with --scheme cusum, ewma, shewhart or cusum-counts"},
      {"arl --scheme ewma --variables 3", "--variables goes with --scheme mewma"}};
  for (const auto& [line, text] : refused) {
    const auto outcome = Run("study " + line);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "orvspc study: " + text + "\n");
  }
}

TEST_F(RunLengthCommands, RulesOfAFileAreThoseOfTheirSet) {
  Write("rules.csv", "number,kind,k,m,zone,side\n1,limit,,,,\n5,zone,2,3,2,same\n");
  const auto document = Json("arl --scheme shewhart --rules rules.csv --shifts 0");
  EXPECT_NEAR(document.At("ARL[0]").number, 225.44, 0.005);
}

TEST_F(RunLengthCommands, ABadFileOfRulesIsRefusedWithItsPlace) {
  Write("rules.csv", "number,kind,k,m\n1,limit,,\n5,zone,2,3x\n");
  const auto outcome = Run("study arl --scheme shewhart --rules rules.csv");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "orvspc study: rules.csv line 3: column m: \"3x\" is no number\n");
}

// The alarms of a new database are Nelson's eight rules, and a point has five pieces.
TEST_F(RunLengthCommands, TheChartInUseHasItsRulesAndItsSize) {
  ImportWafers();
  const auto document = Json("arl --db q.db --shifts 0,0.5 --runs 2000");
  EXPECT_EQ(document.At("Rules").elements.size(), 8U);
  EXPECT_EQ(document.At("Size").number, 5.0);
  EXPECT_EQ(document.At("Method").text, "simulation");
  EXPECT_EQ(document.At("Streams[0].Part").text, "Wafer");
  EXPECT_EQ(document.At("Streams[0].Schemes").elements.size(), 3U);
}

TEST_F(RunLengthCommands, AlarmsThatAreSwitchedOffAreNotInUse) {
  ImportWafers();
  Write("alarms.csv", "number,on\n1,yes\n5,yes\n");
  ASSERT_EQ(Run("import alarms.csv --db q.db --kind alarms").status, 0);
  const auto document = Json("arl --db q.db --shifts 0");
  EXPECT_EQ(document.At("Options").Keys(), (std::vector<std::string>{"Rules", "Shifts"}));
  EXPECT_EQ(document.At("Rules").elements.size(), 2U);
  EXPECT_EQ(document.At("Method").text, "chain");
  EXPECT_NEAR(document.At("ARL[0]").number, 225.44, 0.5);  // windows must be whole
}

TEST_F(RunLengthCommands, AChartWithoutARuleNeverSignals) {
  ImportWafers();
  Write("alarms.csv", "number,on\n1,no\n");
  ASSERT_EQ(Run("import alarms.csv --db q.db --kind alarms").status, 0);
  const auto document = Json("arl --db q.db --shifts 0,1");
  EXPECT_EQ(document.At("ARL[1]").kind, ParsedJson::Kind::Null);
  EXPECT_NE(Run("study arl --db q.db").out.find("No rule holds for this chart"), std::string::npos);
}

// One sample each half hour: an hour is two points.
TEST_F(RunLengthCommands, ASamplingRequirementGivesTheRunLengthInTime) {
  ImportWafers();
  Write("alarms.csv", "number,on\n1,yes\n");
  ASSERT_EQ(Run("import alarms.csv --db q.db --kind alarms").status, 0);
  const std::string line = "arl --db q.db --shifts 0,1";
  EXPECT_EQ(Json(line).At("Streams[0].Interval").kind, ParsedJson::Kind::Null);
  const auto require = [&](const std::string& rows) {
    Write("r.csv", "process,test,kind,n,minutes,grace,name,from\n" + rows);
    const auto outcome = Run("import r.csv --db q.db --kind requirements");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  };
  require("Hard bake,Flow width,shift,4,,,Four a shift,\n");
  EXPECT_EQ(Json(line).At("Streams[0].Interval").kind, ParsedJson::Kind::Null);
  require("Hard bake,Flow width,interval,2,60,,Two an hour,\n");
  const auto document = Json(line);
  EXPECT_EQ(document.At("Streams[0].Interval").number, 1800.0);
  EXPECT_NEAR(document.At("ARL[0]").number, 370.4, 0.05);
  for (const auto* const scheme : {"", "Streams[0].Schemes[0].", "Streams[0].Schemes[2]."}) {
    const std::string at(scheme);
    EXPECT_DOUBLE_EQ(document.At(at + "Hours[1]").number, document.At(at + "ARL[1]").number / 2.0);
  }
  EXPECT_NE(Run("study " + line).out.find("hours"), std::string::npos);
  // In force only after the newest point.
  require("Hard bake,Flow width,interval,1,10,,Later,2024-06-01\n");
  EXPECT_EQ(Json(line).At("Streams[0].Interval").number, 1800.0);
  require("Hard bake,Flow width,interval,1,20,,Sooner,2024-03-01\n");
  EXPECT_EQ(Json(line).At("Streams[0].Interval").number, 1200.0);
}

TEST_F(RunLengthCommands, ADesignHasTheRunLengthThatWasAskedFor) {
  const auto document = Json("design --arl0 370 --shift 1 --arl 2");
  EXPECT_NEAR(document.At("Cusum.H").number, 4.7738, 0.0001);
  EXPECT_NEAR(document.At("Shewhart.Width").number, 2.9997, 0.0001);
  for (const auto* const scheme : {"[0]", "[1]", "[2]"}) {
    EXPECT_NEAR(document.At("Schemes" + std::string(scheme) + ".ARL[0]").number, 370.0, 1e-6);
  }
  EXPECT_EQ(document.At("Shewhart.Size").number, 9.0);
}

// Where curves end together, their names would, too.
TEST_F(RunLengthCommands, AKeyNamesEachCurveOfAPicture) {
  ImportWafers();
  ASSERT_EQ(Run("study arl --db q.db --runs 100 -o a.svg").status, 0);
  const auto picture = Text(folder_.File("a.svg"));
  double above = 0.0;
  for (const auto& [style, name] :
       {std::pair("d", "in use"), {"d k1 h1", "EWMA"}, {"d k2 h2", "cusum"}}) {
    const std::regex row("<path class=\"" + std::string(style) +
                         "\" d=\"M([0-9.]+) ([0-9.]+)L([0-9.]+) ([0-9.]+)\"/>\\n"
                         "<text x=\"([0-9.]+)\" y=\"([0-9.]+)\" class=\"s\">" +
                         name + "</text>");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(picture, found, row)) << name;
    const auto number = [&](std::size_t i) { return std::stod(found[i]); };
    EXPECT_GT(number(5), number(3)) << name;
    EXPECT_EQ(number(2), number(4)) << name;
    EXPECT_NEAR(number(6), number(2), 6.0) << name;
    EXPECT_GE(number(6), above + 12.0) << name;
    above = number(6);
  }
}

TEST_F(RunLengthCommands, TheAxisSaysWhatAShiftIsIn) {
  ImportWafers();
  const std::string point = ">shift in sigmas of a plotted point<",
                    piece = ">shift in sigmas of a single piece<";
  const std::pair<std::string, std::string> rows[] = {
      {"arl --scheme cusum --shifts 0,1", point},
      {"arl --scheme ewma --shifts 0,1", point},
      {"arl --scheme shewhart --size 5 --shifts 0,1", piece},
      {"arl --scheme shewhart --points defects --mean 2", ">proportion, or defects a unit<"},
      {"arl --scheme cusum-counts --k 1.5 --h 4 --mean 1", ">proportion, or defects a unit<"},
      {"arl --scheme mewma --runs 100 --shifts 0,1",
       ">distance of the means from the centre, in sigmas of a plotted point<"},
      {"arl --db q.db --runs 100", piece},
      {"design", point},
  };
  for (const auto& [line, title] : rows) {
    const auto run = Run("study " + line + " --format svg");
    EXPECT_EQ(run.status, 0) << line << run.err;
    EXPECT_NE(run.out.find(title), std::string::npos) << line;
  }
}

TEST_F(RunLengthCommands, MisuseIsOneLine) {
  const struct {
    const char *arguments, *line;
  } rows[] = {
      {"arl", "which chart? --scheme cusum, ewma, shewhart, cusum-counts or mewma, or --db FILE"},
      {"arl --scheme cusum --k 4", "--k must be 0 to 3, not 4"},
      {"arl --scheme cusum --weight 0.1", "--weight goes with --scheme ewma or mewma"},
      {"arl --scheme cusum --h 4 --head-start 4",
       "--head-start must be 0 or more and below h, not 4"},
      {"arl --scheme cusum --shifts 0,x",
       "--shifts takes numbers with commas between them, not \"x\""},
      {"arl --scheme cusum --part A", "--part goes with --db"},
      {"arl --scheme shewhart --max abc", "--max goes with --db"},
      {"arl --scheme shewhart --points defects",
       "counts need --mean, their proportion or defects a unit"},
      {"design --shift 20", "--shift takes a number from 0.05 to 10, not 20"}};
  for (const auto& row : rows) {
    const auto outcome = Run(std::string("study ") + row.arguments);
    EXPECT_EQ(outcome.status, 2) << row.arguments;
    EXPECT_EQ(outcome.err, "orvspc study: " + std::string(row.line) + "\n");
  }
}

}  // namespace
}  // namespace orvspc::host
