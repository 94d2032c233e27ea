// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "platform/TimeText.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

// Options of charts and studies that a database holds for streams.
namespace orvspc::host {
namespace {

class ChartOptions : public ProgramTest {
 protected:
  ChartOptions() {
    std::string counts = "part,process,test,subgroup,time,count,size,test-type\n";
    std::string values = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 12; ++i) {
      const auto time =
          ",2024-01-01T" + std::string(i < 10 ? "0" : "") + std::to_string(i) + ":00:00,";
      const auto label = std::to_string(i + 1);
      for (const std::string part : {"A", "B"}) {
        // 192 defects in 12 counts: the mean is 16.
        counts +=
            part + ",P,Bad," + label + time + std::to_string(i % 2 == 0 ? 12 : 20) + ",1,defects\n";
        values += part + ",P,Width," + label + time + std::to_string(10 + i % 3) + "\n";
      }
    }
    Write("c.csv", counts);
    Write("v.csv", values);
    EXPECT_EQ(Run("import c.csv --db q.db").status, 0);
    EXPECT_EQ(Run("import v.csv --db q.db").status, 0);
  }
  void Set(const std::string& option) {
    const auto outcome = Run("set --db q.db " + option);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  // 60 single values of part L with r1 = 0.551. Their moving ranges give sigma 3.864484675, those
  // of the first 55 sigma 3.835129698.
  void ImportLeaning() {
    std::string values = "part,process,test,subgroup,time,value\n";
    double value = 0.0;
    for (int i = 0; i < 60; ++i) {
      value = 0.9 * value + (i * 3 % 17 - 8);
      values += "L,P,Width," + std::to_string(i + 1) + ",2024-01-0" + std::to_string(1 + i / 24) +
                "T" + (i % 24 < 10 ? "0" : "") + std::to_string(i % 24) + ":00:00," +
                std::to_string(value) + "\n";
    }
    Write("leaning.csv", values);
    ASSERT_EQ(Run("import leaning.csv --db q.db").status, 0);
  }
  ParsedJson Chart(const std::string& part, const std::string& options = "") {
    return ParseJson(
        Run("chart --db q.db --part " + part + " --test Bad --graph1 c --format json " + options)
            .out);
  }
};

TEST_F(ChartOptions, TheMostSpecificRowHoldsAndTheCommandGoesBeforeIt) {
  EXPECT_EQ(Chart("A").At("Graphs[0].UCLs[0]").number, 28.0);
  Set("chart.limits probability");
  EXPECT_EQ(Chart("A").At("Graphs[0].UCLs[0]").number, 29.0);
  EXPECT_EQ(Chart("A").At("Streams[0].Options.Limits.From").text, "database");
  EXPECT_EQ(Chart("A").At("Streams[0].Options.Alpha.From").text, "default");
  Set("--part B --test Bad chart.limits sigma");
  EXPECT_EQ(Chart("B").At("Graphs[0].UCLs[0]").number, 28.0);
  EXPECT_EQ(Chart("A").At("Graphs[0].UCLs[0]").number, 29.0);
  Set("--part B --test Bad chart.limits default");
  EXPECT_EQ(Chart("B").At("Graphs[0].UCLs[0]").number, 28.0) << "default, not what all others have";
  const auto given = Chart("A", "--limits sigma");
  EXPECT_EQ(given.At("Graphs[0].UCLs[0]").number, 28.0);
  EXPECT_EQ(given.At("Streams[0].Options.Limits.From").text, "command");
  Set("--graph 2 chart.limits sigma");
  EXPECT_EQ(Chart("A").At("Graphs[0].UCLs[0]").number, 29.0) << "of another graph";
  Set("--part A chart.alpha 0.1");
  EXPECT_LT(Chart("A").At("Graphs[0].UCLs[0]").number, 28.0);
  EXPECT_EQ(Chart("A").At("Streams[0].Options.Alpha.Value").number, 0.1);
}

TEST_F(ChartOptions, AreListedLoggedCopiedAndKeptWhenItemsAreRenamed) {
  Set("--part A --test Bad chart.limits probability --reason 'few counts' --by Ann");
  ASSERT_EQ(Run("edit rename part A --to Axle --db q.db --reason 'as on the drawing'").status, 0);
  const auto text = Run("list chart-options --db q.db");
  EXPECT_NE(text.out.find("Axle"), std::string::npos) << text.out << text.err;
  const auto listed = ParseJson(Run("list chart-options --db q.db --format json").out);
  ASSERT_EQ(listed.At("chart-option").elements.size(), 1U);
  EXPECT_EQ(listed.At("chart-option[0].Part").text, "Axle");
  EXPECT_EQ(listed.At("chart-option[0].Process").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(listed.At("chart-option[0].Name").text, "chart.limits");
  EXPECT_EQ(listed.At("chart-option[0].Value").text, "probability");
  EXPECT_NE(Run("log --db q.db --operation chart-option").out.find("few counts"),
            std::string::npos);
  ASSERT_EQ(Run("copy --db q.db --to other.db").status, 0);
  const auto copied = Run("chart --db other.db --part Axle --test Bad --graph1 c --format json");
  EXPECT_EQ(ParseJson(copied.out).At("Graphs[0].UCLs[0]").number, 29.0) << copied.err;
  EXPECT_EQ(Run("check --db other.db").status, 0);
}

TEST_F(ChartOptions, StudiesTakeThose) {
  const std::string study = "study ewma --db q.db --part A --test Width --format json ";
  EXPECT_EQ(ParseJson(Run(study).out).At("Options.Weight.From").text, "default");
  Set("--test Width ewma.weight 0.3");
  Set("ewma.limits asymptotic");
  const auto stored = ParseJson(Run(study).out);
  EXPECT_EQ(stored.At("Options.Weight.Value").number, 0.3);
  EXPECT_EQ(stored.At("Options.Weight.From").text, "database");
  EXPECT_EQ(stored.At("Options.Limits.Value").text, "asymptotic");
  const auto given = ParseJson(Run(study + "--weight 0.4").out);
  EXPECT_EQ(given.At("Options.Weight.Value").number, 0.4);
  EXPECT_EQ(given.At("Options.Weight.From").text, "command");
  EXPECT_EQ(ParseJson(Run("study cusum --db q.db --part A --test Width --format json").out)
                .At("Options.H.From")
                .text,
            "default");
  Set("laney.floor yes");
  EXPECT_EQ(ParseJson(Run("study laney --db q.db --part A --test Bad --format json").out)
                .At("Options.Floor.From")
                .text,
            "database");
}

TEST_F(ChartOptions, WidenedLimitsAreThoseOfThePointsAndNotOfTheirMovingRanges) {
  std::string values = "part,process,test,subgroup,time,value\n";
  double value = 0.0;
  for (int i = 0; i < 60; ++i) {
    value = 0.7 * value + (i * 7 % 11 - 5);
    values += "C,P,Width," + std::to_string(i + 1) + ",2024-01-0" + std::to_string(1 + i / 24) +
              "T" + (i % 24 < 10 ? "0" : "") + std::to_string(i % 24) + ":00:00," +
              std::to_string(value) + "\n";
  }
  Write("w.csv", values);
  ASSERT_EQ(Run("import w.csv --db q.db").status, 0);
  const std::string chart = "chart --db q.db --part C --max 0 --format ";
  const auto usual = ParseJson(Run(chart + "json").out);
  const auto widened = ParseJson(Run(chart + "json --sigma ar1").out);
  EXPECT_EQ(widened.At("Streams[0].SP.Estimator").text, "MR-est ar1");
  EXPECT_EQ(widened.At("Streams[0].Options.Sigma.From").text, "command");
  EXPECT_EQ(widened.At("Graphs[1].UCLs[9]").number, usual.At("Graphs[1].UCLs[9]").number);
  const auto text = Run(chart + "svg --sigma ar1").out;
  const auto first = text.find("(ar1)");
  ASSERT_NE(first, std::string::npos) << text;
  EXPECT_EQ(text.find("(ar1)", first + 1), std::string::npos) << "graph 2 has another sigma";
  EXPECT_NE(text.find("limits not widened"), std::string::npos);
}

TEST_F(ChartOptions, StudiesAndSixPlotsKeepTheUsualSigmaWhereChartsAreWidened) {
  ImportLeaning();
  const std::string of = " --db q.db --part L --format ";
  const std::string runs[] = {
      "study ewma" + of + "json",
      "study ewma --max 20" + of + "json",
      "study cusum" + of + "json",
      "capability --sixpack" + of + "svg",
  };
  const auto sigma = [&](const std::string& run) {
    return ParseJson(Run(run).out).At("Streams[0].Phases[0].Sigma.Value").number;
  };
  EXPECT_NEAR(sigma(runs[0]), 3.864484675, 1e-6);
  const auto same_as_before = [&] {
    std::vector<std::string> before;
    for (const auto& run : runs) before.push_back(Run(run).out);
    Set("chart.sigma ar1");
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(Run(runs[i]).out, before[i]) << i;
    EXPECT_EQ(ParseJson(Run("chart --max 0" + of + "json").out).At("Streams[0].SP.Estimator").text,
              "MR-est ar1");
    Set("chart.sigma default");
  };
  same_as_before();
  // Of the newest 20 points the limits are those of the first 55.
  const auto phase =
      Run("phase --db q.db add --part L --name Start --start 2024-01-01 --freeze-after 55 --by Ann "
          "--reason 'as it was'");
  ASSERT_EQ(phase.status, 0) << phase.err;
  EXPECT_NEAR(sigma(runs[1]), 3.835129698, 1e-6);
  same_as_before();
}

TEST_F(ChartOptions, NotesOnNeighboursKnowWhichLimitsTheChartHas) {
  ImportLeaning();
  const std::string of = " --db q.db --part L --format json --max 0";
  // The codes of the notes, and the text of that on the correlation.
  const auto notes = [&](const std::string& run) {
    const auto document = ParseJson(Run(run + of).out);
    std::string codes, text;
    for (const auto& note : document.At("Notes").elements) {
      const auto code = note.At("Code").text;
      if (code == "limits-in-force") continue;
      codes += code + " ";
      if (code == "correlated") text = note.At("Text").text;
    }
    return codes + text;
  };
  const std::string correlated = "Neighbours are correlated (r1 = 0.551)";
  const std::string narrow = "correlated runs-expected " + correlated +
                             ": limits from moving ranges are too narrow by the factor 0.67.";
  EXPECT_EQ(notes("chart"), narrow);
  EXPECT_EQ(notes("study acf"), narrow);
  Set("chart.sigma ar1");
  EXPECT_EQ(notes("chart"), "correlated runs-expected " + correlated + ".");
  EXPECT_EQ(notes("study acf"), "correlated runs-expected " + correlated + ".");
  EXPECT_EQ(notes("chart --sigma usual"), narrow);
  Write("l.csv", "part,process,test,mean,sp\nL,P,Width,-1,6\n");
  ASSERT_EQ(Run("import l.csv --db q.db --kind control-limits").status, 0);
  EXPECT_EQ(notes("chart"), "not-widened correlated runs-expected " + correlated + ".");
  EXPECT_EQ(notes("chart --sigma usual"), "correlated runs-expected " + correlated + ".");
  EXPECT_EQ(notes("study acf"), "correlated runs-expected " + correlated + ".");
}

TEST_F(ChartOptions, AChartNotesStepsWhereThatIsAskedForOrStored) {
  std::string values = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 24; ++i) {
    values += "S,P,Width," + std::to_string(i + 1) + ",2024-01-01T" + (i < 10 ? "0" : "") +
              std::to_string(i) + ":00:00," + std::to_string(i * 5 % 3 + (i < 12 ? 10 : 20)) + "\n";
  }
  Write("s.csv", values);
  ASSERT_EQ(Run("import s.csv --db q.db").status, 0);
  const std::string chart = "chart --db q.db --part S --format json ";
  const auto note = "The mean may have changed after 2024-01-01T11:00:00, from 11 to 21.";
  EXPECT_EQ(Run(chart).out.find(note), std::string::npos);
  const auto asked = Run(chart + "--steps");
  EXPECT_NE(asked.out.find(note), std::string::npos) << asked.out << asked.err;
  EXPECT_EQ(ParseJson(asked.out).At("Streams[0].Options.Steps.From").text, "command");
  Set("--part S chart.steps yes");
  const auto stored = Run(chart);
  EXPECT_NE(stored.out.find(note), std::string::npos);
  EXPECT_EQ(ParseJson(stored.out).At("Streams[0].Options.Steps.From").text, "database");
  EXPECT_EQ(Run(chart + "--steps=no").out.find(note), std::string::npos);
  EXPECT_EQ(Run(chart + "--graph1 c --steps").status, 2);
  EXPECT_EQ(Run(chart + "--steps=maybe").status, 2);
}

TEST_F(ChartOptions, EveryStudyTakesStoredOptionsUnlessTheCommandGivesThem) {
  std::string values = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 24; ++i) {
    for (const std::string test : {"Width", "Depth"}) {
      values += "V,P," + test + "," + std::to_string(i + 1) + ",2024-02-01T" + (i < 10 ? "0" : "") +
                std::to_string(i) + ":00:00," +
                std::to_string(test == "Width" ? i * 5 % 7 : i * i % 11) + "\n";
    }
  }
  Write("w.csv", values);
  ASSERT_EQ(Run("import w.csv --db q.db").status, 0);
  const std::string one = " --part V --test Width", all = " --part V",
                    counts = " --part A --test Bad";
  const struct {
    const char* study;
    const char* option;
    const char* stored;
    const char* given;
    const char* key;
    const std::string& selection;
  } rows[] = {
      {"ewma", "fir", "0.5", "0.4", "FIR", one},
      {"ewma", "target", "3", "2", "Target", one},
      {"cusum", "target", "3", "2", "Target", one},
      {"cusum", "sigma", "2", "1", "Sigma", one},
      {"g", "limits", "sigma", "probability", "Limits", counts},
      {"g", "run", "8", "7", "Run", counts},
      {"g", "estimator", "ml", "unbiased", "Estimator", counts},
      {"laney", "chart", "u", "c", "Chart", counts},
      {"steps", "penalty", "5", "4", "Penalty", one},
      {"steps", "least", "6", "7", "Least", one},
      {"short-run", "kind", "z", "deviation", "Kind", all},
      {"short-run", "nominal", "mean", "target", "Nominal", all},
      {"group", "group-threshold", "60", "90", "GroupThreshold", all},
      {"group", "spread", "range", "auto", "Spread", all},
      {"t2", "alpha", "0.01", "0.02", "Alpha", all},
      {"t2", "covariance", "successive", "sample", "Covariance", all},
      {"mewma", "weight", "0.3", "0.2", "Weight", all},
      {"mewma", "arl0", "100", "370", "ARL0", all},
      {"acf", "lags", "3", "4", "Lags", one},
      {"acf", "level", "0.9", "0.99", "Level", one},
      {"counts", "level", "0.9", "0.99", "Level", counts},
      {"tolerance", "content", "0.9", "0.8", "Content", one},
      {"tolerance", "confidence", "0.9", "0.8", "Confidence", one},
      {"tolerance", "sides", "upper", "lower", "Sides", one},
      {"tolerance", "law", "none", "normal", "Law", one},
  };
  for (const auto& row : rows) {
    const std::string name = std::string(row.study) + "." + row.option;
    const std::string study =
        std::string("study ") + row.study + " --db q.db --format json" + row.selection;
    const auto option = [&](const std::string& more) {
      const auto outcome = Run(study + more);
      EXPECT_EQ(outcome.status, 0) << name << ": " << outcome.err;
      const auto found = ParseJson(outcome.out).At(std::string("Options.") + row.key);
      const auto& value = found.At("Value");
      return found.At("From").text + " " +
             (value.kind == ParsedJson::Kind::Number
                  ? (value.number == std::stod(row.stored) ? row.stored : row.given)
                  : value.text);
    };
    EXPECT_TRUE(option("").starts_with("default")) << name;
    Set(row.selection + " " + name + " " + row.stored);
    EXPECT_EQ(option(""), std::string("database ") + row.stored) << name;
    EXPECT_EQ(option(std::string(" --") + row.option + " " + row.given),
              std::string("command ") + row.given)
        << name;
  }
  Set("--part V ewma.reset yes");
  const auto reset = ParseJson(Run("study ewma --db q.db --format json" + one).out);
  EXPECT_TRUE(reset.At("Options.Reset.Value").boolean);
  EXPECT_EQ(reset.At("Options.Reset.From").text, "database");
  Set("--part A ewma.sigma 1");
  const auto of_counts = Run("study ewma --db q.db" + counts);
  EXPECT_EQ(of_counts.status, 2);
  EXPECT_NE(of_counts.err.find("sigma goes with measurements"), std::string::npos) << of_counts.err;
  Set("ar1.phi 0.5");
  EXPECT_EQ(Run("study ar1 --db q.db --part V --test Width").status, 2) << "phi goes with mean";
  Set("ar1.mean 3");
  Set("ar1.sigma 2");
  EXPECT_EQ(ParseJson(Run("study ar1 --db q.db --part V --test Width --format json").out)
                .At("Options.Phi.From")
                .text,
            "database");
}

TEST_F(ChartOptions, AStoredChartOfLaneyIsTheOneThatIsPlotted) {
  std::string counts = "part,process,test,subgroup,time,count,size,test-type\n";
  for (int i = 0; i < 6; ++i) {
    counts += "Z,P,Bad," + std::to_string(i + 1) + ",2024-03-01T0" + std::to_string(i) + ":00:00," +
              std::to_string(8 + i % 3) + ",4,defects\n";
  }
  Write("z.csv", counts);
  ASSERT_EQ(Run("import z.csv --db q.db").status, 0);
  const auto first = [&](const std::string& more) {
    const auto outcome = Run("study laney --db q.db --part Z --format json" + more);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out).At("Streams[0].Phases[0].Points[0]").number;
  };
  EXPECT_EQ(first(""), 8.0) << "counts, where sizes are equal";
  Set("--part Z laney.chart u");
  EXPECT_EQ(first(""), 2.0);
  EXPECT_EQ(first(" --chart u"), 2.0);
  EXPECT_EQ(first(" --chart c"), 8.0);
  EXPECT_EQ(first(" --chart auto"), 8.0);
}

