// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/engine/studies/cases.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

// The studies of selected streams by the program: ewma, cusum, laney, acf, ar1.
namespace orvspc::host {
namespace {

using studies::Case;

std::string TimeOf(int hour) {
  const auto two = [](int number) {
    return std::string(number < 10 ? "0" : "") + std::to_string(number);
  };
  return "2024-03-" + two(1 + hour / 24) + "T" + two(hour % 24) + ":00:00";
}

class StreamStudies : public ProgramTest {
 protected:
  // Single values, one an hour.
  void ImportValues(const std::vector<double>& values) {
    std::ostringstream csv;
    csv << "part,process,test,subgroup,time,value\n";
    for (std::size_t i = 0; i < values.size(); ++i) {
      csv << "Ring,Press,Width," << i + 1 << "," << TimeOf(static_cast<int>(i)) << "," << values[i]
          << "\n";
    }
    Write("v.csv", csv.str());
    ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  }
  // Bad units, or defects, one sample an hour.
  void ImportCounts(const std::vector<double>& counts, const std::vector<double>& sizes,
                    const std::string& type) {
    std::ostringstream csv;
    csv << "part,process,test,subgroup,time,size,test-type,count\n";
    for (std::size_t i = 0; i < counts.size(); ++i) {
      csv << "Can,Seamer,Leaks," << i + 1 << "," << TimeOf(static_cast<int>(i)) << "," << sizes[i]
          << "," << type << "," << counts[i] << "\n";
    }
    Write("c.csv", csv.str());
    const auto run = Run("import c.csv --db q.db");
    ASSERT_EQ(run.status, 0) << run.err;
  }

