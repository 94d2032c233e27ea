// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/ProgramTest.h"

// --exit-code of studies, which is that of charts.
namespace orvspc::host {
namespace {

class StudySignals : public ProgramTest {
 protected:
  // Subgroups from number i on, an hour apart: of parts A and B single values near 10, and of A
  // some 25 bad units of 1000. Where is_out is set, the value of A is 30, and 200 are bad.
  void ImportFrom(int i, const std::vector<bool>& is_out) {
    std::string values = "part,process,test,subgroup,time,value\n";
    std::string counts = "part,process,test,subgroup,time,count,size,test-type\n";
    for (const bool out : is_out) {
      const int hour = i % 24;
      const auto at = std::to_string(i + 1) + ",2024-01-0" + std::to_string(1 + i / 24) + "T" +
                      (hour < 10 ? "0" : "") + std::to_string(hour) + ":00:00,";
      const auto tenths = [](int step) {
        const int value = 90 + step * 7 % 11 * 2;
        return std::to_string(value / 10) + "." + std::to_string(value % 10);
      };
      values += "A,P,X," + at + (out ? "30" : tenths(i)) + "\n";
      values += "B,P,X," + at + tenths(i + 5) + "\n";
      counts +=
          "A,P,Bad," + at + std::to_string(out ? 200 : 20 + i * 7 % 11) + ",1000,defectives\n";
      ++i;
    }
    Write("v.csv", values);
    Write("c.csv", counts);
    ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
    ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  }
  int Status(const std::string& study, const std::string& options) {
    return Run("study " + study + " " + options).status;
  }
};

TEST_F(StudySignals, OfTheNewestPointOrOfAnyAsOnCharts) {
  const std::vector<std::string> studies = {
      "ewma --weight 1 --target 10 --sigma 1 --part A --test X",
      "cusum --k 3 --h 5 --reset --target 10 --sigma 1 --part A --test X",
      "ar1 --phi 0 --mean 10 --sigma 1 --part A --test X",
      "short-run --part A --test X",
      "group --test X",
      "laney --test Bad",
  };
  ImportFrom(0, std::vector<bool>(26, false));
  for (const auto& study : studies) {
    EXPECT_EQ(Status(study, "--db q.db --exit-code=any"), 0) << study;
  }
  ImportFrom(26, {true});
  for (const auto& study : studies) {
    EXPECT_EQ(Status(study, "--db q.db"), 0) << study << " was not asked";
    EXPECT_EQ(Status(study, "--db q.db --exit-code"), 3) << study;
  }
  EXPECT_EQ(Status("baseline --part A --test X", "--db q.db"), 0);
  EXPECT_EQ(Status("baseline --part A --test X", "--db q.db --exit-code"), 3);
  // The moving range of the next one signals too.
  ImportFrom(27, {false});
  EXPECT_EQ(Status("short-run --part A --test X", "--db q.db --exit-code"), 3);
  EXPECT_EQ(Status("ar1 --phi 0 --mean 10 --sigma 1 --part A --test X", "--db q.db --exit-code"),
            0);
  ImportFrom(28, {false, false});
  for (const auto& study : studies) {
    EXPECT_EQ(Status(study, "--db q.db --exit-code"), 0) << study;
    EXPECT_EQ(Status(study, "--db q.db --exit-code=newest"), 0) << study;
    EXPECT_EQ(Status(study, "--db q.db --exit-code=any"), 3) << study;
    EXPECT_EQ(Status(study, "--db q.db --exit-code=some"), 2) << study;
    EXPECT_EQ(Status(study, "--db q.db --since 2030-01-01 --exit-code"), 4) << study;
    EXPECT_EQ(Status(study, "--db q.db --since 2030-01-01"), 0) << study;
  }
  EXPECT_EQ(Status("acf --part A --test X", "--db q.db --exit-code"), 2) << "it judges no points";
}

TEST_F(StudySignals, InEveryFormatWithTheSameOutput) {
  ImportFrom(0, {false, false, true});
  const std::string study =
      "study ewma --weight 1 --target 10 --sigma 1 --part A --test X --db q.db";
  for (const std::string format : {"text", "json", "svg", "html"}) {
    const auto shown = Run(study + " --exit-code --format " + format);
    EXPECT_EQ(shown.status, 3) << format << shown.err;
    EXPECT_EQ(shown.out, Run(study + " --format " + format).out) << format;
  }
  EXPECT_NE(Run("study ewma --help").out.find("exit with 3"), std::string::npos);
}

TEST_F(StudySignals, ExcludedPhasesArePassedOver) {
  ImportFrom(0, {false, false, true, false, true});
  const std::string study =
      "ewma --weight 1 --target 10 --sigma 1 --part A --test X --db q.db --exit-code";
  ASSERT_EQ(Status(study, ""), 3);
  const auto exclude = [&](const std::string& name, const std::string& from,
                           const std::string& to) {
    const auto added = Run("phase add --db q.db --part A --name " + name + " --kind excluded" +
                           " --start 2024-01-01T" + from + " --end 2024-01-01T" + to +
                           " --reason 'a broken gauge'");
    EXPECT_EQ(added.status, 0) << added.err;
  };
  exclude("last", "03:30:00", "05:00:00");
  EXPECT_EQ(Status(study, ""), 0);
  EXPECT_EQ(Status(study + "=any", ""), 3);
  EXPECT_EQ(Status(study + "=any --all-phases", ""), 3);
  exclude("third", "01:30:00", "02:30:00");
  EXPECT_EQ(Status(study + "=any", ""), 0);
  EXPECT_EQ(Status(study + "=any --all-phases", ""), 0);
}

TEST_F(StudySignals, OfVectorsInAFile) {
  const std::string rows = "a,b\n0,0\n1,1\n-1,0\n0,1\n1,-1\n5,0\n";
  Write("out.csv", rows);
  Write("back.csv", rows + "0,0\n");
  // By chi-square with 2 degrees T2 is limited by 11.83; it is 25, and 25.7 as an average.
  for (const std::string study : {"t2", "mewma --weight 0.9 --h 10"}) {
    const std::string of = study + " --columns a,b --mean 0,0 --matrix 1,0,0,1 --data ";
    EXPECT_EQ(Status(of, "out.csv"), 0) << study;
    EXPECT_EQ(Status(of, "out.csv --exit-code"), 3) << study;
    EXPECT_EQ(Status(of, "back.csv --exit-code"), 0) << study;
    EXPECT_EQ(Status(of, "back.csv --exit-code=any"), 3) << study;
  }
}

TEST_F(StudySignals, OfGapsBetweenEventsAlsoOfTheOpenOne) {
  Write("out.csv", "units\n10\n12\n8\n11\n9\n10\n400\n");
  Write("back.csv", "units\n10\n12\n8\n11\n9\n10\n400\n10\n");
  // The mean is 58.75, three sigmas above it are 236.5.
  const std::string g = "g --limits sigma --data ";
  EXPECT_EQ(Status(g, "out.csv --exit-code"), 3);
  EXPECT_EQ(Status(g, "back.csv --exit-code"), 0);
  EXPECT_EQ(Status(g, "back.csv --exit-code=any"), 3);
  EXPECT_EQ(Status(g, "back.csv --exit-code --open 200"), 0);
  EXPECT_EQ(Status(g, "back.csv --exit-code --open 300"), 3) << "overdue";
  std::string times = "hours\n";
  for (int i = 0; i < 11; ++i) times += "10\n";
  times += "1000\n";
  Write("late.csv", times);
  Write("again.csv", times + "10\n");
  // The mean is 92.5 or 86.15, the upper limit 6.608 of it.
  const std::string t = "t --law exponential --run none --data ";
  EXPECT_EQ(Status(t, "late.csv --exit-code"), 3);
  EXPECT_EQ(Status(t, "again.csv --exit-code"), 0);
  EXPECT_EQ(Status(t, "again.csv --exit-code=any"), 3);
}

}  // namespace
}  // namespace orvspc::host
