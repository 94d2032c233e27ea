// SPDX-License-Identifier: Apache-2.0
// A chart that is written as XML and shown again by another process, without the database.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

// The elements of a picture that show a point, a line, a limit or a mark, with everything that
// scales them: all but the picture's own size, its title, captions, legend texts and notes. The
// tooltips inside points hold names and rule texts.
std::vector<std::string> DrawnElements(const std::string& svg) {
  static const std::regex tooltip("<title>[^<]*</title>");
  static const std::regex wanted("<(path|circle|rect class=\"frame\"|polygon|line)[ >].*");
  static const std::regex told("<text [^>]*class=\"(h|t)\".*|<text x=\"(14|32)\".*");
  std::vector<std::string> elements;
  std::string body = svg.substr(svg.find("</style>") + 8);
  body = std::regex_replace(body, tooltip, "");
  std::istringstream lines(body);
  for (std::string line; std::getline(lines, line);) {
    const bool text = line.rfind("<text ", 0) == 0;
    if (text ? !std::regex_match(line, told) : std::regex_match(line, wanted))
      elements.push_back(line);
  }
  return elements;
}

std::size_t CountOf(const std::vector<std::string>& elements, const std::string& start) {
  return static_cast<std::size_t>(std::count_if(
      elements.begin(), elements.end(), [&](const auto& e) { return e.rfind(start, 0) == 0; }));
}

// Paths of everything that differs, without indices: "Graphs.Rules".
void Differences(const ParsedJson& a, const ParsedJson& b, const std::string& path,
                 std::set<std::string>& found) {
  using Kind = ParsedJson::Kind;
  const bool same_shape = a.kind == b.kind && a.names == b.names &&
                          a.elements.size() == b.elements.size() && a.boolean == b.boolean &&
                          a.text == b.text && (a.kind != Kind::Number || a.number == b.number);
  if (!same_shape) {
    found.insert(path);
    return;
  }
  for (std::size_t i = 0; i < a.elements.size(); ++i) {
    const std::string name = a.kind == Kind::Object ? a.names[i] : "";
    Differences(a.elements[i], b.elements[i],
                name.empty()   ? path
                : path.empty() ? name
                               : path + "." + name,
                found);
  }
}

class StoredChart : public ProgramTest {
 protected:
  // Draws live and stored, and compares what they draw; the elements of both.
  std::vector<std::string> Compared(const std::string& options) {
    const std::string chart = "chart --db q.db " + options;
    for (const char* file : {"live.svg", "live.html", "live.json", "r.xml"})
      EXPECT_EQ(Run(chart + " -o " + file).status, 0) << chart << Text(folder_.File("err"));
    // The database is not there.
    if (!tests::OnServer()) std::filesystem::rename(folder_.File("q.db"), folder_.File("away"));
    for (const char* file : {"stored.svg", "stored.html", "stored.json"})
      EXPECT_EQ(Run("show r.xml -o " + std::string(file)).status, 0) << Text(folder_.File("err"));
    EXPECT_EQ(Run("show r.xml").status, 0);
    if (!tests::OnServer()) std::filesystem::rename(folder_.File("away"), folder_.File("q.db"));

    auto live = DrawnElements(Text(folder_.File("live.svg")));
    EXPECT_EQ(DrawnElements(Text(folder_.File("stored.svg"))), live) << options;
    EXPECT_EQ(DrawnElements(Page("stored.html")), DrawnElements(Page("live.html"))) << options;
    CompareFigures();
    return live;
  }

  // The picture inside a page.
  std::string Page(const std::string& name) {
    const std::string page = Text(folder_.File(name));
    const std::size_t from = page.find("<svg");
    return page.substr(from, page.find("</svg>") - from);
  }

  void CompareFigures() {
    const ParsedJson live = ParseJson(Text(folder_.File("live.json")));
    const ParsedJson stored = ParseJson(Text(folder_.File("stored.json")));
    Differences(live, stored, "", different_);
  }

  std::set<std::string> different_;  // of all comparisons of this test
};