  nlohmann::json Json(const std::string& arguments) {
    const auto run = Run("study " + arguments + " --db q.db --format json");
    EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
    EXPECT_NO_THROW(ParseJson(run.out)) << arguments;
    return run.status == 0 ? nlohmann::json::parse(run.out) : nlohmann::json();
  }
  nlohmann::json PhaseOf(const std::string& arguments) {
    return Json(arguments).at("Streams").at(0).at("Phases").at(0);
  }
  void Refused(const std::string& arguments, int status, const std::string& text) {
    const auto run = Run("study " + arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_EQ(run.err, "orvspc study: " + text + "\n");
    EXPECT_EQ(run.out, "");
  }
};

std::vector<double> Numbers(const nlohmann::json& array) {
  return array.get<std::vector<double>>();
}

// Numbers of the points with a signal, from 1.
std::vector<double> Signals(const nlohmann::json& phase) {
  std::vector<double> numbers;
  const auto& marks = phase.at("Marks");
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if (!marks[i].empty()) numbers.push_back(static_cast<double>(i + 1));
  }
  return numbers;
}

// Values without a pattern.
std::vector<double> Scattered(std::size_t count) {
  std::vector<double> values;
  unsigned state = 1;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1103515245U + 12345U;
    values.push_back(10.0 + static_cast<double>((state >> 16) % 1000) / 250.0);
  }
  return values;
}

// 4 to 20
std::vector<double> Counts(std::size_t count) {
  auto counts = Scattered(count);
  for (auto& value : counts) value = std::floor((value - 9.0) * 4.0);
  return counts;
}

TEST_F(StreamStudies, EwmaHasThePublishedFigures) {
  const Case known("ewma-individuals");
  ImportValues(known.Column("x"));
  const auto document = Json("ewma --weight 0.1 --width 2.7 --target 10 --sigma 1");
  EXPECT_EQ(document["Study"], "ewma");
  EXPECT_EQ(document["Version"], 1);
  EXPECT_EQ(document["Options"]["Weight"]["Value"], 0.1);
  EXPECT_EQ(document["Options"]["Weight"]["From"], "command");
  EXPECT_EQ(document["Options"]["Limits"]["From"], "default");
  EXPECT_EQ(document["Streams"][0]["Test"], "Width");
  const auto& phase = document["Streams"][0]["Phases"][0];
  known.Check("z", Numbers(phase["Z"]));
  known.Check("ucl", Numbers(phase["UCL"]));
  known.Check("lcl", Numbers(phase["LCL"]));
  known.Check("signals", Signals(phase));
  EXPECT_EQ(phase["Mean"]["Value"], 10.0);
  EXPECT_EQ(phase["Mean"]["Estimator"], "given");
  EXPECT_EQ(phase["Times"][1], "2024-03-01T01:00:00");
}

TEST_F(StreamStudies, CusumHasThePublishedFigures) {
  const Case known("cusum-individuals");
  ImportValues(known.Column("x"));
  const auto phase = PhaseOf("cusum --target 10 --sigma 1");
  known.Check("upper", Numbers(phase["Upper"]));
  known.Check("lower", Numbers(phase["Lower"]));
  known.Check("signals", Signals(phase));
  EXPECT_EQ(phase["CountUpper"][28], 7);
  EXPECT_EQ(phase["Start"][28], 23);
  EXPECT_TRUE(phase["Start"][0].is_null());
  EXPECT_NEAR(phase["NewMean"][28].get<double>(), 10.0 + 0.5 + 5.28 / 7.0, 1e-9);
  EXPECT_EQ(phase["UCL"][0], 5.0);
  EXPECT_EQ(PhaseOf("cusum --target 10 --sigma 1 --h 4")["UCL"][0], 4.0);
  const auto text = Run("study cusum --target 10 --sigma 1 --db q.db").out;
  EXPECT_NE(text.find("2024-03-02T04:00:00  upper  2024-03-01T22:00:00"), std::string::npos)
      << text;
}

TEST_F(StreamStudies, LaneyHasThePublishedFigures) {
  const Case known("laney-p-u");
  ImportCounts(known.Column("defectives"), known.Column("size"), "defectives");
  const auto phase = PhaseOf("laney --chart p");
  known.Check("p", phase["Mean"]["Value"].get<double>());
  known.Check("sigma_z", phase["SigmaZ"]["Value"].get<double>());
  known.Check("ucl", Numbers(phase["UCL"]));
  known.Check("lcl", Numbers(phase["LCL"]));
}

TEST_F(StreamStudies, AcfHasTheCertifiedFigures) {
  const Case known("acf-ljung-box");
  ImportValues(known.Column("y"));
  const auto phase = PhaseOf("acf --lags 10 --tested 10");
  known.Check("acf", Numbers(phase["ACF"]));
  known.Check("bound95", phase["Bound"].get<double>());
  known.Check("q10", phase["LjungBox"]["Value"].get<double>());
  known.Check("p1", phase["LjungBoxFirst"]["P"].get<double>());
}

// Of the flow of the Nile, as R's arima fits it.
TEST_F(StreamStudies, Ar1HasTheFiguresOfTheNile) {
  ImportValues(Case("step-change").Column("flow"));
  const auto phase = PhaseOf("ar1");
  EXPECT_NEAR(phase["Phi"]["Value"].get<double>(), 0.5063, 5e-5);
  EXPECT_NEAR(phase["Mean"]["Value"].get<double>(), 919.5640, 5e-4);
  EXPECT_NEAR(phase["LogLik"].get<double>(), -639.95, 5e-3);
  EXPECT_EQ(phase["Residuals"], phase["Points"]);
}

TEST_F(StreamStudies, AStoredRowOfLimitsIsWhatTheFiguresAreAbout) {
  ImportValues(Scattered(30));
  Write("l.csv", "part,process,test,mean,sp\nRing,Press,Width,11,1.25\n");
  ASSERT_EQ(Run("import l.csv --kind control-limits --db q.db").status, 0);
  for (const char* study : {"ewma", "cusum"}) {
    const auto phase = PhaseOf(study);
    EXPECT_EQ(phase["Mean"]["Value"], 11.0) << study;
    EXPECT_EQ(phase["Sigma"]["Value"], 1.25) << study;
    EXPECT_EQ(phase["Mean"]["Estimator"], "line in force") << study;
    EXPECT_EQ(phase["Mean"]["Used"], 0) << study;
  }
  EXPECT_EQ(PhaseOf("ewma")["CL"][0], 11.0);
}

// Sums by hand of counts about 1 defect a unit: K = (2 - 1)/ln 2 = 1.44 is 1.5.
TEST_F(StreamStudies, ACusumOfCountsIsInCounts) {
  ImportCounts({1, 3, 0, 4, 3, 0}, std::vector<double>(6, 1.0), "defects");
  const auto document = Json("cusum --counts --mu1 2 --target 1 --h 5.5");
  EXPECT_EQ(document["Options"]["Mu1"]["Value"], 2.0);
  EXPECT_EQ(document["Options"]["H"]["Value"], 5.5);
  const auto& phase = document["Streams"][0]["Phases"][0];
  EXPECT_EQ(Numbers(phase["Reference"]), std::vector<double>(6, 1.5));
  EXPECT_EQ(Numbers(phase["Upper"]), (std::vector<double>{0.0, 1.5, 0.0, 2.5, 4.0, 2.5}));
  EXPECT_TRUE(phase["Lower"][0].is_null());
  EXPECT_TRUE(phase["LCL"][0].is_null());
  EXPECT_TRUE(Signals(phase).empty());
  // A sum that reaches h is a signal; 7 counts in two samples.
  const auto low = PhaseOf("cusum --counts --mu1 2 --target 1 --h 4");
  EXPECT_EQ(Signals(low), std::vector<double>{5.0});
  EXPECT_EQ(low["NewMean"][4], 3.5);
  EXPECT_EQ(low["Start"][4], 4);
  const auto down = PhaseOf("cusum --counts --mu1 0.5 --target 1 --h 4");
  EXPECT_EQ(down["Reference"][0], 0.75);
  EXPECT_EQ(down["Lower"][2], 0.75);
  EXPECT_TRUE(down["Upper"][0].is_null());
}

// Phases on one chart are charts side by side.
// Means of 4 in 50: sigma of a proportion is sqrt(0.08 0.92 / 50) = 0.038367. The first point of an
// EWMA lies at 0.2 0.04 + 0.8 0.08.
TEST_F(StreamStudies, PointsOfCountsAreThoseOfTheirChart) {
  ImportCounts({2, 6, 4, 4, 3, 5, 4, 4, 2, 6, 4, 4}, std::vector<double>(12, 50.0), "defectives");
  const auto ewma = PhaseOf("ewma");
  EXPECT_NEAR(ewma.at("Points")[0].get<double>(), 0.2 * 0.04 + 0.8 * 0.08, 1e-12);
  EXPECT_NEAR(ewma.at("UCL")[0].get<double>(), 0.08 + 3.0 * 0.2 * 0.0383667, 1e-6);
  const auto cusum = PhaseOf("cusum");
  EXPECT_NEAR(cusum.at("Lower")[0].get<double>(), 0.04 / 0.0383667 - 0.5, 1e-5);
  EXPECT_NE(Run("study ewma --db q.db").out.find("EWMA"), std::string::npos);
  Refused("ewma --db q.db --sigma 1", 2, "--sigma goes with measurements, not with counts");
  // Beside measurements they are left out.
  ImportValues({10.0, 11.0, 9.0, 10.0});
  EXPECT_EQ(Json("ewma").at("Streams").at(0).at("Part"), "Ring");
}

// 30 of 50 units each about 0.35: sigma is sqrt(0.35 0.65 / 50), whatever the mean.
TEST_F(StreamStudies, SigmaOfCountsIsThatOfTheirTarget) {
  std::vector<double> counts;
  for (int i = 0; i < 30; ++i) counts.push_back(3 + i % 3);
  ImportCounts(counts, std::vector<double>(30, 50.0), "defectives");
  EXPECT_NEAR(PhaseOf("ewma --target 0.35").at("UCL")[0].get<double>(), 0.3904722127, 1e-9);
  const auto cusum = PhaseOf("cusum --target 0.35");
  EXPECT_NEAR(cusum.at("Lower")[0].get<double>(), (0.35 - 0.06) / 0.0674536878 - 0.5, 1e-7);
  Refused("ewma --db q.db --target 1", 2,
          "--target of counts takes a number above 0 to below 1, not 1");
  Refused("cusum --db q.db --target 0", 2,
          "--target of counts takes a number above 0 to below 1, not 0");
}

TEST_F(StreamStudies, AStudyOfCountsDoesNotMissMeasurements) {
  ImportCounts(Counts(30), std::vector<double>(30, 200.0), "defectives");
  for (const char* study : {"ewma", "cusum"}) {
    const auto run = Run(std::string("study ") + study + " --db q.db");
    EXPECT_EQ(run.out.find("No subgroup of a variable test"), std::string::npos) << run.out;
    const auto none = Run(std::string("study ") + study + " --db q.db --since 2030-01-01");
    EXPECT_NE(none.out.find("no data"), std::string::npos) << none.out;
  }
}

// Defects without a size are those of one unit each.
TEST_F(StreamStudies, DefectsWithoutASizeAreOfOneUnit) {
  Write("n.csv",
        "part,process,test,subgroup,time,test-type,count\n"
        "Can,Seamer,Leaks,1,2024-03-01T00:00:00,defects,1\n"
        "Can,Seamer,Leaks,2,2024-03-01T01:00:00,defects,3\n"
        "Can,Seamer,Leaks,3,2024-03-01T02:00:00,defects,0\n"
        "Can,Seamer,Leaks,4,2024-03-01T03:00:00,defects,4\n");
  ASSERT_EQ(Run("import n.csv --db q.db").status, 0);
  const auto phase = PhaseOf("cusum --counts --mu1 2 --target 1 --h 5.5");
  EXPECT_EQ(Numbers(phase["SGSizes"]), std::vector<double>(4, 1.0));
  EXPECT_EQ(Numbers(phase["Upper"]), (std::vector<double>{0.0, 1.5, 0.0, 2.5}));
  EXPECT_EQ(Numbers(PhaseOf("ewma")["SGSizes"]), std::vector<double>(4, 1.0));
}

TEST_F(StreamStudies, FiguresOfAFrozenPhaseSayWhatTheyLeaveOut) {
  ImportCounts(Counts(30), std::vector<double>(30, 200.0), "defectives");
  ASSERT_EQ(Run("phase add --db q.db --name One --start 2024-03-01 --freeze-after 10 "
                "--reason tool")
                .status,
            0);
  for (const char* study : {"ewma", "cusum", "laney"}) {
    const auto mean = PhaseOf(study).at("Mean");
    EXPECT_EQ(mean.at("Used"), 10) << study;
    EXPECT_EQ(mean.at("Left"), 20) << study;
  }
  const auto factor = PhaseOf("laney").at("SigmaZ");
  EXPECT_EQ(factor.at("Used"), 10);
  EXPECT_EQ(factor.at("Left"), 20);
}

TEST_F(StreamStudies, OneSideHasOneLimitAndOneArm) {
  auto values = Scattered(30);
  values[10] = 40.0;
  values[20] = -40.0;
  ImportValues(values);
  const auto given = " --target 12 --sigma 1 --sided ";
  const auto document = Json(std::string("ewma") + given + "upper");
  EXPECT_EQ(document["Options"]["Sided"]["Value"], "upper");
  const auto upper = document["Streams"][0]["Phases"][0];
  EXPECT_TRUE(upper["LCL"][0].is_null());
  const auto signals = Signals(upper);
  ASSERT_FALSE(signals.empty());
  EXPECT_EQ(signals.front(), 11.0);
  EXPECT_LT(signals.back(), 21.0);
  EXPECT_EQ(upper["Z"], PhaseOf(std::string("ewma") + given + "two")["Z"]);
  const auto lower = PhaseOf(std::string("cusum") + given + "lower");
  EXPECT_TRUE(lower["Upper"][0].is_null());
  EXPECT_TRUE(lower["UCL"][0].is_null());
  EXPECT_EQ(lower["LCL"][0], -5.0);
  EXPECT_TRUE(lower["Marks"][10].empty());
  EXPECT_FALSE(lower["Marks"][20].empty());
  const auto page = Run(std::string("study cusum --db q.db") + given + "upper -o a.svg");
  EXPECT_EQ(page.status, 0) << page.err;
  EXPECT_EQ(Text(folder_.File("a.svg")).find("nan"), std::string::npos);
}

// With a weight of 1 it is the chart of medians itself.
TEST_F(StreamStudies, EwmaAndCusumOfMedians) {
  const auto run = Run("import '" ORVSPC_TESTS_DIR "/../host/samples/flow-width.csv' --db q.db");
  ASSERT_EQ(run.status, 0) << run.err;
  const auto chart = Run("chart --db q.db --graph1 median --max 0 --format json");
  ASSERT_EQ(chart.status, 0) << chart.err;
  const auto graph = nlohmann::json::parse(chart.out)["Graphs"][0];
  const auto ewma = PhaseOf("ewma --points median --weight 1");
  const auto means = PhaseOf("ewma --weight 1");
  for (const auto& [ours, theirs] :
       {std::pair("UCL", "UCLs"), {"LCL", "LCLs"}, {"Values", "Points"}}) {
    const auto found = Numbers(ewma[ours]), wanted = Numbers(graph[theirs]);
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], wanted[i], 1e-9) << ours;
    EXPECT_NE(found, Numbers(means[ours]));
  }
  EXPECT_EQ(ewma["Sigma"]["Value"], means["Sigma"]["Value"]);
  const auto y = [](const nlohmann::json& phase) {
    return (phase["UCL"][0].get<double>() - phase["CL"][0].get<double>()) / 3.0;
  };
  // The first point, in standard deviations of a median.
  const auto cusum = PhaseOf("cusum --points median --k 0");
  const double first = (ewma["Values"][0].get<double>() - ewma["CL"][0].get<double>()) / y(ewma);
  EXPECT_NEAR(cusum["Upper"][0].get<double>() - cusum["Lower"][0].get<double>(), first, 1e-9);

  ASSERT_EQ(Run("set --db q.db ewma.points median --reason 'outliers'").status, 0);
  EXPECT_EQ(PhaseOf("ewma --weight 1"), ewma);
  EXPECT_EQ(Json("ewma")["Options"]["Points"]["From"], "database");
  EXPECT_EQ(PhaseOf("ewma --weight 1 --points mean"), means);
}

