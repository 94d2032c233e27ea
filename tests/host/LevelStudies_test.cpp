// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/engine/studies/cases.h"
#include "tests/host/ProgramTest.h"

// The studies of levels by the program: steps, short-run, group, baseline.
namespace orvspc::host {
namespace {

using nlohmann::json;
using studies::Case;

std::string TimeOf(std::size_t minutes) {
  char text[64];
  std::snprintf(text, sizeof text, "2024-03-%02zuT%02zu:%02zu:00", 1 + minutes / 1440,
                minutes / 60 % 24, minutes % 60);
  return text;
}

std::vector<double> Numbers(const json& array) { return array.get<std::vector<double>>(); }

class LevelStudies : public ProgramTest {
 protected:
  struct Row {
    std::string part, process;
    std::size_t minutes;
    std::vector<double> pieces;
  };
  void Import(const std::vector<Row>& rows) {
    std::ostringstream csv;
    csv.precision(17);
    csv << "part,process,test,subgroup,time,value\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
      for (const double piece : rows[i].pieces) {
        csv << rows[i].part << "," << rows[i].process << ",Width," << i + 1 << ","
            << TimeOf(rows[i].minutes) << "," << piece << "\n";
      }
    }
    Write("v.csv", csv.str());
    const auto run = Run("import v.csv --db q.db");
    ASSERT_EQ(run.status, 0) << run.err;
  }
  void ImportNile() {
    std::vector<Row> rows;
    for (const double flow : Case("step-change").Column("flow")) {
      rows.push_back({"Nile", "Aswan", 60 * rows.size(), {flow}});
    }
    Import(rows);
  }
  // Two parts in turn, two subgroups each, of three pieces.
  void ImportParts(std::size_t subgroups) {
    std::vector<Row> rows;
    for (std::size_t i = 0; i < subgroups; ++i) {
      const bool first = i % 4 < 2;
      const double nominal = first ? 50.0 : 25.0, off = static_cast<double>(i * 7 % 5) - 2.0;
      rows.push_back({first ? "A" : "B",
                      "Lathe",
                      60 * i,
                      {nominal + off - 1.0, nominal + off, nominal + off + 2.0}});
    }
    Import(rows);
  }
  // Three heads a group, the third one higher than the others.
  void ImportHeads(std::size_t groups) {
    std::vector<Row> rows;
    for (std::size_t g = 0; g < groups; ++g) {
      for (std::size_t h = 0; h < 3; ++h) {
        const double level = 10.0 + (h == 2 ? 3.0 : static_cast<double>((g + h) % 2));
        rows.push_back({"Oil",
                        "Head " + std::to_string(h + 1),
                        60 * g + h,
                        {level - 1.0, level, level + 1.0}});
      }
    }
    Import(rows);
  }

