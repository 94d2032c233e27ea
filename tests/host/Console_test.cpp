// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine/Embedded.h"
#include "engine/sql/sqlite/SqliteConnection.h"
#include "host/cli/Command.h"
#include "platform/TimeText.h"
#include "tests/engine/store/version1_file.h"
#include "tests/engine/watched_device.h"
#include "tests/host/ParsedJson.h"
#include "tests/host/TemporaryFolder.h"
#include "tests/postgres/test_stores.h"

// The program in this process, on a console of our own making.
namespace orvspc::host {

using namespace cli;
namespace {

namespace fs = std::filesystem;

class OnConsole : public testing::Test {
 protected:
  using OnText = std::function<void(const std::string& so_far)>;
  // Keeps what is written, and says so at once.
  class Heard : public std::stringbuf {
   public:
    explicit Heard(const OnText& on_text) : on_text_(on_text) {}

   private:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
      const auto written = std::stringbuf::xsputn(text, size);
      if (on_text_) on_text_(str());
      return written;
    }
    const OnText& on_text_;
  };

  void SetUp() override { InstallEmbedded(); }

  int Run(const std::vector<std::string>& words, bool terminal = false) {
    std::ostringstream out;
    Heard heard(on_err_);
    std::ostream err(&heard);
    Console console{out, err, terminal, terminal, 100};
    const int status = RunProgram(words, console);
    out_ = out.str();
    err_ = heard.str();
    return status;
  }

