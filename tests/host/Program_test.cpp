// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/dom/Dom.h"
#include "engine/schema/schema.h"
#include "host/cli/Command.h"
#include "host/cli/Samples.h"
#include "host/cli/study/Study.h"
#include "platform/FixedText.h"
#include "platform/TimeText.h"
#include "tests/engine/store/version1_file.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/ProgramTest.h"

namespace orvspc::host {

using namespace cli;
namespace {

class Program : public ProgramTest {
 protected:
  // Ten single values around 10, the last one far out.
  void Import() {
    std::string csv = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 20; ++i)
      csv += "Bolt,Lathe,Length," + std::to_string(i + 1) + ",2024-03-01T" + (i < 10 ? "0" : "") +
             std::to_string(i) + ":00:00," +
             (i == 19      ? "20"
              : i % 2 == 0 ? "9.5"
                           : "10.5") +
             "\n";
    Write("values.csv", csv);
    ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  }
};

TEST_F(Program, ANewDatabaseIsRefusedBesideTheLogOfAnother) {
  Import();
  std::filesystem::rename(folder_.File("q.db"), folder_.File("kept.db"));
  Write("q.db-wal", "somebody's");
  const Outcome refused = Run("import values.csv --db q.db");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "orvspc import: q.db: q.db-wal is left from another database; move it away\n");
  EXPECT_FALSE(Exists("q.db"));
  EXPECT_EQ(Text(folder_.File("q.db-wal")), "somebody's");
}

TEST_F(Program, AnEmptyFileBesideTheLogOfAnotherIsRefused) {
  Import();
  for (const std::string ending : {"-wal", "-journal"}) {
    Write("s.db", "");
    Write("s.db" + ending, "somebody's");
    for (const std::string command :
         {"list --db s.db", "import values.csv --db s.db", "copy --db q.db --to s.db"}) {
      const Outcome refused = Run(command);
      EXPECT_EQ(refused.status, 1) << command;
      EXPECT_EQ(refused.err, "orvspc " + command.substr(0, command.find(' ')) + ": s.db: s.db" +
                                 ending + " is left from another database; move it away\n");
      EXPECT_EQ(Text(folder_.File("s.db")), "") << command;
      EXPECT_EQ(Text(folder_.File("s.db" + ending)), "somebody's") << command;
    }
    std::filesystem::remove(folder_.File("s.db" + ending));
  }
}

TEST_F(Program, SeveralImportsAtATimeAreAllStored) {
  Import();
  constexpr int kPrograms = 6, kLines = 3000;
  std::string all = ":";
  std::map<std::string, std::string> addresses;
  for (int i = 0; i < kPrograms; ++i) {
    const std::string name = "part" + std::to_string(i);
    std::string csv = "part,process,test,subgroup,time,value\n";
    for (int line = 0; line < kLines; ++line)
      csv += name + ",Lathe,Length," + std::to_string(line) + ",2024-03-" +
             std::to_string(10 + line % 20) + "T00:00:00," + std::to_string(line % 7) + "\n";
    Write(name + ".csv", csv);
    all += " & { '" + ProgramPath() + "' " +
           WithAddresses("import " + name + ".csv --db q.db >" + name, addresses) +
           " 2>&1; echo $? >>" + name + "; }";
  }
  Write("all.sh", all + " & wait\n");
  ASSERT_EQ(std::system(("cd '" + folder_.Path() + "' && sh all.sh").c_str()), 0);
  const auto listed = Run("list part --db q.db").out;
  for (int i = 0; i < kPrograms; ++i) {
    const std::string name = "part" + std::to_string(i);
    EXPECT_TRUE(Text(folder_.File(name)).ends_with("\n0\n")) << Text(folder_.File(name));
    EXPECT_NE(listed.find(name), std::string::npos) << listed;
  }
}

TEST_F(Program, EveryNameOfADatabaseIsTheNameOfAFile) {
  Import();
  for (const std::string name : {":memory:", "file:other.db", "file:q.db?mode=ro"}) {
    EXPECT_EQ(Run("import values.csv --db '" + name + "'").status, 0) << name;
    EXPECT_TRUE(Exists(name)) << name;
    EXPECT_NE(Run("list --db '" + name + "'").out.find("Bolt"), std::string::npos) << name;
  }
  EXPECT_FALSE(Exists("other.db"));
}

TEST_F(Program, ACopyIsComparedAndDrawsTheSameChart) {
  Import();
  const auto copied = Run("copy --db q.db --to copy.db");
  EXPECT_EQ(copied.status, 0) << copied.err;
  EXPECT_NE(copied.out.find(" copied and compared\ndigest "), std::string::npos) << copied.out;
  const std::string chart = " --part Bolt --graph1 individuals --graph2 mr --format json";
  EXPECT_EQ(Run("chart --db q.db" + chart).out, Run("chart --db copy.db" + chart).out);

  const auto again = Run("copy --db q.db --to copy.db");
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.err, "orvspc copy: copy.db: the database to copy into holds data already\n");

  EXPECT_EQ(Run("copy --db q.db --to none.db --part nobody").status, 1);
  EXPECT_FALSE(Exists("none.db"));
  EXPECT_EQ(Run("copy --db q.db").status, 2);
}

TEST_F(Program, ACopyHasTheStatesThatAreAskedFor) {
  Import();
  for (const std::string change : {"flag '#3' --to disabled", "flag '#4' --to disabled"}) {
    const auto done = Run("edit " + change + " --db q.db --reason 'trial run'");
    ASSERT_EQ(done.status, 0) << done.err;
  }
  const struct {
    std::string options, says;
  } cases[] = {{"--part Bolt", "20 measurements, "},
               {"--part Bolt --state enabled", "18 measurements, "},
               {"--state disabled", "2 measurements, "},
               {"--state disabled,enabled", "20 measurements, "}};
  for (const auto& [options, says] : cases) {
    const auto copied = Run("copy --db q.db --to copy.db " + options);
    EXPECT_TRUE(copied.out.starts_with(says)) << options << ": " << copied.out << copied.err;
    folder_.RemoveStore("copy.db");
  }
}