TEST_F(StreamStudies, MediansAreOfMeasurements) {
  ImportCounts(Counts(30), std::vector<double>(30, 200.0), "defects");
  Refused("ewma --db q.db --points median", 2,
          "--points median goes with measurements, not with counts");
  Refused("cusum --db q.db --counts --mu1 2 --h 5 --points median", 2,
          "--points does not go with --counts");
  ImportValues(Scattered(30));
  auto single = PhaseOf("ewma --points median");
  EXPECT_EQ(single, PhaseOf("ewma")) << "of single values it is the value";
}

TEST_F(StreamStudies, ATestOfTheWrongKindIsNamedAsTheReason) {
  ImportValues(Scattered(20));
  ImportCounts(Counts(30), std::vector<double>(30, 200.0), "defects");
  const auto why = [&](const std::string& study) {
    const auto run = Run("study " + study + " --db q.db --format json");
    EXPECT_EQ(run.status, 0) << run.err;
    return run.err;
  };
  EXPECT_EQ(why("laney --test Width"),
            "no data of defects or defectives, only 20 subgroups of measurements\n");
  EXPECT_EQ(why("acf --test Leaks"), "no data of measurements, only 30 subgroups of defects\n");
  EXPECT_EQ(why("cusum --counts --p1 0.1 --h 4 --test Leaks"),
            "no data of defectives, only 30 subgroups of defects\n");
  // A condition comes first where no test is named.
  EXPECT_EQ(why("laney --since 2030-01-01"), "no data: 30 subgroups without --since 2030-01-01\n");
}