TEST_F(ChartOptions, WhatADatabaseLacksOfTheParametersOfAr1IsNamed) {
  const std::string study = "study ar1 --db q.db --part A --test Width";
  const auto refused = [&](const std::string& options, const std::string& line) {
    const auto outcome = Run(study + options);
    EXPECT_EQ(outcome.status, 2) << options;
    EXPECT_NE(outcome.err.find(line), std::string::npos) << options << ": " << outcome.err;
  };
  Set("ar1.phi 0.5");
  refused("", "the database has ar1.phi without ar1.mean and ar1.sigma");
  Set("ar1.sigma 2");
  refused("", "the database has ar1.phi and ar1.sigma without ar1.mean");
  refused(" --mean 3", "--phi, --mean and --sigma go together");
  EXPECT_EQ(Run(study + " --phi 0.4 --mean 3 --sigma 2").status, 0);
  Set("ar1.mean 3");
  EXPECT_EQ(Run(study).status, 0);
}

TEST_F(ChartOptions, TheSideOfAnEwmaAndACusumMayBeStored) {
  for (const std::string study : {"ewma", "cusum"}) {
    const auto sided = [&](const std::string& more) {
      const auto outcome =
          Run("study " + study + " --db q.db --part A --test Width --format json" + more);
      EXPECT_EQ(outcome.status, 0) << outcome.err;
      const auto option = ParseJson(outcome.out).At("Options.Sided");
      return option.At("From").text + " " + option.At("Value").text;
    };
    EXPECT_EQ(sided(""), "default two");
    Set("--part A " + study + ".sided upper");
    EXPECT_EQ(sided(""), "database upper");
    EXPECT_EQ(sided(" --sided lower"), "command lower");
  }
}

