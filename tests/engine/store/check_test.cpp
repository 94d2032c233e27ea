// SPDX-License-Identifier: Apache-2.0
#include "engine/store/check.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "engine/sql/sqlite/pages.h"
#include "engine/write/chunks/StreamWriter.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::store {
namespace {

namespace fs = std::filesystem;

class CheckTest : public StoreTest {
 protected:
  // Stream 1 with sealed values, stream 2 with hot ones that have keys, names and limits.
  void Fill() {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 600; ++i) {
      text += "Shaft,Lathe,Width," + std::to_string(i + 1) + "," + std::to_string(1980 + i / 12) +
              "-" + (i % 12 < 9 ? "0" : "") + std::to_string(i % 12 + 1) + "-01," +
              std::to_string(10 + i % 7) + "\n";
    }
    Import(text);
    Import(
        "part,process,test,subgroup,time,value,serial,gage,lot,descriptor:colour\n"
        "Ring,Press,Diameter,a,2024-03-11T06:00,74.03,S1,G1,L1,red\n"
        "Ring,Press,Diameter,b,2024-03-11T07:00,74.01,S2,G1,L2,blue\n"
        "Ring,Press,Diameter,c,2024-03-11T08:00,74.02,S3,G2,L2,blue\n");
    Import("part,test,usl,lsl\nRing,Diameter,75,73\n", ImportKind::Limits);
    Import(
        "part,process,test,effective,mean,sw\n"
        "Ring,Press,Diameter,2024-03-01,74,0.1\n"
        "Ring,Press,Diameter,2024-04-01,74,0.2\n",
        ImportKind::ControlLimits);
  }

  // The same, closed. Files are copied, since that takes less time.
  void Renew() {
    db_.reset();
    folder_.RemoveStore("q.db");
    static std::string whole;
    if (!whole.empty() && !tests::OnServer()) return WriteFile(Path(), whole);
    Fill();
    db_.reset();
    if (tests::OnServer()) return;
    std::ifstream file(Path(), std::ios::binary);
    whole.assign(std::istreambuf_iterator<char>(file), {});
  }

  // A line each, in their order.
  static std::string Finds(const std::string& path) {
    std::string lines;
    for (const auto& find : QualityDatabase::Check(path).finds) {
      lines += find.place + ": " + find.reason + "\n";
    }
    return lines;
  }
  // After a change behind the back of the engine, in a database of its own.
  std::string FindsAfter(const std::string& sql) {
    Renew();
    RunSql(Path(), sql);
    return Finds(Path());
  }
};

TEST_F(CheckTest, AWholeDatabaseIsWhole) {
  Db();
  auto report = QualityDatabase::Check(Path());
  EXPECT_EQ(report.subgroups, 0);
  EXPECT_TRUE(report.finds.empty());
  Fill();
  std::int64_t sealed = 0;
  Opened()->ReadOrThrow([&](Connection& db) {
    sealed = Query(db, "SELECT count(*) FROM measurement_chunk").RunForInt().value_or(0);
  });
  EXPECT_GE(sealed, 1);
  report = QualityDatabase::Check(Path());
  EXPECT_EQ(report.subgroups, 603);
  EXPECT_EQ(report.left_out, 0);
  EXPECT_EQ(Finds(Path()), "");
}