  std::string File(const std::string& name) const { return folder_.File(name); }
  std::string Write(const std::string& name, const std::string& text) {
    std::ofstream(File(name), std::ios::binary) << text;
    return File(name);
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(File(name), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  // One stream a name, single values an hour apart; the last one far out.
  void Import(const std::vector<std::string>& parts, const std::string& comment = {}) {
    std::string csv = "part,process,test,subgroup,time,value,comment\n";
    for (const auto& part : parts)
      for (int i = 0; i < 20; ++i)
        csv += "\"" + part + "\",Lathe,Length," + std::to_string(i) + ",2024-03-01T" +
               (i < 10 ? "0" : "") + std::to_string(i) + ":00:00," +
               (i == 19      ? "20"
                : i % 2 == 0 ? "9.5"
                             : "10.5") +
               ",\"" + comment + "\"\n";
    ASSERT_EQ(Run({"import", Write("v.csv", csv), "--db", File("q.db")}), 0) << err_;
  }
  void Store(const std::string& kind, const std::string& csv) {
    ASSERT_EQ(Run({"import", Write("k.csv", csv), "--db", File("q.db"), "--kind", kind}), 0)
        << err_;
  }
  int Chart(std::vector<std::string> more) {
    std::vector<std::string> words{"chart", "--db", File("q.db"), "--graph1", "individuals"};
    words.insert(words.end(), more.begin(), more.end());
    return Run(words);
  }

  TemporaryFolder folder_;
  std::string out_, err_;
  OnText on_err_;
};

TEST_F(OnConsole, AnImportWaitsForAnotherProgramThatWritesAndSaysSo) {
  Import({"Bolt"});
  int ends[2], enough[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(pipe(enough), 0);
  const auto child = fork();
  if (child == 0) {
    const auto other = engine::sql::sqlite::OpenFile(File("q.db"), false, [](auto&) {});
    engine::sql::Transaction writing(*other, engine::sql::TransactionKind::Write);
    other->Execute("INSERT INTO part(id, name) VALUES(77, 'Theirs')");
    char said = 0;
    if (write(ends[1], "w", 1) != 1 || read(enough[0], &said, 1) != 1) _exit(1);
    writing.Commit();
    _exit(0);
  }
  char begun = 0;
  ASSERT_EQ(read(ends[0], &begun, 1), 1);
  const auto values = Write(
      "w.csv", "part,process,test,subgroup,time,value\nNut,Lathe,Length,1,2024-03-02T00:00:00,1\n");
  bool has_said = false;
  on_err_ = [&](const std::string& so_far) {
    if (has_said || so_far.find("q.db: 1 s") == std::string::npos) return;
    has_said = write(enough[1], "s", 1) == 1;
  };
  EXPECT_EQ(Run({"import", values, "--db", File("q.db")}, true), 0) << err_;
  on_err_ = {};
  int status = 1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_NE(err_.find("import: waiting for another program that writes " + File("q.db") + ": 0 s"),
            std::string::npos)
      << err_;
  EXPECT_NE(err_.find("q.db: 1 s"), std::string::npos) << err_;
  EXPECT_GT(err_.rfind("\r\x1b[K"), err_.find("q.db: 1 s")) << "the line goes";
  EXPECT_EQ(Run({"list", "parts", "--db", File("q.db")}), 0);
  for (const char* part : {"Bolt", "Nut", "Theirs"})
    EXPECT_NE(out_.find(part), std::string::npos) << out_;
}

TEST_F(OnConsole, TheReasonOfAFailedCopyTakesThePlaceOfItsProgress) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 60'000; ++i)
    csv += "Bolt,Lathe,Length," + std::to_string(i) + "," +
           platform::IsoText(1'700'000'000 + 60 * i) + "," + std::to_string(i % 97) + "\n";
  ASSERT_EQ(Run({"import", Write("v.csv", csv), "--db", File("q.db")}), 0) << err_;
  const auto copy = [&](std::int64_t bytes) {
    engine::WatchedDevice device(bytes);
    const int status = Run({"copy", "--db", File("q.db"), "--to", File("copy.db")}, true);
    return std::pair(status, device.Peak());
  };
  const std::string line = "\r\x1b[Kcopy: 50000 measurements";
  const auto [done, enough] = copy(INT64_MAX);
  EXPECT_EQ(done, 0);
  EXPECT_EQ(err_, line + "\r\x1b[K");
  fs::remove(File("copy.db"));
  EXPECT_EQ(copy(enough - 4096).first, 1);
  EXPECT_EQ(err_, line + "\r\x1b[Korvspc copy: " + File("copy.db") +
                      ": there is no room left on the device\n");
}

TEST_F(OnConsole, TheReasonWhyAFileIsNotBroughtForwardTakesThePlaceOfTheProgress) {
  tests::ChangeRows(File("old.db"), engine::store::kVersion1File);
  // With a hole at its end it is larger than what is free.
  fs::resize_file(File("old.db"), fs::space(folder_.Path()).available);
  EXPECT_EQ(Run({"list", "--db", File("old.db")}, true), 1);
  EXPECT_TRUE(err_.starts_with("\r\x1b[K" + File("old.db") + " is brought forward: 0 %\r\x1b[K" +
                               "orvspc list: " + File("old.db") + ": is of an older release"))
      << err_;
}

// A result need not end with its line.
TEST_F(OnConsole, WhereNoProgressIsShownNoLineIsCleared) {
  Import({"Bolt"});
  EXPECT_EQ(Run({"list", "--db", File("q.db")}, true), 0);
  EXPECT_EQ(err_, "");
  EXPECT_EQ(Run({"list", "--db", File("none.db")}, true), 1);
  EXPECT_TRUE(err_.starts_with("orvspc list: ")) << err_;
}

TEST_F(OnConsole, AFileNeverGetsTheColoursOfTheTerminal) {
  Import({"Bolt"});
  const std::vector<std::string> chart{"chart", "--db", File("q.db")};
  ASSERT_EQ(Run(chart, true), 0);
  EXPECT_NE(out_.find('\x1b'), std::string::npos);
  auto to_file = chart;
  to_file.insert(to_file.end(), {"-o", File("c.txt")});
  ASSERT_EQ(Run(to_file, true), 0);
  EXPECT_NE(Read("c.txt").find("UCL"), std::string::npos);
  EXPECT_EQ(Read("c.txt").find('\x1b'), std::string::npos);
}

TEST_F(OnConsole, ControlCharactersOfNamesAndCommentsStayInTheDatabase) {
  Import({"Bo\x1b[31mlt\xC2\x9B"}, "\x1b]0;title\x07");
  Store("groups", "kind,group,name\npart,G\x1b[2J,Bo\x1b[31mlt\xC2\x9B\n");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"list"},
                                                  {"list", "groups"},
                                                  {"data"},
                                                  {"chart"},
                                                  {"data", "--format", "json"},
                                                  {"chart", "--format", "json"},
                                                  {"chart", "--format", "svg"},
                                                  {"chart", "--format", "html"}}) {
    auto words = command;
    words.insert(words.end(), {"--db", File("q.db")});
    ASSERT_EQ(Run(words), 0) << err_;
    for (const char* raw : {"\x1b", "\x07", "\xC2\x9B"})
      EXPECT_EQ((out_ + err_).find(raw), std::string::npos) << words[0] << " " << words[1];
  }
  EXPECT_EQ(Run({"chart", "--db", File("q.db"), "--part", "\x1b[2J"}), 1);
  EXPECT_EQ(err_.find('\x1b'), std::string::npos);
}

TEST_F(OnConsole, ARefusedImportLeavesNoNewDatabaseAndNothingBesideIt) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 40'000; ++i) csv += "P,R,T," + std::to_string(i) + ",2024-03-01,1\n";
  const std::string bad = Write("bad.csv", csv + "P,R,T,1,x,1\n");
  EXPECT_EQ(Run({"import", bad, "--db", File("q.db")}, true), 1);
  EXPECT_EQ(err_.find("q.db.new"), std::string::npos) << err_;
  // What a terminal shows of the progress is cleared before the reason.
  EXPECT_TRUE(err_.starts_with("\r\x1b[Kimport: ")) << err_;
  EXPECT_NE(err_.find("\r\x1b[Korvspc import: " + bad), std::string::npos) << err_;
  const auto count = std::distance(fs::directory_iterator(fs::path(bad).parent_path()), {});
  EXPECT_EQ(count, 1) << "only the CSV file";

