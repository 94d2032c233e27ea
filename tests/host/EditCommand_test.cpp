// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <regex>
#include <sstream>
#include <string>

#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

class EditCommand : public ProgramTest {
 protected:
  // 40 subgroups of three, the 17th of which lies far outside; without it where it is left out.
  void Make(const std::string& database, bool with_odd) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 1; i <= 40; ++i) {
      if (i == 17 && !with_odd) continue;
      const std::string time =
          "2024-01-" + std::to_string(i % 20 + 10) + "T0" + std::to_string(i / 20) + ":00:00";
      for (int piece = 0; piece < 3; ++piece) {
        text += "A,P,T," + std::to_string(i) + "," + time + "," +
                std::to_string(i == 17 ? 90 + piece : (i * 7 + piece * 5) % 11) + "\n";
      }
    }
    Write(database + ".csv", text);
    ASSERT_EQ(Run("import " + database + ".csv --db " + database).status, 0);
  }
  // Of the subgroups that count.
  std::string Chart(const std::string& database, const std::string& format) {
    const auto run =
        Run("chart --db " + database +
            " --part A --test T --state enabled,incomplete --max 0 --format " + format);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
  }
  // Without the numbers of subgroups, which another database gives otherwise.
  std::string Picture(const std::string& database) {
    return std::regex_replace(Chart(database, "svg"), std::regex("<title>#[0-9]+ "), "<title>");
  }
  // Of the log.
  std::int64_t LatestEntry() {
    std::istringstream head(Run("log --db q.db --head").out);
    std::string uuid;
    std::int64_t number = 0;
    head >> uuid >> number;
    return number;
  }
  static std::string Member(const std::string& json, const std::string& key) {
    const auto at = json.find("\n  \"" + key + "\": ");
    EXPECT_NE(at, json.npos) << key;
    return json.substr(at, json.find("\n  \"", at + 1) - at);
  }
};

}  // namespace

TEST_F(EditCommand, AChartAfterDeletingIsThatAfterDisablingAndThatOfWhoNeverHadIt) {
  Make("deleted.db", true);
  Make("disabled.db", true);
  Make("never.db", false);
  const auto before = Picture("deleted.db");
  const std::string which = " --label 17 --reason 'typed wrongly' --db ";
  ASSERT_EQ(Run("edit delete" + which + "deleted.db").status, 0);
  ASSERT_EQ(Run("edit flag --to disabled" + which + "disabled.db").status, 0);
  const auto picture = Picture("never.db");
  EXPECT_NE(before, picture);
  const auto json = Chart("never.db", "json");
  for (const std::string database : {"deleted.db", "disabled.db"}) {
    EXPECT_EQ(Picture(database), picture) << database;
    const auto other = Chart(database, "json");
    for (const std::string key : {"Graphs", "Streams"}) {
      EXPECT_EQ(Member(other, key), Member(json, key)) << database;
    }
  }
}

TEST_F(EditCommand, ImportsAreListedAndUndone) {
  Make("q.db", true);
  const auto list = Run("imports --db q.db --format json");
  EXPECT_NE(list.out.find("\"ID\": 1"), list.out.npos) << list.out;
  EXPECT_NE(list.out.find("\"State\": \"stored\""), list.out.npos);
  EXPECT_NE(Run("imports --db q.db").out.find("q.db.csv"), std::string::npos);
  EXPECT_EQ(Run("edit undo-import --db q.db").status, 2);
  const auto dry = Run("edit undo-import 1 --dry-run --reason 'wrong file' --db q.db");
  EXPECT_EQ(dry.out, "batch 1: 40 records would be undone, 3 names without use\n");
  EXPECT_EQ(Run("edit flag --label 17 --to disabled --reason 'typed wrongly' --db q.db").status, 0);
  const auto refused = Run("edit undo-import 1 --reason 'wrong file' --db q.db");
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("batch 1: 1 of 40 records were changed since (entries "),
            std::string::npos)
      << refused.err;
  const auto undone = Run("edit undo-import 1 --keep-changed --reason 'wrong file' --db q.db");
  EXPECT_EQ(undone.out, "batch 1: 39 records undone, 1 changed one kept\n");
  EXPECT_NE(Run("imports --db q.db").out.find("undone"), std::string::npos);
}