// The time at which a phase starts, and where shifts do.
TEST_F(StreamStudies, NoKeyOfAStudyIsThereTwice) {
  ImportValues(Scattered(60));
  ImportCounts(Counts(60), std::vector<double>(60, 200.0), "defectives");
  ASSERT_EQ(Run("phase add --db q.db --name One --start 2024-03-01 --end 2024-03-02 "
                "--reason tool")
                .status,
            0);
  EXPECT_THROW(ParseJson(R"({"Start": 1, "Start": 2})"), std::runtime_error);
  for (const char* study : {"acf", "ar1", "baseline", "baseline --counts", "counts", "cusum",
                            "cusum --counts --p1 0.1 --h 8", "ewma", "g", "group", "laney",
                            "short-run", "steps", "tolerance"}) {
    const auto run = Run(std::string("study ") + study + " --db q.db --format json");
    ASSERT_EQ(run.status, 0) << study << run.err;
    EXPECT_NO_THROW(ParseJson(run.out)) << study;
    const auto phases = nlohmann::json::parse(run.out).at("Streams").at(0).at("Phases");
    EXPECT_EQ(phases.at(0).at("Name"), "One") << study;
    EXPECT_EQ(phases.at(0).at("Period").at("Start"), "2024-03-01T00:00:00") << study;
    EXPECT_EQ(phases.at(0).at("Period").at("End"), "2024-03-02T00:00:00") << study;
    EXPECT_TRUE(phases.at(1).at("Period").is_null()) << study;
  }
}