TEST_F(ChartOptions, StreamsOfOneStudyMustAgree) {
  Set("--part A --test Width cusum.h 4");
  const auto both = Run("study cusum --db q.db --test Width");
  EXPECT_EQ(both.status, 2);
  EXPECT_NE(both.err.find("the streams differ in cusum.h; give --h or select fewer"),
            std::string::npos)
      << both.err;
  EXPECT_EQ(Run("study cusum --db q.db --test Width --h 5").status, 0);
  Set("--part B --test Width cusum.h 4");
  EXPECT_EQ(Run("study cusum --db q.db --test Width").status, 0);
}

TEST_F(ChartOptions, AlarmsKeepTheStoredLimits) {
  Write("l.csv", "part,process,test,mean,chart-word\nA,P,Bad,16,0xe00\n");
  const auto imported = Run("import l.csv --db q.db --kind control-limits");
  ASSERT_EQ(imported.status, 0) << imported.err;
  Set("chart.limits probability");
  // 29 lies on the limit by the distribution, and above 28, that of three sigmas.
  const auto recorded =
      Run("record 29 --db q.db --part A --process P --test Bad --size 1 --exit-code --at " +
          platform::IsoText(CurrentTime() + 30));
  EXPECT_EQ(recorded.status, 3) << recorded.out << recorded.err;
}

