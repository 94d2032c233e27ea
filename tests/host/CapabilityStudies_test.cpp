// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "tests/host/ProgramTest.h"

// Intervals, between and within, six plots in one, tolerance limits and counts by the program.
namespace orvspc::host {
namespace {

std::string SamplesFolder() { return ORVSPC_TESTS_DIR "/../host/samples/"; }

class CapabilityStudies : public ProgramTest {
 protected:
  nlohmann::json Json(const std::string& arguments) {
    const auto run = Run(arguments + " --format json");
    EXPECT_EQ(run.status, 0) << run.err;
    return nlohmann::json::parse(run.out);
  }
  void Import(const std::string& name) {
    const auto run = Run("import '" + SamplesFolder() + name + "' --db q.db");
    ASSERT_EQ(run.status, 0) << run.err;
  }
  void Refused(const std::string& arguments, int status, const std::string& said) {
    const auto run = Run(arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_NE(run.err.find(said), std::string::npos) << arguments << ": " << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.out, "") << arguments;
  }
  static bool Notes(const nlohmann::json& document, const std::string& code) {
    for (const auto& note : document["Notes"])
      if (note["Code"] == code) return true;
    return false;
  }
};

TEST_F(CapabilityStudies, IntervalsAreOfTheIndicesOfTheAnalysis) {
  Import("flow-width.csv");
  const std::string line = "capability --db q.db --usl 2.2 --lsl 0.8";
  const auto plain = Json(line), with = Json(line + " --intervals");
  const auto& indices = with["Intervals"];
  ASSERT_EQ(indices.size(), 12U);
  for (const auto& [set, name] : {std::pair{"CPs", "Cp"},
                                  {"CPs", "Cpk"},
                                  {"CPs", "Cpu"},
                                  {"CPs", "Cpl"},
                                  {"CPs", "Cr"},
                                  {"CPs", "Cpm"},
                                  {"PPs", "Pp"},
                                  {"PPs", "Ppk"},
                                  {"PPs", "Ppu"},
                                  {"PPs", "Ppl"},
                                  {"PPs", "Pr"},
                                  {"PPs", "Ppm"}}) {
    const double value = plain["Statistics"][set][name].get<double>();
    EXPECT_EQ(indices[name]["Value"].get<double>(), value) << name;
    EXPECT_LT(indices[name]["Lower"].get<double>(), value) << name;
    EXPECT_GT(indices[name]["Upper"].get<double>(), value) << name;
    EXPECT_EQ(indices[name]["Level"], 0.95);
  }
  EXPECT_EQ(with["Statistics"], plain["Statistics"]);
  EXPECT_EQ(indices["Cp"]["Method"], "chi-square");
  EXPECT_EQ(indices["Cpk"]["Method"], "Bissell");
  EXPECT_EQ(indices["Cpu"]["Method"], "noncentral t");
  EXPECT_EQ(with["Degrees"]["Overall"], 224.0);
  // 45 ranges of 5 keep about 91 percent of 180.
  EXPECT_NEAR(with["Degrees"]["Within"].get<double>(), 163.0, 2.0);
  EXPECT_EQ(Json(line + " --intervals --short-term-sigma pooled")["Degrees"]["Within"], 180.0);
  EXPECT_FALSE(with.contains("Laws"));
  EXPECT_TRUE(plain.find("Intervals") == plain.end());
}

TEST_F(CapabilityStudies, ABoundByItself) {
  Import("flow-width.csv");
  const std::string line = "capability --db q.db --usl 2.2 --lsl 0.8 --intervals --level 0.9";
  const auto both = Json(line), lower = Json(line + " --bound lower");
  EXPECT_TRUE(lower["Intervals"]["Ppk"]["Upper"].is_null());
  EXPECT_GT(lower["Intervals"]["Ppk"]["Lower"].get<double>(),
            both["Intervals"]["Ppk"]["Lower"].get<double>());
  EXPECT_EQ(lower["Options"]["Bound"]["Value"], "lower");
  EXPECT_TRUE(Json(line + " --bound upper")["Intervals"]["Ppk"]["Lower"].is_null());
}

TEST_F(CapabilityStudies, IntervalsByQuantilesAreBootstrapped) {
  Import("shaft-run-out.csv");
  const std::string line = "capability --db q.db --usl 35 --intervals ";
  const auto law = Json(line + "--law lognormal");
  const auto& ppk = law["QuantileIntervals"]["Indices"]["Ppk"];
  EXPECT_EQ(ppk["Value"], law["Indices"]["Ppk"]);
  EXPECT_EQ(ppk["Method"], "bootstrap");
  EXPECT_LT(ppk["Lower"].get<double>(), ppk["Value"].get<double>());
  EXPECT_EQ(law["QuantileIntervals"]["Resamples"], 2000);
  const auto plain = Json(line + "--quantiles");
  EXPECT_EQ(plain["QuantileIntervals"]["Indices"]["Ppu"]["Value"], plain["Indices"]["Ppu"]);
  EXPECT_EQ(law, Json(line + "--law lognormal"));
  EXPECT_NE(law["QuantileIntervals"], Json(line + "--law lognormal --seed 5")["QuantileIntervals"]);
  // The outer quantiles of so few values have no bounds, and nothing by them has.
  EXPECT_TRUE(plain["QuantileIntervals"]["Indices"]["Ppu"]["Lower"].is_null());
  EXPECT_TRUE(Notes(plain, "no-interval"));
}

TEST_F(CapabilityStudies, BetweenAndWithin) {
  Import("flow-width.csv");
  const std::string line = "capability --db q.db --usl 2.2 --lsl 0.8 --between-within";
  const auto found = Json(line)["BetweenWithin"];
  const double within = found["Within"]["Value"].get<double>(),
               between = found["Between"]["Value"].get<double>(),
               both = found["Both"]["Value"].get<double>();
  EXPECT_NEAR(both, std::hypot(within, between), 1e-12);
  EXPECT_NEAR(found["Indices"]["Cp"]["Value"].get<double>(), 1.4 / (6.0 * both), 1e-9);
  EXPECT_TRUE(found["Indices"]["Cp"]["Lower"].is_null());
  EXPECT_EQ(found["HarmonicSize"], 5.0);
  const auto intervals = Json(line + " --intervals")["BetweenWithin"];
  EXPECT_LT(intervals["Indices"]["Cpk"]["Lower"].get<double>(),
            intervals["Indices"]["Cpk"]["Value"].get<double>());
  EXPECT_EQ(intervals["Failed"], 0);
}

TEST_F(CapabilityStudies, TransformedValuesHaveShortTermIndices) {
  Import("shaft-run-out.csv");
  const std::string line = "capability --db q.db --usl 35 --law box-cox --draws 99";
  const auto found = Json(line + " --transform")["Transformed"];
  EXPECT_EQ(found["Indices"].size(), 3U);
  EXPECT_EQ(found["Estimator"], "R-est mvlue");
  const double cpk = found["Indices"]["Cpk"]["Value"].get<double>();
  EXPECT_NEAR(cpk,
              (found["Usl"].get<double>() - found["Mean"].get<double>()) /
                  (3.0 * found["Within"].get<double>()),
              1e-12);
  EXPECT_TRUE(found["Lsl"].is_null());
  EXPECT_FALSE(Json(line).contains("Transformed"));
}

TEST_F(CapabilityStudies, AHeadingKeepsItsPercentSign) {
  Import("shaft-run-out.csv");
  const auto run = Run("capability --db q.db --usl 35 --law box-cox --transform --draws 99");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("95\xC2\xA0%"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("\n%"), std::string::npos) << run.out;
}

TEST_F(CapabilityStudies, SixPlotsInOne) {
  Import("flow-width.csv");
  const std::string line = "capability --db q.db --usl 2.2 --lsl 0.8 --sixpack";
  const auto picture = Run(line + " --format svg");
  EXPECT_EQ(picture.status, 0) << picture.err;
  for (const char* text :
       {"Histogram", "Probability, normal", "Limits and 6 sigmas", "Pieces of the newest subgroups",
        "UCL", "Ppk", "normal law", "law normal, sd n, positions hazen"})
    EXPECT_NE(picture.out.find(text), std::string::npos) << text;
  EXPECT_EQ(picture.out.find("nan"), std::string::npos);
  // Its figures are in the documents.
  EXPECT_EQ(Json(line)["Law"], "normal");
  EXPECT_NE(Run(line + " --format html").out.find("Probability, normal"), std::string::npos);
  EXPECT_EQ(Run(line).status, 0);
  // One value has neither sigma nor a fit.
  Write("v.csv", "part,process,test,subgroup,time,value\nA,B,C,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db one.db").status, 0);
  const auto one = Run("capability --db one.db --sixpack --format svg");
  EXPECT_EQ(one.status, 0) << one.err;
  EXPECT_EQ(one.out.find("nan"), std::string::npos);
}

TEST_F(CapabilityStudies, SixPlotsHaveTheirFiguresInJson) {
  Import("flow-width.csv");
  const auto chart = Json("chart --db q.db --max 0");
  const auto found = Json("capability --db q.db --usl 2.2 --lsl 0.8 --sixpack");
  const auto& six = found["Sixpack"];
  ASSERT_GE(six["Graphs"].size(), 2U);
  for (const std::size_t graph : {0U, 1U}) {
    for (const char* const key : {"Type", "Points", "UCLs", "Cls", "LCLs"})
      EXPECT_EQ(six["Graphs"][graph][key], chart["Graphs"][graph][key]) << graph << key;
  }
  ASSERT_EQ(six["Subgroups"].size(), six["Graphs"][0]["Points"].size());
  EXPECT_EQ(six["Streams"], 1);
  const auto& pieces = six["Pieces"];
  ASSERT_EQ(pieces.size(), 25U);
  EXPECT_EQ(pieces[24]["Number"], six["Subgroups"].size());
  EXPECT_EQ(pieces[24]["ID"], six["Subgroups"].back());
  double sum = 0.0;
  for (const double value : pieces[24]["Values"]) sum += value;
  const auto count = static_cast<double>(pieces[24]["Values"].size());
  EXPECT_NEAR(pieces[24]["Mean"].get<double>(), sum / count, 1e-12);
  EXPECT_NEAR(pieces[24]["Mean"].get<double>(), six["Graphs"][0]["Points"].back().get<double>(),
              1e-12);
  EXPECT_FALSE(Json("capability --db q.db --law normal").contains("Sixpack"));
}

TEST_F(CapabilityStudies, PiecesThatAreNotUsedAreHollowAndStreamsAreCounted) {
  std::string lines = "part,process,test,subgroup,time,flag,value\n";
  for (const char* part : {"A", "B"}) {
    for (int day = 1; day <= 20; ++day) {
      for (int piece = 0; piece < 3; ++piece) {
        const auto number = std::to_string(day);
        const std::string head = part + (",P,T," + number) + ",2024-01-" + (day < 10 ? "0" : "");
        lines += head + number + (day == 7 ? ",disabled," : ",enabled,") +
                 std::to_string(10 + (day * 7 + piece * 3) % 11) + "\n";
      }
    }
  }
  Write("v.csv", lines);
  ASSERT_EQ(Run("import v.csv --db two.db").status, 0);
  const std::string line = "capability --db two.db --state enabled,disabled --sixpack";
  const auto six = Json(line)["Sixpack"];
  EXPECT_EQ(six["Streams"], 2);
  ASSERT_EQ(six["Pieces"].size(), 20U);
  for (const auto& subgroup : six["Pieces"])
    EXPECT_EQ(subgroup["Used"].get<bool>(), subgroup["Number"] != 7);
  const auto picture = Run(line + " --format svg").out;
  EXPECT_NE(picture.find("only the last of 2 streams"), std::string::npos);
  const auto pieces = picture.find("Pieces of the newest subgroups");
  ASSERT_NE(pieces, std::string::npos);
  // Symbols come after the title of their plot: three pieces of one subgroup.
  EXPECT_NE(picture.find("class=\"pu\"", pieces), std::string::npos);
  const auto enabled =
      Run("capability --db two.db --part A --state enabled --sixpack --format svg").out;
  EXPECT_EQ(enabled.find("only the last of"), std::string::npos);
  EXPECT_EQ(enabled.find("class=\"pu\""), std::string::npos);
}

TEST_F(CapabilityStudies, MeansOfPiecesAreNotJoinedAcrossPhases) {
  const auto lines = [&] {
    const auto picture = Run("capability --db q.db --sixpack --format svg");
    EXPECT_EQ(picture.status, 0) << picture.err;
    const auto from = picture.out.find("Pieces of the newest subgroups"),
               to = picture.out.find("Limits and 6 sigmas");
    EXPECT_LT(from, to);
    int count = 0;
    for (auto at = picture.out.find("class=\"d\"", from); at < to;
         at = picture.out.find("class=\"d\"", at + 1))
      ++count;
    return count;
  };
  Import("flow-width.csv");
  EXPECT_EQ(lines(), 1);
  // The newest 25 subgroups are 13 of the new phase and 12 before it.
  ASSERT_EQ(Run("phase add --db q.db --name new --start 2024-03-05T16:00 --reason 'a new tool' "
                "--by Ann")
                .status,
            0);
  EXPECT_EQ(lines(), 2);
  const auto found = Json("capability --db q.db --sixpack");
  const auto& pieces = found["Sixpack"]["Pieces"];
  ASSERT_EQ(pieces.size(), 25U);
  EXPECT_EQ(pieces[11]["Phase"], 0);
  EXPECT_NE(pieces[12]["Phase"], 0);
}

TEST_F(CapabilityStudies, MisuseOfCapability) {
  Import("flow-width.csv");
  const std::string line = "capability --db q.db ";
  Refused(line + "--bound lower", 2, "--bound goes with --intervals");
  Refused(line + "--intervals --bound none", 2, "--bound");
  Refused(line + "--intervals --level 1.5", 2,
          "--level takes a number above 0 to below 1, not 1.5");
  Refused(line + "--intervals --fit johnson", 2, "--intervals goes with --fit normal");
  Refused(line + "--seed 5", 2, "--seed goes with --law or --intervals");
  Refused(line + "--transform", 2, "--transform goes with --law");
  Refused(line + "--transform --law weibull", 2, "--transform goes with --law box-cox or johnson");
  Refused(line + "--sixpack --quantiles", 2, "--sixpack goes without --quantiles");
  Refused(line + "--sixpack --fit johnson", 2, "--sixpack goes with --fit normal");
  Refused(line + "--intervals --format xml", 2, "--format xml has no place for --intervals");
  Refused(line + "--between-within --format xml", 2, "has no place for --between-within");
}

TEST_F(CapabilityStudies, NothingSelected) {
  Import("flow-width.csv");
  for (const char* options : {"--intervals", "--between-within", "--quantiles --intervals",
                              "--sixpack", "--law box-cox --transform"}) {
    const auto found = Json("capability --db q.db --since 2030-01-01 " + std::string(options));
    EXPECT_TRUE(Notes(found, "no-data")) << options;
    for (const char* format : {"svg", "text"}) {
      const auto run = Run("capability --db q.db --since 2030-01-01 " + std::string(options) +
                           " --format " + format);
      EXPECT_EQ(run.status, 0) << options << format << run.err;
    }
  }
  for (const char* word : {"tolerance", "counts"}) {
    const auto found = Json("study " + std::string(word) + " --db q.db --since 2030-01-01");
    EXPECT_TRUE(found["Streams"].empty()) << word;
    EXPECT_TRUE(Notes(found, "no-data")) << word;
  }
}

TEST_F(CapabilityStudies, ToleranceOfASelection) {
  Import("flow-width.csv");
  const auto found = Json("study tolerance --db q.db --content 0.9 --confidence 0.99");
  EXPECT_EQ(found["Study"], "tolerance");
  EXPECT_EQ(found["Options"]["Content"]["From"], "command");
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_EQ(found["Streams"][0]["Test"], "Flow width");
  EXPECT_EQ(phase["N"], 225);
  EXPECT_EQ(phase["Points"].size(), 225U);
  const double mean = phase["Mean"]["Value"].get<double>(), sd = phase["SD"]["Value"].get<double>();
  const double factor = phase["Factor"].get<double>();
  EXPECT_NEAR(phase["Lower"].get<double>(), mean - factor * sd, 1e-12);
  EXPECT_NEAR(phase["Upper"].get<double>(), mean + factor * sd, 1e-12);
  EXPECT_NEAR(factor, phase["Howe"].get<double>(), 0.005);
  EXPECT_EQ(phase["Fit"]["Parameters"]["mean"].get<double>(), mean);
  const auto upper = Json("study tolerance --db q.db --sides upper --law none --content 0.95");
  EXPECT_TRUE(upper["Streams"][0]["Phases"][0]["Lower"].is_null());
  // P(Binomial(225, 0.05) <= 5) = 0.029 is the last below 0.05: the sixth value from above.
  EXPECT_EQ(upper["Streams"][0]["Phases"][0]["UpperRank"], 220);
  EXPECT_EQ(upper["Streams"][0]["Phases"][0]["Least"], 59);
}

TEST_F(CapabilityStudies, ToleranceOfAFile) {
  Write("v.csv", "batch,Diameter\n1,10.1\n2,9.8\n3,10.4\n4,10.0\n5,9.7\n");
  const auto found = Json("study tolerance --data v.csv --column diameter");
  EXPECT_TRUE(found["Selection"].is_null());
  EXPECT_EQ(found["Column"], "diameter");
  EXPECT_EQ(found["Streams"][0]["Phases"][0]["N"], 5);
  EXPECT_NEAR(found["Streams"][0]["Phases"][0]["Mean"]["Value"].get<double>(), 10.0, 1e-12);
  for (const char* format : {"text", "svg", "html"}) {
    const auto run =
        Run("study tolerance --data v.csv --column diameter --format " + std::string(format));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("diameter"), std::string::npos) << format;
    EXPECT_EQ(run.out.find("nan"), std::string::npos) << format;
  }
  EXPECT_TRUE(Notes(Json("study tolerance --data v.csv --column diameter --law none"), "too-few"));
  Refused("study tolerance --data v.csv --column width", 1, "there is no column \"width\"");
  Write("bad.csv", "value\n1\nx\n");
  Refused("study tolerance --data bad.csv", 1,
          "line 3, column \"value\", value \"x\": is no number");
  Refused("study tolerance --data none.csv", 1, "none.csv");
}