// The text names each signal.
TEST_F(StreamStudies, SignalsAreListedWithTheirLimit) {
  ImportValues({10.0, 11.0, 9.0, 10.0, 19.0});
  const auto run = Run("study ewma --db q.db --target 10 --sigma 1");
  const auto at = run.out.find("Signals");
  ASSERT_NE(at, std::string::npos) << run.out;
  EXPECT_NE(run.out.find("2024-03-01T04:00:00", at), std::string::npos) << run.out;
}

TEST_F(StreamStudies, EachPhaseIsAStudyOfItsOwn) {
  ImportValues(Scattered(130));
  ImportCounts(Counts(130), std::vector<double>(130, 200.0), "defectives");
  ASSERT_EQ(Run("phase add --db q.db --name One --start 2024-03-01 --end 2024-03-03T17:00:00 "
                "--reason tool")
                .status,
            0);
  ASSERT_EQ(Run("phase add --db q.db --name Two --start 2024-03-03T17:00:00 --reason tool").status,
            0);
  for (const char* study :
       {"ewma", "cusum", "cusum --counts --p1 0.1 --h 8 --head-start 4", "laney", "acf", "ar1"}) {
    const auto both = Json(study).at("Streams").at(0).at("Phases");
    ASSERT_EQ(both.size(), 2U) << study;
    EXPECT_EQ(both[0], PhaseOf(std::string(study) + " --phase One")) << study;
    EXPECT_EQ(both[1], PhaseOf(std::string(study) + " --phase Two")) << study;
    EXPECT_EQ(Json(std::string(study) + " --all-phases")["Streams"][0]["Phases"].size(), 1U);
  }
}