// Subgroups of `size` values around 10, hourly, some far out, some disabled.
std::string Values(const std::string& stream, int subgroups, int size, double shift = 0.0) {
  std::string csv;
  for (int i = 0; i < subgroups; ++i) {
    char time[40];
    std::snprintf(time, sizeof time, "2024-%02d-%02dT%02d:00:00", 1 + i / 672 % 12, 1 + i / 24 % 28,
                  i % 24);
    for (int j = 0; j < size; ++j) {
      double value = 10.0 + shift + 0.01 * ((i * 7919 + j * 104729) % 201 - 100);
      if (i % 17 == 16) value += 3.0;
      char text[40];
      std::snprintf(text, sizeof text, "%.3f", value);
      csv += stream + "," + std::to_string(i + 1) + "," + time + "," + text + "," +
             (i % 13 == 5 ? "1" : "0") + "\n";
    }
  }
  return csv;
}

constexpr const char* kHead = "part,process,test,subgroup,time,value,flag\n";

TEST_F(StoredChart, IsDrawnTheSameForEveryChartOfTheDemo) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  std::filesystem::copy(folder_.File("d/sample.db"), folder_.File("q.db"));
  const std::string many = " --max 100";
  for (const std::string options :
       {"--part Wafer --graph1 xbar --graph2 range", "--part \"Reactor feed\"",
        "--part \"Piston ring\" --graph1 xbar --graph2 sd", "--part Ring --group-by process",
        "--part Ring --graph1 xbar --graph2 mr --graph3 range", "--part Wafer --cusum",
        "--part Ring --graph1 pre-control", "--part Wafer --graph1 median --graph2 sd",
        "--part Wafer --graph1 moving-average", "--part Wafer --graph1 xbar --graph2 cv"}) {
    const auto elements = Compared(options + many);
    EXPECT_GE(CountOf(elements, "<circle class=\"p\""), 9U) << options;
  }
}

// Stored limits and specification limits make long captions, and a scale fewer decimals.
TEST_F(StoredChart, KeepsPlacesAndDecimalsThoughCaptionAndTablesAreGone) {
  Write("v.csv", kHead + Values("Bolt,Lathe,Length", 60, 4));
  Write("s.csv", "part,test,usl,target,lsl,scale\nBolt,Length,11.5,10,9,1\n");
  Write("c.csv",
        "part,process,test,mean,sp,effective\nBolt,Lathe,Length,10.1,0.5,2024-01-01T10:00:00\n"
        "Bolt,Lathe,Length,10.05,0.45,2024-01-02T10:00:00\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import s.csv --db q.db --kind limits").status, 0);
  ASSERT_EQ(Run("import c.csv --db q.db --kind control-limits").status, 0);
  const auto elements = Compared("--graph1 xbar --graph2 sd --max 100 --state enabled,disabled");
  EXPECT_GE(CountOf(elements, "<path class=\"m\""), 3U);
  EXPECT_GE(CountOf(elements, "<circle class=\"pu\""), 3U);
  EXPECT_GE(CountOf(elements, "<path class=\"o\""), 1U);
  EXPECT_GE(CountOf(elements, "<path class=\"spec\""), 2U);
  EXPECT_GE(std::count_if(elements.begin(), elements.end(),
                          [](const auto& e) { return e.find("class=\"r\"") != e.npos; }),
            3);
  EXPECT_NE(Text(folder_.File("live.svg")).find("stored limits from"), std::string::npos);
}