TEST_F(ChartOptions, WhatAnOptionDoesNotTakeIsMisuse) {
  const struct {
    const char* words;
    const char* says;
  } rows[] = {
      {"chart.limits exact", "chart.limits takes sigma, probability or default, not \"exact\""},
      {"chart.alpha 0.5", "chart.alpha takes a number from 0.0001 to 0.1 or default, not \"0.5\""},
      {"ewma.weight 0", "ewma.weight takes a number above 0 to 1 or default, not \"0\""},
      {"ewma.weight x", "not \"x\""},
      {"steps.least 2.5", "steps.least takes a whole number from 2 to 1000 or default"},
      {"mewma.arl0 1", "mewma.arl0 takes a number from 2 to 1000000 or default"},
      {"short-run.kind x", "short-run.kind takes deviation, z or default, not \"x\""},
      {"--graph 4 chart.limits sigma", "--graph takes 1, 2 or 3"},
      {"--graph 2 ewma.weight 0.3",
       "ewma.weight is no option of charts: it goes without a graph, not with graph 2"},
      {"--graph 3 --part A laney.floor default", "laney.floor is no option of charts"},
      {"--test Bad t2.alpha 0.01",
       "t2.alpha is of several tests together: it goes with a part and process, not with a test"},
      {"--part A --test Bad mewma.limits exact", "mewma.limits is of several tests together"},
      {"--part A approval two", "--part goes with options of charts such as chart.limits"},
  };
  for (const auto& row : rows) {
    const auto outcome = Run("set --db q.db " + std::string(row.words));
    EXPECT_EQ(outcome.status, 2) << row.words;
    EXPECT_NE(outcome.err.find(row.says), std::string::npos) << row.words << ": " << outcome.err;
  }
  Set("--part A --process P t2.alpha 0.01");
  EXPECT_EQ(Run("set --db q.db --part Nobody chart.limits sigma").status, 1);
  EXPECT_NE(Run("set --help").out.find("chart.limits"), std::string::npos);
}

}  // namespace
}  // namespace orvspc::host