TEST_F(Program, NamesAreListedAlsoWhereValuesAreDamaged) {
  std::string csv = "part,process,test,subgroup,time,value\nNut,Lathe,Length,0,2024-02-01,7\n";
  for (int i = 0; i < 200; ++i) {
    csv += "Bolt,Lathe,Length," + std::to_string(i) + "," +
           platform::IsoText(1'709'280'000 + 60 * i) + "Z,1\n";
  }
  Write("many.csv", csv);
  ASSERT_EQ(Run("import many.csv --db q.db").status, 0);
  tests::ChangeRows(folder_.Store("q.db"), "UPDATE measurement_chunk SET packed = zeroblob(64)");
  const auto listed = Run("list --db q.db parts");
  EXPECT_EQ(listed.status, 1) << listed.err;
  EXPECT_LT(listed.out.find("Bolt"), listed.out.find("Nut")) << listed.out;
  EXPECT_TRUE(listed.err.starts_with("note: subgroups of the kind part are not counted: "))
      << listed.err;
  EXPECT_NE(listed.err.find("The values of Bolt / Lathe / Length"), std::string::npos)
      << listed.err;
  const auto json = Run("list --db q.db parts --format json").out;
  EXPECT_NE(json.find("\"Subgroups\": null, \"First\": null"), std::string::npos) << json;
  const auto copied = Run("copy --db q.db --to copy.db --part Nut");
  EXPECT_TRUE(copied.out.starts_with("1 measurement, ")) << copied.out << copied.err;
}

TEST_F(Program, ChartOfImportedValuesShowsThePointOutsideInEveryFormat) {
  Import();
  const std::string chart = "chart --db q.db --part Bolt --graph1 individuals --graph2 mr ";
  const Outcome text = Run(chart);
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.err, "");
  EXPECT_NE(text.out.find("1 point beyond a control limit"), std::string::npos) << text.out;
  EXPECT_EQ(text.out.find('\x1b'), std::string::npos);

  for (const std::string format : {"json", "svg", "html"}) {
    const Outcome outcome = Run(chart + "-o chart." + format);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(Text(folder_.File("chart." + format)).find("1 point beyond a control limit"),
              std::string::npos)
        << format;
  }
}

TEST_F(Program, ChartJsonHasTheContractsKeysInOrder) {
  Import();
  const Outcome outcome = Run("chart --db q.db --part Bolt --format json");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const ParsedJson document = ParseJson(outcome.out);
  EXPECT_EQ(document.Keys(),
            (std::vector<std::string>{"Processing", "DataSelect", "TotalSubgroups", "TotalGroups",
                                      "MeanEstimate", "SPEstimate", "SWEstimate", "Subgroups",
                                      "Graphs", "SpecLims", "CtrlLims", "DefOpps", "Groups",
                                      "Streams", "AcceptanceLimits", "Notes"}));
  EXPECT_EQ(document.At("Graphs[0]").Keys(),
            (std::vector<std::string>{"Type",    "Requested", "SGSizes", "Points", "cOOCs",
                                      "OOCs",    "OOSs",      "AFlags",  "EFlags", "USLs",
                                      "Targets", "LSLs",      "cUCLs",   "cCLs",   "cLCLs",
                                      "UCLs",    "Cls",       "LCLs",    "cRules", "Rules"}));
  EXPECT_EQ(document.At("Subgroups[0].PartName").text, "Bolt");
  EXPECT_EQ(document.At("Subgroups[0].Sgtm").text, "2024-03-01T00:00:00");
  EXPECT_EQ(document.At("Graphs[0].Type").text, "individuals");
}

TEST_F(Program, StreamsOfACoefficientOfVariationHaveItsEstimate) {
  Write("v.csv",
        "part,process,test,subgroup,time,value\n"
        "A,P,T,1,2024-01-01T00:00,10\nA,P,T,1,2024-01-01T00:00,12\n"
        "A,P,T,2,2024-01-01T01:00,11\nA,P,T,2,2024-01-01T01:00,14\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const std::string chart = "chart --db q.db --graph1 xbar --format json --graph2 ";
  const ParsedJson cv = ParseJson(Run(chart + "cv").out);
  // W is s/mean; W/c4 is gamma (1 + gamma^2/2) in the mean.
  constexpr double kC4 = 0.797884560802865;
  const double mean = (std::sqrt(2.0) / 11.0 + 3.0 / std::sqrt(2.0) / 12.5) / 2.0 / kC4;
  const double gamma = cv.At("Streams[0].Gamma.Value").number;
  EXPECT_NEAR(gamma * (1.0 + gamma * gamma / 2.0), mean, 1e-12);
  EXPECT_EQ(ParseJson(Run(chart + "sd").out).At("Streams[0]").Keys(),
            (std::vector<std::string>{"Part", "PartName", "Prcs", "PrcsName", "Test", "TestName",
                                      "Mean", "SP", "SW", "AverageSize"}));
}

TEST_F(Program, VersionNamesTheSchemaThatNewDatabasesHave) {
  Import();
  const Outcome outcome = Run("--version");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out.rfind("orvspc 6.", 0), 0u) << outcome.out;
  // SQLite keeps the user version in the header of the file, the most significant byte first.
  const std::string file = Text(folder_.File("q.db"));
  ASSERT_GT(file.size(), 63u);
  ASSERT_EQ(file.substr(60, 3), std::string(3, '\0'));
  const int schema = static_cast<unsigned char>(file[63]);
  EXPECT_NE(outcome.out.find("\nschema    " + std::to_string(schema) + "\n"), std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find("SQLite"), std::string::npos) << outcome.out;
}

TEST_F(Program, DataJsonHasTheContractsKeysInOrder) {
  Import();
  const ParsedJson document = ParseJson(Run("data --db q.db --format json").out);
  EXPECT_EQ(document.Keys(),
            (std::vector<std::string>{"DataSelect", "TotalSubgroups", "TotalGroups", "TotalTests",
                                      "TotalDescriptors", "Subgroups", "Notes"}));
  EXPECT_EQ(document.At("TotalSubgroups").number, 20);
  EXPECT_EQ(document.At("Subgroups[19].Tests[0].Val").number, 20);
}

TEST_F(Program, StoredDataIsShownWithoutADatabase) {
  Import();
  ASSERT_EQ(Run("data --db q.db --max 3 -o d.xml").status, 0);
  const Outcome shown = Run("show d.xml --format json");
  ASSERT_EQ(shown.status, 0) << shown.err;
  const ParsedJson document = ParseJson(shown.out);
  EXPECT_EQ(document.At("TotalSubgroups").number, 3);
  EXPECT_EQ(document.At("Subgroups[2].Tests[0].Val").number, 20);
  EXPECT_EQ(Run("show d.xml --format xml").out, Text(folder_.File("d.xml")));
}

// The units of a text with their byte order mark.
std::string InUtf16(const std::string& text, bool low_byte_first) {
  std::string bytes;
  for (const char16_t unit : u'\uFEFF' + platform::ToUtf16(text)) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += {low_byte_first ? low : high, low_byte_first ? high : low};
  }
  return bytes;
}