// The most important rule is not the one with the lowest number, and one shares another's bit.
TEST_F(StoredChart, ShowsTheSameRuleNumbersWhateverTheirImportance) {
  Write("v.csv", kHead + Values("Bolt,Lathe,Length", 60, 1));
  Write(
      "r.csv",
      "number,kind,k,m,zone,side,priority,text,set\n20,zone,1,1,1,either,1,\"first in mind\",own\n"
      "31,limit,,,,,2,\"second in mind\",own\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const Outcome rules = Run("import r.csv --db q.db --kind rules");
  ASSERT_EQ(rules.status, 0) << rules.err;
  const auto elements = Compared("--graph1 individuals --graph2 mr --max 100 --rules own");
  EXPECT_GE(std::count_if(elements.begin(), elements.end(),
                          [](const auto& e) { return e.find(">15,20<") != e.npos; }),
            1);
}

TEST_F(StoredChart, OfManyPointsAndStreamsIsDrawnTheSame) {
  Write("v.csv", kHead + Values("Bolt,Lathe,Length", 1500, 2) +
                     Values("Bolt,Mill,Length", 1500, 2, 0.5) +
                     Values("Nut,Lathe,Length", 20, 3, 5.0));
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  Compared("--part Bolt --max 3000");
  Compared("--max 60 --group-by process --group-threshold 7200");
  Compared("--max 60 --group-by part");
  Compared("--max 60 --group-by test");
}

// Counts of a line: defectives in varying numbers of cans, defects on them, opportunities for some.
TEST_F(StoredChart, OfAttributesIsDrawnTheSame) {
  std::string defectives = "part,process,test,subgroup,time,count,size\n";
  std::string defects = "part,process,test,subgroup,time,count,size,defect\n";
  for (int i = 0; i < 40; ++i) {
    char line[120];
    std::snprintf(line, sizeof line, "Can,Line,Leaks,%d,2024-03-%02dT%02d:00:00,%d,%d\n", i,
                  1 + i / 24, i % 24, i * 7 % 6 + (i == 30 ? 15 : 0), 40 + i * 13 % 20);
    defectives += line;
    std::snprintf(line, sizeof line, "Can,Line,Dents,%d,2024-03-%02dT%02d:00:00,%d,%d,dent\n", i,
                  1 + i / 24, i % 24, i * 5 % 7 + (i == 20 ? 25 : 0), 3 + i % 4);
    defects += line;
  }
  Write("p.csv", defectives);
  Write("u.csv", defects);
  Write("o.csv",
        "part,test,opportunities,effective\nCan,Dents,5,\nCan,Dents,8,2024-03-01T12:00:00\n");
  Write("c.csv", "part,process,test,mean\nCan,Line,Leaks,0.05\n");
  for (const std::string file : {"p.csv", "u.csv", "o.csv --kind opportunities"})
    ASSERT_EQ(Run("import --db q.db " + file).status, 0) << Text(folder_.File("err"));
  for (const std::string graph : {"np", "p", "ppt", "ppm", "auto-attribute"})
    EXPECT_GE(CountOf(Compared("--test Leaks --max 100 --graph1 " + graph), "<path class=\"m\""),
              1U)
        << graph;
  for (const std::string graph : {"u", "c", "dpto", "dpmo", "auto-attribute"})
    EXPECT_GE(CountOf(Compared("--test Dents --max 100 --graph1 " + graph), "<path class=\"m\""),
              1U)
        << graph;
  Compared("--max 100 --graph1 auto-attribute --cusum");
  Compared("--max 100 --graph1 p --ewma standard --aql 2 --producer-risk 5");
  Compared("--max 100 --graph1 u --ewma moving-centre");
  Compared("--max 100 --graph1 u --group-by test");
  ASSERT_EQ(Run("import --db q.db c.csv --kind control-limits").status, 0);
  Compared("--test Leaks --max 100 --graph1 np");
}

TEST_F(StoredChart, OfDefectivesIsTitledByWhatItsFiguresTell) {
  const std::string head = "part,process,test,subgroup,time,count,size\n";
  std::string some = head, none = head;
  for (int i = 0; i < 9; ++i) {
    const std::string hour = std::to_string(i) + ",2024-03-01T0" + std::to_string(i) + ":00:00,";
    some += "Can,Line,Leaks," + hour + std::to_string(i % 4) + ",50\n";
    none += "Can,Line,Bursts," + hour + "0,50\n";
  }
  Write("s.csv", some);
  Write("n.csv", none);
  ASSERT_EQ(Run("import s.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import n.csv --db q.db").status, 0);
  const std::string number = "np: defective units", share = "p: share of defective units",
                    either = "p or np: defective units, as a share or as a number";
  const struct {
    const char* options;
    std::string title;
  } rows[] = {
      {"--test Leaks --graph1 np", number},
      {"--test Leaks --graph1 np --ewma moving-centre",
       number + ", about the EWMA of the points before"},
      {"--test Leaks --graph1 np --ewma standard", "EWMA of np"},
      {"--test Leaks --graph1 p", share},
      {"--test Leaks --graph1 auto-attribute", share},
      {"--test Leaks --graph1 p --cusum", "Cusum of p"},
      {"--test Leaks --graph1 p --ewma standard", "EWMA of p or np"},
      {"--test Bursts --graph1 np", either},
      {"--test Bursts --graph1 p", either},
      {"--test Leaks --graph1 ppm", "ppm: defective units in a million"},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(Run("chart --db q.db " + std::string(row.options) + " -o r.xml").status, 0);
    for (const char* file : {"stored.svg", "stored.html"}) {
      ASSERT_EQ(Run("show r.xml -o " + std::string(file)).status, 0);
      EXPECT_NE(Text(folder_.File(file)).find(">" + row.title + "<"), std::string::npos)
          << row.options << ' ' << file;
    }
    const auto text = Run("show r.xml").out;
    EXPECT_NE(text.find(row.title), std::string::npos) << row.options << text;
  }
}

TEST_F(StoredChart, LosesWhatTheHowToSaysAndNothingElse) {
  Write("v.csv", kHead + Values("Bolt,Lathe,Length", 60, 4) + Values("Bolt,Mill,Length", 60, 4));
  Write("s.csv", "part,test,usl,lsl\nBolt,Length,11.5,9\n");
  Write("c.csv", "part,process,test,mean,sp\nBolt,Lathe,Length,10.1,0.5\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import s.csv --db q.db --kind limits").status, 0);
  ASSERT_EQ(Run("import c.csv --db q.db --kind control-limits").status, 0);
  Compared("--graph1 xbar --graph2 range --max 120 --group-by process");
  std::string counts = "part,process,test,subgroup,time,count,size\n";
  for (int i = 0; i < 9; ++i)
    counts += "Can,Line,Leaks," + std::to_string(i) + ",2024-03-01T0" + std::to_string(i) +
              ":00:00," + std::to_string(i % 4) + ",50\n";
  Write("p.csv", counts);
  ASSERT_EQ(Run("import p.csv --db q.db").status, 0);
  Compared("--test Leaks --graph1 p");

  // The table: lost | keys in the JSON | what is shown instead.
  const std::string how_to =
      Text((std::filesystem::path(ORVSPC_TESTS_DIR).parent_path() / "docs/how-to/xml.md").string());
  const std::size_t table = how_to.find("| lost | keys of the JSON |");
  ASSERT_NE(table, std::string::npos);
  std::istringstream lines(how_to.substr(table));
  std::vector<std::string> lost;
  std::set<std::string> keys;
  for (std::string line; std::getline(lines, line) && line.rfind('|', 0) == 0;) {
    const std::size_t second = line.find('|', 1), third = line.find('|', second + 1);
    lost.push_back(line.substr(2, second - 3));
    for (std::size_t from = line.find('`', second); from < third; from = line.find('`', from)) {
      const std::size_t to = line.find('`', from + 1);
      keys.insert(line.substr(from + 1, to - from - 1));
      from = to + 1;
    }
  }
  EXPECT_EQ(lost, (std::vector<std::string>{"lost", "-", "names", "texts", "rule texts", "groups",
                                            "tables"}));
  // The notes of both may be as many, and are others.
  if (std::erase_if(different_, [](const auto& key) { return key.starts_with("Notes."); }) > 0)
    different_.insert("Notes");
  EXPECT_EQ(different_, keys);
}