TEST_F(CheckTest, EachReferenceIsFollowed) {
  const std::pair<const char*, const char*> kCases[] = {
      {"UPDATE stream SET test = 77 WHERE test = (SELECT id FROM test WHERE name = 'Width')",
       "stream 1: its test 77 is missing\n"},
      {"UPDATE context SET lot = 77 WHERE lot = (SELECT id FROM lot WHERE name = 'L1')",
       "context 1: its lot 77 is missing\n"},
      {"UPDATE subgroup_descriptor SET subgroup = 7777 WHERE subgroup = 601",
       "subgroup_descriptor 7777: its subgroup 7777 is missing\n"},
      {"INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(0, 7777, 0, 0, 'x')",
       "comment 0: its subgroup 7777 is missing\n"},
      {"DELETE FROM gage WHERE name = 'G2'", "#603 Diameter: its gage 2 is missing\n"},
      {"DELETE FROM serial WHERE name = 'S1'", "#601 Diameter: its serial 1 is missing\n"},
      {"UPDATE control_limit SET replaced_by = 99 WHERE id = 1",
       "control_limit 1: its replaced_by 99 is missing\n"},
      {"DELETE FROM descriptor WHERE name = 'red'",
       "subgroup_descriptor 601: its descriptor 1 is missing\n"
       "descriptor_source 601: its descriptor 1 is missing\n"},
      {"UPDATE descriptor_source SET batch = 99 WHERE subgroup = 601",
       "descriptor_source 601: its batch 99 is missing\n"},
      {"INSERT INTO item_group(id, kind, name) VALUES(0, 'part', 'G');"
       "INSERT INTO item_group_member(item_group, item) VALUES(0, 55)",
       "item_group G: its item 55 is missing\n"},
      {"INSERT INTO alias(kind, name, item) VALUES('lot', 'Old', 55)",
       "alias Old: its item 55 is missing\n"},
      {"DELETE FROM subgroup WHERE id = 602",
       "subgroup_descriptor 602: its subgroup 602 is missing\n"
       "descriptor_source 602: its subgroup 602 is missing\n"
       "#602 Diameter: its subgroup is missing\n"},
      {"UPDATE subgroup SET part = 88 WHERE id = 602",
       "subgroup 602: its part 88 is missing\n#602: its part 88 is missing\n"
       "#602 Diameter: its part or process is not that of its subgroup\n"},
      {"UPDATE subgroup SET time = time + 1 WHERE id = 602",
       "#602 Diameter: its time is not that of its subgroup\n"},
      {"DELETE FROM rule WHERE number = 12", ""},
      {"DELETE FROM rule WHERE number = 18", "rule_set_member 5: its number 18 is missing\n"},
  };
  for (const auto& [sql, finds] : kCases) EXPECT_EQ(FindsAfter(sql), finds) << sql;
}

TEST_F(CheckTest, AContextThatIsGoneIsMissedByItsRecords) {
  EXPECT_EQ(FindsAfter("DELETE FROM context"),
            "#601 Diameter: its context 1 is missing\n"
            "#602 Diameter: its context 2 is missing\n"
            "#603 Diameter: its context 2 is missing\n");
}

TEST_F(CheckTest, AStreamThatIsGoneIsMissedByItsValues) {
  EXPECT_EQ(FindsAfter("DELETE FROM stream WHERE id = 2").substr(0, 40),
            "stream 2: has values, but is missing\n#60");
}

TEST_F(CheckTest, PackedValuesFitTheirChecksums) {
  EXPECT_EQ(FindsAfter("UPDATE measurement SET packed = (SELECT packed FROM measurement "
                       "WHERE subgroup = 603) WHERE subgroup = 602"),
            "#602 Diameter: the packed time, subgroup or number of records is not that of their "
            "row\n");
  EXPECT_EQ(FindsAfter("UPDATE measurement SET packed = x'0102' WHERE subgroup = 602"),
            "#602 Diameter: the packed values do not fit their checksum\n");
  const auto finds =
      FindsAfter("UPDATE measurement_chunk SET packed = x'0102' WHERE first_subgroup = 1");
  EXPECT_EQ(finds.rfind("Shaft / Lathe / Width, 1980-01-01T00:00:00 to ", 0), 0U) << finds;
  EXPECT_NE(finds.find(": the packed values do not fit their checksum\n"), std::string::npos);
  EXPECT_EQ(std::ranges::count(finds, '\n'), 1) << finds;
}

// Its subgroups are not missed once more.
TEST_F(CheckTest, ABlockOfSubgroupsFitsItsChecksum) {
  EXPECT_EQ(FindsAfter("UPDATE subgroup_block SET packed = x'0102' WHERE block = 1"),
            "subgroups from #256 on: the packed names do not fit their checksum\n");
  EXPECT_EQ(
      FindsAfter("INSERT INTO subgroup(id, part, process, label, time) VALUES(7, 1, 1, '7', 5)"),
      "#7: its row and what is packed differ\n");
}

