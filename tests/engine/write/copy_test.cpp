// SPDX-License-Identifier: Apache-2.0
#include "engine/write/copy.h"

#include <algorithm>
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
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/version1_file.h"
#include "tests/engine/watched_device.h"
#include "tests/engine/write/import/every_kind.h"

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
  for (std::size_t page = 0; page < bytes.size() / kPage; page += 7) {
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

// Of other streams than the damaged one.
TEST_F(CopyTest, ASelectionIsCopiedAlsoWhereAnotherStreamIsDamaged) {
  Import(ManyOfOneStream());
  Import("part,process,test,subgroup,time,value\nB,P,T,S1,2024-02-01,4\nB,P,T,S2,2024-02-02,5\n");
  RunSql(Path(), "UPDATE measurement_chunk SET packed = zeroblob(64)");
  FlatSelection flat;
  flat.List(FlatSelection::kPart, {Id(ItemKind::Part, "B")});
  const auto path = folder_.File("part.db");
  const auto report =
      Data().CopyTo(path, {.selection = CopySelection{flat.info, flat.Filter()}, .progress = {}});
  EXPECT_EQ(report.measurements, 2);
  EXPECT_EQ(QualityDatabase::Open(path).Streams().size(), 1U);
  EXPECT_NE(FailureOf([&] { Data().CopyTo(folder_.File("all.db")); }), "");
}

TEST_F(CopyTest, AHotSubgroupWithoutValuesIsFoundInTheCopy) {
  const auto import = [&](int from, int to) {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = from; i < to; ++i) {
      text += "A,P,T,S" + std::to_string(i) + "," + platform::IsoText(1'700'000'000 + i) + "Z,1\n";
    }
    return Import(text).subgroups;
  };
  import(1, 100);
  Data().DeleteSubgroups({1}, {}, {.actor = {}, .reason = "trial run"});
  import(100, 400);
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  auto copied = QualityDatabase::Open(path);
  const auto again = folder_.File("again.csv");
  WriteFile(again, "part,process,test,subgroup,time,value\nA,P,T,S1," +
                       platform::IsoText(1'700'000'001) + "Z,1\n");
  EXPECT_EQ(copied.Import(again, ImportKind::Values).subgroups, 0);
}

TEST_F(CopyTest, WhatTheTargetHasNoRoomForIsItsFailure) {
  Import(ManyOfOneStream());
  const auto path = folder_.File("copy.db");
  const auto copy = [&](std::int64_t bytes) {
    WatchedDevice device(bytes);
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

// --- Whatever is copied is compared --------------------------------------------------------------

class FaultTest : public CopyTest {
 protected:
  // At least a row in every table.
  void FillEveryTable() {
    for (const auto& [kind, text] : kEveryKind) Import(text, kind);
    RunSql(Path(), R"(
      INSERT INTO setting(id, key, value, who, made) VALUES(1, 'decimals', '3', 'me', 1);
      INSERT INTO phase(id, start, name, who, made) VALUES(1, 0, 'first', 'me', 1);
      INSERT INTO baseline_policy(id, run, minimum, rule, who, made) VALUES(1, 8, 20, '', 'me', 1);
      INSERT INTO chart_option(id, graph, key, value, who, made)
        VALUES(1, 1, 'chart.limits', 'probability', 'me', 1);
      INSERT INTO limit_exclusion(limit_row, subgroup, reason) VALUES(1, 1, 'odd');
      INSERT INTO client_key(key, fingerprint, entry, made) VALUES('k', 'f', 1, 1);
      INSERT INTO alias(kind, name, item) VALUES('part', 'former', 1);
      INSERT INTO alarm_mark(stream, time, subgroup, limit_row, rules) VALUES(1, 5, 1, 1, '1 2');
      INSERT INTO alarm_checkpoint(stream, graph, time, subgroup, upper, lower)
        VALUES(1, 1, 5, 1, 0.5, 0);
      INSERT INTO alarm(event, stream, graph, rule, first_subgroup, last_subgroup, points, state,
        detected) VALUES(1, 1, 1, 1, 1, 1, 1, 'open', 5);
      INSERT INTO sampling_mark(requirement, due) VALUES(1, 5);
      INSERT INTO missed_sample(event, requirement, due) VALUES(1, 1, 5);
      INSERT INTO outbox(id, event, revision, made, message) VALUES(1, 1, 0, 5, '{}');
      INSERT INTO delivery(outbox, hook, state, tries, next) VALUES(1, 'h', 'waiting', 0, 5))");
  }

  // Has statements change what was copied, once all of it is there.
  static void Inject(Connection& to, std::string_view table, const std::string& statements) {
    // The log can only be added to once it is copied.
    const std::string after = table == "log" ? "log" : "counter";
    if (!tests::OnServer()) {
      to.Execute("CREATE TRIGGER fault AFTER INSERT ON " + after + " BEGIN " + statements +
                 "; END");
      return;
    }
    to.Execute("CREATE FUNCTION fault() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN " +
               statements + "; RETURN NULL; END $$");
    to.Execute("CREATE TRIGGER fault AFTER INSERT ON " + after +
               " FOR EACH ROW EXECUTE FUNCTION fault()");
    to.Execute("ALTER TABLE " + after + " ENABLE ALWAYS TRIGGER fault");
  }

  // Statements that change a cell of each row, one for each column that is no identifier.
  static std::vector<std::string> ChangesOf(const Table& table) {
    std::vector<std::string> changes;
    for (const auto& [name_view, kind, of_table] : ColumnsOf(table)) {
      const std::string name(name_view);
      const auto change = "UPDATE " + std::string(table.name) + " SET " + name + " = ";
      if (kind == ColumnKind::Text) changes.push_back(change + name + " || 'x'");
      if (kind != ColumnKind::Number && kind != ColumnKind::Real) continue;
      changes.push_back(change + "coalesce(" + name + ", 0) + 1000");
    }
    return changes;
  }

  // Copies with a fault into a database that stays as it is. Returns the failure.
  std::string FailureWith(Connection& to, const std::optional<std::vector<ChosenStream>>& chosen,
                          std::string_view table, const std::string& statements) {
    std::string failure;
    Opened()->ReadOrThrow([&](Connection& from) {
      const Transaction transaction(to, TransactionKind::Write);
      if (!statements.empty()) Inject(to, table, statements);
      failure = FailureOf([&] { CopyDatabase(from, to, "copy", chosen, {}, {}); });
    });
    return failure;
  }
};

TEST_F(FaultTest, ARowThatIsMissingOrChangedInTheCopyIsAFailureThatNamesItsTable) {
  FillEveryTable();
  const auto path = folder_.Store("copy.db");
  OpenDatabase(path, true);
  const auto to = OpenAnother(path);
  // So that any row can be taken away.
  to->Execute(tests::OnServer() ? "SET session_replication_role = replica"
                                : "PRAGMA foreign_keys=OFF; PRAGMA ignore_check_constraints=ON");
  const std::optional<std::vector<ChosenStream>> selections[] = {std::nullopt, {{{1, {1}}}}};
  for (const auto& chosen : selections) {
    EXPECT_EQ(FailureWith(*to, chosen, "", ""), "");
    // False where the rules of the columns forbid the fault.
    const auto is_found = [&](std::string_view table, const std::string& statements,
                              const std::string& difference) {
      const auto begin =
          "copy: the copy differs from what was copied in table " + std::string(table) + ": ";
      const auto failure = FailureWith(*to, chosen, table, statements);
      if (failure.find("constraint") != std::string::npos) return false;
      EXPECT_TRUE(failure.starts_with(begin + difference)) << statements << ": " << failure;
      return true;
    };
    std::vector<Table> tables(Tables().begin(), Tables().end());
    tables.push_back({"log", "reason:t"});
    tables.push_back({"counter", "last:i"});
    for (const auto& table : tables) {
      const auto remove = "DELETE FROM " + std::string(table.name);
      EXPECT_TRUE(is_found(table.name, remove, "0 rows in place of ")) << table.name;
      if (chosen) continue;
      const auto changes = ChangesOf(table);
      const bool is_changed = std::ranges::any_of(changes, [&](const std::string& change) {
        return is_found(table.name, change, "a row has changed");
      });
      EXPECT_EQ(is_changed, !changes.empty()) << table.name;
    }
    const std::array<const char*, 3> more[] = {
        {"subgroup", "DELETE FROM subgroup; DELETE FROM subgroup_block", "0 rows in place of "},
        {"subgroup", "UPDATE subgroup SET label = label || 'x'", "a row has changed"},
        {"measurement", "DELETE FROM measurement; DELETE FROM measurement_chunk",
         "0 rows in place of "},
        {"alias",
         "INSERT INTO alias(kind, name, item) VALUES('part', 'more', 1) ON CONFLICT DO NOTHING",
         "2 rows in place of 1"}};
    for (const auto& [table, fault, difference] : more) {
      EXPECT_TRUE(is_found(table, fault, difference)) << fault;
    }
  }
}

TEST_F(FaultTest, AChangedValueOfTheCopyIsAFailure) {
  Import("part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\nB,P,T,1,2024-01-01,6\n");
  const auto path = folder_.Store("copy.db");
  OpenDatabase(path, true);
  std::string other;  // the record of stream 1 with another value
  {
    const auto values = std::array{5.5};
    Opened()->ReadOrThrow([&](Connection& db) {
      std::vector<double> before;
      std::vector<RowKey> keys;
      ForEachRecord(db, 1, [&](const RecordView& view) {
        auto record = view.Copy(before, keys);
        record.values = values;
        ChunkPacker packer;
        packer.Add(record);
        std::vector<std::byte> packed;
        packer.Pack(1, packed);
        for (const auto byte : packed) {
          char text[3];
          std::snprintf(text, sizeof text, "%02x", std::to_integer<unsigned>(byte));
          other += text;
        }
      });
    });
  }
  const auto blob = tests::OnServer() ? "'\\x" + other + "'" : "x'" + other + "'";
  const auto to = OpenAnother(path);
  EXPECT_EQ(FailureWith(*to, {}, "",
                        "UPDATE measurement SET packed = " + blob +
                            " WHERE stream = 1; UPDATE measurement_chunk SET packed = " + blob +
                            " WHERE stream = 1"),
            "copy: the copy differs from what was copied in table measurement: a row has changed");
}

// A name of a table that no new database counts yet.
TEST_F(FaultTest, CountersOfMoreTablesAreCopied) {
  ImportSome();
  RunSql(Path(), "INSERT INTO counter(name, last) VALUES('later', 7)");
  const auto path = folder_.Store("copy.db");
  Data().CopyTo(path);
  const auto copy = OpenAnother(path);
  EXPECT_EQ(Query(*copy, "SELECT last FROM counter WHERE name = 'later'").RunForInt(), 7);
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

// So do alarms, with their events and messages, and keys of records.
TEST_F(CopyTest, ASelectionLeavesAlarmsAndKeysOfOtherSubgroupsBehind) {
  Import(
      "part,process,test,subgroup,time,value\n"
      "A,P,T,0,2024-01-01T00:00:00Z,10\nA,P,U,0,2024-01-01T00:00:00Z,10\n");
  Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\nA,P,U,10,1,1\n", ImportKind::ControlLimits);
  Import("number,graph,on\n1,1,yes\n1,2,no\n", ImportKind::Alarms);
  for (const std::string test : {"T", "U"}) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = test;
    record.time = CurrentTime() + (test == "T" ? 1 : 2);
    record.pieces.push_back({14.0, 0, 0, "", "", ""});
    record.key = "key of " + test;
    ASSERT_EQ(Data().Record(record, {}).alarms.size(), 1U);
  }
  FlatSelection flat;
  flat.List(FlatSelection::kTest, {Id(ItemKind::Test, "T")});
  const auto path = folder_.File("test.db");
  Data().CopyTo(path, {.selection = CopySelection{flat.info, flat.Filter()}, .progress = {}});
  const auto copied = QualityDatabase::Open(path);
  const auto alarms = copied.Alarms({});
  ASSERT_EQ(alarms.size(), 1U);
  EXPECT_EQ(alarms[0].test, Id(ItemKind::Test, "T"));
  const auto copy = OpenAnother(path);
  const auto count = [&](std::string_view text) { return Query(*copy, text).RunForInt(); };
  EXPECT_EQ(count("SELECT count(*) FROM client_key"), 1);
  EXPECT_EQ(count("SELECT count(*) FROM client_key WHERE key = 'key of T'"), 1);
  EXPECT_EQ(count("SELECT count(*) FROM event WHERE type = 1"), 1);
  EXPECT_EQ(count("SELECT count(*) FROM outbox"), 1);
  EXPECT_EQ(count("SELECT count(*) FROM outbox WHERE event = (SELECT event FROM alarm)"), 1);
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
    if (table.use == TableUse::IdentifierMap || table.use == TableUse::History) continue;
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