TEST_F(StreamStudies, EveryFormatAndAnEmptySelection) {
  ImportValues(Scattered(60));
  ImportCounts(Counts(60), std::vector<double>(60, 200.0), "defects");
  const struct {
    const char *arguments, *text;
  } rows[] = {{"ewma", "EWMA"},
              {"cusum", "head start 0"},
              {"cusum --counts --mu1 0.1 --h 4", "of counts"},
              {"laney", "sigma z"},
              {"acf", "Ljung-Box"},
              {"ar1", "phi"}};
  for (const auto& row : rows) {
    const auto line = std::string("study ") + row.arguments + " --db q.db";
    // Neither kind is missing where either would do.
    const bool takes_both = line.starts_with("study ewma") || line.starts_with("study cusum --db");
    const auto text = Run(line);
    EXPECT_EQ(text.status, 0) << line;
    EXPECT_NE(text.out.find(row.text), std::string::npos) << text.out;
    for (const char* file : {"a.svg", "a.html", "a.json", "a.txt"}) {
      EXPECT_EQ(Run(line + " -o " + file).status, 0) << line;
      EXPECT_EQ(Text(folder_.File(file)).find("nan"), std::string::npos) << line << file;
    }
    const auto empty = Run(line + " --since 2030-01-01");
    EXPECT_EQ(empty.status, 0) << line;
    const std::string why = "no data: 60 subgroups without --since 2030-01-01";
    EXPECT_NE(empty.out.find(why), std::string::npos) << line << empty.out;
    EXPECT_EQ(empty.out.find("No subgroup") == std::string::npos, takes_both) << empty.out;
    const auto page = Run(line + " --since 2030-01-01 -o e.html");
    EXPECT_EQ(page.status, 1) << line;
    EXPECT_FALSE(Exists("e.html")) << line;
  }
}