TEST_F(StoredChart, IsWrittenAgainWithoutItsLimitRows) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  ASSERT_EQ(Run("chart --db d/sample.db --part Ring -o r.xml").status, 0);
  const std::string text = Text(folder_.File("r.xml"));
  EXPECT_NE(text.find("<SpecLim "), std::string::npos);
  EXPECT_EQ(Run("show r.xml --format xml").out,
            std::regex_replace(text, std::regex("<(\\w+)><(SpecLim|CtrlLim) .*</\\1>"), "<$1/>"));
}

TEST_F(StoredChart, WithoutDataSaysSo) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  const Outcome written = Run("chart --db d/sample.db --since 2030-01-01 --format xml");
  EXPECT_EQ(written.status, 0);
  EXPECT_EQ(written.err.rfind("no data: 334 subgroups without --since 2030-01-01\n", 0), 0u)
      << written.err;
  Write("r.xml", written.out);
  const Outcome text = Run("show r.xml");
  EXPECT_EQ(text.status, 0);
  EXPECT_NE(text.out.find("no data selected"), std::string::npos) << text.out;
  EXPECT_TRUE(ParseJson(Run("show r.xml --format json").out).At("Graphs").elements.empty());
  for (const char* format : {"svg", "html", "xml"})
    EXPECT_EQ(Run(std::string("show r.xml --format ") + format).status, 0) << format;
}