TEST_F(Program, ShowTakesAChartInUtf16WithAByteOrderMark) {
  Import();
  ASSERT_EQ(Run("chart --db q.db -o c.xml").status, 0);
  const std::string xml = Text(folder_.File("c.xml")), drawn = Run("show c.xml").out;
  ASSERT_NE(drawn, "");
  for (const std::string declaration :
       {"", "<?xml version=\"1.0\"?>\r\n", "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n",
        "<?xml version='1.0' encoding='utf-16BE'?>"}) {
    for (const bool low_byte_first : {true, false}) {
      Write("w.xml", InUtf16(declaration + xml, low_byte_first));
      const Outcome outcome = Run("show w.xml");
      EXPECT_EQ(outcome.status, 0) << declaration << outcome.err;
      EXPECT_EQ(outcome.out, drawn) << declaration;
    }
  }
  // Letters of two, three and four bytes, and the name of the encoding where it is none.
  const std::string name = "Gr\xC3\xB6\xC3\x9F\x65 \xE2\x82\xAC \xF0\x9F\x98\x80 UTF-16";
  const std::string bins = "<PABins><PABin ID=\"1\" Name=\"" + name +
                           "\" BinCount=\"3\" Factor=\"3\" Value=\"3\" Percent=\"100\" Total=\"3\" "
                           "Yield=\"0\" PPK=\"0\" Flag=\"0\" SGroupID=\"0\"/></PABins>";
  Write("w.xml", InUtf16(bins, true));
  const Outcome wide = Run("show w.xml --format json");
  ASSERT_EQ(wide.status, 0) << wide.err;
  EXPECT_EQ(ParseJson(wide.out).At("Bins[0].Name").text, name);
}

TEST_F(Program, ShowChecksTheDeclarationInUtf16AsInUtf8) {
  const std::string text = "<DataSelect MaximumItems=\"7\"/>";
  // ENCODING is that of the text, OTHER that of the other one.
  const struct {
    const char* declaration;
    bool is_taken;
  } kRows[] = {
      {"", true},
      {"<?xml version='1.0'?>", true},
      {"<?xml version='1.0' encoding='ENCODING'?>", true},
      {"<?xml\tversion=\"1.0\"\r\n encoding =\t\"ENCODING\" ?>\r\n", true},
      {"<?xml\r\nversion='1.0' encoding='ENCODING' standalone='yes'?>", true},
      {"<?xml-stylesheet href='encoding.css'?>", true},
      {"<?xml garbage?>", false},
      {"<?xml?>", false},
      {"<?xml version='1.1'?>", false},
      {"<?xml version='1.1' encoding='ENCODING'?>", false},
      {"<?xml version='1.0' encoding='OTHER'?>", false},
      {"<?xml version='1.0' encoding='windows-1252'?>", false},
      {"<?xml version='1.0' encoding=''?>", false},
      {"<?xml version='1.0' encoding='ENCODING\"?>", false},
      {"<?xml version='1.0' encoding?>", false},
      {"<?xml version='1.0' standalone='no' encoding='ENCODING'?>", false},
      {"<?xml version='1.0' encoding='ENCODING' x='1'?>", false},
      {"<?xml version='encoding=\"ENCODING\"'?>", false},
      {" <?xml version='1.0'?>", false},
      {"<?xml version='1.0' encoding='ENCODING'", false},
  };
  for (const auto& row : kRows) {
    for (const bool is_wide : {false, true}) {
      std::string declaration = row.declaration;
      for (const auto& [word, name] : {std::pair("ENCODING", is_wide ? "UTF-16" : "UTF-8"),
                                       std::pair("OTHER", is_wide ? "UTF-8" : "UTF-16")}) {
        const auto at = declaration.find(word);
        if (at != declaration.npos) declaration.replace(at, std::string(word).size(), name);
      }
      const std::string whole = declaration + text;
      Write("r.xml", is_wide ? InUtf16(whole, true) : whole);
      const Outcome outcome = Run("show r.xml --format json");
      EXPECT_EQ(outcome.status, row.is_taken ? 0 : 1) << declaration << outcome.err;
      EXPECT_EQ(outcome.out.find("7") != std::string::npos, row.is_taken) << declaration;
    }
  }
}

TEST_F(Program, ShowSaysThatAFileIsNoUtf8) {
  const std::string text = "<DataSelect MaximumItems=\"7\"/>";
  const std::string wide = InUtf16(text, true);
  const std::string no_utf8 = "r.xml: is no UTF-8, and no UTF-16 with a byte order mark\n";
  const std::string no_utf16 = "r.xml: is no UTF-16, which its byte order mark says\n";
  for (const auto& [bytes, says] : std::vector<std::pair<std::string, std::string>>{
           {"<DataSelect x=\"Gr\xF6\xDF"
            "e\"/>",
            no_utf8},
           {wide + "x", no_utf16},
           {wide + std::string("\x00\xD8", 2), no_utf16}}) {
    Write("r.xml", bytes);
    const Outcome outcome = Run("show r.xml");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "orvspc show: " + says);
  }
  // Without the mark an encoding that the text does not have is still refused.
  Write("r.xml", "<?xml version='1.0' encoding='UTF-16'?>" + text);
  EXPECT_EQ(Run("show r.xml").status, 1);
}

TEST_F(Program, ShowTakesTheSettingsObjectsAndRefusesOtherRoots) {
  struct Row {
    const char* text;
    int status;
    const char* says;
    const char* reason;
  };
  const Row rows[] = {
      {"<DataSelect MaximumItems=\"7\"/>", 0, "MaximumItems: 7", "selection"},
      {"<CCProcessing Graph1Type=\"3\"/>", 0, "Graph1Type: 3", "settings"},
      {"<SubgroupData/>", 0, "no data selected", "no subgroups"},
      {"<Other/>", 1, "Node does not exist!", "a root that is not known"},
      {"<CCResults/>", 1, "Missing object", "a result with nothing in it"},
      {"<DataSelect", 1, "Node does not exist!", "malformed"},
      {"", 1, "Node does not exist!", "empty"},
      {"part,process\nRing,Lathe\n", 1,
       "r.xml: is no result kept as XML, such as chart -o FILE.xml writes (Node does not exist!)",
       "another kind of file"},
      {"<Other/>", 1, "r.xml: is no result kept as XML", "the file of another root"},
      {"<Other/>", 1, "its root is <Other>", "the name of another root"},
      {"<DataSelect MaximumItems=\"x\"/>", 1, "", "no number"},
  };
  for (const auto& row : rows) {
    Write("r.xml", row.text);
    const Outcome outcome = Run("show r.xml");
    EXPECT_EQ(outcome.status, row.status) << row.reason << outcome.err;
    EXPECT_NE((outcome.out + outcome.err).find(row.says), std::string::npos)
        << row.reason << ": " << outcome.out << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), row.status) << row.reason;
  }
}

