// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/Command.h"
#include "platform/TimeText.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/program_fixture.h"

namespace orvspc::host {

using namespace cli;
namespace {

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

}  // namespace
}  // namespace orvspc::host