TEST_F(StreamStudies, Misuse) {
  ImportValues(Scattered(30));
  const struct {
    const char *arguments, *line;
  } rows[] = {
      {"ewma --weight 0", "--weight takes a number above 0 to 1, not 0"},
      {"ewma --width 6.5", "--width takes a number above 0 to 6, not 6.5"},
      {"ewma --limits asymptotic --fir 0.5", "--fir goes with --limits exact"},
      {"ewma --sigma 0", "--sigma takes a number above 0 to below 1e+300, not 0"},
      {"cusum --k 4", "--k takes a number from 0 to 3, not 4"},
      {"cusum --h 0", "--h takes a number above 0 to 50, not 0"},
      {"cusum --head-start 5", "--head-start takes a number from 0 to below --h, not 5"},
      {"cusum --mu1 2", "--mu1 goes with --counts"},
      {"cusum --counts --h 4", "--counts needs --mu1 or --p1, which say what is to be found"},
      {"cusum --counts --mu1 2", "--counts needs --h"},
      {"cusum --counts --p1 2 --h 4", "--p1 takes a number above 0 to below 1, not 2"},
      {"cusum --counts --mu1 2 --h 4.1", "--h of counts takes a multiple of 0.25, not 4.1"},
      {"cusum --counts --mu1 2 --h 4 --k 1", "--k does not go with --counts"},
      {"cusum --counts --mu1 2 --h 4 --head-start 4",
       "--head-start takes a number from 0 to below --h, not 4"},
      {"cusum --counts --mu1 2 --h 4 --sided upper", "--sided does not go with --counts"},
      {"ewma --sided both", "--sided takes two, upper or lower, not \"both\""},
      {"laney --chart np", "--chart takes auto, p, c or u, not \"np\""},
      {"acf --lags 0", "--lags takes a whole number from 1 to 10000, not \"0\""},
      {"acf --level 1", "--level takes a number from 0.5 to 0.9999, not 1"},
      {"ar1 --phi 0.5", "--phi, --mean and --sigma go together"},
  };
  for (const auto& row : rows) Refused(std::string(row.arguments) + " --db q.db", 2, row.line);
}

TEST_F(StreamStudies, SinglesBesideSubgroupsHaveTheSigmaOfMovingRanges) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 24; ++i) {
    const auto at = std::to_string(i + 1) + ",2024-05-01T" + (i < 10 ? "0" : "") +
                    std::to_string(i) + ":00:00,";
    for (const int piece : {0, 1, 3}) {
      csv += "Five,P,Mixed," + at + std::to_string(10 + (i + piece) % 4) + "\n";
    }
    csv += "One,P,Mixed," + at + std::to_string(i % 2 == 0 ? 20 : 22) + "\n";
  }
  Write("mixed.csv", csv);
  ASSERT_EQ(Run("import mixed.csv --db mixed.db").status, 0);
  for (const std::string study : {"ewma", "cusum"}) {
    const auto streams = [&](const std::string& more) {
      const auto run = Run("study " + study + " --db mixed.db --test Mixed --format json" + more);
      EXPECT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(run.out.find("no-sigma"), std::string::npos) << study << more;
      return nlohmann::json::parse(run.out)["Streams"];
    };
    const auto both = streams("");
    ASSERT_EQ(both.size(), 2U) << study;
    EXPECT_EQ(both[0]["Phases"][0]["Sigma"]["Estimator"], "S-est mvlue") << study;
    EXPECT_EQ(both[1], streams(" --part One")[0]) << study;
    // All moving ranges are 2.
    EXPECT_NEAR(both[1]["Phases"][0]["Sigma"]["Value"].get<double>(), 1.772453851, 1e-9) << study;
    EXPECT_EQ(both[1]["Phases"][0]["Sigma"]["Estimator"], "MR-est") << study;
  }
}

}  // namespace
}  // namespace orvspc::host