TEST_F(Program, AnImportNamesNewItemsAndThoseThatAreALetterAway) {
  Write("a.csv", "part,process,test,subgroup,time,value\nRing,Press A,Bore,1,2024-03-01,1\n");
  Run("import a.csv --db q.db");
  Write("b.csv",
        "part,process,test,lot,subgroup,time,value\nRung,Press A,Bore,L1,2,2024-03-01,1\n"
        "ring,Press A,Depth,L2,3,2024-03-01,1\n");
  const auto refused = Run("import b.csv --db q.db --no-create");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(
      refused.err,
      "orvspc import: b.csv: line 2, column \"part\", value \"Rung\": there is no part \"Rung\"; "
      "did you mean \"Ring\"?\n");
  EXPECT_EQ(Run("import b.csv --db q.db").out,
            "2 lines, 2 new subgroups, 2 rows stored, 5 new names\n"
            "new: part \"Rung\" (or \"Ring\"?), part \"ring\" (or \"Ring\"?), test \"Depth\"\n");
  Write("c.csv",
        "part,process,test,lot,subgroup,time,value\nRing,Press A,Bore,L3,4,2024-03-02,1\n");
  EXPECT_EQ(Run("import c.csv --db q.db --no-create").out,
            "1 line, 1 new subgroup, 1 row stored, 1 new name\n")
      << "a lot is new every day";
  std::string many = "part,process,test,subgroup,time,value\n";
  for (int i = 10; i < 22; ++i) {
    many += "P" + std::to_string(i) + ",Press A,Bore,1,2024-03-03,1\n";
  }
  Write("d.csv", many);
  const auto said = Run("import d.csv --db q.db").out;
  EXPECT_NE(said.find("\"P19\""), said.npos) << said;
  EXPECT_EQ(said.find("\"P20\""), said.npos) << said;
}

TEST_F(Program, StandardInputIsImportedFromAPipe) {
  Import();
  const Outcome piped = Run("import /dev/stdin --db piped.db", "values.csv");
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.out,
            "20 lines, 20 new subgroups, 20 rows stored, 3 new names\n"
            "new: part \"Bolt\", process \"Lathe\", test \"Length\"\n");
  Write("one.csv", "part,process,test,subgroup,time,value\nNut,Mill,Bore,1,2024-03-01,1\n");
  EXPECT_EQ(Run("import one.csv --db one.db").out,
            "1 line, 1 new subgroup, 1 row stored, 3 new names\n"
            "new: part \"Nut\", process \"Mill\", test \"Bore\"\n");
  EXPECT_NE(Run("import . --db piped.db").err.find("is a folder"), std::string::npos);
  EXPECT_NE(Run("import none.csv --db piped.db").err.find("cannot be read: No such file"),
            std::string::npos);
}

TEST_F(Program, AnOptionIsNotTheValueOfAnother) {
  EXPECT_EQ(Run("chart --db q.db --part --test Diameter").err,
            "orvspc chart: --part needs a value: NAME\n");
}

TEST_F(Program, ListTellsIdentifiersCountsAndTimes) {
  Import();
  const Outcome text = Run("list parts --db q.db");
  EXPECT_EQ(text.status, 0) << text.err;
  for (const char* piece : {"Bolt", "20", "2024-03-01T00:00:00", "2024-03-01T19:00:00"})
    EXPECT_NE(text.out.find(piece), std::string::npos) << piece;
  const ParsedJson document = ParseJson(Run("list --db q.db --format json").out);
  EXPECT_EQ(document.At("process[0].Name").text, "Lathe");
  EXPECT_EQ(document.At("test[0].Subgroups").number, 20);
}

TEST_F(Program, AFailureIsOneLineOnStandardErrorAndNothingElse) {
  struct Row {
    const char* line;
    int status;
    const char* reason;
  };
  Import();
  Write("no.db", "this is no database, but long enough to look like a file of some kind");
  const Row rows[] = {
      {"chart --db absent.db", 1, "no such file"},
      {"chart --db no.db", 1, "no database"},
      {"chart --db q.db --part Nut", 1, "no such part"},
      {"chart --db q.db --format svg -o absent/c.svg", 1, "no such folder"},
      {"import absent.csv --db new.db", 1, "no such CSV"},
      {"chart", 2, "no --db"},
      {"chart --db q.db --db q.db", 2, "given twice"},
      {"chart --db q.db nonsense", 2, "a word too many"},
      {"import --db q.db", 2, "no file"},
      {"import values.csv --db q.db --kind fruit", 2, "no such kind"},
      {"nonsense", 2, "no such command"},
      {"list --db q.db ''", 2, "a list without a name"},
      {"list --db q.db fruit", 2, "no such list"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = Run(row.line);
    EXPECT_EQ(outcome.status, row.status) << row.reason << ": " << outcome.err;
    EXPECT_EQ(outcome.out, "") << row.reason;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1)
        << row.reason << ": " << outcome.err;
  }
  EXPECT_FALSE(Exists("absent.db"));
  EXPECT_FALSE(Exists("new.db"));
}

TEST_F(Program, NothingSelectedIsNoFailure) {
  Import();
  const std::string chart = "chart --db q.db --since 2030-01-01 ";
  const Outcome text = Run(chart);
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_NE(text.out.find("no data selected"), std::string::npos);
  const Outcome json = Run(chart + "--format json");
  EXPECT_EQ(json.status, 0) << json.err;
  EXPECT_NE(json.err.find("without --since 2030-01-01\n"), std::string::npos) << json.err;
  EXPECT_TRUE(ParseJson(json.out).At("Graphs").elements.empty());
}

TEST_F(Program, EveryCommandHasHelpWithAnExample) {
  for (const std::string command :
       {"import", "list", "chart", "capability", "data", "show", "set", "log", "demo"}) {
    const Outcome outcome = Run(command + " --help");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("example:\n  orvspc " + command), std::string::npos) << command;
  }
}

TEST_F(Program, HelpOfImportListsTheKindsAndTheColumnsOfOne) {
  const Outcome kinds = Run("import --help");
  EXPECT_EQ(kinds.status, 0);
  EXPECT_NE(kinds.out.find("\n  control-limits    limits by which"), std::string::npos)
      << kinds.out;
  EXPECT_EQ(kinds.out.find("usl"), std::string::npos) << kinds.out;
  EXPECT_EQ(kinds.out.find("acc-codes"), kinds.out.rfind("acc-codes")) << "each kind once";
  const Outcome columns = Run("import --kind limits --help");
  EXPECT_EQ(columns.status, 0);
  EXPECT_NE(columns.out.find("needs:\n  part              name\n  test "), std::string::npos)
      << columns.out;
  EXPECT_NE(columns.out.find("\n  usl               upper specification limit"), std::string::npos)
      << columns.out;
  EXPECT_EQ(Run("import --kind odd --help").status, 2);
}