  Import({"Bolt"});
  EXPECT_EQ(Run({"import", bad, "--db", File("q.db")}), 1);
  EXPECT_EQ(Run({"list", "--db", File("q.db")}), 0);
  EXPECT_NE(out_.find("Bolt"), std::string::npos) << "one that was there stays";
}

TEST_F(OnConsole, TheDatabaseIsNotWrittenOver) {
  Import({"Bolt"});
  const std::string before = Read("q.db");
  fs::create_hard_link(File("q.db"), File("link.svg"));
  fs::create_symlink("q.db", File("soft.svg"));
  for (const char* name : {"q.db", "q.db-wal", "q.db-shm", "link.svg", "soft.svg", "./q.db"}) {
    EXPECT_EQ(Chart({"--format", "svg", "-o", File(name)}), 1) << name;
    EXPECT_NE(err_.find("belongs to the database"), std::string::npos) << err_;
  }
  EXPECT_EQ(Read("q.db"), before);
  EXPECT_EQ(Chart({"-o", File("other.svg")}), 0) << err_;
}

TEST_F(OnConsole, TimesOfLimitRowsThatAreNotGivenAreNull) {
  Import({"Bolt"});
  Store("control-limits", "part,test,mean,sp\nBolt,Length,10,1\n");
  ASSERT_EQ(Chart({"--format", "json"}), 0);
  const ParsedJson row = ParseJson(out_).At("CtrlLims[0]");
  for (const char* time : {"F_EFTM", "F_STTM", "F_FNTM"})
    EXPECT_EQ(row.At(time).kind, ParsedJson::Kind::Null) << time;
}

TEST_F(OnConsole, ACusumShowsNoSpecificationLimits) {
  Import({"Bolt"});
  Store("limits", "part,test,usl,target,lsl\nBolt,Length,12,10,8\n");
  for (const char* format : {"text", "svg", "html"}) {
    ASSERT_EQ(Chart({"--format", format}), 0);
    for (const char* limit : {"USL 12", "Target 10", "LSL 8"})
      EXPECT_NE(out_.find(limit), std::string::npos) << format << limit;
    ASSERT_EQ(Chart({"--format", format, "--cusum"}), 0);
    for (const char* limit : {"USL 12", "Target 10", "LSL 8"})
      EXPECT_EQ(out_.find(limit), std::string::npos) << format << limit;
  }
}

// The line beside the title of graph 1. By hand: 18 moving ranges of 1 and one of 10.5, mean 1.5;
// over d2 of 2, 1.128379.
TEST_F(OnConsole, TheCaptionSaysWhichLimitsHoldWhere) {
  struct Row {
    const char* limits;
    const char* says;
    const char* reason;
  };
  const Row rows[] = {
      {"", "20 subgroups, n = 1, sigma 1.32934 by mean moving range / d2", "calculated"},
      {"Bolt,,Length,10,1,", "stored limits: mean 10, sigma 1 (of these points: sigma 1.32934",
       "one row for all"},
      {"Nut,,Length,10,1,", "20 subgroups, n = 1, sigma", "a row of another part"},
      {"Bolt,Lathe,Length,10,1,2024-03-01T05:00:00", "first 5 calculated (sigma 1.32934",
       "a row that begins inside"},
      {"Bolt,Lathe,Length,10,1,2024-03-01T05:00:00", "stored limits from 2024-03-01 05:00: mean 10",
       "and its time"},
      {"Bolt,,Length,10,0,", "stored limits: mean 10, sigma from the points", "only a mean"},
      {"Bolt,,Length,10,1,2025-01-01", "20 subgroups, n = 1, sigma", "a row of later times"},
  };
  for (const auto& row : rows) {
    fs::remove(File("q.db"));
    Import({"Bolt"});
    Import({"Nut"});
    if (*row.limits != '\0')
      Store("control-limits",
            "part,process,test,mean,sp,effective\n" + std::string(row.limits) + "\n");
    ASSERT_EQ(Chart({"--part", "Bolt", "--format", "html"}), 0);
    EXPECT_NE(out_.find(row.says), std::string::npos) << row.reason;
  }
  // Two streams, one of them with stored limits.
  Store("control-limits", "part,test,mean,sp\nNut,Length,10,1\n");
  ASSERT_EQ(Chart({"--max", "40", "--format", "html"}), 0);
  EXPECT_NE(out_.find("stored limits at 20 points, elsewhere limits of each stream"),
            std::string::npos);
}