TEST_F(EditCommand, CountsAreCorrectedByTheirDefect) {
  Write("c.csv",
        "part,process,test,test-type,subgroup,time,size,count,defect\n"
        "A,P,Flaws,defects,1,2024-01-01,10,2,SC\nA,P,Flaws,defects,1,2024-01-01,10,1,DENT\n"
        "A,P,Looks,defectives,1,2024-01-01,50,3,\n");
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  const std::string why = " --reason 'counted wrongly' --db q.db";
  EXPECT_EQ(Run("edit value '#1' --test Looks --to 4" + why).out, "#1 Looks: version 3\n");
  EXPECT_EQ(Run("edit value '#1' --test Flaws --defect SC --to 7" + why).status, 0);
  EXPECT_EQ(Run("edit value '#1' --test Flaws --defect NEW --add --to 2" + why).status, 0);
  EXPECT_EQ(Run("edit value '#1' --test Flaws --defect DENT --remove" + why).status, 0);
  const auto data = Run("data --db q.db --part A").out;
  EXPECT_NE(data.find("SC x7  NEW x2"), data.npos) << data;
  const auto several = Run("edit value '#1' --test Flaws --to 7" + why);
  EXPECT_EQ(several.status, 1);
  EXPECT_NE(several.err.find("2 values fit (SC, NEW); name one by --defect"), several.err.npos)
      << several.err;
  EXPECT_EQ(Run("edit value '#1' --test Looks --to 51" + why).status, 1);
  EXPECT_EQ(Run("edit subgroup '#1' --test Looks --size -50" + why).status, 1);
  EXPECT_EQ(Run("edit subgroup '#1' --test Looks --lot new" + why).status, 0);
}

TEST_F(EditCommand, AnEmptyNameTakesItAway) {
  Write(
      "c.csv",
      "part,process,test,test-type,subgroup,time,size,count,defect,lot\n"
      "A,P,Flaws,defects,1,2024-01-01,10,2,SC,wrong\nA,P,Flaws,defects,1,2024-01-01,10,1,,wrong\n");
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  const std::string why = " --reason 'typed wrongly' --db q.db";
  EXPECT_NE(Run("data --db q.db").out.find("wrong"), std::string::npos);
  EXPECT_EQ(Run("edit subgroup '#1' --lot ''" + why).status, 0);
  EXPECT_EQ(Run("data --db q.db").out.find("wrong"), std::string::npos);
  EXPECT_EQ(Run("edit value '#1' --test Flaws --defect '' --to 5" + why).status, 0);
  const auto data = Run("data --db q.db").out;
  EXPECT_NE(data.find("SC x2  5"), data.npos) << data;
  const auto lacking = Run("edit subgroup '#1'" + why + " --lot");
  EXPECT_EQ(lacking.status, 2);
  EXPECT_NE(lacking.err.find("--lot needs a value: NAME"), lacking.err.npos) << lacking.err;
  EXPECT_EQ(Run("edit subgroup '#1' --new-label ''" + why).status, 2);
}

TEST_F(EditCommand, ADryRunSaysWhatWouldBeDone) {
  Make("q.db", true);
  ASSERT_EQ(Run("comment add '#1' old --db q.db").status, 0);
  const std::string dry = " --dry-run --reason 'tried first' --db q.db";
  EXPECT_EQ(Run("edit rename part A --to B" + dry).out, "part A: would be changed\n");
  EXPECT_EQ(Run("edit deactivate test T" + dry).out, "test T: would be changed\n");
  EXPECT_EQ(Run("comment edit 1 new" + dry).out, "comment 1 would be changed\n");
  EXPECT_EQ(Run("comment remove 1" + dry).out, "comment 1 would be removed\n");
  EXPECT_EQ(Run("edit delete '#1'" + dry).out, "#1 T: would be changed\n");
  EXPECT_EQ(Run("edit rename part Z --to B" + dry).status, 1);
}

TEST_F(EditCommand, ARestoredCommentIsAnswered) {
  Make("q.db", true);
  const std::string why = " --reason 'typed wrongly' --db q.db";
  ASSERT_EQ(Run("comment add '#1' old --db q.db").status, 0);
  ASSERT_EQ(Run("comment remove 1" + why).status, 0);
  const auto entry = LatestEntry();
  const auto number = std::to_string(entry);
  EXPECT_EQ(Run("edit restore " + number + " --dry-run" + why).out,
            "comment 1 would be restored\n");
  const auto restored = Run("edit restore " + number + why);
  EXPECT_EQ(restored.out, "comment 1: version " + std::to_string(entry + 1) + "\n");
  EXPECT_EQ(LatestEntry(), entry + 1);
}