  json Json(const std::string& arguments) {
    const auto run = Run("study " + arguments + " --db q.db --format json");
    EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
    return run.status == 0 ? json::parse(run.out) : json();
  }
  json PhasesOf(const std::string& arguments) {
    return Json(arguments).at("Streams").at(0).at("Phases");
  }
  void AddPhases(const std::string& border) {
    ASSERT_EQ(
        Run("phase add --db q.db --name One --start 2024-03-01 --end " + border + " --reason tool")
            .status,
        0);
    ASSERT_EQ(Run("phase add --db q.db --name Two --start " + border + " --reason tool").status, 0);
  }
  void ExpectChartsSideBySide(const std::string& study) {
    const auto both = PhasesOf(study);
    ASSERT_EQ(both.size(), 2U) << study;
    EXPECT_EQ(both[0], PhasesOf(study + " --phase One")[0]) << study;
    EXPECT_EQ(both[1], PhasesOf(study + " --phase Two")[0]) << study;
    EXPECT_EQ(PhasesOf(study + " --all-phases").size(), 1U) << study;
  }
};

TEST_F(LevelStudies, StepsOfTheNile) {
  ImportNile();
  const Case known("step-change");
  const auto found = Json("steps");
  EXPECT_EQ(found["Study"], "steps");
  EXPECT_EQ(found["Version"], 1);
  EXPECT_EQ(found["Options"]["Penalty"]["Value"], 3.0);
  EXPECT_EQ(found["Options"]["Least"]["From"], "default");
  const auto& phase = found["Streams"][0]["Phases"][0];
  ASSERT_EQ(phase["Steps"].size(), 1U);
  const auto& step = phase["Steps"][0];
  known.Check("step_after", step["After"].get<double>());
  known.Check("gain_over_sigma2", step["Gain"].get<double>());
  known.Check("penalty", phase["Penalty"].get<double>());
  known.Check("means", std::vector{step["MeanBefore"].get<double>(), step["Mean"].get<double>()});
  EXPECT_EQ(step["Time"], TimeOf(60 * 27));
  EXPECT_EQ(phase["Level"][27], step["MeanBefore"]);
  EXPECT_EQ(phase["Level"][28], step["Mean"]);
  EXPECT_EQ(phase["Segments"][1]["First"], 29);
  EXPECT_TRUE(PhasesOf("steps --penalty 20")[0]["Steps"].empty());
  const auto text = Run("study steps --db q.db").out;
  EXPECT_NE(text.find("1097.75"), std::string::npos) << text;
}

TEST_F(LevelStudies, ShortRunHasThePublishedFigures) {
  const Case known("short-run-nominal");
  const auto parts = known.Cells("part");
  const auto x1 = known.Column("x1"), x2 = known.Column("x2"), x3 = known.Column("x3");
  std::vector<Row> rows;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    rows.push_back({parts[i], "Lathe", 60 * i, {x1[i], x2[i], x3[i]}});
  }
  Import(rows);
  Write("l.csv", "part,test,usl,target,lsl\nA,Width,60,50,40\nB,Width,35,25,15\n");
  ASSERT_EQ(Run("import l.csv --kind limits --db q.db").status, 0);
  const auto found = Json("short-run");
  EXPECT_EQ(found["Streams"][0]["Part"], "");
  const auto& phase = found["Streams"][0]["Phases"][0];
  known.Check("points", Numbers(phase["Points"]));
  known.Check("cl", phase["CL"][0].get<double>());
  known.Check("ucl", phase["UCL"][3].get<double>());
  known.Check("lcl", phase["LCL"][9].get<double>());
  known.Check("rbar", phase["CL2"][0].get<double>());
  EXPECT_EQ(phase["PartOf"][3], "A");
  EXPECT_EQ(phase["PartOf"][4], "B");
  EXPECT_EQ(phase["Graph2"], "range");
  ASSERT_EQ(phase["Parts"].size(), 2U);
  EXPECT_EQ(phase["Parts"][1]["Nominal"], 25.0);
  EXPECT_EQ(phase["Parts"][1]["Source"], "target");
  EXPECT_EQ(phase["EqualSpreads"]["Method"], "Bartlett");
  const auto mean = PhasesOf("short-run --nominal mean")[0];
  EXPECT_EQ(mean["Parts"][1]["Source"], "mean");
  EXPECT_NEAR(mean["Parts"][1]["Nominal"].get<double>(), 25.0, 1e-9);
  EXPECT_NEAR(mean["CL"][0].get<double>(), 0.0, 1e-9);
  const auto text = Run("study short-run --db q.db --kind z").out;
  EXPECT_NE(text.find("mean of R/d2"), std::string::npos) << text;
}

TEST_F(LevelStudies, ShortRunTakesStoredSigmas) {
  ImportParts(8);
  Write("c.csv", "part,process,test,mean,sp\nA,Lathe,Width,50,2\n");
  ASSERT_EQ(Run("import c.csv --kind control-limits --db q.db").status, 0);
  const auto found = Json("short-run --kind z --sigma stored --nominal mean");
  const auto& phase = found["Streams"][0]["Phases"][0];
  const double d = phase["Values"][0].get<double>() - phase["Nominals"][0].get<double>();
  EXPECT_NEAR(phase["Points"][0].get<double>(), d / (2.0 / std::sqrt(3.0)), 1e-12);
  EXPECT_TRUE(phase["Points"][2].is_null());  // B has no stored limits
  EXPECT_EQ(phase["Parts"][0]["Sigma"]["Value"], 2.0);
  EXPECT_EQ(phase["Parts"][0]["Sigma"]["Estimator"], "stored");
  EXPECT_TRUE(phase["Parts"][1]["Sigma"]["Value"].is_null());
  EXPECT_EQ(found["Notes"].back()["Code"], "no-sigma");
}