TEST_F(Program, ImportPrintsNotesAboutLinesThatItStored) {
  Write("limits.csv", "part,test,usl,target,lsl\nA,T,3,4,1\nA,U,3,2,1\n");
  const Outcome outcome = Run("import limits.csv --kind limits --db q.db");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "2 lines, 2 rows stored, 3 new names\nnew: part \"A\", test \"T\", test \"U\"\n");
  EXPECT_EQ(outcome.err,
            "note: limits.csv: line 2, column \"target\", value \"4\": lies outside the "
            "specification limits\n");
}

TEST_F(Program, HelpThatCannotBeWrittenIsAFailure) {
  const int raw =
      std::system(("'" + ProgramPath() + "' chart --help >/dev/full 2>/dev/null").c_str());
  EXPECT_EQ(WEXITSTATUS(raw), 1);
}

TEST_F(Program, TheDemoDrawsEveryPictureTwiceOver) {
  Outcome outcome;
  for (int round = 0; round < 2; ++round) {  // the second one replaces what the first one left
    outcome = Run("demo 'a b'");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("UCL 1.693"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("a b/index.html"), std::string::npos);
  }
  // It prints commands that a shell takes.
  for (const std::string word : {"chart", "capability"}) {
    const auto at = outcome.out.find("orvspc " + word + " --db 'a b/sample.db'");
    ASSERT_NE(at, std::string::npos) << outcome.out;
    const auto line = outcome.out.substr(at + 7, outcome.out.find('\n', at) - at - 7);
    EXPECT_EQ(Run(line).status, 0) << line;
  }

  const std::string index = Text(folder_.File("a b/index.html"));
  std::set<std::string> pictures, studies;
  for (const auto& file : std::filesystem::directory_iterator(folder_.File("a b"))) {
    if (file.path().extension() != ".svg") continue;
    const auto name = file.path().stem().string();
    pictures.insert(name);
    EXPECT_TRUE(engine::dom::MakeXmlDocument()->LoadXml(Text(file.path().string()))) << name;
    for (const std::string ending : {".svg", ".html", ".json"}) {
      EXPECT_TRUE(Exists("a b/" + name + ending)) << name << ending;
      EXPECT_NE(index.find("\"" + name + ending + "\""), std::string::npos) << name << ending;
    }
    const auto figures = ParseJson(Text(folder_.File("a b/" + name + ".json")));
    if (name.starts_with("study-")) studies.insert(figures.At("Study").text);
  }
  for (const std::string name :
       {"flow-width", "flow-rate", "piston-rings", "two-presses", "purchase-orders-p",
        "purchase-orders-ppt", "purchase-orders-ppm", "juice-cans-np", "circuit-boards-c",
        "circuit-boards-dpto", "circuit-boards-dpmo", "radiators-u"}) {
    EXPECT_TRUE(pictures.contains(name)) << name;
    EXPECT_FALSE(ParseJson(Text(folder_.File("a b/" + name + ".json")))
                     .At("Graphs[0].Points")
                     .elements.empty())
        << name;
  }
  for (const std::string name : {"ring-capability", "bottle-capability", "shaft-capability",
                                 "panel-defects", "filling-states", "filling-compliance"})
    EXPECT_TRUE(pictures.contains(name)) << name;
  for (const auto& command : StudyCommands()) {
    const std::string word = std::string(command.name).substr(std::string("study ").size());
    EXPECT_TRUE(studies.contains(word)) << word;
  }
  EXPECT_TRUE(Exists("a b/sample.db"));
}

TEST_F(Program, TheDemoWithoutPicturesMakesTheDatabaseAlone) {
  const Outcome outcome = Run("demo d --no-pictures");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(Run("chart --db d/sample.db --part Wafer").status, 0);
  EXPECT_TRUE(Exists("d/data/gage.csv"));
  EXPECT_FALSE(Exists("d/index.html"));
}

// Montgomery's charts of the table: samples 43 and 45 of phase II lie above the limits of phase I.
TEST_F(Program, DemoFindsThePublishedPointsOfTheFlowWidth) {
  ASSERT_EQ(Run("demo d --no-pictures").status, 0);
  const ParsedJson document =
      ParseJson(Run("chart --db d/sample.db --part Wafer --max 100 --format json").out);
  const auto& marks = document.At("Graphs[0].OOCs").elements;
  ASSERT_EQ(marks.size(), 45U);
  for (std::size_t i = 0; i < marks.size(); ++i) {
    const bool beyond = (static_cast<int>(marks[i].number) & 2) != 0;
    EXPECT_EQ(beyond, i == 42 || i == 44) << "sample " << i + 1;
  }
  EXPECT_NEAR(document.At("Graphs[0].UCLs[0]").number, 1.693, 0.0005);
  EXPECT_NEAR(document.At("Graphs[0].LCLs[0]").number, 1.318, 0.0005);
  EXPECT_NEAR(document.At("Graphs[1].UCLs[0]").number, 0.68749, 0.0002);
}

TEST_F(Program, ANoteSaysWhereTheDefaultCutTheData) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 10; i < 40; ++i)
    csv += "Bolt,Lathe,Length," + std::to_string(i) + ",2024-03-01T08:00:" + std::to_string(i) +
           "," + std::to_string(i % 3) + "\n";
  Write("values.csv", csv);
  ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  for (const std::string command : {"chart", "data"}) {
    const std::string line = command + " --db q.db ";
    const ParsedJson cut = ParseJson(Run(line + "--format json").out);
    ASSERT_EQ(cut.At("Notes").elements.size(), 1U) << command;
    EXPECT_EQ(cut.At("Notes[0].Code").text, "newest-only");
    EXPECT_EQ(cut.At("Notes[0].Text").text.rfind("newest 25 of 30 subgroups", 0), 0U) << command;
    EXPECT_NE(Run(line + "--format xml").err.find("note: newest 25 of 30"), std::string::npos);
    for (const std::string asked : {"--max 25 ", "--since 2024-03-01T08:00:15 "})
      EXPECT_TRUE(ParseJson(Run(line + asked + "--format json").out).At("Notes").elements.empty())
          << command << asked;
  }
  EXPECT_NE(Run("chart --db q.db --format svg").out.find("Note: newest 25 of 30"),
            std::string::npos);
}

