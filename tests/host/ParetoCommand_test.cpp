// SPDX-License-Identifier: Apache-2.0
// orvspc pareto and what orvspc show makes of its XML, as a user runs them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/render/pareto/Pareto.h"
#include "platform/Enumerations.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {

using namespace render;
namespace {

constexpr const char* kLongCode = "Scratch on the left front door outside";

class ParetoProgram : public ProgramTest {
 protected:
  // 20 subgroups of 10 units: 3 scratches each, a dent in every second one, one sag in the last.
  void Import() {
    std::string csv = "part,process,test,subgroup,time,size,shift,defect,count,descriptor:Oven\n";
    for (int i = 0; i < 20; ++i) {
      const std::string base = std::string("Panel,Line ") + (i % 4 == 0 ? "A" : "B") + ",Paint," +
                               std::to_string(i + 1) + ",2024-03-0" + std::to_string(4 + i / 10) +
                               "T" + (i % 10 < 10 ? "0" : "") + std::to_string(i % 10) + ":00:00," +
                               "10," + (i % 2 == 0 ? "Early," : "Late,");
      const std::string oven = i % 5 == 0 ? ",Hot\n" : ",Cold\n";
      csv += base + kLongCode + ",3" + oven;
      if (i % 2 == 0) csv += base + "Dent,1" + oven;
      if (i == 19) csv += base + "Sag,1" + oven;
    }
    Write("defects.csv", csv);
    ASSERT_EQ(Run("import defects.csv --db q.db").status, 0);
  }