// There are neither points nor numbers of rules.
TEST_F(LevelStudies, NamesOfShortRunsAreAboveThePlot) {
  ImportParts(24);
  ASSERT_EQ(Run("study short-run --db q.db --rules nelson -o a.svg").status, 0);
  const auto picture = Text(folder_.File("a.svg"));
  const std::regex shape(
      "<text x=\"[0-9.]+\" y=\"([0-9.]+)\" class=\"ph\">[AB]<|"
      "<rect class=\"frame\" x=\"[0-9.]+\" y=\"([0-9.]+)\"");
  std::vector<double> names;
  std::size_t plots = 0;
  for (std::sregex_iterator at(picture.begin(), picture.end(), shape), end; at != end; ++at) {
    if ((*at)[1].matched) {
      names.push_back(std::stod((*at)[1]));
      continue;
    }
    ++plots;
    EXPECT_EQ(names.size(), 12U);
    const double top = std::stod((*at)[2]);
    for (const double name : names) {
      EXPECT_LT(name, top);
      EXPECT_GT(name, top - 12.0);
    }
    names.clear();
  }
  EXPECT_EQ(plots, 2U);
}

TEST_F(LevelStudies, ShortRunSaysWhatTheSigmaOfAPartIsOf) {
  ImportParts(6);  // the second part has two subgroups
  const auto parts = PhasesOf("short-run --kind z")[0]["Parts"];
  EXPECT_EQ(parts[0]["SigmaOf"], "");
  EXPECT_EQ(parts[1]["SigmaOf"], "all parts");
  EXPECT_EQ(parts[1]["Sigma"]["Estimator"], "R-est mvlue");
  EXPECT_EQ(PhasesOf("short-run --kind z --sigma relative")[0]["Parts"][0]["SigmaOf"], "x/nominal");
  const auto page = [&](const std::string& arguments) {
    EXPECT_EQ(Run("study short-run --db q.db --kind z -o p.html " + arguments).status, 0);
    return Text(folder_.File("p.html"));
  };
  EXPECT_NE(page("").find(">mean of R/d2 of all parts<"), std::string::npos);
  EXPECT_NE(page("--sigma relative").find(">mean of R/d2 of x/nominal<"), std::string::npos);
}

TEST_F(LevelStudies, GroupNamesTheStreamsThatAreMissing) {
  std::vector<Row> rows;
  for (std::size_t g = 0; g < 5; ++g) {
    for (std::size_t h = 0; h < 3; ++h) {
      if (h == 1 && g >= 3) continue;
      const double level = 10.0 + static_cast<double>(h);
      rows.push_back({"Oil", "Head " + std::to_string(h + 1), 60 * g + h, {level, level + 1.0}});
    }
  }
  Import(rows);
  const auto phase = PhasesOf("group --group-threshold 600")[0];
  EXPECT_EQ(phase["Missing"][3], std::vector<int>{2});
  EXPECT_EQ(phase["Extreme"][0]["SGSizes"], std::vector<int>(5, 2));
  EXPECT_EQ(phase["Extreme"][0]["Subgroups"][1], 6);
  EXPECT_EQ(phase["Extreme"][2]["Subgroups"][1], 0);  // all ranges are 1
  ASSERT_EQ(Run("study group --db q.db --group-threshold 600 -o g.txt").status, 0);
  const auto text = Text(folder_.File("g.txt"));
  EXPECT_NE(text.find("missing"), std::string::npos) << text;
  const auto from = text.find("Head 2");
  ASSERT_NE(from, std::string::npos) << text;
  const auto row = text.substr(from, text.find('\n', from) - from);
  EXPECT_EQ(row.back(), '2') << text;
}