TEST_F(Program, TheNewestAreDrawnAlsoWhereOlderOnesAreDamaged) {
  constexpr int kSubgroups = 1500;
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < kSubgroups; ++i) {
    csv += "Bolt,Lathe,Length," + std::to_string(i) + "," +
           platform::IsoText(1'709'280'000 + 60 * i) + "Z," + std::to_string(i % 7) + "\n";
  }
  Write("many.csv", csv);
  ASSERT_EQ(Run("import many.csv --db q.db").status, 0);
  const auto whole = Run("chart --db q.db --max 25");
  tests::ChangeRows(folder_.Store("q.db"),
                    "UPDATE measurement_chunk SET packed = zeroblob(64) WHERE first_subgroup = 1");
  EXPECT_EQ(Run("chart --db q.db --max 25").out, whole.out);
  EXPECT_EQ(Run("chart --db q.db --max 0").status, 1);
  for (const std::string command : {"chart", "data"}) {
    const auto drawn = Run(command + " --db q.db --format json");
    EXPECT_EQ(drawn.status, 0) << command << drawn.err;
    const auto document = ParseJson(drawn.out);
    EXPECT_EQ(document.At("Notes[0].Code").text, "newest-only") << command;
    const auto note = document.At("Notes[0].Text").text;
    EXPECT_TRUE(note.starts_with("newest 25 subgroups; older ones are not counted: ")) << note;
    EXPECT_NE(note.find("The values of Bolt / Lathe / Length"), std::string::npos) << note;
  }
  const auto stored = Run("chart --db q.db --format xml");
  EXPECT_EQ(stored.status, 0);
  EXPECT_NE(stored.err.find("note: newest 25 subgroups; older ones are not counted: "),
            std::string::npos)
      << stored.err;
}

// Notes look at other subgroups than those shown.
TEST_F(Program, AnalysesOfOtherStreamsAreWholeBesideDamage) {
  std::string values = "part,process,test,subgroup,time,value\n";
  std::string counts = "part,process,test,subgroup,time,count,size,test-type\n";
  for (int i = 0; i < 1500; ++i) {
    const auto at = std::to_string(i) + "," + platform::IsoText(1'709'280'000 + 60 * i) + "Z,";
    values += "Bolt,Lathe,Length," + at + std::to_string(i % 7) + "\n";
    counts += "Bolt,Lathe,Scrap," + at + std::to_string(i % 3) + ",50,defectives\n";
  }
  Write("v.csv", values);
  Write("c.csv", counts);
  Write("r.csv", "name,part,process,test,kind,n,minutes\nR,Bolt,Lathe,Length,interval,1,60\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import r.csv --kind requirements --db q.db").status, 0);
  const std::string length = " --db q.db --test Length --format json",
                    later = " --since 2030-01-01", march = " --since 2024-03-01 --until 2024-03-03";
  const auto samples = Run("compliance" + length + march), states = Run("states" + length + march);
  tests::ChangeRows(folder_.Store("q.db"),
                    "UPDATE measurement_chunk SET packed = zeroblob(64) WHERE stream IN (SELECT "
                    "s.id FROM stream s JOIN test t ON t.id = s.test WHERE t.name = 'Scrap')");
  EXPECT_EQ(Run("chart --db q.db --test Scrap --graph1 p").status, 1);
  EXPECT_EQ(Run("compliance" + length + march).out, samples.out);
  EXPECT_EQ(Run("states" + length + march).out, states.out);
  const auto chart = Run("chart --db q.db --format json");
  EXPECT_EQ(chart.status, 0) << chart.err;
  const auto notes = ParseJson(chart.out).At("Notes").elements;
  EXPECT_EQ(std::ranges::count_if(
                notes,
                [](const ParsedJson& note) {
                  return note.At("Code").text == "left-out" &&
                         note.At("Text").text.starts_with(
                             "other tests are not known: The values of Bolt / Lathe / Scrap");
                }),
            1)
      << chart.out.substr(chart.out.rfind("Notes"));
  // Of nothing: how many there are without a condition is a note as well.
  for (const std::string command : {"states", "compliance", "chart"}) {
    const auto empty = Run(command + length + later);
    EXPECT_EQ(empty.status, 0) << command << empty.err;
  }
}

// Whichever command opens the file first says so, once.
TEST_F(Program, AFileThatIsBroughtForwardIsNoted) {
  Import();
  const std::string sentence =
      "old.db was brought forward from schema 1 to 4; the former file is kept as old.db.v1.";
  std::string line = "note: " + sentence + "\n";
  const std::string no_limits =
      "note: Bolt / Lathe / Length: no control limits in force: orvspc limits propose\n";
  const auto make_old = [&] {
    for (const char* end : {"", "-wal", "-shm"})
      std::filesystem::remove(folder_.File("old.db") + end);
    tests::ChangeRows(folder_.File("old.db"), engine::store::kVersion1File);
  };
  for (const std::string command :
       {"list --db old.db", "list --db old.db --format json", "import values.csv --db old.db",
        "set --db old.db time_zone +02:00", "copy --db old.db --to copy.db",
        "data --db old.db --format xml"}) {
    make_old();
    const Outcome first = Run(command);
    EXPECT_EQ(first.status, 0) << command << first.err;
    EXPECT_EQ(first.err, (command.starts_with("import") ? no_limits : "") + line) << command;
    EXPECT_EQ(Run("list --db old.db").err, "") << command;
  }
  for (const std::string command :
       {"chart", "capability", "pareto", "data", "events", "states", "compliance"}) {
    make_old();
    const Outcome first = Run(command + " --db old.db --format json");
    EXPECT_EQ(first.status, 0) << command << first.err;
    EXPECT_EQ(first.err.find("brought forward"), std::string::npos) << command << first.err;
    const ParsedJson document = ParseJson(first.out);
    ASSERT_FALSE(document.At("Notes").elements.empty()) << command;
    EXPECT_EQ(document.At("Notes[0].Code").text, "brought-forward") << command;
    EXPECT_EQ(document.At("Notes[0].Text").text, sentence) << command;
    EXPECT_EQ(Run(command + " --db old.db --format json").out.find("brought"), std::string::npos);
  }
  make_old();
  const Outcome failed = Run("chart --db old.db --part Nobody");
  EXPECT_EQ(failed.status, 1);
  EXPECT_TRUE(failed.err.ends_with("\n" + line)) << failed.err;
  // The result, which has the note, is not there, or nobody can read it.
  for (const std::string command :
       {"chart --db old.db -o none/x.svg", "data --db old.db --format xml -o none/x.xml",
        "states --db old.db --format json -o none/x.json", "chart --db old.db -o /dev/full"}) {
    make_old();
    const Outcome lost = Run(command);
    EXPECT_EQ(lost.status, 1) << command;
    EXPECT_TRUE(lost.err.starts_with("orvspc ")) << command << lost.err;
    EXPECT_TRUE(lost.err.ends_with("\n" + line)) << command << lost.err;
    EXPECT_EQ(lost.err.find("brought"), lost.err.rfind("brought")) << command << lost.err;
  }
  make_old();
  // So many minutes that the analysis fails.
  tests::ChangeRows(folder_.File("old.db"),
                    std::string(engine::schema::Versions()[1].text) +
                        "INSERT INTO requirement(name, process, test, kind, n, minutes, who, made) "
                        "VALUES('R', 1, 1, 'interval', 1, 1, 'host', 1); PRAGMA user_version=2");
  line =
      "note: old.db was brought forward from schema 2 to 4; the former file is kept as "
      "old.db.v2.\n";
  const Outcome broken = Run("compliance --db old.db --since 1990-01-01 --until 2020-01-01");
  EXPECT_EQ(broken.status, 1) << broken.out;
  EXPECT_NE(broken.err.find("A sampling requirement has "), std::string::npos) << broken.err;
  EXPECT_TRUE(broken.err.ends_with("\n" + line)) << broken.err;
}