TEST_F(CapabilityStudies, MisuseOfTolerance) {
  Write("v.csv", "value\n1\n2\n");
  const std::string line = "study tolerance --data v.csv ";
  Refused(line + "--content 1", 2, "--content takes a number above 0 to below 1, not 1");
  Refused(line + "--confidence 0", 2, "--confidence takes a number above 0 to below 1, not 0");
  Refused(line + "--law weibull", 2, "--law");
  Refused(line + "--sides left", 2, "--sides");
  Refused(line + "--part A", 2, "goes with --db");
  Refused(line + "--all-phases", 2, "--all-phases goes with --db");
  Refused("study tolerance", 2, "--data FILE.csv or --db FILE is missing");
  Refused("study tolerance --db q.db --column a", 2, "--column goes with --data");
}

TEST_F(CapabilityStudies, CapabilityOfDefectivesAndDefects) {
  Import("purchase-orders.csv");
  const auto bad = Json("study counts --db q.db");
  const auto& phase = bad["Streams"][0]["Phases"][0];
  const double p = phase["Count"].get<double>() / phase["Units"].get<double>();
  EXPECT_EQ(phase["P"]["Value"].get<double>(), p);
  EXPECT_EQ(phase["P"]["Method"], "Clopper-Pearson");
  EXPECT_NEAR(phase["PPM"]["Value"].get<double>(), 1e6 * p, 1e-6);
  EXPECT_GT(phase["Z"]["Upper"].get<double>(), phase["Z"]["Value"].get<double>());
  EXPECT_EQ(phase["Cumulated"].back().get<double>(), p);
  EXPECT_EQ(phase["Stable"].get<bool>(), !Notes(bad, "not-stable"));
  EXPECT_TRUE(Notes(Json("study counts --db q.db --opportunities 5"), "opportunities-unused"));
  const auto run = Run("import '" + SamplesFolder() + "radiators.csv' --db r.db");
  ASSERT_EQ(run.status, 0);
  const auto defects = Json("study counts --db r.db --opportunities 10");
  const auto& of = defects["Streams"][0]["Phases"][0];
  const double dpu = of["Count"].get<double>() / of["Units"].get<double>();
  EXPECT_EQ(of["DPU"]["Method"], "Garwood");
  EXPECT_EQ(of["DPU"]["Value"].get<double>(), dpu);
  EXPECT_NEAR(of["DPMO"]["Value"].get<double>(), 1e5 * dpu, 1e-6);
  EXPECT_NEAR(of["Yield"]["Value"].get<double>(), std::exp(-dpu), 1e-12);
  for (const char* format : {"text", "svg", "html"}) {
    const auto shown = Run("study counts --db r.db --format " + std::string(format));
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(shown.out.find("nan"), std::string::npos) << format;
  }
  Refused("study counts --db q.db --level 0", 2,
          "--level takes a number above 0 to below 1, not 0");
  Refused("study counts --db q.db --opportunities 0", 2, "--opportunities takes");
}