// A text with every element that a reader needs.
std::string Result(const std::string& first, const std::string& graphs) {
  return "<CCResults>" + first + graphs +
         "<Statistics/><SpecificationLimits/><ControlLimits/><DefectOpportunities/><GroupData/>"
         "</CCResults>";
}

TEST_F(StoredChart, OfAnotherHandIsShownOrRefusedInOneLine) {
  const std::string rows =
      "<SubgroupData><Subgroups><Subgroup/><Subgroup F_SGTM='60'/></Subgroups><Tests><Test/>"
      "</Tests></SubgroupData>";
  const std::string settings = "<CCProcessing Graph1Type='1' Graph2Type='1' GroupBy='2'/>";
  struct Row {
    std::string text;
    int status;
    const char* says;
    const char* reason;
  };
  const Row table[] = {
      {Result("", "<GraphData/>"), 0, "no data selected", "nothing in it"},
      {Result(rows, "<GraphData SubgroupCount='2'/>"), 0, "no CCProcessing", "no settings"},
      {Result(settings + rows, "<GraphData SubgroupCount='2'/>"), 0, "", "no graph"},
      {Result(settings + rows,
              "<GraphData><Graph Index='0' cOOCs='0 0' Points='1 2'/></GraphData>"),
       0, "", "one graph, no counts"},
      {Result(settings + rows,
              "<GraphData><Graph Index='0' cOOCs='0 0' Points='1e308 -1e308' OOCs='-1 2'/>"
              "<Graph Index='1' cOOCs='0 0' Points='INF NaN' UCLs='-INF 5' SGSizes='-5 7'/>"
              "</GraphData>"),
       0, "rule 1", "figures at the end of the range, bits without rules"},
      {Result(settings + rows,
              "<GraphData><Graph Index='0' cOOCs='0 0' Points='1 2 3'/></GraphData>"),
       1, "Graph 1 has 3 values in Points for 2 subgroups", "a list too long"},
      {Result(settings + rows, "<GraphData><Graph Index='0' cOOCs='0' Points='1 2'/></GraphData>"),
       1, "Graph 1 has 1 values in cOOCs for 2 subgroups", "a list too short"},
      {Result(settings + "<SubgroupData><Subgroups><Subgroup Test_End='9'/></Subgroups><Tests>"
                         "<Test/></Tests></SubgroupData>",
              "<GraphData/>"),
       1, "Subscript out of range", "rows that are not there"},
      {Result(settings, "<GraphData SubgroupCount='x'/>"), 1, "Type mismatch", "no number"},
      {"<CCResults/>", 1, "Missing object", "nothing that is needed"},
      {"<CCResults>", 1, "Node does not exist!", "cut"},
  };
  for (const Row& row : table) {
    Write("r.xml", row.text);
    for (const char* format : {"text", "json", "svg", "html"}) {
      const Outcome outcome = Run(std::string("show r.xml --format ") + format);
      EXPECT_EQ(outcome.status, row.status) << row.reason << ' ' << format << outcome.err;
      if (row.status == 0) {
        EXPECT_EQ(outcome.err, "") << row.reason << ' ' << format;
      } else {
        EXPECT_NE(outcome.err.find(row.says), std::string::npos) << row.reason << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << row.reason;
      }
      if (row.status == 0 && format == std::string("text")) {
        EXPECT_NE(outcome.out.find(row.says), std::string::npos) << row.reason << outcome.out;
      }
    }
  }
}

TEST_F(StoredChart, PicturesAreOfResultsAlone) {
  Write("d.xml", "<DataSelect/>");
  const Outcome outcome = Run("show d.xml --format svg");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("only text, json or xml"), std::string::npos) << outcome.err;
}

}  // namespace
}  // namespace orvspc::host