TEST_F(Program, EveryListHasTextAndJson) {
  Import();
  Write("l.csv",
        "part,test,usl,lsl,effective\nBolt,Length,12,8,\nBolt,Length,11,9,2024-03-01T10:00:00\n"
        "Bolt,Length,10.5,9.5,2037-01-01\n");
  ASSERT_EQ(Run("import l.csv --db q.db --kind limits").status, 0);
  const ParsedJson limits = ParseJson(Run("list limits --db q.db --format json").out);
  ASSERT_EQ(limits.At("limits").elements.size(), 3U);
  EXPECT_EQ(limits.At("limits[0].Effective").kind, ParsedJson::Kind::Null);
  EXPECT_EQ(limits.At("limits[1].USL").number, 11);
  for (const std::size_t row : {0U, 1U, 2U})
    EXPECT_EQ(limits.At("limits[" + std::to_string(row) + "].InForce").boolean, row == 1) << row;
  const ParsedJson streams = ParseJson(Run("list streams --db q.db --format json").out);
  EXPECT_EQ(streams.At("stream[0].Process").text, "Lathe");
  EXPECT_EQ(streams.At("stream[0].Subgroups").number, 20);
  EXPECT_EQ(streams.At("stream[0].Last").text, "2024-03-01T19:00:00");
  for (const std::string what :
       {"streams", "descriptors", "groups", "rule-sets", "settings", "chart-options", "limits",
        "control-limits", "opportunities", "net-contents", "defects", "acc-code", "state-codes"}) {
    const Outcome text = Run("list " + what + " --db q.db");
    EXPECT_EQ(text.status, 0) << what << text.err;
    EXPECT_NE(text.out, "") << what;
    EXPECT_EQ(ParseJson(Run("list " + what + " --db q.db --format json").out).elements.size(), 1U)
        << what;
  }
}

TEST_F(Program, ControlLimitsAreListedOnceWithTheirOwnProcess) {
  Write("v.csv",
        "part,process,test,subgroup,time,value\nA,P1,T,1,2024-03-01T08:00:00,10\n"
        "A,P2,T,1,2024-03-01T08:00:00,10\nB,P1,T,1,2024-03-01T08:00:00,10\n"
        "C,P1,T,1,2024-03-01T08:00:00,10\n");
  Write("c.csv",
        "part,process,test,effective,mean,sp\nA,,T,,10,1\nA,P1,T,,11,2\nB,,T,,12,\nB,P1,T,,13,\n"
        "C,P1,T,,14,1\nC,,T,2024-01-01,15,1\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import c.csv --db q.db --kind control-limits").status, 0);
  const ParsedJson list = ParseJson(Run("list control-limits --db q.db --format json").out);
  ASSERT_EQ(list.At("control-limits").elements.size(), 6U);
  struct Row {
    const char* part;
    const char* process;  // null: any
    double mean, sp;      // sp 0: not given
    bool in_force;
    const char* reason;
  };
  const Row rows[] = {{"A", nullptr, 10, 1, true, "P2 has no row of its own"},
                      {"A", "P1", 11, 2, true, "its own row comes first"},
                      {"B", nullptr, 12, 0, false, "the only process has a row of its own"},
                      {"B", "P1", 13, 0, true, "no sigma"},
                      {"C", "P1", 14, 1, false, "that of every process is newer"},
                      {"C", nullptr, 15, 1, true, "the newest row"}};
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const std::string at = "control-limits[" + std::to_string(i) + "].";
    const auto& row = rows[i];
    EXPECT_EQ(list.At(at + "Part").text, row.part) << row.reason;
    EXPECT_EQ(list.At(at + "Process").kind == ParsedJson::Kind::Null, row.process == nullptr);
    EXPECT_EQ(list.At(at + "Process").text, row.process ? row.process : "") << row.reason;
    EXPECT_EQ(list.At(at + "Mean").number, row.mean) << row.reason;
    EXPECT_EQ(list.At(at + "InForce").boolean, row.in_force) << row.reason;
    EXPECT_EQ(list.At(at + "SP").kind == ParsedJson::Kind::Null, row.sp == 0) << row.reason;
    EXPECT_EQ(list.At(at + "SP").number, row.sp) << row.reason;
    EXPECT_EQ(list.At(at + "SW").kind, ParsedJson::Kind::Null) << row.reason;
  }
  const std::string text = Run("list control-limits --db q.db").out;
  EXPECT_EQ(text,
            "part  test  process  effective            in force  mean  sp  sw\n"
            "A     T                                   yes         10   1\n"
            "A     T     P1                            yes         11   2\n"
            "B     T                                   no          12\n"
            "B     T     P1                            yes         13\n"
            "C     T     P1                            no          14   1\n"
            "C     T              2024-01-01T00:00:00  yes         15   1\n");
}

TEST_F(Program, TimesAreReadAsImportsReadThem) {
  struct Row {
    const char* time;
    int status;
    std::string_view reason = {};
  };
  Import();
  for (const Row& row : {Row{"2024-03-01T08:00:00.5", 0},
                         {"2024-03-01T08:00:00+1", 0},
                         {"2024-03-01T08:00+15:00", 2, platform::kNoTime},
                         {"2024-03-01", 0},
                         {" 2024-03-02 ", 0},
                         {"2050-01-01", 2, platform::kTimeOutOfRange},
                         {"yesterday", 2, platform::kNoTime}}) {
    const std::string time = row.time;
    const auto selected = Run("data --db q.db --since '" + time + "'");
    EXPECT_EQ(selected.status, row.status) << time;
    Write("t.csv", "part,process,test,subgroup,time,value\nNut,Lathe,Width,1," + time + ",1\n");
    const auto imported = Run("import t.csv --db t.db");
    EXPECT_EQ(imported.status, row.status == 0 ? 0 : 1) << time;
    for (const auto& message : {selected.err, imported.err})
      EXPECT_NE(message.find(row.reason), std::string::npos) << message;
  }
}

