// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/host/ProgramTest.h"

namespace orvspc::host {
namespace {

namespace fs = std::filesystem;

class CheckCommand : public ProgramTest {
 protected:
  // Subgroups of a test, from one hour of a day up to another.
  void Import(int from, int to) {
    std::string csv = "part,process,test,subgroup,time,value\n";
    for (int i = from; i < to; ++i) {
      csv += "Bolt,Lathe,Length," + std::to_string(i + 1) + ",2024-03-01T" + (i < 10 ? "0" : "") +
             std::to_string(i) + ":00:00," + (i % 2 == 0 ? "9.5" : "10.5") + "\n";
    }
    Write("values.csv", csv);
    ASSERT_EQ(Run("import values.csv --db q.db").status, 0);
  }
};

TEST_F(CheckCommand, AWholeDatabaseIsOneLine) {
  Import(0, 1);
  EXPECT_EQ(Run("check --db q.db").out, "checked: 1 subgroup, whole\n");
  Import(1, 12);
  for (const char* words : {"check --db q.db", "check --db q.db --quick"}) {
    const auto checked = Run(words);
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(checked.out, "checked: 12 subgroups, whole\n");
    EXPECT_EQ(checked.err, "");
  }
}

TEST_F(CheckCommand, EachFindIsALine) {
  Import(0, 12);
  tests::ChangeRows(folder_.Store("q.db"),
                    "UPDATE measurement SET packed = x'0102' WHERE subgroup = 7;"
                    "UPDATE counter SET last = 3 WHERE name = 'subgroup'");
  const auto checked = Run("check --db q.db");
  EXPECT_EQ(checked.status, 1);
  EXPECT_EQ(checked.out,
            "#7 Length: the packed values do not fit their checksum\n"
            "counter of subgroup: the last identifier given is 3, but 12 is there\n");
  EXPECT_EQ(checked.err, "");
}

TEST_F(CheckCommand, WrongWordsAreMisuse) {
  EXPECT_EQ(Run("check").status, 2);
  EXPECT_EQ(Run("check --db q.db --full").status, 2);
  EXPECT_EQ(Run("backup --db q.db").status, 2);
  EXPECT_EQ(Run("check --db none.db").status, 1);
}

// Those of files alone.
class BackupCommand : public CheckCommand {};

TEST_F(BackupCommand, ADatabaseThatWasLostIsRestored) {
  Import(0, 12);
  fs::create_directory(folder_.File("backups"));
  const auto chart = Run("chart --db q.db --format json").out;
  const auto made = Run("backup --db q.db --to backups");
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out.rfind("backups/q-", 0), 0U) << made.out;
  EXPECT_NE(made.out.find("Z.db: "), std::string::npos) << made.out;
  EXPECT_TRUE(made.out.ends_with(" bytes, whole\n")) << made.out;
  const auto backup = made.out.substr(0, made.out.find(": "));
  Import(12, 20);
  EXPECT_NE(Run("chart --db q.db --format json").out, chart);

  fs::remove(folder_.File("q.db"));
  ASSERT_FALSE(Exists("q.db-wal"));
  fs::copy_file(folder_.File(backup), folder_.File("q.db"));
  EXPECT_EQ(Run("check --db q.db").out, "checked: 12 subgroups, whole\n");
  EXPECT_EQ(Run("chart --db q.db --format json").out, chart);
  Import(12, 20);
  EXPECT_EQ(Run("check --db q.db").out, "checked: 20 subgroups, whole\n");
  EXPECT_EQ(Run("check --db " + backup).out, "checked: 12 subgroups, whole\n");
}

TEST_F(BackupCommand, OlderOnesAreDeletedAndSaid) {
  Import(0, 12);
  fs::create_directory(folder_.File("backups"));
  ASSERT_EQ(Run("backup --db q.db --to backups/q-20200101T000000Z.db").status, 0);
  ASSERT_EQ(Run("backup --db q.db --to backups/q-20210101T000000Z.db").status, 0);
  ASSERT_EQ(Run("backup --db q.db --to backups/q.db").status, 0);
  const auto made = Run("backup --db q.db --to backups --keep 2");
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_TRUE(made.out.ends_with(" bytes, whole\nbackups/q-20200101T000000Z.db: deleted\n"))
      << made.out;
  EXPECT_FALSE(Exists("backups/q-20200101T000000Z.db"));
  EXPECT_TRUE(Exists("backups/q-20210101T000000Z.db"));
  EXPECT_TRUE(Exists("backups/q.db"));
}

TEST_F(BackupCommand, WrongWordsAreMisuse) {
  Import(0, 12);
  EXPECT_EQ(Run("backup --db q.db --to . --keep 0").status, 2);
  const auto both = Run("backup --db q.db --to . --keep 2 --as-copy");
  EXPECT_EQ(both.status, 2);
  EXPECT_EQ(both.err, "orvspc backup: --keep and --as-copy exclude each other\n");
  const auto file = Run("backup --db q.db --to b.db --keep 2");
  EXPECT_EQ(file.status, 1);
  EXPECT_EQ(file.err,
            "orvspc backup: b.db: only of backups in a folder are so many kept, at least 1\n");
  EXPECT_FALSE(Exists("b.db"));
  EXPECT_EQ(Run("backup --db q.db --to q.db").err, "orvspc backup: q.db: is there already\n");
}

TEST_F(BackupCommand, ACopyOfItsOwnIsWhole) {
  Import(0, 12);
  ASSERT_EQ(Run("backup --db q.db --to lab.db --as-copy --by Ann --reason 'for the lab'").status,
            0);
  EXPECT_EQ(Run("check --db lab.db").out, "checked: 12 subgroups, whole\n");
}

}  // namespace
}  // namespace orvspc::host