  ParsedJson Json(const std::string& options) {
    const Outcome outcome = Run("pareto --db q.db --format json " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return ParseJson(outcome.out);
  }
};

TEST_F(ParetoProgram, JsonHasTheContractsKeysAndTheFiguresOfTheData) {
  Import();
  const ParsedJson document = Json("");
  EXPECT_EQ(document.Keys(),
            (std::vector<std::string>{"Processing", "DataSelect", "Bins", "Notes"}));
  EXPECT_EQ(document.At("Processing").Keys(),
            (std::vector<std::string>{"BinCount", "ResourceType", "BinType", "BinTypeID",
                                      "BinTimePeriod", "BinTimeInterval", "ProcessingType",
                                      "AccumulationType", "ShowEmptyBins"}));
  ASSERT_EQ(document.At("Bins").elements.size(), 3u);
  EXPECT_EQ(
      document.At("Bins[0]").Keys(),
      (std::vector<std::string>{"ID", "Name", "BinCount", "Factor", "Value", "Percentage", "Total",
                                "Yield", "PPK", "Flag", "SubgroupID", "CumulativePercent"}));
  EXPECT_EQ(document.At("Bins[0].ID").elements.size(), 3u);
  EXPECT_EQ(document.At("Bins[0].Percentage").elements.size(), 6u);
  EXPECT_EQ(document.At("Bins[0].Value").number, 60);
  EXPECT_EQ(document.At("Bins[1].Name").text, "Dent");
  EXPECT_EQ(document.At("Bins[1].Value").number, 10);
  EXPECT_EQ(document.At("Bins[1].Total").number, 200);
  EXPECT_NEAR(document.At("Bins[0].Percentage[0]").number, 100.0 * 60 / 71, 1e-9);
  EXPECT_EQ(document.At("Bins[0].PPK").kind, ParsedJson::Kind::Null);
}

TEST_F(ParetoProgram, EveryFormatHasTheNamesTheFieldCuts) {
  Import();
  for (const std::string format : {"text", "svg", "html"}) {
    const Outcome outcome = Run("pareto --db q.db --by shift,defect --format " + format);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    // A picture may cut it for room; its tips do not.
    EXPECT_NE(outcome.out.find(format == "text" ? "Scratch on the left" : kLongCode),
              std::string::npos)
        << format;
  }
}

// The name of a bin joins those of its levels and is cut; people get each of them whole.
TEST_F(ParetoProgram, NestedLevelsHaveTheirWholeNamesWhateverTheyHold) {
  Write("codes.csv", "code,name\nDI,Dirt in the paint\nSC,Scratch\n");
  Write("defects.csv",
        "part,process,test,subgroup,time,size,shift,defect,count,tsno\n"
        "Bolt / M8,P,Paint,1,2024-03-04T05:30:00,10,Early morning shift,DI,3,2\n"
        "Bolt / M8,P,Paint,2,2024-03-05T21:00:00,10,Late,SC,1,4\n");
  ASSERT_EQ(Run("import codes.csv --db q.db --kind defects").status, 0);
  ASSERT_EQ(Run("import defects.csv --db q.db").status, 0);
  ASSERT_EQ(Run("set --db q.db time_zone -03:30").status, 0);
  struct Row {
    const char* by;
    std::vector<std::string> names;
  };
  const Row rows[] = {
      {"part,time:1d", {"Bolt / M8", "2024-03-04", "2024-03-05"}},
      {"defect,time:8h", {"Dirt in the paint", "2024-03-04 00:00", "Scratch", "2024-03-05 16:00"}},
      {"shift,defect,time:8h",
       {"Early morning shift", "Dirt in the paint / 2024-03-04 00:00", "Late",
        "Scratch / 2024-03-05 16:00"}},
      {"shift,defect,piece", {"Early morning shift", "Dirt in the paint / 2", "Scratch / 4"}},
      {"part,defect", {"Bolt / M8", "Dirt in the paint"}},
  };
  for (const Row& row : rows) {
    for (const std::string format : {"text", "svg", "html"}) {
      const Outcome outcome =
          Run(std::string("pareto --db q.db --by ") + row.by + " --format " + format);
      EXPECT_EQ(outcome.status, 0) << outcome.err;
      for (const auto& name : row.names)
        EXPECT_NE(outcome.out.find(name), std::string::npos)
            << row.by << " " << format << " " << name;
      EXPECT_EQ(outcome.out.find("#17"), std::string::npos) << row.by << " " << format;
    }
  }
}

TEST_F(ParetoProgram, HelpTellsWhatMaxIsInEachCommand) {
  struct Row {
    const char* command;
    const char* text;
  };
  const Row rows[] = {{"pareto", "(default all)"},     {"capability", "(default all)"},
                      {"events", "(default 25)"},      {"chart", "(default 25)"},
                      {"states", "(default 10000)"},   {"data", "(default 25)"},
                      {"compliance", "without effect"}};
  for (const Row& row : rows) {
    const std::string help = Run(std::string(row.command) + " --help").out;
    const std::size_t at = help.find("--max N");
    ASSERT_NE(at, std::string::npos) << row.command;
    const std::string line = help.substr(at, help.find('\n', at) - at);
    EXPECT_NE(line.find(row.text), std::string::npos) << line;
  }
}

TEST_F(ParetoProgram, LevelsAreReadWithTheirLengthsAndDescriptors) {
  Import();
  const ParsedJson document = Json(
      "--by time:12h,descriptor:Oven,process --bins 20 --empty "
      "--measure ppm --accumulate hits");
  const auto& processing = document.At("Processing");
  EXPECT_EQ(processing.At("BinType[0]").number, paBinTypeTime);
  EXPECT_EQ(processing.At("BinTimePeriod[0]").number, paHours);
  EXPECT_EQ(processing.At("BinTimeInterval[0]").number, 12);
  EXPECT_EQ(processing.At("BinType[1]").number, paBinTypeSgDesc);
  EXPECT_GT(processing.At("BinTypeID[1]").number, 0);
  EXPECT_EQ(processing.At("BinType[2]").number, paBinTypeProcess);
  EXPECT_EQ(processing.At("BinCount").number, 20);
  EXPECT_TRUE(processing.At("ShowEmptyBins").boolean);
  EXPECT_EQ(processing.At("ProcessingType").number, paProcessByPPM);
  EXPECT_EQ(processing.At("AccumulationType").number, paAccumulateByHits);
  EXPECT_GE(document.At("Bins").elements.size(), 4u);
}

struct Length {
  const char* word;
  paTimePeriods period;
  int interval;
};

TEST_F(ParetoProgram, TimeTakesEveryPeriod) {
  Import();
  for (const Length& row :
       {Length{"15m", paMinutes, 15}, Length{"30s", paSeconds, 30}, Length{"1month", paMonths, 1},
        Length{"2months", paMonths, 2}, Length{"quarter", paQuarters, 1},
        Length{"1week", paWeeks, 1}, Length{"8hours", paHours, 8}, Length{"1d", paDays, 1}}) {
    const ParsedJson document = Json(std::string("--by time:") + row.word);
    EXPECT_EQ(document.At("Processing.BinTimePeriod[0]").number, row.period) << row.word;
    EXPECT_EQ(document.At("Processing.BinTimeInterval[0]").number, row.interval) << row.word;
  }
}

TEST_F(ParetoProgram, EveryBinTypeHasItsWord) {
  for (std::int32_t type = 0; type <= paBinTypeEventType; ++type) {
    EXPECT_EQ(ValueOf(kBinTypeWords, BinTypeWord(type)), type) << BinTypeWord(type);
  }
  EXPECT_EQ(ValueOf(kBinTypeWords, "acc"), paBinTypeACC) << "a shorter form";
  EXPECT_EQ(ValueOf(kBinTypeWords, "defects"), std::nullopt);
  EXPECT_EQ(BinTypeWord(36), "");
  EXPECT_EQ(BinTypeWord(-1), "");
}

TEST_F(ParetoProgram, ALevelThatIsNoneIsLeftOut) {
  Import();
  const ParsedJson document = Json("--by none,shift");
  EXPECT_EQ(document.At("Processing.BinType[0]").number, paBinTypeShift);
  EXPECT_EQ(document.At("Processing.BinType[1]").number, paBinTypeNone);
  const Outcome none = Run("pareto --db q.db --by none");
  EXPECT_EQ(none.status, 0) << none.err;
  EXPECT_NE(none.out.find("no data selected"), std::string::npos) << none.out;
}

struct Misused {
  const char* options;
  const char* words;
};

TEST_F(ParetoProgram, MisuseIsOneLineWithStatusTwo) {
  Import();
  for (const Misused& row :
       {Misused{"--by colour", "not \"colour\""}, Misused{"--by defect,,shift", "not \"\""},
        Misused{"--by defect,shift,part,process", "at most 3 levels"},
        Misused{"--by time", "time:15m"}, Misused{"--by time:0d", "time:15m"},
        Misused{"--by time:5parsecs", "5parsecs"}, Misused{"--by time:99999999999s", "time:15m"},
        Misused{"--by descriptor", "descriptor:NAME"}, Misused{"--by part:Ring", "nothing behind"},
        Misused{"--bins 4", "4"}, Misused{"--from parts", "parts"},
        Misused{"--measure weight", "weight"}, Misused{"--accumulate time", "time"},
        Misused{"--format png", "png"}}) {
    const Outcome outcome = Run(std::string("pareto --db q.db ") + row.options);
    EXPECT_EQ(outcome.status, 2) << row.options;
    EXPECT_EQ(outcome.out, "") << row.options;
    EXPECT_NE(outcome.err.find(row.words), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
  EXPECT_EQ(Run("pareto --db q.db --by descriptor:Colour").status, 1);
}

TEST_F(ParetoProgram, ATypeThatTheResourceLacksGivesNoBinsAndSaysWhy) {
  Import();
  const Outcome outcome = Run("pareto --db q.db --by acc-code");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("no data selected"), std::string::npos);
  EXPECT_NE(outcome.out.find("cannot be binned by"), std::string::npos) << outcome.out;
}

TEST_F(ParetoProgram, ShowDrawsTheStoredResultAgain) {
  Import();
  const std::string options = "pareto --db q.db --by shift,process --measure factor ";
  ASSERT_EQ(Run(options + "-o r.xml").status, 0);
  const ParsedJson first = ParseJson(Run(options + "--format json").out);
  const ParsedJson again = ParseJson(Run("show r.xml --format json").out);
  EXPECT_EQ(again.At("Processing.BinType").kind, ParsedJson::Kind::Null) << "levels are not kept";
  EXPECT_EQ(again.At("Processing.ProcessingType").number, paProcessByFactor);
  EXPECT_EQ(again.At("DataSelect.MaximumItems").number, first.At("DataSelect.MaximumItems").number);
  ASSERT_EQ(again.At("Bins").elements.size(), first.At("Bins").elements.size());
  for (std::size_t i = 0; i < again.At("Bins").elements.size(); ++i) {
    const std::string bin = "Bins[" + std::to_string(i) + "].";
    for (const char* key : {"Value", "Factor", "BinCount", "Total", "SubgroupID", "ID[1]",
                            "Percentage[0]", "Percentage[1]"})
      EXPECT_EQ(again.At(bin + key).number, first.At(bin + key).number) << bin << key;
    EXPECT_EQ(again.At(bin + "Name").text, first.At(bin + "Name").text);
  }
  const std::string drawn = Run("show r.xml").out;
  EXPECT_NE(drawn.find("\n  Line B "), std::string::npos) << drawn;
  EXPECT_EQ(Run("show r.xml --format xml").out, Text(folder_.File("r.xml")));
  EXPECT_NE(Run("show r.xml --format svg").out.find("class=\"cum\""), std::string::npos);
}

TEST_F(ParetoProgram, ShowTakesBareBinsAndSettings) {
  Write("bins.xml",
        "<PABins><PABin ID1=\"4\" Name=\"Dent\" Value=\"7\" Percent=\"70\"/>"
        "<PABin ID1=\"5\" Name=\"Sag\" Value=\"3\" Percent=\"30\"/></PABins>");
  const Outcome bins = Run("show bins.xml");
  EXPECT_EQ(bins.status, 0) << bins.err;
  EXPECT_NE(bins.out.find("70.0 %"), std::string::npos) << bins.out;
  EXPECT_EQ(ParseJson(Run("show bins.xml --format json").out).At("Bins[0].Name").text, "Dent");

  Write("settings.xml", "<PAProcessing ResourceType=\"2\" BinCount=\"12\"/>");
  const Outcome settings = Run("show settings.xml");
  EXPECT_NE(settings.out.find("states"), std::string::npos) << settings.out;
  EXPECT_EQ(Run("show settings.xml --format svg").status, 2);
}

TEST_F(ParetoProgram, ShowOfAResultWithoutBinsSaysSo) {
  Write("none.xml", "<PAResults><PABins/></PAResults>");
  const Outcome none = Run("show none.xml");
  EXPECT_EQ(none.status, 0) << none.err;
  EXPECT_NE(none.out.find("no data selected"), std::string::npos);
  Write("bad.xml", "<PAResults><PABins><PABin Value=\"much\"/></PABins></PAResults>");
  const Outcome bad = Run("show bad.xml");
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err, "orvspc show: Type mismatch\n");
}

TEST_F(ParetoProgram, NoDataIsSaidOnStandardErrorWhereTheDocumentCannot) {
  Import();
  const std::string none = "pareto --db q.db --since 2030-01-01 ";
  EXPECT_NE(Run(none).out.find("no data selected"), std::string::npos);
  for (const std::string format : {"json", "xml", "svg", "html"}) {
    const Outcome outcome = Run(none + "--allow-empty --format " + format);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err.rfind("no data: 20 subgroups without --since 2030-01-01\n", 0), 0u)
        << outcome.err;
  }
}

}  // namespace
}  // namespace orvspc::host