TEST_F(LevelStudies, NumbersOfAGroupChartAreReadOverItsLines) {
  ImportHeads(12);
  ASSERT_EQ(Run("study group --db q.db --group-threshold 600 -o a.svg").status, 0);
  const auto picture = Text(folder_.File("a.svg"));
  EXPECT_NE(picture.find(".halo{stroke:#fff;"), std::string::npos);
  EXPECT_EQ(picture.find(" class=\"s\" text-anchor=\"middle\">3<"), std::string::npos);
  std::size_t numbers = 0;
  const std::regex number("class=\"(s halo|r)\" text-anchor=\"middle\">[123][*]?<");
  for (std::sregex_iterator at(picture.begin(), picture.end(), number), end; at != end; ++at) {
    ++numbers;
  }
  EXPECT_GE(numbers, 12U);
  EXPECT_NE(picture.find("number: the stream, *: too often in a row<"), std::string::npos);
  EXPECT_NE(picture.find(">3*<"), std::string::npos);
}

TEST_F(LevelStudies, AStreamOfAGroupIsMissingWhereItHasNoSubgroupAndNowhereElse) {
  std::vector<Row> rows;
  for (std::size_t hour = 0; hour < 30; ++hour) {
    for (std::size_t h = 0; h < 4; ++h) {
      if (hour == 10 && h == 0) continue;
      const double level = 10.0 + static_cast<double>(h);
      rows.push_back({"Oil", "Head " + std::to_string(h + 1), 60 * hour + h, {level, level + 1.0}});
    }
  }
  Import(rows);
  const auto phase = PhasesOf("group")[0];
  ASSERT_EQ(phase["Missing"].size(), 30U);
  for (std::size_t g = 0; g < 30; ++g) {
    EXPECT_EQ(phase["Missing"][g], g == 10 ? std::vector<int>{1} : std::vector<int>()) << g;
  }
  EXPECT_EQ(phase["Times"][10], TimeOf(601));
  EXPECT_EQ(phase["Times"][29], TimeOf(29 * 60));
}

TEST_F(LevelStudies, GroupHasTheExtremesOfItsStreams) {
  ImportHeads(9);
  const auto found = Json("group --group-threshold 600");
  ASSERT_EQ(found["Members"].size(), 3U);
  EXPECT_EQ(found["Members"][2]["Process"], "Head 3");
  EXPECT_EQ(found["Streams"][0]["Part"], "Oil");
  EXPECT_EQ(found["Streams"][0]["Process"], "");
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_EQ(Numbers(phase["Counts"]), std::vector<double>(9, 3.0));
  EXPECT_EQ(phase["Times"][1], TimeOf(60));
  const auto& high = phase["Extreme"][0];
  EXPECT_EQ(high["Which"], "high");
  EXPECT_EQ(Numbers(high["Points"]), std::vector<double>(9, 13.0));
  EXPECT_EQ(high["Members"][0], 3);
  EXPECT_EQ(phase["Run"], 7);
  EXPECT_EQ(high["LongRuns"], (std::vector<int>{0, 0, 0, 0, 0, 0, 1, 1, 1}));
  const auto& low = phase["Extreme"][1];
  EXPECT_EQ(low["Members"], (std::vector<int>{1, 2, 1, 2, 1, 2, 1, 2, 1}));
  EXPECT_TRUE(low.contains("LCL"));
  // Ranges are all 2, so none is the greatest alone.
  EXPECT_EQ(phase["Extreme"][2]["Members"][0], 0);
  EXPECT_NEAR(phase["Mean"]["Value"].get<double>(), (9 * 13.0 + 9 * 21.0) / 27.0, 1e-9);
  // A threshold of nothing parts all subgroups.
  EXPECT_EQ(PhasesOf("group --group-threshold 0")[0]["Counts"].size(), 27U);
  const auto text = Run("study group --db q.db").out;
  EXPECT_NE(text.find("Head 3"), std::string::npos) << text;
}