TEST_F(CheckTest, ChunksAreInOrderAndHaveWhatTheirRowSays) {
  auto finds =
      FindsAfter("UPDATE measurement_chunk SET count = count + 1 WHERE first_subgroup = 1");
  EXPECT_NE(finds.find(" records are packed and "), std::string::npos) << finds;
  EXPECT_EQ(std::ranges::count(finds, '\n'), 1) << finds;
  finds = FindsAfter(
      "UPDATE measurement_chunk SET last_time = last_time - 1 "
      "WHERE first_subgroup = 1");
  EXPECT_NE(finds.find("the packed times or subgroups are not those of their row"),
            std::string::npos)
      << finds;
  EXPECT_EQ(std::ranges::count(finds, '\n'), 1) << finds;
  // The same chunk once more, a second later by its row.
  finds = FindsAfter(
      "INSERT INTO measurement_chunk(stream, first_time, first_subgroup, last_time, last_subgroup, "
      "count, packed) SELECT stream, first_time + 1, first_subgroup, last_time, last_subgroup, "
      "count, packed FROM measurement_chunk WHERE first_subgroup = 1");
  EXPECT_NE(finds.find("overlaps the values before"), std::string::npos) << finds;
}

// A sealed record is written as a hot one, too.
TEST_F(CheckTest, ARecordIsStoredOnce) {
  Fill();
  Opened()->Write([&](Connection& db) {
    std::vector<std::byte> packed;
    RecordKey key;
    ForEachRecord(db, 1, [&](const RecordView& record) {
      if (record.Subgroup() != 5) return;
      ChunkPacker packer;
      packer.Add(record);
      key = record.Key();
      packer.Pack(1, packed);
    });
    Query(db, "INSERT INTO measurement(stream, time, subgroup, packed) VALUES(1, ?1, ?2, ?3)",
          key.time, key.subgroup, packed)
        .Run();
  });
  EXPECT_EQ(Finds(Path()), "#5 Width: is stored twice\n");
}

TEST_F(CheckTest, IdentifiersAreNotAboveTheLastOneGiven) {
  EXPECT_EQ(FindsAfter("UPDATE counter SET last = 1 WHERE name = 'gage'"),
            "counter of gage: the last identifier given is 1, but 2 is there\n");
  EXPECT_EQ(FindsAfter("UPDATE counter SET last = 602 WHERE name = 'subgroup'"),
            "counter of subgroup: the last identifier given is 602, but 603 is there\n");
  EXPECT_EQ(FindsAfter("DELETE FROM counter WHERE name = 'spec_limit'"),
            "counter of spec_limit: the last identifier given is 0, but 1 is there\n");
  EXPECT_EQ(FindsAfter("UPDATE counter SET last = last + 5"), "");
}

TEST_F(CheckTest, WindowsOfLimits) {
  EXPECT_EQ(FindsAfter("UPDATE control_limit SET until = effective WHERE id = 1"),
            "control_limit 1: ends before it begins\n");
  EXPECT_EQ(FindsAfter("UPDATE control_limit SET until = effective - 1, status = 'retired' "
                       "WHERE id = 1"),
            "control_limit 1: ends before it begins\n");
  const std::string same = "UPDATE control_limit SET effective = 1709251200";
  EXPECT_EQ(FindsAfter(same + ", state_at = 5"),
            "control_limit 2: is active from the same time on as row 1\n");
  // Of rates of two kinds each has its own charts.
  const auto words = [&](const std::string& one, const std::string& other) {
    return FindsAfter(same + ", state_at = 5, chart_word = CASE id WHEN 1 THEN " + one + " ELSE " +
                      other + " END");
  };
  constexpr const char *kShare = "3328", *kNumber = "3072", *kPerUnit = "3840";
  EXPECT_EQ(words(kShare, kPerUnit), "");
  EXPECT_EQ(words(kShare, kNumber), "control_limit 2: is active from the same time on as row 1\n");
  EXPECT_EQ(words(kShare, "0"), "control_limit 2: is active from the same time on as row 1\n");
  EXPECT_EQ(FindsAfter(same), "") << "of an older release the newer one holds";
  EXPECT_EQ(FindsAfter(same + ", state_at = 5; UPDATE control_limit SET status = 'void' "
                              "WHERE id = 1"),
            "");
  EXPECT_EQ(FindsAfter(same + ", state_at = 5; UPDATE control_limit SET process = NULL "
                              "WHERE id = 1"),
            "");
}

