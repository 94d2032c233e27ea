// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

// Studies of points that have their limits from others, which are not shown.
namespace orvspc::host {
namespace {

class StudyBases : public ProgramTest {
 protected:
  // Four days of hourly subgroups of two parts and two tests; the last day lies higher.
  StudyBases() {
    std::string values = "part,process,test,subgroup,time,value\n";
    std::string counts = "part,process,test,subgroup,time,count,size,test-type\n";
    for (int i = 0; i < 96; ++i) {
      const int hour = i % 24, late = i / 72;
      const auto at = std::to_string(i + 1) + ",2024-01-0" + std::to_string(1 + i / 24) + "T" +
                      (hour < 10 ? "0" : "") + std::to_string(hour) + ":00:00,";
      for (const std::string part : {"A", "B"}) {
        for (const std::string test : {"X", "Y"}) {
          const int hundredths = (part == "B" ? 1500 : 1000) + i * 7 % 11 * 10 +
                                 (test == "Y" ? i * 5 % 13 * 5 : 0) + late * (50 + i % 5 * 20);
          values += part + ",P," + test + "," + at + std::to_string(hundredths / 100) + "." +
                    std::to_string(100 + hundredths % 100).substr(1) + "\n";
        }
      }
      counts +=
          "A,P,Bad," + at + std::to_string(5 + i * 7 % 11 + late * (i % 9)) + ",100,defectives\n";
    }
    Write("v.csv", values);
    Write("c.csv", counts);
    EXPECT_EQ(Run("import v.csv --db q.db").status, 0);
    EXPECT_EQ(Run("import c.csv --db q.db").status, 0);
  }
  void AddPhase(const std::string& options) {
    const auto added = Run("phase add --db q.db --process P --name one --start 2024-01-01 " +
                           options + " --reason 'a new tool'");
    EXPECT_EQ(added.status, 0) << added.err;
  }

  // Of each study what its limits are made of is the same where only the last day is shown, by
  // its first time or by the number of its subgroups.
  void ExpectTheSame(std::size_t phases) {
    const struct {
      std::string study, newest;
      std::vector<std::string> keys;  // "#": of the newest point
    } rows[] = {
        {"short-run --test X", "48", {"Nominals#", "Mean.Value"}},
        {"short-run --part A --test X", "24", {"Nominals#", "UCL#", "UCL2#", "Sigma.Value"}},
        {"short-run --kind z --part A --test X", "24", {"Points#", "UCL2#"}},
        {"group --test X", "48", {"Mean.Value", "Sigma.Value"}},
        {"t2 --part A", "24", {"T2#", "UCL#", "Center[0].Value", "Center[1].Value"}},
        {"mewma --part A", "24", {"UCL#", "Center[0].Value", "Covariance.Value[0][1]"}},
        {"ar1 --part A --test X", "24", {"Fitted#", "UCL#", "Phi.Value", "Mean.Value"}},
        {"laney --test Bad", "24", {"CL#", "UCL#", "SigmaZ.Value"}},
    };
    for (const auto& row : rows) {
      const auto read = [&](const std::string& options) {
        const auto outcome = Run("study " + row.study + " --db q.db --format json" + options);
        EXPECT_EQ(outcome.status, 0) << row.study << outcome.err;
        return ParseJson(outcome.out);
      };
      const auto value = [](const ParsedJson& json, std::string key) {
        const bool is_of_newest = key.ends_with("#");
        if (is_of_newest) key.pop_back();
        const auto& found = json.At("Streams[0].Phases").elements.back().At(key);
        return is_of_newest && !found.elements.empty() ? found.elements.back() : found;
      };
      const auto all = read("");
      EXPECT_EQ(all.At("Streams[0].Phases").elements.size(), phases) << row.study;
      for (const auto& options : {std::string(" --since 2024-01-04"), " --max " + row.newest}) {
        const auto later = read(options);
        EXPECT_EQ(later.At("Streams[0].Phases").elements.size(), 1U) << row.study << options;
        for (const auto& key : row.keys) {
          const auto expected = value(all, key);
          EXPECT_EQ(expected.kind, ParsedJson::Kind::Number) << row.study << key;
          EXPECT_EQ(value(later, key).number, expected.number) << row.study << options << key;
        }
      }
    }
  }
};

TEST_F(StudyBases, AFrozenPhaseKeepsItsLimitsWhereItsFirstPointsAreNotShown) {
  AddPhase("--freeze-after 72");
  ExpectTheSame(1);
}

// Of 96 subgroups all but the first 72, though only the last day is shown.
TEST_F(StudyBases, WhatAFrozenPhaseLeavesOutIsTheSameWhereItsFirstPointsAreNotShown) {
  AddPhase("--freeze-after 72");
  for (const std::string study : {"ewma", "cusum"}) {
    for (const std::string options : {"", " --since 2024-01-04", " --max 24"}) {
      const auto outcome =
          Run("study " + study + " --part A --test X --db q.db --format json" + options);
      EXPECT_EQ(outcome.status, 0) << outcome.err;
      const auto json = ParseJson(outcome.out);
      const auto& phases = json.At("Streams[0].Phases").elements;
      ASSERT_EQ(phases.size(), 1U) << study << options;
      EXPECT_EQ(phases[0].At("Mean.Used").number, 72.0) << study << options;
      EXPECT_EQ(phases[0].At("Mean.Left").number, 24.0) << study << options;
      EXPECT_EQ(phases[0].At("Sigma.Left").number, 24.0) << study << options;
    }
  }
}

TEST_F(StudyBases, AfterAPhaseItsLimitsHoldThoughItIsNotShown) {
  AddPhase("--end 2024-01-04");
  ExpectTheSame(2);
}

}  // namespace
}  // namespace orvspc::host