// 30 subgroups about 10, of which number 5 has a large spread and number 9 a large mean, with a
// comment on the former.
TEST_F(LevelStudies, BaselineLeavesOutInRoundsWhatHasACause) {
  std::vector<Row> rows;
  for (std::size_t i = 0; i < 30; ++i) {
    const double at = 10.0 + 0.25 * (static_cast<double>(i * 7 % 5) - 2.0);
    const double half = i == 4 ? 3.0 : 0.5, off = i == 8 ? 2.0 : 0.0;
    rows.push_back({"Ring", "Press", 60 * i, {at + off - half, at + off, at + off + half}});
  }
  Import(rows);
  const auto all = Json("baseline --screening none");
  EXPECT_EQ(all["Study"], "baseline");
  EXPECT_EQ(all["Options"]["Screening"]["Value"], "none");
  const auto& before = all["Streams"][0]["Phases"][0];
  EXPECT_TRUE(before["Rounds"].empty());
  EXPECT_EQ(before["Proposal"]["Used"], 30);
  EXPECT_FALSE(before["Proposal"]["Missing"].empty());

  const auto every = PhasesOf("baseline --screening every")[0];
  ASSERT_EQ(every["Rounds"].size(), 3U);
  EXPECT_EQ(every["Rounds"][0]["Candidates"].size(), 1U);
  EXPECT_EQ(every["Rounds"][0]["Graphs"][0]["CL"], before["Proposal"]["Graphs"][0]["CL"]);
  EXPECT_EQ(every["Rounds"][1]["LeftOut"].size(), 1U);
  EXPECT_TRUE(every["Rounds"][2]["Candidates"].empty());
  EXPECT_EQ(every["Left"][4], 1);
  EXPECT_EQ(every["Left"][8], 1);
  EXPECT_EQ(every["Proposal"]["Used"], 28);
  EXPECT_NEAR(every["Proposal"]["SP"].get<double>(), 1.0 / 1.6925687506432689, 1e-9);
  EXPECT_TRUE(every["Proposal"]["Missing"].empty());
  EXPECT_EQ(every["Rounds"][2]["Graphs"][0]["UCL"], every["Proposal"]["Graphs"][0]["UCL"]);

  const auto subgroup = std::to_string(every["Rounds"][0]["LeftOut"][0]["Subgroup"].get<int>());
  ASSERT_EQ(Run("comment add '#" + subgroup + "' 'wrong tool' --db q.db").status, 0);
  const auto cause = PhasesOf("baseline")[0];
  EXPECT_EQ(cause["Rounds"][0]["LeftOut"][0]["Cause"], "comment: wrong tool");
  EXPECT_EQ(cause["Left"][8], 0);
  EXPECT_EQ(cause["Proposal"]["Used"], 29);
  EXPECT_FALSE(cause["Proposal"]["Missing"].empty());
  // The limits are those that "limits compute" gives.
  const auto computed = json::parse(
      Run("limits compute --db q.db --part Ring --test Width --iterate --format json").out);
  EXPECT_EQ(computed["SP"], cause["Proposal"]["SP"]);
  EXPECT_EQ(computed["Mean"], cause["Proposal"]["Mean"]);
}

TEST_F(LevelStudies, ABaselineOfTooLittleIsANote) {
  ImportHeads(1);
  const auto found = Json("baseline --process 'Head 1'");
  EXPECT_EQ(found["Streams"][0]["Phases"][0]["Proposal"]["Used"], 1);
  EXPECT_EQ(found["Notes"].back()["Code"], "not-to-be-proposed");
}

