// SPDX-License-Identifier: Apache-2.0
#include "engine/write/copy.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include "engine/QualityDatabase.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/address.h"
#include "engine/store/digest.h"
#include "engine/store/tables.h"
#include "engine/write/chunks/StreamWriter.h"
#include "tests/engine/limited_device.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/version1_file.h"

namespace orvspc::engine::store {
namespace {

class CopyTest : public StoreTest {
 protected:
  DatabaseDigest Digest() {
    DatabaseDigest digest;
    Opened()->ReadOrThrow([&](Connection& db) { digest = DigestOf(db); });
    return digest;
  }
  void ImportSome() {
    std::string text = "part,process,test,subgroup,time,value,job,comment,descriptor:Colour\n";
    for (int i = 0; i < 700; ++i) {
      const auto number = std::to_string(i);
      text += std::string(i % 3 == 0 ? "A" : "B") + ",P,T,S" + number + ",2024-01-" +
              std::to_string(10 + i % 20) + "T0" + std::to_string(i % 10) + ":00," + number + ",J" +
              std::to_string(i % 4) + (i % 50 == 0 ? ",odd,red\n" : ",,\n");
    }
    Import(text);
  }
  // So many that they are sealed.
  static std::string ManyOfOneStream() {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 3000; ++i) {
      char time[40];
      std::snprintf(time, sizeof time, "2024-01-%02dT%02d:%02d:00", 1 + i / 1440, i / 60 % 24,
                    i % 60);
      text += "A,P,T,S" + std::to_string(i) + "," + time + "," + std::to_string(i % 17) + "\n";
    }
    return text;
  }
  static std::string Bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST_F(CopyTest, ACopyHoldsTheSame) {
  ImportSome();
  Import("part,test,usl,lsl,effective\nA,T,9,1,2024-01-01\n", ImportKind::Limits);
  const auto expected = Digest();
  const auto path = folder_.File("copy.db");
  const auto report = Data().CopyTo(path);
  EXPECT_EQ(report.measurements, 700);
  EXPECT_EQ(report.digest, expected.all);
  const auto copied = QualityDatabase::Open(path);
  EXPECT_EQ(copied.SubgroupLabel(5), Data().SubgroupLabel(5));
  EXPECT_EQ(copied.CopyTo(folder_.File("again.db")).digest, expected.all);
}

TEST_F(CopyTest, AnIdentifierThatIsGivenLaterIsTheSameInTheCopy) {
  ImportSome();
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  const std::string more = "part,process,test,subgroup,time,value\nA,P,T,new,2025-01-01,5\n";
  Import(more);
  QualityDatabase::Open(path).Import(folder_.File("in.csv"), ImportKind::Values);
  EXPECT_EQ(QualityDatabase::Open(path).SubgroupLabel(701), "new");
  EXPECT_EQ(Data().SubgroupLabel(701), "new");
}

TEST_F(CopyTest, NeitherGivesTheIdentifierOfARowThatIsGone) {
  ImportSome();
  Import("code,name\nD1,scratch\nD2,dent\n", ImportKind::Defects);
  RunSql(Path(), "DELETE FROM defect WHERE id = 2; DELETE FROM comment");
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  Import("code,name\nD3,crack\n", ImportKind::Defects);
  auto copied = QualityDatabase::Open(path);
  copied.Import(folder_.File("in.csv"), ImportKind::Defects);
  EXPECT_EQ(Id(ItemKind::Defect, "D3"), 3);
  EXPECT_EQ(copied.Find(ItemKind::Defect, "D3"), 3);
}

TEST_F(CopyTest, ADatabaseThatHoldsSomethingIsNotCopiedInto) {
  ImportSome();
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  const auto failure = FailureOf([&] { Data().CopyTo(path); });
  EXPECT_NE(failure.find(path + ": "), std::string::npos) << failure;
  EXPECT_NE(failure.find("holds data already"), std::string::npos) << failure;
}

// Codes, limits and all else that belongs to no subgroup would be lost.
TEST_F(CopyTest, ADatabaseWithNothingButCodesHoldsSomething) {
  ImportSome();
  const auto path = folder_.Store("codes.db");
  const auto codes = folder_.File("codes.csv");
  WriteFile(codes, "code,name\nD1,Dent\n");
  QualityDatabase::ImportInto(path, codes, ImportKind::Defects);
  EXPECT_NE(FailureOf([&] { Data().CopyTo(path); }).find("holds data already"), std::string::npos);
  EXPECT_EQ(QualityDatabase::Open(path).Items(ItemKind::Defect).size(), 1U);
  const auto empty = folder_.Store("empty.db");
  OpenDatabase(empty, true);
  EXPECT_EQ(Data().CopyTo(empty).measurements, 700);
}

// Rules of its own, in any of their three tables, would be lost as well.
TEST_F(CopyTest, ADatabaseWithRulesOfItsOwnHoldsSomething) {
  ImportSome();
  const auto rules = folder_.File("rules.csv");
  int number = 0;
  for (const char* row : {"20,zone,2,plant", "20,zone,2,", "16,red,0,plant", "16,red,0,nelson"}) {
    const auto path = folder_.Store("rules" + std::to_string(++number) + ".db");
    WriteFile(rules, "number,kind,zone,set\n" + std::string(row) + "\n");
    QualityDatabase::ImportInto(path, rules, ImportKind::Rules);
    const auto held = [&] { return QualityDatabase::Open(path).RuleSets(); };
    const auto before = held();
    EXPECT_EQ(FailureOf([&] { Data().CopyTo(path); }),
              sql::WithoutPasswords(path) + ": the database to copy into holds data already")
        << row;
    const auto after = held();
    ASSERT_EQ(after.size(), before.size()) << row;
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(after[i].name, before[i].name) << row;
      EXPECT_EQ(after[i].numbers, before[i].numbers) << row;
    }
  }
}

TEST_F(CopyTest, ADatabaseThatLacksARuleOfEveryNewOneHoldsSomething) {
  ImportSome();
  const auto path = folder_.Store("fewer.db");
  OpenDatabase(path, true);
  RunSql(path, "DELETE FROM rule_set_member WHERE number = 11; DELETE FROM rule WHERE number = 11");
  EXPECT_NE(FailureOf([&] { Data().CopyTo(path); }).find("holds data already"), std::string::npos);
}

// --- Whose failure it is -------------------------------------------------------------------------

TEST_F(CopyTest, ADamagedPageOfTheSourceIsItsFailure) {
  ImportSome();
  db_.reset();
  constexpr std::size_t kPage = 4096;
  const auto bytes = Bytes(Path());
  const auto target = folder_.File("copy.db");
  const CopyOptions all,
      some{.selection = CopySelection{FlatSelection().info, FlatSelection().Filter()},
           .progress = {}};
  int failures = 0;
  for (std::size_t page = 0; page < bytes.size() / kPage; page += 3) {
    auto damaged = bytes;
    damaged[page * kPage + kPage / 2] = static_cast<char>(damaged[page * kPage + kPage / 2] ^ 1);
    WriteFile(Path(), damaged);
    for (const auto* options : {&all, &some}) {
      std::optional<QualityDatabase> source;
      try {
        source = QualityDatabase::Open(Path());
      } catch (const platform::ExternalFailure&) {
        continue;
      }
      const auto failure = FailureOf([&] { source->CopyTo(target, *options); });
      if (failure.empty()) {
        std::filesystem::remove(target);  // the page is free, or left alone
        continue;
      }
      ++failures;
      EXPECT_TRUE(failure.starts_with(Path() + ": ")) << page << failure;
      EXPECT_EQ(failure.find(Path(), 1), std::string::npos) << "once: " << failure;
      EXPECT_NE(failure.find(" damaged: "), std::string::npos) << page << failure;
      EXPECT_EQ(failure.find(target), std::string::npos) << page << failure;
      EXPECT_FALSE(std::filesystem::exists(target)) << page;
    }
  }
  EXPECT_GT(failures, 10);
}

TEST_F(CopyTest, ADamagedChunkOfTheSourceIsItsFailure) {
  Import(ManyOfOneStream());
  Opened()->Write([](Connection& db) {
    std::vector<std::byte> packed;
    {
      Query chunk(db, "SELECT packed FROM measurement_chunk ORDER BY stream, first_time LIMIT 1");
      ASSERT_TRUE(chunk.Step());
      packed.assign(chunk.Blob(0).begin(), chunk.Blob(0).end());
    }
    const auto whole = packed;
    packed[packed.size() / 2] ^= std::byte{1};
    EXPECT_EQ(Query(db, "UPDATE measurement_chunk SET packed = ?1 WHERE packed = ?2", packed, whole)
                  .Run(),
              1);
  });
  const auto failure = FailureOf([&] { Data().CopyTo(folder_.File("copy.db")); });
  EXPECT_EQ(failure.find(Opened()->Path() + ": The values of A / P / T"), 0U) << failure;
  EXPECT_NE(failure.find(" are damaged: "), std::string::npos) << failure;
  EXPECT_FALSE(std::filesystem::exists(folder_.File("copy.db")));
}

TEST_F(CopyTest, WhatTheTargetHasNoRoomForIsItsFailure) {
  Import(ManyOfOneStream());
  const auto path = folder_.File("copy.db");
  const auto copy = [&](std::int64_t bytes) {
    const LimitedDevice device(bytes);
    const auto failure = FailureOf([&] { Data().CopyTo(path); });
    return std::pair(failure, device.Peak());
  };
  const auto [nothing, enough] = copy(INT64_MAX);
  EXPECT_EQ(nothing, "");
  for (int i = 0; i < 20; ++i) {
    std::filesystem::remove(path);
    EXPECT_EQ(copy(enough * i / 20).first, path + ": there is no room left on the device") << i;
  }
}

// --- Selections and digests ----------------------------------------------------------------------

TEST_F(CopyTest, ASelectionIsCopiedWithEverythingThatBelongsToNoSubgroup) {
  ImportSome();
  FlatSelection flat;
  flat.List(FlatSelection::kPart, {Id(ItemKind::Part, "A")});
  const auto path = folder_.File("part.db");
  const auto report =
      Data().CopyTo(path, {.selection = CopySelection{flat.info, flat.Filter()}, .progress = {}});
  EXPECT_EQ(report.measurements, 234);
  const auto copied = QualityDatabase::Open(path);
  ASSERT_EQ(copied.Streams().size(), 1U);
  EXPECT_EQ(copied.Streams()[0].subgroups, 234);
  EXPECT_EQ(copied.Items(ItemKind::Part).size(), 2U);
  EXPECT_EQ(copied.SubgroupLabel(1), "S0");
  EXPECT_EQ(copied.SubgroupLabel(2), "") << "of another part";
  // The blocks of the selection are sealed, though each lacks some of its identifiers.
  const auto copy = OpenAnother(path);
  EXPECT_LT(Query(*copy, "SELECT count(*) FROM subgroup").RunForInt(), 256);
  EXPECT_EQ(Query(*copy, "SELECT count(*) FROM subgroup_block").RunForInt(), 2);
}

// A comment goes with the values of its test, one on the subgroup with any of them.
TEST_F(CopyTest, ASelectionTakesOnlyItsOwnComments) {
  Import(
      "part,process,test,subgroup,time,value,comment\n"
      "A,P,T,1,2024-01-01,5,of T\nA,P,U,1,2024-01-01,5,of U\nA,P,U,2,2024-01-02,5,of two\n");
  Opened()->Write([](Connection& db) {
    Query(db,
          "INSERT INTO comment(id, subgroup, tsno, time, note) VALUES(99, 1, 0, 5, 'of the whole')")
        .Run();
  });
  FlatSelection flat;
  flat.List(FlatSelection::kTest, {Id(ItemKind::Test, "T")});
  const auto path = folder_.File("test.db");
  Data().CopyTo(path, {.selection = CopySelection{flat.info, flat.Filter()}, .progress = {}});
  const auto copy = OpenAnother(path);
  std::vector<std::string> notes;
  for (Query query(*copy, "SELECT note FROM comment ORDER BY note"); query.Step();) {
    notes.emplace_back(query.Text(0));
  }
  EXPECT_EQ(notes, (std::vector<std::string>{"of T", "of the whole"}));
}

// Which row a limit was replaced by is an identifier, and those differ between databases.
TEST_F(CopyTest, TheDigestLeavesOutIdentifiersOfRows) {
  Import("part,process,test,effective,mean,sp\nA,P,W,2023-01-01,1,1\nA,P,W,2023-02-01,2,1\n",
         ImportKind::ControlLimits);
  const auto change = [&](const char* sql) {
    Opened()->Write([&](Connection& db) { db.Execute(sql); });
    return Digest().all;
  };
  const auto before = change("UPDATE control_limit SET replaced_by = 2 WHERE id = 1");
  EXPECT_EQ(change("UPDATE control_limit SET id = 7, replaced_by = NULL WHERE id = 2;"
                   "UPDATE control_limit SET replaced_by = 7 WHERE id = 1"),
            before);
  EXPECT_NE(change("UPDATE control_limit SET mean = 3 WHERE id = 7"), before);
}

// SQLite keeps no sign of a zero in a column.
TEST_F(CopyTest, AZeroInAColumnHasNoSignOnAnyStore) {
  ImportSome();
  Import("part,test,usl,target,lsl,effective\nA,T,1,-0.0,-1,2024-01-01\n", ImportKind::Limits);
  Opened()->ReadOrThrow([](Connection& db) {
    Query target(db, "SELECT target FROM spec_limit");
    ASSERT_TRUE(target.Step());
    EXPECT_EQ(target.Real(0), 0.0);
    EXPECT_FALSE(std::signbit(target.Real(0)));
  });
  for (const auto& path : {folder_.File("copy.db"), folder_.Store("store.db")}) {
    EXPECT_EQ(FailureOf([&] { Data().CopyTo(path); }), "");
  }
}

TEST_F(CopyTest, TheDigestDoesNotDependOnWhatIsSealed) {
  ImportSome();
  const auto before = Digest();
  Opened()->Write([](Connection& db) {
    std::vector<double> values;
    std::vector<RowKey> keys;
    std::vector<std::pair<std::int64_t, RecordKey>> hot;
    for (const std::int64_t stream : {1, 2}) {
      Measurement first;
      ForEachRecord(db, stream, [&](const RecordView& each) {
        if (first.values.empty()) first = each.Copy(values, keys);
      });
      StreamWriter writer(db);
      writer.Remove(stream, std::array{RecordKey{first.time, first.subgroup}});
      writer.Write(stream, std::array{first});  // late, so it becomes a hot row
      writer.Finish();
    }
  });
  EXPECT_EQ(Digest(), before);
}

// Each value of each table that figures or texts come from.
TEST_F(CopyTest, AnythingThatChangesChangesTheDigest) {
  RunSql(Path(), kVersion1File);
  const auto before = Digest();
  int changes = 0;
  for (const auto& table : Tables()) {
    if (table.use == TableUse::IdentifierMap) continue;
    for (const auto& column : ColumnsOf(table)) {
      if (column.kind != ColumnKind::Number && column.kind != ColumnKind::Real &&
          column.kind != ColumnKind::Text) {
        continue;
      }
      const auto name = std::string(column.name);
      const auto change = column.kind == ColumnKind::Text ? "coalesce(" + name + ", '') || 'x'"
                                                          : "coalesce(" + name + ", 0) + 1";
      std::string differs;
      bool has_rows = false;
      try {
        Opened()->Write([&](Connection& db) {
          db.Execute("PRAGMA ignore_check_constraints=ON");
          db.Execute("UPDATE " + std::string(table.name) + " SET " + name + " = " + change);
          has_rows = Query(db, SelectStored(table)).Step();
          differs = DigestOf(db).all;
          throw std::runtime_error("roll back");
        });
      } catch (const std::exception& error) {
        if (std::string_view(error.what()) != "roll back") continue;  // a reference or a key
      }
      if (!has_rows) continue;
      EXPECT_NE(differs, before.all) << table.name << "." << name;
      ++changes;
    }
  }
  EXPECT_GT(changes, 50);
}

}  // namespace
}  // namespace orvspc::engine::store