TEST_F(CheckTest, PhasesDoNotOverlap) {
  const auto phases = [](const std::string& first, const std::string& second) {
    return "UPDATE counter SET last = 2 WHERE name = 'phase';"
           "INSERT INTO phase(id, part, process, test, start, finish, name, who, made) VALUES"
           "(1, " +
           first + ", 'A', 'x', 0), (2, " + second + ", 'B', 'x', 0)";
  };
  // Stream 2 is part 2, process 2, test 2.
  EXPECT_EQ(FindsAfter(phases("2, 2, 2, 0, 100", "2, 2, 2, 100, NULL")), "");
  EXPECT_EQ(FindsAfter(phases("2, 2, 2, 0, 101", "2, 2, 2, 100, NULL")),
            "phase 2: overlaps row 1\n");
  EXPECT_EQ(FindsAfter(phases("2, 2, 2, 0, NULL", "2, NULL, NULL, 100, NULL")),
            "phase 2: overlaps row 1\n");
  EXPECT_EQ(FindsAfter(phases("2, 2, 2, 0, NULL", "1, NULL, 1, 100, NULL")), "");
  EXPECT_EQ(FindsAfter(phases("NULL, NULL, NULL, 500, NULL", "2, 2, 2, 100, 600")),
            "phase 2: overlaps row 1\n");
  EXPECT_EQ(FindsAfter(phases("2, 2, 2, 100, 100", "1, 1, 1, 5, 4")),
            "phase 1: ends before it begins\nphase 2: ends before it begins\n");
}

TEST_F(CheckTest, ThereAreAThousandFindsAtMost) {
  Fill();
  std::string text = "part,process,test,subgroup,time,value,lot\n";
  for (int i = 0; i < 1100; ++i) {
    text += "Ring,Press,Weight,w" + std::to_string(i) + ",2025-01-01,5,X\n";
  }
  Import(text);
  db_.reset();
  RunSql(Path(), "DELETE FROM context WHERE id = 3");
  const auto report = QualityDatabase::Check(Path());
  EXPECT_EQ(report.finds.size(), 1000U);
  EXPECT_EQ(report.left_out, 100);
  EXPECT_EQ(report.subgroups, 1703);
}

TEST_F(CheckTest, WhatIsNoDatabaseIsNotOpened) {
  EXPECT_EQ(FailureOf([&] { QualityDatabase::Check(folder_.File("none.db")); }),
            folder_.File("none.db") + ": there is no such file");
}

// Those of files alone.
class CheckFileTest : public CheckTest {
 protected:
  static void ChangeByte(const std::string& path, std::size_t place) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(static_cast<std::streamoff>(place));
    const auto byte = file.get();
    file.seekp(static_cast<std::streamoff>(place));
    file.put(static_cast<char>(byte ^ 4));
  }
  static std::set<std::string> FilesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().string());
    return names;
  }
  std::size_t PageOf(const std::string& table) {
    const auto text = "SELECT rootpage FROM sqlite_master WHERE name = '" + table + "'";
    return static_cast<std::size_t>(Query(*OpenAnother(Path()), text).RunForInt().value_or(0));
  }
};

constexpr std::size_t kPage = 4096;

TEST_F(CheckFileTest, EveryPageIsRead) {
  Fill();
  // Pages that become free are read, too.
  Opened()->Write([](Connection& db) { Query(db, "DELETE FROM measurement_chunk").Run(); });
  db_.reset();
  const auto pages = fs::file_size(Path()) / kPage;
  ASSERT_GT(pages, 80U);
  ASSERT_GT(Query(*OpenAnother(Path()), "PRAGMA freelist_count").RunForInt(), 0);
  for (std::size_t page = 2; page <= pages; ++page) {
    ChangeByte(Path(), (page - 1) * kPage + 3000);
    std::string finds;
    const auto failure = FailureOf([&] { finds = Finds(Path()); });
    const auto said = "page " + std::to_string(page) + " does not match its checksum";
    if (failure.empty()) {
      EXPECT_EQ(finds.rfind("file: " + said + "\n", 0), 0U) << finds;
    } else {
      EXPECT_EQ(failure, Path() + ": is damaged: " + said);
    }
    ChangeByte(Path(), (page - 1) * kPage + 3000);
  }
  const auto finds = Finds(Path());
  EXPECT_EQ(finds.find("file"), std::string::npos) << finds;
}