// Single pieces, one an hour: eight, two, two, two and eight.
class BaselineOfPhases : public LevelStudies {
 protected:
  void SetUp() override {
    std::vector<Row> rows;
    for (const double value :
         {10.0, 11.5, 9.75, 12.0, 10.5, 11.25, 14.0, 13.0, 20.0,  21.0, 50.0,
          60.0, 22.0, 23.0, 15.0, 16.5, 14.25, 15.5, 17.0, 15.25, 16.0, 14.75}) {
      rows.push_back({"Ring", "Press", 60 * rows.size(), {value}});
    }
    Import(rows);
  }
  void AddPhase(const std::string& options) {
    const auto run = Run("phase add --db q.db --reason tool " + options);
    ASSERT_EQ(run.status, 0) << run.err;
  }
  // The baseline of a phase, beside mean and sigma that are known and those of "limits compute".
  void ExpectLimits(const json& phase, double mean, double sigma, int used,
                    const std::string& window) {
    SCOPED_TRACE(window);
    const auto& proposal = phase["Proposal"];
    ASSERT_FALSE(proposal.is_null());
    EXPECT_EQ(proposal["Used"], used);
    EXPECT_NEAR(proposal["Mean"].get<double>(), mean, 1e-12);
    EXPECT_NEAR(proposal["SP"].get<double>(), sigma, 1e-12);
    const auto run =
        Run("limits compute --db q.db --part Ring --test Width --iterate --force --format json " +
            window);
    ASSERT_EQ(run.status, 0) << run.err;
    const auto computed = json::parse(run.out);
    for (const char* key : {"Mean", "SP", "SW", "Used", "Subgroups", "Missing", "Warnings"}) {
      EXPECT_EQ(proposal[key], computed[key]) << key;
    }
  }
  static std::vector<std::string> TextsOf(const json& found, const std::string& code) {
    std::vector<std::string> texts;
    for (const auto& note : found["Notes"]) {
      if (note["Code"] == code) texts.push_back(note["Text"]);
    }
    return texts;
  }
};

// Two phases have one name, and only the first is frozen.
TEST_F(BaselineOfPhases, AFrozenPhaseHasTheLimitsOfItsFirstPoints) {
  AddPhase("--name Tool --start 2024-03-01 --end 2024-03-01T08:00 --freeze-after 6");
  AddPhase("--name Broken --start 2024-03-01T10:00 --end 2024-03-01T12:00 --kind excluded");
  AddPhase("--name Tool --start 2024-03-01T14:00");
  const auto found = Json("baseline");
  const auto& phases = found["Streams"][0]["Phases"];
  ASSERT_EQ(phases.size(), 5U);
  ExpectLimits(phases[0], 65.0 / 6.0, 1.373651734451775, 6, "--until 2024-03-01T07:30");
  ExpectLimits(phases[4], 15.53125, 1.297689426555824, 8, "--since 2024-03-01T14:00");
  for (const std::size_t none : {1U, 2U, 3U}) {
    EXPECT_TRUE(phases[none]["Proposal"].is_null()) << none;
    EXPECT_TRUE(phases[none]["Rounds"].empty()) << none;
  }
  EXPECT_TRUE(TextsOf(found, "all-subgroups").empty());
  const std::string between =
      "Between phases there is no baseline; the limits of phase \"Tool\" hold there.";
  EXPECT_EQ(TextsOf(found, "no-baseline"),
            (std::vector<std::string>{
                between, "Phase \"Broken\": It is excluded, so it has no baseline.", between}));

  // Also where none of these points is selected.
  const auto late = Json("baseline --since 2024-03-01T06:00 --until 2024-03-01T07:00");
  EXPECT_EQ(late["Streams"][0]["Phases"][0]["Points"].size(), 2U);
  ExpectLimits(late["Streams"][0]["Phases"][0], 65.0 / 6.0, 1.373651734451775, 6,
               "--since 2024-03-01T06:00 --until 2024-03-01T07:30");
  EXPECT_EQ(TextsOf(late, "all-subgroups").size(), 1U);
  const auto gap = Json("baseline --since 2024-03-01T08:00 --until 2024-03-01T09:00");
  EXPECT_EQ(TextsOf(gap, "no-baseline"), std::vector<std::string>{between});

  const auto together = PhasesOf("baseline --all-phases");
  ASSERT_EQ(together.size(), 1U);
  EXPECT_EQ(together[0]["Proposal"]["Used"], 20);
}