TEST_F(Program, HelpObeysTheTerminal) {
  for (const std::size_t columns : {60U, 80U})
    for (const std::string command :
         {"", "import", "list", "chart", "capability", "pareto", "data", "events", "states",
          "compliance", "show", "set", "log", "demo"}) {
      std::ostringstream out, err;
      Console console{out, err, false, false, columns};
      std::vector<std::string> words{"--help"};
      if (!command.empty()) words.insert(words.begin(), command);
      ASSERT_EQ(RunProgram(words, console), 0);
      std::istringstream lines(out.str());
      for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), columns) << line;
    }
}

TEST_F(Program, AWrappedExampleIsStillACommandLine) {
  Import();
  for (const std::size_t columns : {40U, 44U, 45U, 46U, 60U}) {
    std::ostringstream out, err;
    Console console{out, err, false, false, columns};
    ASSERT_EQ(RunProgram({"events", "--help"}, console), 0);
    const std::string example = out.str().substr(out.str().find("  orvspc events") + 9);
    ASSERT_NE(example.find(" \\\n"), std::string::npos) << example;
    const Outcome outcome = Run(example.substr(0, example.find_last_not_of('\n') + 1));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("no process is called \"Press A\""), std::string::npos)
        << columns << ": " << outcome.err;
  }
}

TEST_F(Program, HelpOfSettingsHangsBelowTheirDescriptions) {
  std::ostringstream out, err;
  Console console{out, err, false, false, 60};
  ASSERT_EQ(RunProgram({"set", "--help"}, console), 0);
  EXPECT_NE(out.str().find("\n  shift_starts     when shifts start, for samples that are\n" +
                           std::string(19, ' ') + "due once"),
            std::string::npos)
      << out.str();
}

TEST(Samples, AreTheFilesOfTheSourceTree) {
  const std::filesystem::path folder =
      std::filesystem::path(ORVSPC_TESTS_DIR).parent_path() / "host" / "samples";
  ASSERT_FALSE(cli::Samples().empty());
  for (const auto& sample : cli::Samples())
    EXPECT_EQ(sample.text, Text((folder / sample.file).string())) << sample.file;
}

// --- The log -------------------------------------------------------------------------------------

TEST_F(Program, TheLogIsListedInEveryFormat) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db --by Ann --station 'gauge 7' --reason 'first shift' "
                "--hash-source")
                .status,
            0);
  ASSERT_EQ(Run("edit flag '#1' --to disabled --reason 'tool, \"old\"' --by Bob --db q.db").status,
            0);
  const auto text = Run("log --db q.db");
  EXPECT_EQ(text.status, 0) << text.err;
  for (const auto* part : {"Ann", "first shift", "batch 1", "subgroup 1 test 1", "edit-flag"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part;
  }
  const auto json = ParseJson(Run("log --db q.db --format json").out);
  const auto& entries = json.At("Log").elements;
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[1].At("Who").text, "Ann");
  EXPECT_EQ(entries[1].At("Station").text, "gauge 7");
  EXPECT_EQ(entries[2].At("Hash").text, json.At("Head").text);
  const auto csv = Run("log --db q.db --format csv").out;
  EXPECT_EQ(csv.rfind("seq,at,who,system,station,operation,object,before,after,reason,program,"
                      "hash\r\n1,",
                      0),
            0U)
      << csv;
  EXPECT_NE(csv.find(",\"tool, \"\"old\"\"\","), std::string::npos) << csv;
  const auto html = Run("log --db q.db --format html").out;
  EXPECT_NE(html.find("tool, &quot;old&quot;"), std::string::npos);
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_EQ(
      ParseJson(Run("log --db q.db --object '#1' --format json").out).At("Log").elements.size(),
      1U);
  EXPECT_EQ(
      ParseJson(Run("log --db q.db --by Ann --max 1 --format json").out).At("Log").elements.size(),
      1U);
  EXPECT_EQ(Run("log --db q.db --data").status, 2);
  EXPECT_EQ(Run("log --db q.db --since yesterday").status, 2);
  EXPECT_EQ(Run("log --db q.db --by Zoe").out, "no entries\n");
  EXPECT_NE(Run("log --db q.db --by Zoe --format html").out.find("no entries"), std::string::npos);
}

TEST_F(Program, ACheckOfTheLogTakesNoFilterAndNoFormat) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  for (const auto* option : {"--object '#1'", "--by Ann", "--since 2024-01-01",
                             "--until 2024-01-01", "--operation import", "--max 1"}) {
    const auto checked = Run("log --db q.db --verify " + std::string(option));
    EXPECT_EQ(checked.status, 2) << option;
    EXPECT_NE(checked.err.find("--verify checks the whole log"), std::string::npos) << checked.err;
  }
  EXPECT_EQ(Run("log --db q.db --verify --format json").status, 2);
  EXPECT_EQ(Run("log --db q.db --verify --format text").status, 0);
  const auto to_file = Run("log --db q.db --verify --output checked.txt");
  EXPECT_EQ(to_file.status, 0) << to_file.err;
  EXPECT_EQ(to_file.out, "");
  EXPECT_TRUE(Text(folder_.File("checked.txt")).starts_with("2 entries, whole"));
}

TEST_F(Program, TheLogIsVerifiedAndAnchored) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const auto head = Run("log --db q.db --head");
  EXPECT_EQ(Run("log --db q.db --anchor anchors").out, head.out);
  const auto whole = Run("log --db q.db --verify --data --anchor anchors");
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(whole.out.rfind("2 entries, whole, head", 0), 0U) << whole.out;
  EXPECT_NE(whole.out.find("1 batch and 1 record compared, all as they were stored"),
            std::string::npos)
      << whole.out;
  EXPECT_EQ(Run("log --db q.db --verify --anchor none").status, 1);
  Write("others", "2c4f8a70-1111-4222-8333-444455556666 2 aa 2024-01-01T00:00:00\n");
  const auto none = Run("log --db q.db --verify --anchor others");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "log: others has no line of this database\n");
  Write("wrong", head.out.substr(0, 38) + " aa 2024-01-01T00:00:00\n");
  const auto wrong = Run("log --db q.db --verify --anchor wrong");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.err, "log: wrong line 1: entry 2 has another hash than it had then\n");
  EXPECT_EQ(wrong.out.rfind("2 entries, not whole, head", 0), 0U) << wrong.out;
}

}  // namespace
}  // namespace orvspc::host
