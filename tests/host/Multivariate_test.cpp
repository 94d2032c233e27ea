// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <string>
#include <vector>

#include "tests/host/StudyTest.h"

// Charts of several variables by the program.
namespace orvspc::host {
namespace {

class MultivariateCommands : public StudyTest {
 protected:
  // The subgroups of a sample as a database: of two tests, with minutes as times.
  void ImportPairs() {
    std::ifstream file(ORVSPC_TESTS_DIR "/../host/samples/studies/two-variables.csv");
    std::string line, csv = "part,process,test,subgroup,time,tsno,value\n";
    std::getline(file, line);
    int piece = 0;
    for (std::string before; std::getline(file, line); ++piece) {
      std::vector<std::string> cells;
      std::istringstream text(line);
      for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
      if (cells[0] != before) piece = 0;
      before = cells[0];
      const auto minute = std::to_string(10 + std::stoi(cells[0]));
      for (const std::size_t column : {1U, 2U}) {
        csv += "Ring,Press," + std::string(column == 1 ? "Weight" : "Height") + "," + cells[0] +
               ",2024-05-02T08:" + minute + ":00," + std::to_string(piece + 1) + "," +
               cells[column] + "\n";
      }
    }
    Write("v.csv", csv);
    ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  }
  std::string Pairs(const std::string& study) {
    return study + " --columns x1,x2 --subgroup sample --data " + Sample("two-variables.csv");
  }
};

TEST_F(MultivariateCommands, T2OfAFile) {
  const auto found = Json(Pairs("t2 --per-variable"));
  EXPECT_EQ(found["Study"], "t2");
  EXPECT_EQ(found["Version"], 1);
  EXPECT_EQ(found["Options"]["PerVariable"]["From"], "command");
  EXPECT_EQ(found["Options"]["Alpha"]["Value"], 0.0027);
  EXPECT_TRUE(found["Selection"].is_null());
  const auto& stream = found["Streams"][0];
  EXPECT_EQ(stream["Tests"], (std::vector<std::string>{"x1", "x2"}));
  const auto& phase = stream["Phases"][0];
  EXPECT_EQ(phase["Labels"].size(), 20U);
  EXPECT_NEAR(phase["T2"][9].get<double>(), 63.7604213797, 1e-8);
  EXPECT_EQ(phase["Points"], phase["T2"]);
  EXPECT_NEAR(phase["UCL"][0].get<double>(), 11.039756663, 1e-8);
  EXPECT_EQ(phase["Marks"][9], std::vector<int>{1});
  EXPECT_EQ(phase["Marks"][8], std::vector<int>{});
  EXPECT_EQ(phase["SGSizes"][0], 4.0);
  EXPECT_NEAR(phase["Center"][1]["Value"].get<double>(), 18.4875, 1e-12);
  EXPECT_EQ(phase["Center"][1]["Used"], 80);
  EXPECT_NEAR(phase["Covariance"]["Value"][0][1].get<double>(), 103.116666667, 1e-8);
  EXPECT_EQ(phase["Covariance"]["Estimator"], "pooled");
  EXPECT_EQ(phase["Covariance"]["DF"], 60.0);
  const auto& term = phase["Terms"][9][1];
  EXPECT_EQ(term["Test"], "x2");
  EXPECT_NEAR(term["Conditional"].get<double>(), 57.1710391548, 1e-8);
  EXPECT_TRUE(term["PConditional"].is_null());
  EXPECT_NEAR(phase["GV"]["UCL"][0].get<double>(), 10771.099857, 1e-5);
  EXPECT_EQ(phase["TermAlpha"], 0.025);
}

TEST_F(MultivariateCommands, LaterPointsAreJudgedByABase) {
  const auto found = Json(Pairs("t2 --base 15"));
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_EQ(phase["Covariance"]["Subgroups"], 15);
  EXPECT_EQ(phase["Covariance"]["Left"], 20);
  EXPECT_LT(phase["UCL"][0].get<double>(), phase["UCL"][19].get<double>());
  EXPECT_LT(phase["Terms"][19][0]["PConditional"].get<double>(), 0.05);
}

TEST_F(MultivariateCommands, ADatabaseHasTheSameFiguresInTheOrderOfItsTests) {
  ImportPairs();
  const auto file = Json(Pairs("t2"))["Streams"][0]["Phases"][0];
  const auto found = Json("t2 --db q.db --part Ring --test Weight --test Height");
  const auto& stream = found["Streams"][0];
  EXPECT_EQ(stream["Part"], "Ring");
  EXPECT_EQ(stream["Process"], "Press");
  EXPECT_EQ(stream["Tests"], (std::vector<std::string>{"Weight", "Height"}));
  const auto& phase = stream["Phases"][0];
  EXPECT_EQ(phase["T2"], file["T2"]);
  EXPECT_EQ(phase["UCL"], file["UCL"]);
  EXPECT_EQ(phase["Covariance"]["Value"], file["Covariance"]["Value"]);
  EXPECT_EQ(phase["Times"][0], "2024-05-02T08:11:00");
  EXPECT_FALSE(found["Selection"].is_null());
  const auto turned = Json("t2 --db q.db --part Ring --test Height --test Weight");
  EXPECT_EQ(turned["Streams"][0]["Tests"], (std::vector<std::string>{"Height", "Weight"}));
  EXPECT_EQ(turned["Streams"][0]["Phases"][0]["Terms"][9][0]["Test"], "Height");
}

TEST_F(MultivariateCommands, TheNewestAreJointSubgroups) {
  ImportPairs();
  const auto all = Json("t2 --db q.db --since 2024-05-02T08:18:30");
  const auto newest = Json("t2 --db q.db --max 12");
  EXPECT_EQ(newest["Streams"][0]["Phases"][0]["T2"].size(), 12U);
  EXPECT_EQ(newest["Streams"], all["Streams"]);
  EXPECT_EQ(newest["Notes"], all["Notes"]);
  EXPECT_EQ(Json("mewma --db q.db --max 12")["Streams"][0]["Phases"][0]["T2"].size(), 12U);
}

TEST_F(MultivariateCommands, EveryOrderOfASignal) {
  const auto phase = Json(Pairs("t2 --orders"))["Streams"][0]["Phases"][0];
  ASSERT_EQ(phase["Orders"].size(), 20U);
  EXPECT_TRUE(phase["Orders"][8].empty());
  const auto& orders = phase["Orders"][9];
  ASSERT_EQ(orders.size(), 2U);
  EXPECT_EQ(orders[1]["Tests"], (std::vector<std::string>{"x2", "x1"}));
  EXPECT_NEAR(orders[0]["Terms"][1].get<double>(), 57.1710391548, 1e-8);
  EXPECT_NEAR(orders[1]["Terms"][0].get<double>() + orders[1]["Terms"][1].get<double>(),
              63.7604213797, 1e-8);
  EXPECT_TRUE(orders[0]["P"][0].is_null());
  EXPECT_NE(Run("study " + Pairs("t2 --orders")).out.find("x2, x1"), std::string::npos);
  EXPECT_FALSE(Json(Pairs("t2"))["Streams"][0]["Phases"][0].contains("Orders"));
  Write("a.csv", "a,b,c,d,e,f,g\n1,2,3,4,5,6,7\n");
  Refused("t2 --orders --data a.csv --columns a,b,c,d,e,f,g", 2,
          "--orders takes 2 to 6 variables, not 7");
}

TEST_F(MultivariateCommands, PhasesAreChartsSideBySide) {
  ImportPairs();
  const auto early = Json("mewma --db q.db --until 2024-05-02T08:20:30")["Streams"][0]["Phases"][0];
  const auto late = Json("mewma --db q.db --since 2024-05-02T08:20:30")["Streams"][0]["Phases"][0];
  const auto late_t2 = Json("t2 --db q.db --since 2024-05-02T08:20:30")["Streams"][0]["Phases"][0];
  for (const char* phase : {"--name Old --start 2024-05-02T08:00 --end 2024-05-02T08:20:30",
                            "--name New --start 2024-05-02T08:20:30"}) {
    const auto added = Run("phase add --db q.db --part Ring --reason tool " + std::string(phase));
    ASSERT_EQ(added.status, 0) << added.err;
  }
  const auto both = Json("mewma --db q.db")["Streams"][0]["Phases"];
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(both[0]["Name"], "Old");
  EXPECT_EQ(both[0]["T2"], early["T2"]);
  EXPECT_EQ(both[1]["T2"], late["T2"]);
  const auto t2 = Json("t2 --db q.db")["Streams"][0]["Phases"];
  EXPECT_EQ(t2[1]["T2"], late_t2["T2"]);
  EXPECT_EQ(t2[1]["UCL"], late_t2["UCL"]);
  EXPECT_EQ(t2[1]["GV"], late_t2["GV"]);
  EXPECT_EQ(Json("t2 --db q.db --all-phases")["Streams"][0]["Phases"].size(), 1U);
}

TEST_F(MultivariateCommands, MewmaOfAFile) {
  const auto found = Json("mewma --columns strength,diameter --data " + Sample("fibres.csv"));
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_NEAR(phase["H"].get<double>(), 8.63358, 1e-3);
  EXPECT_EQ(phase["ARL0"], 200.0);
  EXPECT_EQ(phase["T2"].size(), 20U);
  EXPECT_EQ(phase["Z"][0].size(), 2U);
  EXPECT_EQ(phase["Covariance"]["Estimator"], "sample");
  const auto given = Json("mewma --h 9.9 --weight 0.25 --columns strength,diameter --data " +
                          Sample("fibres.csv"));
  EXPECT_NEAR(given["Streams"][0]["Phases"][0]["ARL0"].get<double>(), 199.7247, 0.02);
  EXPECT_FALSE(given["Options"].contains("ARL0"));
}

TEST_F(MultivariateCommands, EveryFormat) {
  for (const auto& line :
       {Pairs("t2"), Pairs("mewma"), Pairs("t2 --base 15"),
        "t2 --covariance successive --columns strength,diameter --data " + Sample("fibres.csv")}) {
    const auto text = Run("study " + line);
    EXPECT_EQ(text.status, 0) << line;
    for (const char* file : {"a.svg", "a.html", "a.json"}) {
      EXPECT_EQ(Run("study " + line + " -o " + file).status, 0) << line;
      EXPECT_EQ(Text(folder_.File(file)).find("nan"), std::string::npos) << line << file;
    }
  }
  const auto text = Run("study " + Pairs("t2")).out;
  EXPECT_NE(text.find("63.76"), std::string::npos) << text;
  ASSERT_EQ(Run("study " + Pairs("t2 -o a.html")).status, 0);
  EXPECT_NE(Text(folder_.File("a.html")).find("x2 given the others: 57.17"), std::string::npos);
  ASSERT_EQ(Run("study " + Pairs("t2 -o a.svg")).status, 0);
  EXPECT_EQ(Text(folder_.File("a.svg")).find("given the others"), std::string::npos);
}

TEST_F(MultivariateCommands, WhatHasNoFiguresIsNullWithANote) {
  Write("a.csv", "a,b\n1,2\n2,4\n3,6\n4,8\n5,10\n");
  const auto found = Json("t2 --columns a,b --data a.csv");
  const auto& phase = found["Streams"][0]["Phases"][0];
  EXPECT_TRUE(phase["T2"][0].is_null());
  EXPECT_EQ(phase["Dependent"], (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(found["Notes"].back()["Code"], "dependent");
  EXPECT_EQ(found["Notes"].back()["Stream"], "a.csv");
  Write("a.csv", "a,b\n1,2\n2,\n3,6\n");
  const auto few = Json("t2 --columns A,b --data a.csv");
  EXPECT_EQ(few["Notes"][0]["Code"], "too-few");
  EXPECT_EQ(few["Streams"][0]["Phases"][0]["SGSizes"][1], 0.0);
  EXPECT_EQ(Run("study t2 --columns a,b --data a.csv -o a.html").status, 0);
}

TEST_F(MultivariateCommands, ADatabaseWithoutVectors) {
  ImportPairs();
  const auto one = Run("study t2 --db q.db --test Weight --format json");
  EXPECT_EQ(one.status, 0);
  EXPECT_EQ(one.err, "Only one test has values; vectors take two or more.\n");
  EXPECT_EQ(nlohmann::json::parse(one.out)["Notes"].back()["Code"], "one-test");
  const auto none = Run("study mewma --db q.db --since 2030-01-01 --format json");
  EXPECT_NE(none.err.find("without --since"), std::string::npos);
  EXPECT_EQ(Run("study t2 --db q.db --since 2030-01-01 -o a.html").status, 1);
}

TEST_F(MultivariateCommands, WrongFilesAreRefusedWithTheirPlace) {
  Write("a.csv", "a,b\n1,2\n2,x\n");
  Refused("t2 --columns a,b --data a.csv", 1,
          "a.csv: line 3, column \"b\", value \"x\": is no number");
  Refused("t2 --columns a,c --data a.csv", 1, "a.csv: line 1: there is no column \"c\"");
  Write("a.csv", "a,b\n");
  Refused("t2 --columns a,b --data a.csv", 1, "a.csv: there are no rows");
}

TEST_F(MultivariateCommands, Misuse) {
  Write("a.csv", "a,b\n1,2\n2,3\n4,1\n3,3\n");
  Refused("t2", 2, "--data FILE.csv or --db FILE is missing");
  Refused("t2 --data a.csv", 2, "--columns is missing");
  Refused("t2 --data a.csv --columns a", 2, "--columns takes 2 to 20 names, not 1");
  Refused("t2 --data a.csv --columns a,a", 2, "--columns takes each name once, not \"a\" twice");
  Refused("t2 --db q.db --columns a,b", 2, "--columns goes with --data");
  Refused("t2 --data a.csv --columns a,b --all-phases", 2, "--all-phases goes with --db");
  Refused("t2 --data a.csv --columns a,b --alpha 0.6", 2,
          "--alpha takes a number from 1e-06 to 0.5, not 0.6");
  Refused("t2 --data a.csv --columns a,b --mean 1,2", 2, "--mean and --matrix go together");
  Refused("t2 --data a.csv --columns a,b --mean 1,2,3 --matrix 1,0,0,1", 2,
          "--mean takes 2 numbers for 2 variables, not 3");
  Refused("t2 --data a.csv --columns a,b --mean 1,2 --matrix 1,2,2,1", 2,
          "--matrix must be positive definite");
  Refused("t2 --data a.csv --columns a,b --mean 1,x --matrix 1,0,0,1", 2,
          "--mean takes numbers with commas between them, not \"x\"");
  Refused("mewma --data a.csv --columns a,b --weight 0.001", 2,
          "--weight takes a number from 0.01 to 1, not 0.001");
  Refused("mewma --data a.csv --columns a,b --h 8 --arl0 200", 2, "--arl0 does not go with --h");
  Refused("mewma --data a.csv --columns a,b --arl0 1", 2,
          "--arl0 takes a number from 2 to 1000000, not 1");
}

}  // namespace
}  // namespace orvspc::host