TEST_F(CapabilityStudies, TestsOfBothKindsAreStudiedApart) {
  Import("purchase-orders.csv");
  const auto bad = Json("study counts --db q.db")["Streams"][0]["Phases"][0];
  Import("radiators.csv");
  const auto both = Json("study counts --db q.db");
  ASSERT_EQ(both["Streams"].size(), 2U);
  EXPECT_EQ(both["Streams"][0]["Phases"][0], bad);
  const auto defects = both["Streams"][1]["Phases"][0];
  EXPECT_EQ(defects, Json("study counts --db q.db --part Radiator")["Streams"][0]["Phases"][0]);
  EXPECT_TRUE(defects.contains("DPU") && !defects.contains("P"));
  EXPECT_TRUE(bad.contains("P") && !bad.contains("DPU"));
  EXPECT_FALSE(Notes(both, "no-data"));
  const auto text = Run("study counts --db q.db --format text");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("bad units a unit"), std::string::npos);
  EXPECT_NE(text.out.find("defects a unit"), std::string::npos);
}

TEST_F(CapabilityStudies, BadUnitsHaveNoOpportunities) {
  Import("purchase-orders.csv");
  EXPECT_FALSE(Json("study counts --db q.db")["Options"].contains("Opportunities"));
  const auto given = Json("study counts --db q.db --opportunities 3");
  EXPECT_EQ(given["Options"]["Opportunities"]["Value"], 3.0);
  EXPECT_TRUE(Notes(given, "opportunities-unused"));
}

