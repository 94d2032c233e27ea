// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>

#include "engine/Embedded.h"
#include "host/cli/Analysis.h"
#include "host/render/chart/Chart.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

// Charts of counts as the program shows them.
namespace orvspc::host {
namespace {

class AttributeChart : public ProgramTest {
 protected:
  AttributeChart() {
    Write("q.csv",
          "part,process,test,subgroup,time,count,size,test-type\n"
          "A,P,Bad,1,2024-01-01T00:00:00,3,100,defectives\n"
          "A,P,Bad,2,2024-01-01T01:00:00,30,150,defectives\n"
          "A,P,Bad,3,2024-01-01T02:00:00,0,80,defectives\n"
          "B,P,Scratches,1,2024-01-01T00:00:00,3,10,defects\n"
          "B,P,Scratches,2,2024-01-01T01:00:00,5,20,defects\n");
    EXPECT_EQ(Run("import q.csv --db q.db").status, 0);
  }
  Outcome Chart(const std::string& options) { return Run("chart --db q.db " + options); }
};

TEST_F(AttributeChart, EachKindHasItsTitleInEveryPicture) {
  const struct {
    const char* word;
    const char* title;
  } rows[] = {
      {"p", "p: share of defective units"},
      {"np", "np: defective units"},
      {"ppt", "ppt: defective units in a thousand"},
      {"ppm", "ppm: defective units in a million"},
      {"c", "c: defects"},
      {"u", "u: defects a unit"},
      {"dpto", "dpto: defects in a thousand opportunities"},
      {"dpmo", "dpmo: defects in a million opportunities"},
  };
  for (const auto& row : rows) {
    for (const std::string format : {"text", "svg", "html"}) {
      const auto shown =
          Chart("--part B --graph1 " + std::string(row.word) + " --format " + format);
      EXPECT_EQ(shown.status, 0) << row.word << ' ' << format << shown.err;
      EXPECT_NE(shown.out.find(row.title), std::string::npos) << row.word << ' ' << format;
    }
    const auto json = Chart("--part B --graph1 " + std::string(row.word) + " --format json");
    EXPECT_EQ(ParseJson(json.out).At("Graphs[0].Requested").text, row.word);
  }
}

TEST_F(AttributeChart, TheBestGuessIsTitledByWhatWasDrawn) {
  EXPECT_NE(Chart("--part A --graph1 auto-attribute").out.find("p: share"), std::string::npos);
  EXPECT_NE(Chart("--part B --graph1 auto-attribute").out.find("u: defects a unit"),
            std::string::npos);
}

TEST_F(AttributeChart, TheTitleTellsOfWeightedPoints) {
  EXPECT_NE(Chart("--part A --graph1 p --ewma standard").out.find("EWMA of p"), std::string::npos);
  EXPECT_NE(Chart("--part A --graph1 p --ewma moving-centre").out.find("about the EWMA"),
            std::string::npos);
  EXPECT_NE(Chart("--part A --graph1 p --cusum").out.find("Cusum of p"), std::string::npos);
  EXPECT_EQ(Chart("--part A --graph1 p --ewma none").out.find("EWMA"), std::string::npos);
}

TEST_F(AttributeChart, DefectsAUnitAreACountToo) {
  const auto averaged = Chart("--part B --graph1 u --ewma standard --format html").out;
  EXPECT_NE(averaged.find("EWMA of u"), std::string::npos);
  EXPECT_NE(averaged.find("weight 0.2 of the newest point, mean 0.266667 by defects / units"),
            std::string::npos);
}

TEST(AttributeChartModel, ATypeBehindThoseOfCountsIsNone) {
  render::ChartDocument document;
  document.chart.processing = std::make_shared<CCProcessing>();
  document.chart.processing->EWMA(ccEwmaStandard);
  document.chart.subgroups.rows.resize(1);
  document.requested[0] = render::kNotKnown;
  render::GraphRead graph;
  graph.index = 1;
  graph.points = {1.0};
  for (const int beyond : {0, 1}) {
    graph.type = ccGraph1U + beyond;
    document.chart.graphs = {graph};
    const auto view = render::MakeChartView(document, [](auto, auto) { return std::string("x"); });
    const bool count = beyond == 0;
    EXPECT_EQ(view.graphs[0].title, count ? "EWMA of u" : "graph");
    EXPECT_EQ(view.graphs[0].from_zero, count);
    EXPECT_EQ(view.graphs[0].caption.find("weight 0.2") != std::string::npos, count);
  }
}

TEST_F(AttributeChart, TheAxisOfACusumGoesBelowZero) {
  const auto shown = Chart("--part A --graph1 p --cusum --format svg");
  EXPECT_NE(shown.out.find("LCL -5"), std::string::npos);
}

TEST_F(AttributeChart, NotesOfTheEngineAreShown) {
  const auto text = Chart("--part B --graph1 dpmo");
  EXPECT_NE(text.out.find("No opportunities for defects are known"), std::string::npos) << text.out;
  const auto dropped = Chart("--part A --graph1 p --graph2 mr");
  EXPECT_NE(dropped.out.find("Graphs 2 and 3 are left out"), std::string::npos) << dropped.out;
}

TEST_F(AttributeChart, TheStoredMeanStandsInTheCaptionWithoutASigma) {
  Write("l.csv", "part,process,test,mean\nA,P,Bad,0.05\n");
  ASSERT_EQ(Run("import l.csv --db q.db --kind control-limits").status, 0);
  const auto shown = Chart("--part A --graph1 p");
  EXPECT_NE(shown.out.find("stored limits: mean 0.05 "), std::string::npos) << shown.out;
  EXPECT_EQ(shown.out.find("sigma"), std::string::npos) << shown.out;
}

TEST_F(AttributeChart, ChartsOfVariablesHaveNoAcceptanceLimits) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,W,1,2024-01-01T00:00:00,3\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  EXPECT_EQ(ParseJson(Chart("--part A --test W --format json").out).At("AcceptanceLimits").kind,
            ParsedJson::Kind::Null);
}

TEST_F(AttributeChart, AcceptanceLimitsComeWithTheDocumentUnlessItIsEmpty) {
  InstallEmbedded();
  const auto database = QualityDatabase::Open(folder_.Store("q.db"));
  const auto select = std::make_shared<DataSelect>();
  select->IncludeVariableTests(false);
  select->IncludeDefectiveTests(true);
  const auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(ccGraph1P);
  const auto document = cli::RunChart(database, select, processing);
  ASSERT_FALSE(document.chart.subgroups.rows.empty());
  ASSERT_TRUE(document.acceptance.has_value());
  EXPECT_EQ(document.acceptance->numbers.size(), document.chart.subgroups.rows.size());
  select->Descriptors()->Add(dtPart)->AddItemID(99);
  EXPECT_FALSE(cli::RunChart(database, select, processing).acceptance.has_value());
}

TEST_F(AttributeChart, JsonOfTheCommandHasAcceptanceLimits) {
  const auto json = ParseJson(Chart("--part A --graph1 p --aql 2 --format json").out);
  EXPECT_EQ(json.At("AcceptanceLimits").kind, ParsedJson::Kind::Object);
}

TEST_F(AttributeChart, AStoredMeanThatIsNoShareIsNotedInEveryFormat) {
  Write("l.csv", "part,process,test,mean\nA,P,Bad,5\n");
  ASSERT_EQ(Run("import l.csv --db q.db --kind control-limits").status, 0);
  for (const std::string format : {"text", "json", "svg", "html"}) {
    const auto shown = Chart("--part A --graph1 p --format " + format);
    EXPECT_NE((shown.out + shown.err).find("with the mean 5 are not used"), std::string::npos)
        << format;
  }
  EXPECT_NE(Chart("--part A --graph1 p").out.find("UCL"), std::string::npos);
}

TEST_F(AttributeChart, TheHelpNamesTheChartsWithoutACusum) {
  EXPECT_NE(Run("chart --help").out.find("not of np and pre-control"), std::string::npos);
  for (const std::string graph : {"np", "pre-control"})
    EXPECT_EQ(Chart("--graph1 " + graph + " --cusum").status, 2) << graph;
  for (const std::string graph : {"p", "ppt", "ppm", "c", "u", "dpto", "dpmo", "auto-attribute"})
    EXPECT_EQ(Chart("--graph1 " + graph + " --cusum").status, 0) << graph;
}

TEST_F(AttributeChart, LimitsByTheDistributionAreInEveryFormat) {
  const std::string asked = "--part B --graph1 u --limits probability --alpha 0.05 --format ";
  const auto json = ParseJson(Chart(asked + "json").out);
  // 8 defects on 30 units: means of 8/3 and 16/3, and P(X > 6) = 0.0194, P(X > 10) = 0.0208,
  // P(X < 2) = 0.0306 and P(X < 1) = 0.0048.
  EXPECT_DOUBLE_EQ(json.At("Graphs[0].UCLs[0]").number, 6.0 / 10.0);
  EXPECT_DOUBLE_EQ(json.At("Graphs[0].UCLs[1]").number, 10.0 / 20.0);
  EXPECT_DOUBLE_EQ(json.At("Graphs[0].LCLs[1]").number, 1.0 / 20.0);
  EXPECT_EQ(json.At("Streams[0].Options.Limits.Value").text, "probability");
  EXPECT_EQ(json.At("Streams[0].Options.Limits.From").text, "command");
  EXPECT_EQ(json.At("Streams[0].Options.Alpha.Value").number, 0.05);
  EXPECT_EQ(json.At("Streams[0].Options.Alpha.From").text, "command");
  const auto usual = ParseJson(Chart("--part B --graph1 u --limits probability --format json").out);
  EXPECT_EQ(usual.At("Streams[0].Options.Alpha.Value").number, 0.0027);
  EXPECT_EQ(usual.At("Streams[0].Options.Alpha.From").text, "default");
  for (const std::string format : {"text", "svg", "html"}) {
    EXPECT_NE(Chart(asked + format).out.find("limits by the distribution, alpha 0.05"),
              std::string::npos)
        << format;
  }
  ASSERT_EQ(Chart(asked + "xml -o u.xml").status, 0);
  const auto stored = ParseJson(Run("show u.xml --format json").out);
  EXPECT_DOUBLE_EQ(stored.At("Graphs[0].UCLs[0]").number, 0.6);
  const auto plain = Chart("--part B --graph1 u --format json").out;
  EXPECT_EQ(plain.find("Options"), std::string::npos);
  EXPECT_GT(ParseJson(plain).At("Graphs[0].UCLs[0]").number, 0.6);
}

TEST_F(AttributeChart, PointsThatDoNotSuitTheirChartAreNotedThereAndNotByTheStudy) {
  std::string text = "part,process,test,subgroup,time,count,size,test-type\n";
  for (int i = 0; i < 20; ++i) {
    const auto row = std::to_string(i + 1) + ",2024-01-" + std::string(i < 9 ? "0" : "") +
                     std::to_string(i + 1) + ",";
    text += "C,P,Bad," + row + (i % 2 == 0 ? "800" : "1200") + ",10000,defectives\n";
    text += "C,P,Rare," + row + (i % 5 == 0 ? "1" : "0") + ",50,defectives\n";
  }
  Write("m.csv", text);
  ASSERT_EQ(Run("import m.csv --db q.db").status, 0);
  for (const std::string format : {"text", "json", "html"}) {
    const auto wide = Chart("--part C --test Bad --graph1 p --format " + format);
    EXPECT_NE(wide.out.find("vary more than their sizes explain"), std::string::npos) << wide.out;
    const auto rare = Chart("--part C --test Rare --graph1 p --format " + format);
    EXPECT_NE(rare.out.find("the time between events shows more"), std::string::npos) << rare.out;
  }
  const auto study = Run("study laney --db q.db --part C --test Bad --format json");
  EXPECT_EQ(study.status, 0) << study.err;
  EXPECT_EQ(study.out.find("overdispersed"), std::string::npos) << study.out;
}

TEST_F(AttributeChart, OptionsOfCountsAreMisuseElsewhere) {
  const struct {
    const char* options;
    const char* says;
  } rows[] = {
      {"--ewma standard", "--ewma goes with charts of counts, not with --graph1 auto"},
      {"--graph1 xbar --aql 2", "--aql goes with charts of counts, not with --graph1 xbar"},
      {"--graph1 p --aql 101", "--aql takes a percentage from 0 to 100, not \"101\""},
      {"--graph1 p --aql -1", "from 0 to 100"},
      {"--graph1 p --aql nan", "from 0 to 100"},
      {"--graph1 p --producer-risk 99.5", "from 0 to 99"},
      {"--graph1 p --ewma weighted", "--ewma takes none, standard or moving-centre"},
      {"--graph1 np --cusum", "--cusum does not go with --graph1 np"},
      {"--limits probability", "--limits goes with charts of counts, not with --graph1 auto"},
      {"--graph1 p --limits exact", "--limits takes sigma or probability"},
      {"--graph1 p --alpha 0.01", "--alpha goes with --limits probability"},
      {"--graph1 p --limits probability --alpha 0.2",
       "--alpha takes a number from 0.0001 to 0.1, not 0.2"},
      {"--graph1 p --limits probability --cusum",
       "--limits probability does not go with --cusum and --ewma"},
      {"--graph1 p --sigma ar1", "--sigma goes with charts of values, not with --graph1 p"},
  };
  for (const auto& row : rows) {
    const auto outcome = Chart(row.options);
    EXPECT_EQ(outcome.status, 2) << row.options;
    EXPECT_NE(outcome.err.find(row.says), std::string::npos) << row.options << ": " << outcome.err;
  }
}

}  // namespace
}  // namespace orvspc::host