TEST_F(BaselineOfPhases, BeforeTheFirstPhaseAllHaveOneBaseline) {
  AddPhase("--name Broken --start 2024-03-01T10:00 --end 2024-03-01T12:00 --kind excluded");
  AddPhase("--name Tool --start 2024-03-01T14:00");
  const auto found = Json("baseline");
  const auto& phases = found["Streams"][0]["Phases"];
  ASSERT_EQ(phases.size(), 4U);
  // The mean of 12 and of the moving ranges on either side of the excluded ones.
  for (const std::size_t before : {0U, 2U}) {
    ExpectLimits(phases[before], 178.0 / 12.0, 1.8167651971781535, 12, "--until 2024-03-01T13:30");
  }
  EXPECT_TRUE(phases[1]["Proposal"].is_null());
  EXPECT_TRUE(TextsOf(found, "all-subgroups").empty());
}

TEST_F(LevelStudies, EachPhaseOfABaselineIsAStudyOfItsOwn) {
  ImportParts(48);
  AddPhases("2024-03-02");
  ExpectChartsSideBySide("baseline --part A");
}

TEST_F(LevelStudies, EachPhaseOfStepsIsAStudyOfItsOwn) {
  ImportNile();
  AddPhases("2024-03-03");
  ExpectChartsSideBySide("steps");
}

TEST_F(LevelStudies, EachPhaseOfShortRunsIsAStudyOfItsOwn) {
  ImportParts(48);
  AddPhases("2024-03-02");
  for (const char* kind : {"short-run", "short-run --kind z"}) ExpectChartsSideBySide(kind);
}

TEST_F(LevelStudies, EachPhaseOfAGroupChartIsAStudyOfItsOwn) {
  ImportHeads(48);
  AddPhases("2024-03-02");
  ExpectChartsSideBySide("group");
}

TEST_F(LevelStudies, EveryFormatAndAnEmptySelection) {
  ImportHeads(12);
  for (const char* study : {"steps", "short-run", "short-run --kind z", "group", "baseline"}) {
    const auto line = std::string("study ") + study + " --db q.db";
    EXPECT_EQ(Run(line).status, 0) << line;
    for (const char* file : {"a.svg", "a.html", "a.json", "a.txt"}) {
      EXPECT_EQ(Run(line + " -o " + file).status, 0) << line;
      EXPECT_EQ(Text(folder_.File(file)).find("nan"), std::string::npos) << line << file;
    }
    const auto empty = Run(line + " --since 2030-01-01");
    EXPECT_EQ(empty.status, 0) << line;
    EXPECT_NE(empty.out.find("no data"), std::string::npos) << line << empty.out;
    EXPECT_EQ(Run(line + " --since 2030-01-01 -o e.html").status, 1) << line;
    EXPECT_FALSE(Exists("e.html")) << line;
  }
}

TEST_F(LevelStudies, Misuse) {
  ImportHeads(3);
  const struct {
    const char *arguments, *line;
  } rows[] = {
      {"steps --penalty 0.5", "--penalty takes a number from 1 to 20, not 0.5"},
      {"steps --least 1", "--least takes a whole number from 2 to 1000, not \"1\""},
      {"short-run --kind score", "--kind takes deviation or z, not \"score\""},
      {"short-run --sigma constant", "--sigma goes with --kind z"},
      {"short-run --rules most",
       "--rules takes one of classic, nelson, western-electric, aiag, public-health, not most"},
      {"baseline --screening all", "--screening takes cause, every or none, not \"all\""},
      {"group --group-threshold -1",
       "--group-threshold takes a whole number from 0 to 2147483647, not \"-1\""},
  };
  for (const auto& row : rows) {
    const auto run = Run(std::string("study ") + row.arguments + " --db q.db");
    EXPECT_EQ(run.status, 2) << row.arguments;
    EXPECT_EQ(run.err, "orvspc study: " + std::string(row.line) + "\n");
    EXPECT_EQ(run.out, "");
  }
}

}  // namespace
}  // namespace orvspc::host