TEST_F(CapabilityStudies, OpportunitiesOfTheDatabase) {
  Import("circuit-boards.csv");
  const auto none = Json("study counts --db q.db");
  EXPECT_EQ(none["Options"]["Opportunities"]["From"], "default");
  EXPECT_EQ(none["Streams"][0]["Phases"][0]["Opportunities"], 1.0);
  const auto run = Run("import '" + SamplesFolder() +
                       "circuit-opportunities.csv' --db q.db --kind opportunities");
  ASSERT_EQ(run.status, 0) << run.err;
  const auto stored = Json("study counts --db q.db");
  EXPECT_EQ(stored["Options"]["Opportunities"]["Value"], 250.0);
  EXPECT_EQ(stored["Options"]["Opportunities"]["From"], "database");
  const auto& phase = stored["Streams"][0]["Phases"][0];
  EXPECT_EQ(phase["Opportunities"], 250.0);
  EXPECT_EQ(phase["DPMO"],
            Json("study counts --db q.db --opportunities 250")["Streams"][0]["Phases"][0]["DPMO"]);
  // A chart by opportunity has the same rate in a million.
  const auto chart = Json("chart --db q.db --graph1 dpmo --max 0");
  EXPECT_NEAR(1e6 * chart["Streams"][0]["Mean"]["Value"].get<double>(),
              phase["DPMO"]["Value"].get<double>(), 1e-6);
  const auto given = Json("study counts --db q.db --opportunities 10");
  EXPECT_EQ(given["Options"]["Opportunities"]["From"], "command");
  EXPECT_EQ(given["Streams"][0]["Phases"][0]["Opportunities"], 10.0);
  // Of a row that begins later each subgroup has what was in force.
  Write(
      "later.csv",
      "part,test,opportunities,effective\nCircuit board,Nonconformities,500,2024-03-06T00:00:00\n");
  ASSERT_EQ(Run("import later.csv --db q.db --kind opportunities").status, 0);
  const auto changed = Json("study counts --db q.db")["Streams"][0]["Phases"][0];
  EXPECT_GT(changed["Opportunities"].get<double>(), 250.0);
  EXPECT_LT(changed["Opportunities"].get<double>(), 500.0);
  EXPECT_NEAR(1e6 * Json("chart --db q.db --graph1 dpmo --max 0")["Streams"][0]["Mean"]["Value"]
                        .get<double>(),
              changed["DPMO"]["Value"].get<double>(), 1e-6);
}

