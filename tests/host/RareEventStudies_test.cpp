// SPDX-License-Identifier: Apache-2.0
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/engine/studies/cases.h"
#include "tests/host/StudyTest.h"

// Charts of what lies between rare events by the program, of files and of databases.
namespace orvspc::host {
namespace {

using studies::Case;
using studies::CasesFolder;

class RareEventStudies : public StudyTest {
 protected:
  static std::string CaseFile(const char* name) { return "'" + CasesFolder() + name + "'"; }

  // One unit a subgroup, a minute apart; true: it is bad.
  void ImportUnits(const std::vector<bool>& bad) {
    std::ostringstream csv;
    csv << "part,process,test,subgroup,time,size,test-type,count\n";
    for (std::size_t i = 0; i < bad.size(); ++i) {
      const auto two = [](std::size_t number) {
        return std::string(number < 10 ? "0" : "") + std::to_string(number);
      };
      csv << "Can,Seamer,Leaks," << i + 1 << ",2024-03-01T" << two(i / 60) << ":" << two(i % 60)
          << ":00,1,defectives," << (bad[i] ? 1 : 0) << "\n";
    }
    Write("u.csv", csv.str());
    const auto run = Run("import u.csv --db q.db");
    ASSERT_EQ(run.status, 0) << run.err;
  }
  // Stops of a press, which runs from 8 to 16 on the 1st and the 2nd.
  void ImportStops() {
    Write("e.csv",
          "type,time,name,process\n"
          "downtime,2024-03-01T09:00:00,Jam,Press\n"
          "downtime,2024-03-01T11:00:00,Jam,Press\n"
          "downtime,2024-03-01T12:00:00,No caps,Press\n"
          "downtime,2024-03-01T15:00:00,Jam,Press\n"
          "downtime,2024-03-02T10:00:00,Jam,Press\n"
          "downtime,2024-03-02T10:30:00,Jam,Oven\n"
          "downtime,2024-03-02T11:30:00,Jam,Press\n");
    Write("c.csv", "code,type\nOn,run\nOff,idle\n");
    Write("s.csv",
          "process,time,state\n"
          "Press,2024-03-01T08:00:00,On\nPress,2024-03-01T16:00:00,Off\n"
          "Press,2024-03-02T08:00:00,On\nPress,2024-03-02T16:00:00,Off\n");
    for (const char* kind : {"events e.csv", "state-codes c.csv", "states s.csv"}) {
      const std::string words(kind);
      const auto space = words.find(' ');
      const auto run = Run("import " + words.substr(space + 1) + " --kind " +
                           words.substr(0, space) + " --db q.db");
      ASSERT_EQ(run.status, 0) << run.err;
    }
  }
};

std::vector<double> Numbers(const nlohmann::json& array) {
  return array.get<std::vector<double>>();
}

TEST_F(RareEventStudies, GOfAFileHasThePublishedFigures) {
  const Case known("g-chart");
  const auto found = Json("g --data " + CaseFile("g-chart.csv"));
  EXPECT_EQ(found["Study"], "g");
  EXPECT_EQ(found["Column"], "between");
  EXPECT_EQ(found["Options"]["Alpha"]["Value"], 0.0027);
  EXPECT_TRUE(found["Selection"].is_null());
  known.Check("mean", found["Mean"]["Value"].get<double>());
  known.Check("p_unbiased", found["P"]["Value"].get<double>());
  known.Check("prob_limits_p_unbiased",
              std::vector<double>{found["LCL"][0].get<double>(), found["CL"][0].get<double>(),
                                  found["UCL"][0].get<double>()});
  EXPECT_TRUE(found["Open"].is_null());
  EXPECT_EQ(found["Overdue"], false);
  const auto sigmas = Json("g --limits sigma --data " + CaseFile("g-chart.csv"));
  known.Check("sigma_limits",
              std::vector<double>{sigmas["LCL"][0].get<double>(), sigmas["UCL"][0].get<double>()});
  EXPECT_EQ(Json("g --open 353 --data " + CaseFile("g-chart.csv"))["Overdue"], true);
}

TEST_F(RareEventStudies, TOfAFileHasThePublishedFigures) {
  const Case known("t-chart-power");
  const auto data = " --data " + CaseFile("montgomery-7.6-hours.csv");
  const auto found = Json("t --law power" + data);
  known.Check("cl", found["CL"][0].get<double>());
  known.Check("ucl", found["UCL"][0].get<double>());
  known.Check("transformed_cl", found["TransformedMean"].get<double>());
  EXPECT_TRUE(found["Shape"]["Value"].is_null());
  const auto weibull = Json("t --open 100" + data);
  EXPECT_EQ(weibull["Open"], 100.0);
  EXPECT_EQ(weibull["Overdue"], false);
  EXPECT_EQ(Json("t --open 100000" + data)["Overdue"], true);
}

TEST_F(RareEventStudies, TheOpenTimeIsHollowAndSaysThatItIsOverdue) {
  const auto data = " --data " + CaseFile("montgomery-7.6-hours.csv");
  ASSERT_EQ(Run("study t --open 100" + data + " -o a.svg").status, 0);
  ASSERT_EQ(Run("study t --open 100000" + data + " -o b.svg").status, 0);
  ASSERT_EQ(Run("study t" + data + " -o c.svg").status, 0);
  const auto soon = Text(folder_.File("a.svg")), late = Text(folder_.File("b.svg"));
  EXPECT_NE(soon.find("since the last event: 100"), std::string::npos);
  EXPECT_EQ(soon.find(">overdue<"), std::string::npos);
  EXPECT_NE(late.find(">overdue<"), std::string::npos);
  EXPECT_EQ(Text(folder_.File("c.svg")).find("since the last event"), std::string::npos);
  EXPECT_NE(Run("study t --open 100000" + data).out.find("100000, overdue"), std::string::npos);
}

TEST_F(RareEventStudies, GOfADatabaseCountsTheUnitsBetweenDefectives) {
  std::vector<bool> bad(120, false);
  for (const int at : {3, 10, 11, 40, 90}) bad[static_cast<std::size_t>(at)] = true;
  ImportUnits(bad);
  const auto found = Json("g --db q.db");
  EXPECT_FALSE(found["Selection"].is_null());
  EXPECT_EQ(found["Streams"][0]["Part"], "Can");
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_EQ(Numbers(phase["Points"]), (std::vector<double>{6, 0, 28, 49}));
  EXPECT_EQ(phase["Times"][0], "2024-03-01T00:10:00");
  EXPECT_EQ(phase["Open"], 29.0);
  EXPECT_EQ(phase["Mean"]["Value"], 20.75);
  // The same counts out of a file.
  Write("g.csv", "units\n6\n0\n28\n49\n");
  const auto of_file = Json("g --data g.csv --open 29");
  for (const char* key : {"Points", "CL", "UCL", "LCL", "Marks", "Zeros", "Mean", "P", "Open"}) {
    EXPECT_EQ(phase[key], of_file[key]) << key;
  }
}

// Phases on one chart are charts side by side; what came since the last event is the newest one's.
TEST_F(RareEventStudies, GOfADatabaseBeginsAnewAtAPhase) {
  std::vector<bool> bad(240, false);
  for (const int at : {3, 10, 15, 40, 50, 130, 135, 160, 170, 200}) {
    bad[static_cast<std::size_t>(at)] = true;
  }
  ImportUnits(bad);
  for (const char* phase : {"--name One --start 2024-03-01 --end 2024-03-01T02:00:00",
                            "--name Two --start 2024-03-01T02:00:00"}) {
    ASSERT_EQ(Run("phase add --db q.db --reason tool " + std::string(phase)).status, 0);
  }
  const auto both = Json("g --db q.db")["Streams"][0]["Phases"];
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(Numbers(both[0]["Points"]), (std::vector<double>{6, 4, 24, 9}));
  EXPECT_EQ(Numbers(both[1]["Points"]), (std::vector<double>{4, 24, 9, 29}));
  EXPECT_TRUE(both[0]["Open"].is_null());
  auto one = Json("g --db q.db --phase One")["Streams"][0]["Phases"][0];
  EXPECT_EQ(one["Open"], 69.0);
  one["Open"] = nullptr;
  EXPECT_EQ(both[0], one);
  EXPECT_EQ(both[1], Json("g --db q.db --phase Two")["Streams"][0]["Phases"][0]);
}

// Gaps of 6, 4 and 24 end in the first 45 units, three after them.
TEST_F(RareEventStudies, GOfAFrozenPhaseHasTheMeanOfItsFirstPoints) {
  std::vector<bool> bad(120, false);
  for (const int at : {3, 10, 15, 40, 50, 110, 115}) bad[static_cast<std::size_t>(at)] = true;
  ImportUnits(bad);
  ASSERT_EQ(Run("phase add --db q.db --name One --start 2024-03-01 --freeze-after 45 "
                "--reason tool")
                .status,
            0);
  const auto phase = Json("g --db q.db")["Streams"][0]["Phases"][0];
  EXPECT_EQ(Numbers(phase["Points"]), (std::vector<double>{6, 4, 24, 9, 59, 4}));
  EXPECT_NEAR(phase["Mean"]["Value"].get<double>(), 34.0 / 3.0, 1e-12);
  EXPECT_NEAR(phase["P"]["Value"].get<double>(), 2.0 / 37.0, 1e-12);
  EXPECT_EQ(phase["Mean"]["Used"], 3);
  EXPECT_EQ(phase["Mean"]["Left"], 3);
  // Also where these are not shown.
  const auto later = Json("g --db q.db --since 2024-03-01T01:40:00")["Streams"][0]["Phases"];
  ASSERT_EQ(later.size(), 1U);
  EXPECT_EQ(Numbers(later[0]["Points"]), std::vector<double>{4});
  EXPECT_EQ(later[0]["Mean"]["Value"], phase["Mean"]["Value"]);
  EXPECT_EQ(later[0]["UCL"][0], phase["UCL"][0]);
}

TEST_F(RareEventStudies, GOfADatabaseTakesSizesThatAreNotWholeOrNotKnown) {
  std::ostringstream fractions, unknown;
  fractions << "part,process,test,subgroup,time,size,test-type,count\n";
  unknown << "part,process,test,subgroup,time,test-type,count\n";
  const std::vector<int> counts = {1, 0, 0, 1, 0, 1, 0, 0, 0, 1, 0};
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const auto time = ",2024-03-01T00:" + std::to_string(i + 10) + ":00,";
    fractions << "Can,Seamer,Leaks," << i + 1 << time << "1.25,defects," << counts[i] << "\n";
    unknown << "Lid,Seamer,Leaks," << i + 1 << time << "defects," << counts[i] << "\n";
  }
  Write("f.csv", fractions.str());
  Write("n.csv", unknown.str());
  ASSERT_EQ(Run("import f.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import n.csv --db q.db").status, 0);
  const auto noted = [](const nlohmann::json& document) {
    bool found = false;
    for (const auto& note : document["Notes"]) found |= note["Code"] == "fractional-units";
    return found;
  };
  const auto rounded = Json("g --db q.db --part Can");
  EXPECT_EQ(Numbers(rounded["Streams"][0]["Phases"][0]["Points"]), (std::vector<double>{3, 1, 4}));
  EXPECT_TRUE(noted(rounded));
  const auto ones = Json("g --db q.db --part Lid");
  EXPECT_EQ(Numbers(ones["Streams"][0]["Phases"][0]["Points"]), (std::vector<double>{2, 1, 3}));
  EXPECT_EQ(ones["Streams"][0]["Phases"][0]["Open"], 1.0);
  EXPECT_FALSE(noted(ones));
}

TEST_F(RareEventStudies, TOfADatabaseHasTheHoursBetweenEvents) {
  ImportStops();
  const auto all = Json("t --db q.db --process Press --until 2024-03-02T12:30:00");
  EXPECT_EQ(Numbers(all["Points"]), (std::vector<double>{2, 1, 3, 19, 1.5}));
  EXPECT_EQ(all["Open"], 1.0);
  EXPECT_EQ(all["Times"][0], "2024-03-01T11:00:00");
  EXPECT_EQ(all["Column"], "hours between events");
  EXPECT_FALSE(all["Selection"].is_null());
  const auto jams = Json("t --db q.db --process Press --event Jam --until 2024-03-02T12:30:00");
  EXPECT_EQ(Numbers(jams["Points"]), (std::vector<double>{2, 4, 19, 1.5}));
  EXPECT_EQ(jams["Options"]["Event"]["Value"], "Jam");
  const auto running =
      Json("t --db q.db --process Press --event Jam --running yes --until 2024-03-02T18:00:00");
  EXPECT_EQ(Numbers(running["Points"]), (std::vector<double>{2, 4, 3, 1.5}));
  EXPECT_EQ(running["Open"], 4.5);
  EXPECT_EQ(running["Column"], "running hours between events");
}

TEST_F(RareEventStudies, TOfADatabaseNamesWhatIsSelectedAndUntilWhen) {
  ImportStops();
  const auto text = Run("study t --db q.db --process Press --until 2024-03-02T12:30:00").out;
  EXPECT_TRUE(text.starts_with("t chart: Press\n")) << text;
  EXPECT_NE(text.find("The time since the last event is counted until 2024-03-02T12:30:00."),
            std::string::npos)
      << text;
  const auto now = Run("study t --db q.db").out;
  EXPECT_TRUE(now.starts_with("t chart: hours between events\n")) << now;
  EXPECT_EQ(now.find("counted until"), std::string::npos) << now;
}

TEST_F(RareEventStudies, TimesBetweenEventsTakeTheOptionsOfTheirDatabase) {
  ImportStops();
  const std::string study = "t --db q.db --process Press --until 2024-03-02T18:00:00";
  const auto from = [&](const std::string& more, const char* key) {
    const auto option = Json(study + more)["Options"][key];
    return option["From"].get<std::string>() + " " + option["Value"].dump();
  };
  EXPECT_EQ(from("", "Law"), "default \"weibull\"");
  for (const char* option : {"t.law exponential", "t.alpha 0.01", "t.run 7", "t.running yes"}) {
    const auto set = Run("set --db q.db --process Press " + std::string(option));
    ASSERT_EQ(set.status, 0) << set.err;
  }
  EXPECT_EQ(from("", "Law"), "database \"exponential\"");
  EXPECT_EQ(from("", "Alpha"), "database 0.01");
  EXPECT_EQ(from("", "Run"), "database \"7\"");
  EXPECT_EQ(from("", "Running"), "database \"yes\"");
  EXPECT_EQ(Json(study)["Column"], "running hours between events");
  EXPECT_EQ(from(" --law weibull", "Law"), "command \"weibull\"");
  EXPECT_EQ(from(" --running no", "Running"), "command \"no\"");
  EXPECT_EQ(Json(study)["UCL"], Json(study + " --law exponential --alpha 0.01 --run 7")["UCL"]);
  // The oven has none of them.
  Refused("t --db q.db --running no --alpha 0.01 --run 7", 2,
          "the streams differ in t.law; give --law or select fewer");
}

TEST_F(RareEventStudies, RunningTimeTakesOneProcessAndItsStates) {
  ImportStops();
  Refused("t --db q.db --running yes", 1,
          "--running yes takes events of one process; --process chooses it");
  Write("o.csv",
        "type,time,name,process\ndowntime,2024-03-02T12:30:00,Jam,Oven\n"
        "downtime,2024-03-02T13:00:00,Jam,Oven\n");
  ASSERT_EQ(Run("import o.csv --kind events --db q.db").status, 0);
  const auto oven = Json("t --db q.db --process Oven --running yes --until 2024-03-02T14:00:00");
  EXPECT_EQ(Numbers(oven["Points"]), (std::vector<double>{2, 0.5}));
  bool is_noted = false;
  for (const auto& note : oven["Notes"]) is_noted = is_noted || note["Code"] == "no-state-log";
  EXPECT_TRUE(is_noted);
  Refused("t --db q.db --event Fire", 1, "no event-name is called \"Fire\"");
}

// Units 1 to 4 are bad: three times nothing lies between, and the last two of these have one
// before.
TEST_F(RareEventStudies, TwoZerosInARowAreListedAmongTheSignals) {
  ImportUnits({true, true, true, true, false, true, false, false, true, false, false, false, true});
  const auto json = Json("g --db q.db");
  const auto& phase = json["Streams"][0]["Phases"][0];
  int zeros = 0;
  for (const auto& each : phase["Zeros"]) zeros += each.get<int>();
  EXPECT_EQ(zeros, 2);
  const auto text = Run("study g --db q.db").out;
  const std::regex row("0 +two zeros in a row");
  EXPECT_EQ(std::distance(std::sregex_iterator(text.begin(), text.end(), row), {}), zeros) << text;
}

TEST_F(RareEventStudies, EveryFormatAndAnEmptySelection) {
  ImportUnits({true, false, true, false, false, true, true, false, false, false, true});
  ImportStops();
  for (const char* study : {"g", "t"}) {
    const auto line = std::string("study ") + study + " --db q.db";
    const auto run = Run(line);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("since the last"), std::string::npos) << run.out;
    for (const char* file : {"a.svg", "a.html", "a.json", "a.txt"}) {
      EXPECT_EQ(Run(line + " -o " + file).status, 0) << line;
      EXPECT_EQ(Text(folder_.File(file)).find("nan"), std::string::npos) << line << file;
    }
    const auto empty = Run(line + " --since 2030-01-01");
    EXPECT_EQ(empty.status, 0) << line;
    EXPECT_NE(empty.out.find("without --since 2030-01-01"), std::string::npos) << empty.out;
    EXPECT_EQ(Run(line + " --since 2030-01-01 -o e.html").status, 1) << line;
    EXPECT_FALSE(Exists("e.html"));
  }
}