TEST_F(CheckFileTest, WhatIsDamagedIsPassedOver) {
  Renew();
  const auto comment = PageOf("comment"), chunks = PageOf("measurement_chunk");
  ChangeByte(Path(), (comment - 1) * kPage + 50);
  ChangeByte(Path(), (chunks - 1) * kPage + 50);
  RunSql(Path(), "UPDATE counter SET last = 1 WHERE name = 'gage'");
  const auto finds = Finds(Path());
  for (const auto page : {comment, chunks}) {
    EXPECT_NE(finds.find("file: page " + std::to_string(page) + " does not match its checksum\n"),
              std::string::npos)
        << finds;
  }
  EXPECT_NE(finds.find("table comment: cannot be read: page " + std::to_string(comment)),
            std::string::npos)
      << finds;
  EXPECT_NE(finds.find("counter of gage: "), std::string::npos) << finds;
}

TEST_F(CheckFileTest, StructureThatMatchesItsChecksumsIsLookedAt) {
  Renew();
  // A page of a table in the place of that of its index, with checksums of its own.
  RunSql(Path(),
         "PRAGMA writable_schema=ON; UPDATE sqlite_master SET rootpage = (SELECT rootpage FROM "
         "sqlite_master WHERE name = 'spec_limit') WHERE name = 'spec_limit_by_test'");
  const auto finds = Finds(Path());
  EXPECT_EQ(finds.rfind("file: ", 0), 0U) << finds;
}

TEST_F(CheckFileTest, AFileThatWasCutIsFound) {
  Renew();
  fs::resize_file(Path(), fs::file_size(Path()) - kPage);
  std::string finds;
  const auto failure = FailureOf([&] { finds = Finds(Path()); });
  EXPECT_FALSE(finds.empty() && failure.empty());
}

// By a program that died, or of another that is moving pages from the log into the file.
TEST_F(CheckFileTest, APageThatIsNewerInTheLogMayBeHalfWritten) {
  Renew();
  const auto page = PageOf("comment");
  const auto writer = OpenAnother(Path());
  writer->Execute("PRAGMA wal_autocheckpoint=0");
  Query(*writer, "INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(0, 1, 0, 0, 'x')")
      .Step();
  ChangeByte(Path(), (page - 1) * kPage + 2000);
  EXPECT_EQ(Finds(Path()), "");
  const auto other = PageOf("spec_limit");
  ChangeByte(Path(), (other - 1) * kPage + 2000);
  EXPECT_EQ(Finds(Path()).rfind("file: page " + std::to_string(other) + " does not", 0), 0U);
}

TEST_F(CheckFileTest, ItGoesOnBesideAWriter) {
  Renew();
  const auto writer = OpenAnother(Path());
  Transaction writing(*writer, TransactionKind::Write);
  Query(*writer, "INSERT INTO part(id, name) VALUES(99, 'x')").Run();
  EXPECT_EQ(Finds(Path()), "");
}

TEST_F(CheckFileTest, ItReadsWhatMayOnlyBeRead) {
  Renew();
  const auto folder = fs::path(Path()).parent_path();
  const auto files = FilesIn(folder);
  for (const mode_t mode : {0555U, 0777U}) {
    ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
    ASSERT_EQ(chmod(folder.c_str(), mode), 0);
    const auto child = fork();
    if (child == 0) {
      if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
      bool is_whole = false;
      const auto failure = FailureOf([&] {
        const auto report = QualityDatabase::Check(Path());
        is_whole = report.finds.empty() && report.subgroups == 603;
      });
      _exit(failure.empty() && is_whole ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(FilesIn(folder), files);
  }
}

}  // namespace
}  // namespace orvspc::engine::store