// What is said of a phase is what is said of its subgroups alone.
TEST_F(CapabilityStudies, PhasesAreStudiedSideBySide) {
  Import("flow-width.csv");
  Import("purchase-orders.csv");
  for (const char* phase :
       {"--name wafers --part Wafer --start 2024-03-04 --end 2024-03-05",
        "--name orders --part 'Purchase order' --start 2024-01-01 --end 2024-04-01"}) {
    const auto run = Run("phase add --db q.db --reason trial " + std::string(phase));
    ASSERT_EQ(run.status, 0) << run.err;
  }
  for (const auto& [line, name] :
       {std::pair<std::string, std::string>{"study tolerance --db q.db --part Wafer", "wafers"},
        {"study counts --db q.db", "orders"}}) {
    const auto all = Json(line), one = Json(line + " --phase " + name);
    ASSERT_GE(all["Streams"][0]["Phases"].size(), 2U) << line;
    ASSERT_EQ(one["Streams"][0]["Phases"].size(), 1U) << line;
    EXPECT_EQ(all["Streams"][0]["Phases"][0], one["Streams"][0]["Phases"][0]) << line;
    EXPECT_EQ(Json(line + " --all-phases")["Streams"][0]["Phases"].size(), 1U) << line;
    EXPECT_NE(Run(line + " --format svg").out.find(name), std::string::npos);
  }
}

}  // namespace
}  // namespace orvspc::host