TEST_F(RareEventStudies, WrongFilesAreRefusedWithTheirPlace) {
  Write("a.csv", "units\n4\n2.5\n");
  Refused("g --data a.csv", 1,
          "a.csv: line 3, column \"units\", value \"2.5\": is not a whole number");
  Write("a.csv", "hours\n4\n-2\n");
  Refused("t --data a.csv", 1, "a.csv: line 3, column \"hours\", value \"-2\": is below 0");
  Refused("t --data a.csv --column days", 1, "a.csv: line 1: there is no column \"days\"");
}

TEST_F(RareEventStudies, Misuse) {
  Write("a.csv", "units\n4\n2\n7\n");
  ImportStops();
  Refused("g", 2, "--data FILE.csv or --db FILE is missing");
  Refused("g --data a.csv --db q.db", 2, "--data and --db do not go together");
  Refused("g --data a.csv --part Can", 2, "--part Can goes with --db");
  Refused("g --data a.csv --alpha 0.5", 2, "--alpha takes a number from 0.0001 to 0.1, not 0.5");
  Refused("g --data a.csv --limits sigma --alpha 0.01", 2,
          "--alpha goes with --limits probability");
  Refused("g --db q.db --open 3", 2, "--open goes with --data");
  Refused("t --db q.db --column hours", 2, "--column goes with --data");
  Refused("t --db q.db --resolution 1", 2, "--resolution goes with --data");
  Refused("t --data a.csv --event Jam", 2, "--event goes with --db");
  Refused("t --data a.csv --running yes", 2, "--running goes with --db");
  Refused("t --data a.csv --run 6", 2, "--run takes 9, 8, 7 or none, not \"6\"");
  Refused("t --data a.csv --law power --alpha 0.01", 2,
          "--alpha goes with --law weibull or exponential");
}

}  // namespace
}  // namespace orvspc::host
