// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "engine/schema/schema.h"
#include "platform/TimeText.h"
#include "tests/engine/store/version1_file.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/program_fixture.h"

namespace orvspc::host {

namespace {

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
                             "other tests are not known: q.db: The values of Bolt / Lathe / Scrap");
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

}  // namespace
}  // namespace orvspc::host