TEST_F(EditCommand, EachVerbTakesItsOptionsAlone) {
  Make("q.db", true);
  const std::string why = " --reason 'typed wrongly' --db q.db";
  const struct {
    const char *words, *option, *verb;
  } cases[] = {{"value '#3' --test T --to 9 --size 9 --lot L", "size", "edit value"},
               {"value '#3' --test T --to 9 --lot L", "lot", "edit value"},
               {"flag '#3' --to disabled --tsno 1", "tsno", "edit flag"},
               {"flag '#3' --to disabled --force", "force", "edit flag"},
               {"subgroup '#3' --lot L --to 9", "to", "edit subgroup"},
               {"delete '#3' --keep-changed", "keep-changed", "edit delete"},
               {"restore 1 --part A", "part", "edit restore"},
               {"rename part A --to B --test T", "test", "edit rename"},
               {"activate part A --to B", "to", "edit activate"},
               {"undo-import 1 --time 2024-01-01", "time", "edit undo-import"}};
  for (const auto& each : cases) {
    const auto run = Run(std::string("edit ") + each.words + why);
    EXPECT_EQ(run.status, 2) << each.words;
    EXPECT_EQ(run.err, std::string("orvspc edit: --") + each.option + " does not go with \"" +
                           each.verb + "\"\n");
  }
  for (const std::string other : {"part Nut", "label zz", "process P", "at 2024-01-01"}) {
    const auto run = Run("edit flag '#3' --to disabled --" + other + why);
    EXPECT_EQ(run.status, 2) << other;
    EXPECT_EQ(run.err, "orvspc edit: --" + other.substr(0, other.find(' ')) +
                           " does not go with the number of a subgroup\n");
  }
  EXPECT_EQ(Run("edit subgroup '#3' --label a --new-label b" + why).status, 2);
  EXPECT_EQ(Run("edit value '#3' --test T --remove --force" + why).status, 2);
  EXPECT_EQ(Run("comment edit 1 new --tsno 2" + why).status, 2);
  EXPECT_EQ(Run("log --db q.db").out.find("typed wrongly"), std::string::npos);
  EXPECT_EQ(Run("edit subgroup '#3' --label a" + why).status, 0);
}

TEST_F(EditCommand, OfSeveralPiecesOneIsNamed) {
  Make("q.db", true);
  const std::string why = " --reason 'typed wrongly' --db q.db";
  for (const char* change : {"--to 9", "--remove"}) {
    const auto several = Run(std::string("edit value '#3' --test T ") + change + why);
    EXPECT_EQ(several.status, 1);
    EXPECT_EQ(several.err, "orvspc edit: #3 T: 3 pieces fit (1, 2, 3); name one by --tsno\n");
  }
  // The only one needs no number.
  for (const char* piece : {"3", "2"}) {
    ASSERT_EQ(Run(std::string("edit value '#3' --test T --remove --tsno ") + piece + why).status,
              0);
  }
  const auto only = Run("edit value '#3' --test T --to 9" + why);
  EXPECT_EQ(only.status, 0) << only.err;
  EXPECT_NE(Run("data --db q.db --test T --format json").out.find("9"), std::string::npos);
  EXPECT_EQ(Run("edit value '#3' --test T --serial none --to 9" + why).err,
            "orvspc edit: #3 T: there is no piece with these names\n");
}

TEST_F(EditCommand, WhatIsUnreasonableOrInTheFutureIsRefusedAsWhenRecording) {
  Make("q.db", true);
  Write("l.csv", "part,test,url\nA,T,80\n");
  ASSERT_EQ(Run("import l.csv --kind limits --db q.db").status, 0);
  const std::string why = " --reason 'typed wrongly' --db q.db";
  const auto refused = Run("edit value '#3' --test T --tsno 1 --to 740.3" + why);
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("740.3 lies beyond the reasonable limit 80; --force stores it"),
            std::string::npos)
      << refused.err;
  EXPECT_EQ(Run("edit value '#3' --test T --tsno 1 --to 740.3 --force" + why).status, 0);
  const auto ahead = Run("edit subgroup '#3' --time 2037-01-01" + why);
  EXPECT_EQ(ahead.status, 1);
  EXPECT_NE(ahead.err.find(" days in the future"), std::string::npos) << ahead.err;
}

}  // namespace orvspc::host