TEST_F(OnConsole, ThePictureTellsHowManySubgroupsAreUsed) {
  ASSERT_EQ(Run({"import",
                 Write("v.csv",
                       "part,process,test,subgroup,time,value,flag\nP,R,T,1,2024-01-01,1,0\n"
                       "P,R,T,2,2024-01-02,2,1\nP,R,T,3,2024-01-03,1,0\n"),
                 "--db", File("q.db")}),
            0)
      << err_;
  ASSERT_EQ(Chart({}), 0);
  EXPECT_NE(out_.find("3 subgroups, 2 used"), std::string::npos) << out_;
  EXPECT_NE(out_.find("x disabled or incomplete"), std::string::npos);
}

TEST_F(OnConsole, MeansOfReadingsDoNotMakeLimitsLonger) {
  std::string csv = "part,process,test,subgroup,time,value,tsno,sbno\n";
  for (int i = 0; i < 10; ++i)
    for (int reading = 1; reading <= 3; ++reading)
      csv += "P,R,T," + std::to_string(i) + ",2024-01-" + std::to_string(i + 10) + ",10." +
             std::to_string((i * 7 + reading * 3) % 10) + ",1," + std::to_string(reading) + "\n";
  ASSERT_EQ(Run({"import", Write("v.csv", csv), "--db", File("q.db")}), 0) << err_;
  ASSERT_EQ(Chart({}), 0);
  const auto at = out_.find("UCL ");
  ASSERT_NE(at, std::string::npos) << out_;
  const std::string value = out_.substr(at + 4, out_.find_first_of(" \n", at + 4) - at - 4);
  EXPECT_LE(value.size() - value.find('.') - 1, 3U) << value;
}

// Each row of limits says how many subgroups it is of; streams that read alike share the note.
TEST_F(OnConsole, ANoteNamesTheSubgroupsBehindTheLimits) {
  Import({"Bolt", "Nut"});
  Store("control-limits",
        "part,process,test,mean,sp,effective\nBolt,Lathe,Length,10,0.5,2024-01-10\n"
        "Nut,Lathe,Length,10,0.5,2024-01-10T06:30\n");
  {
    const auto file = engine::sql::sqlite::OpenFile(File("q.db"), false, [](auto&) {});
    file->Execute("UPDATE control_limit SET used = 25");
  }
  const std::string bolt = "note: limits in force since 2024-01-10, from 25 subgroups\n";
  ASSERT_EQ(Chart({"--part", "Bolt"}), 0);
  EXPECT_NE(out_.find(bolt), std::string::npos) << out_;
  ASSERT_EQ(Chart({"--max", "0"}), 0);
  EXPECT_NE(out_.find("note: Bolt / Lathe / Length: limits in force since 2024-01-10, from 25"),
            std::string::npos)
      << out_;
  EXPECT_NE(
      out_.find("note: Nut / Lathe / Length: limits in force since 2024-01-10 06:30, from 25"),
      std::string::npos)
      << out_;
}

TEST_F(OnConsole, NoDataIsSaidOnce) {
  Import({"Bolt"});
  for (const char* format : {"text", "svg", "html", "json"}) {
    ASSERT_EQ(Chart({"--since", "2030-01-01", "--allow-empty", "--format", format}), 0);
    std::string said = out_ + err_;
    std::transform(said.begin(), said.end(), said.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_NE(said.find("without --since 2030-01-01"), std::string::npos) << format << said;
    const auto first = said.find("no data selected");
    if (format == std::string("text")) {
      EXPECT_NE(first, std::string::npos);
      EXPECT_EQ(said.find("no data selected", first + 1), std::string::npos) << said;
    }
  }
}

}  // namespace
}  // namespace orvspc::host
