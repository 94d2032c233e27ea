// SPDX-License-Identifier: Apache-2.0
#include "engine/audit/DataCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/chunks/subgroups.h"
#include "engine/write/chunks/StreamWriter.h"
#include "engine/write/log/Json.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/stored_record.h"

namespace orvspc::engine::audit {
namespace {

using catalogue::ItemKind;
using store::Below;
using store::CopyOf;
using store::StoredRecord;
using store::StoreTest;

class DataCheckTest : public StoreTest {
 protected:
  static constexpr int kSubgroups = 900;

  // Three streams, interleaved, some in many pieces with keys.
  static std::string Many(int from = 0) {
    std::string text = "part,process,test,subgroup,time,value,lot,gage\n";
    for (int i = from; i < from + kSubgroups; ++i) {
      const auto head = std::string(i % 3 == 0   ? "A,P,T,"
                                    : i % 3 == 1 ? "B,P,T,"
                                                 : "A,P,U,") +
                        std::to_string(i) + "," + platform::IsoText(1'700'000'000 + i / 2) + ",";
      for (int piece = 0; piece < 3; ++piece) {
        text += head + std::to_string(i * piece % 17) + ",L" + std::to_string(i % 4) +
                (i % 5 == 0 ? ",G1\n" : ",\n");
      }
    }
    return text;
  }
  LogCheck Check() {
    LogCheck check;
    Opened()->ReadOrThrow([&](sql::Connection& db) { check = CheckLogAndData(db); });
    return check;
  }
  void ExpectWhole() {
    const auto check = Check();
    EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  }
  std::string OnlyFind() {
    const auto check = Check();
    EXPECT_EQ(check.finds.size(), 1U);
    return check.finds.empty() ? std::string() : check.finds.front();
  }
  ChangeOptions Why() {
    ChangeOptions options;
    options.reason = "trial run";
    return options;
  }
  static NewRecord RecordOf(const std::string& test, const std::vector<double>& values) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = test;
    for (const auto value : values) record.pieces.emplace_back().value = value;
    return record;
  }
  std::string DigestOfBatch(std::int64_t number) {
    std::string digest;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT digest FROM batch WHERE id = ?1", number);
      if (query.Step()) digest = query.Text(0);
    });
    return digest;
  }
  std::int64_t Head() { return Data().LogHead().seq; }
  // One by one, or as a batch.
  void Store(const std::vector<NewRecord>& records, bool as_batch) {
    if (!as_batch) {
      for (const auto& each : records) Data().Record(each, {"Ann", ""}, NewNames::Create);
      return;
    }
    auto batch = Data().Begin({"Ann", ""}, {NewNames::Create, "", false});
    for (const auto& each : records) batch.Add(each);
    batch.Commit();
  }
  std::int32_t SubgroupOf(const std::string& label) {
    std::int32_t found = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      store::ForEachSubgroup(db, 1, INT32_MAX, [&](const store::SubgroupFacts& each) {
        if (each.label == label) found = each.id;
      });
    });
    return found;
  }

  std::string AtHand() const { return copy_.empty() ? Path() : copy_; }
  // A copy of this test alone is at hand from here on.
  void GoOnInCopyOf(const std::string& test, const std::string& name = "copy.db") {
    store::FlatSelection chosen;
    chosen.List(store::FlatSelection::kTest, {Id(ItemKind::Test, test)});
    CopyOptions options;
    options.selection = CopySelection{chosen.info, chosen.Filter()};
    copy_ = folder_.Store(name);
    EXPECT_EQ(Data().CopyTo(copy_, options).measurements, 1);
    db_ = OpenDatabase(copy_);
  }
  void GoBackToTheOriginal() {
    copy_.clear();
    Reopen();
  }
  // A batch of one subgroup with two tests, of which the first was corrected since.
  void ImportBothAndCorrectL() {
    Import(Both());
    Data().ChangeValue(1, Id(ItemKind::Test, "L"), {ValueChange::What::Set, 1, 0, 12.5}, Why());
  }
  static std::string OnlyL() {
    return "part,process,test,subgroup,time,value\nA,P,L,1,2024-01-01,20\n";
  }
  static std::string Both() { return OnlyL() + "A,P,T,1,2024-01-01,10\n"; }

  // Changes a record as nobody may: with its checksum, and without an entry.
  void Tamper(std::int32_t subgroup, const std::function<void(StoredRecord&)>& change) {
    const auto db = store::OpenAnother(AtHand());
    sql::Transaction transaction(*db, sql::TransactionKind::Write);
    bool is_done = false;
    for (const auto stream : Streams(*db)) {
      std::vector<StoredRecord> found;
      store::ForEachRecord(*db, stream, [&](const store::RecordView& view) {
        if (view.Subgroup() == subgroup) found.push_back(CopyOf(view));
      });
      if (found.empty() || is_done) continue;
      is_done = true;
      store::StreamWriter writer(*db);
      const auto key = found[0].Key();
      change(found[0]);
      if (found[0].values.empty() || found[0].Key() != key) {
        writer.Remove(stream, std::span(&key, 1));
      }
      const auto view = found[0].View();
      if (!found[0].values.empty()) writer.Write(stream, std::span(&view, 1));
      writer.Finish();
    }
    ASSERT_TRUE(is_done);
    transaction.Commit();
    db_.reset();
    db_ = OpenDatabase(AtHand());
  }
  static std::vector<std::int64_t> Streams(sql::Connection& db) {
    std::vector<std::int64_t> streams;
    for (sql::Query query(db, "SELECT id FROM stream ORDER BY id"); query.Step();) {
      streams.push_back(query.Int64(0));
    }
    return streams;
  }

  std::string copy_;  // empty: the original is at hand
};

TEST_F(DataCheckTest, AnImportThatNobodyTouchedIsProved) {
  Import(Many());
  Import(Many(kSubgroups));
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 2);
  EXPECT_EQ(check.records, 2 * kSubgroups);
  EXPECT_EQ(check.unproved, 0);
  EXPECT_TRUE(check.notes.empty());
}

TEST_F(DataCheckTest, TheDigestDoesNotDependOnHowTheFileIsReadNorOnItsOrder) {
  Import(Many());
  const auto expected = DigestOfBatch(1);
  EXPECT_EQ(expected.size(), 64U);
  auto lines = std::vector<std::string>();
  std::istringstream text(Many());
  std::string head;
  std::getline(text, head);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  // Of each stream a time has one subgroup only, so that identifiers decide no order.
  const auto path = folder_.Store("held.db");
  store::WriteFile(folder_.File("in.csv"), Many());
  ImportOptions options;
  options.most_held = 7;
  auto database = OpenDatabase(path, true);
  import::ImportCsv(folder_.File("in.csv"), *database, ImportKind::Values, options);
  // Later subgroups first, with as many as are held.
  std::string reversed = head + "\n";
  for (std::size_t i = lines.size(); i >= 3; i -= 3) {
    for (std::size_t j = i - 3; j < i; ++j) reversed += lines[j] + "\n";
  }
  const auto other = folder_.Store("reversed.db");
  store::WriteFile(folder_.File("in.csv"), reversed);
  auto backwards = OpenDatabase(other, true);
  import::ImportCsv(folder_.File("in.csv"), *backwards, ImportKind::Values, options);
  for (const auto& each : std::vector{database, backwards}) {
    std::string digest;
    store::SqlStoreOf(*each)->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT digest FROM batch");
      ASSERT_TRUE(query.Step());
      digest = query.Text(0);
      const auto check = CheckLogAndData(db);
      EXPECT_TRUE(check.finds.empty()) << check.finds.front();
      EXPECT_EQ(check.records, kSubgroups);
    });
    EXPECT_EQ(digest, expected);
  }
}

TEST_F(DataCheckTest, WhatWasChangedInAnImportIsFound) {
  Import(Many());
  const std::function<void(StoredRecord&)> changes[] = {
      [](StoredRecord& record) { record.values[1] += 1; },
      [](StoredRecord& record) { record.flag = 1; },
      [](StoredRecord& record) { record.size += 1; },
      [](StoredRecord& record) { record.context = record.context % 3 + 1; },
      [](StoredRecord& record) { record.keys[2].Tsno = 9; },
      [](StoredRecord& record) { record.time += 1000; }};
  std::int32_t subgroup = 10;
  for (const auto& change : changes) {
    StoredRecord before;
    Tamper(subgroup, [&](StoredRecord& record) {
      before = record;
      change(record);
    });
    EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored") << subgroup;
    Tamper(subgroup, [&](StoredRecord& record) { record = before; });
    ExpectWhole();
    ++subgroup;
  }
  Tamper(subgroup, [](StoredRecord& record) { record.values.clear(); });
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored, 899 records for 900");
}

TEST_F(DataCheckTest, ARecordThatSaysItIsOfAnotherBatchIsFound) {
  Import(Many());
  Tamper(4, [](StoredRecord& record) { record.batch = 7; });
  const auto check = Check();
  ASSERT_EQ(check.finds.size(), 2U);
  EXPECT_EQ(check.finds[0], "#4 T: names batch 7, of which the log has no entry");
}

TEST_F(DataCheckTest, ALabelThatWasChangedIsFound) {
  Import(Many());
  store::RunSql(Path(), "UPDATE subgroup SET label = 'x' WHERE id = 890");
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored");
}

TEST_F(DataCheckTest, ANameThatWasChangedWithoutAnEntryIsFound) {
  Import(Many());
  store::RunSql(Path(), "UPDATE lot SET name = 'other' WHERE id = 2");
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored");
}

TEST_F(DataCheckTest, RenamingLeavesWhatWasStoredBefore) {
  Import(Many());
  Data().Rename(ItemKind::Part, "A", "Ring", Why());
  Data().Rename(ItemKind::Lot, "L1", "Lot 1", Why());
  Data().Rename(ItemKind::Part, "Ring", "Disc", Why());
  ExpectWhole();
  Data().ChangeFlag({1, 2, 3}, std::nullopt, 1, Why());
  Data().Rename(ItemKind::Lot, "Lot 1", "L1", Why());
  ExpectWhole();
  const auto check = Check();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, kSubgroups);
}

// Flags, values, times, what was taken out and brought back, on a batch and on single records.
TEST_F(DataCheckTest, ThreeHundredRandomChangesLeaveItProved) {
  Import(Many());
  auto record = RecordOf("T", {1.5, 2.5, 3.5});
  record.context["lot"] = "L1";
  record.comments = {"odd"};
  for (int i = 0; i < 20; ++i) {
    record.time = 1'690'000'000 + i;
    Data().Record(record, {"Ann", ""});
  }
  ExpectWhole();
  EXPECT_EQ(Check().records, kSubgroups + 20);
  std::mt19937 random(5);
  std::vector<std::int64_t> entries;
  std::set<std::int32_t> deleted;
  for (int i = 0; i < 300; ++i) {
    const auto subgroup = 1 + Below(random, 60) + (i % 2 == 0 ? kSubgroups - 40 : 0);
    if (deleted.contains(subgroup)) continue;
    switch (Below(random, 5)) {
      case 0:
        Data().ChangeFlag({subgroup}, std::nullopt, Below(random, 3), Why());
        break;
      case 1: {
        const auto test = Data().ChangeFlag({subgroup}, std::nullopt, 0, Why()).front().test;
        Data().ChangeValue(subgroup, test, {ValueChange::What::Set, 2, 0, i / 8.0}, Why());
        break;
      }
      case 2: {
        SubgroupChange change;
        change.time = 1'600'000'000 + Below(random, 1000);
        change.label = "moved " + std::to_string(i);
        Data().ChangeSubgroups({subgroup}, std::nullopt, change, Why());
        break;
      }
      case 3:
        Data().DeleteSubgroups({subgroup}, std::nullopt, Why());
        entries.push_back(Head());
        deleted.insert(subgroup);
        break;
      default:
        if (entries.empty()) break;
        deleted.erase(Data().Restore(entries.back(), Why()).front().subgroup);
        entries.pop_back();
    }
    if (i % 60 == 0) ExpectWhole();
  }
  ExpectWhole();
  EXPECT_EQ(Check().batches, 1);
}

TEST_F(DataCheckTest, WhatWasChangedAfterACorrectionIsFound) {
  Import(Many());
  const auto test = Data().ChangeFlag({8}, std::nullopt, 1, Why()).front().test;
  Data().ChangeValue(8, test, {ValueChange::What::Set, 2, 0, 5.5}, Why());
  const auto last = std::to_string(Head());
  const auto name = "#8 " + Data().Name(ItemKind::Test, test) + ": ";
  ExpectWhole();
  Tamper(8, [](StoredRecord& record) { record.values[0] = 77; });
  EXPECT_EQ(OnlyFind(), name + "differs from what entry " + last + " stored");
  Tamper(8, [](StoredRecord& record) { record.entry = 0; });
  EXPECT_EQ(OnlyFind(), name + "does not name entry " + last + ", the newest about it");
  Tamper(8, [](StoredRecord& record) { record.values.clear(); });
  EXPECT_EQ(OnlyFind(), name + "is missing; entry " + last + " stored it");
}

TEST_F(DataCheckTest, WhatCameByItselfIsProvedOneByOne) {
  auto record = RecordOf("T", {1.5, 2.5});
  record.time = 1'700'000'000;
  const auto id = Data().Record(record, {"Ann", ""}, NewNames::Create).subgroup;
  record.time += 60;
  const auto other = Data().Record(record, {"Ann", ""}).subgroup;
  EXPECT_EQ(Check().records, 2);
  ExpectWhole();
  Tamper(id, [](StoredRecord& each) { each.values[0] = 77; });
  EXPECT_EQ(OnlyFind(), "#" + std::to_string(id) + " T: differs from what entry 2 stored");
  Tamper(id, [](StoredRecord& each) { each.values[0] = 1.5; });
  Tamper(other, [](StoredRecord& each) { each.values.clear(); });
  EXPECT_EQ(OnlyFind(), "#" + std::to_string(other) + " T: is missing; entry 3 stored it");
}

TEST_F(DataCheckTest, CountsAreProvedWithTheirUnits) {
  Import(
      "part,process,test,subgroup,time,count,size,defect,tsno\n"
      "A,P,C,1,2024-01-01,3,50,scratch,\nA,P,C,1,2024-01-01,1,50,dent,4\n"
      "A,P,C,2,2024-01-02,0,50,,\nA,P,C,3,2024-01-03,7,50,,\n");
  ExpectWhole();
  const auto test = Id(ItemKind::Test, "C");
  Data().ChangeFlag({1, 2, 3}, test, 1, Why());
  Data().DeleteSubgroups({1, 3}, test, Why());
  ExpectWhole();
  const auto head = Head();
  Data().Restore(head - 1, Why());
  Data().Restore(head, Why());
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, 3);
}

TEST_F(DataCheckTest, ABatchOfRecordsIsProvedLikeAnImport) {
  auto batch = Data().Begin({"Ann", ""}, {NewNames::Create, "", false});
  for (int i = 0; i < 50; ++i) {
    auto record = RecordOf(i % 2 == 0 ? "T" : "U", {i + 0.25, i + 0.5});
    record.label = "S" + std::to_string(i / 2);
    record.context["lot"] = "L";
    record.time = 1'700'000'000 - i / 2;
    batch.Add(record);
  }
  batch.Commit();
  ExpectWhole();
  EXPECT_EQ(Check().batches, 1);
  EXPECT_EQ(Check().records, 50);
  Tamper(3, [](StoredRecord& each) { each.values[0] += 1; });
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored");
}

// --- Merges --------------------------------------------------------------------------------------

// Parts, lots and tests of a batch and of single records become one, some of them twice.
TEST_F(DataCheckTest, MergesLeaveWhatWasStoredBeforeProved) {
  Import(Many());
  auto record = RecordOf("T", {1.5, 2.5});
  record.context["lot"] = "L1";
  for (int i = 0; i < 5; ++i) {
    record.time = 1'690'000'000 + i;
    Data().Record(record, {"Ann", ""});
  }
  Data().ChangeFlag({1, 2, 3}, std::nullopt, 1, Why());
  Data().DeleteSubgroups({4, 5}, std::nullopt, Why());
  const auto deleted = Head();
  Data().Merge(ItemKind::Lot, "L1", "L2", Why());
  ExpectWhole();
  Data().Rename(ItemKind::Lot, "L2", "L1", Why());
  Data().Merge(ItemKind::Lot, "L1", "L3", Why());
  ExpectWhole();
  Data().Merge(ItemKind::Part, "A", "B", Why());
  ExpectWhole();
  Data().ChangeFlag({7, 8, 9}, std::nullopt, 1, Why());
  Data().Merge(ItemKind::Test, "U", "T", Why());
  ExpectWhole();
  Data().Rename(ItemKind::Part, "B", "A", Why());
  Data().ChangeFlag({2, 3, 10, 11, 12}, std::nullopt, 2, Why());
  Data().Restore(deleted, Why());
  ExpectWhole();
  Import(Many(kSubgroups));
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 2);
  EXPECT_TRUE(check.notes.empty());
}

TEST_F(DataCheckTest, WhatWasChangedInABatchIsFoundAfterMerges) {
  Import(Many());
  Data().Merge(ItemKind::Lot, "L1", "L2", Why());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  Data().Merge(ItemKind::Test, "U", "T", Why());
  ExpectWhole();
  Tamper(10, [](StoredRecord& record) { record.values[1] += 1; });
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored");
  Tamper(10, [](StoredRecord& record) { record.values[1] -= 1; });
  ExpectWhole();
  // Subgroup 9 is of lot L0, 10 was of L1: another lot shows, whatever was merged.
  Tamper(9, [](StoredRecord& record) { record.context = 3; });
  EXPECT_EQ(OnlyFind(), "batch 1: differs from what entry 2 stored");
}

// Of a test that becomes another one, one record was taken out, another changed.
TEST_F(DataCheckTest, RecordsThatCameByThemselvesAreProvedAfterAMergeOfTests) {
  auto record = RecordOf("T", {1.5, 2.5});
  record.time = 1'700'000'000;
  record.label = "1";
  const auto first = Data().Record(record, {"Ann", ""}, NewNames::Create).subgroup;
  Data().DeleteSubgroups({first}, std::nullopt, Why());
  auto other = RecordOf("U", {3.5, 4.5});
  other.time = record.time;
  other.label = "1";
  EXPECT_EQ(Data().Record(other, {"Ann", ""}, NewNames::Create).subgroup, first);
  other.time += 60;
  other.label = "2";
  const auto second = Data().Record(other, {"Ann", ""}).subgroup;
  other.time += 60;
  other.label = "3";
  const auto third = Data().Record(other, {"Ann", ""}).subgroup;
  Data().ChangeFlag({second}, std::nullopt, 1, Why());
  Data().DeleteSubgroups({third}, std::nullopt, Why());
  Data().Merge(ItemKind::Test, "U", "T", Why());
  ExpectWhole();
  EXPECT_EQ(Check().records, 2);
  Tamper(first, [](StoredRecord& each) { each.values[0] = 77; });
  const auto name = "#" + std::to_string(first) + " T: ";
  // The delete has an entry of the record and one of the test, which has no values then.
  EXPECT_EQ(OnlyFind(), name + "differs from what entry 5 stored");
  Tamper(first, [](StoredRecord& each) { each.values.clear(); });
  EXPECT_EQ(OnlyFind(), name + "is missing; entry 5 stored it");
}

// Records of two tests of one subgroup, both taken out, whose tests then become one.
TEST_F(DataCheckTest, WhatWasTakenOutOfTestsThatBecameOneIsProvedByItsOwnEntry) {
  auto wrong = RecordOf("U", {3.5, 4.5}), right = RecordOf("T", {1.5, 2.5});
  for (auto* const record : {&wrong, &right}) {
    record->time = 1'700'000'000;
    record->label = "1";
  }
  const auto id = Data().Record(wrong, {"Ann", ""}, NewNames::Create).subgroup;
  Data().Record(right, {"Ann", ""}, NewNames::Create);
  Data().DeleteSubgroups({id}, std::nullopt, Why());
  Data().Merge(ItemKind::Test, "U", "T", Why());
  ExpectWhole();
  EXPECT_EQ(Data().Record(right, {"Ann", ""}).subgroup, id);
  ExpectWhole();
  Data().DeleteSubgroups({id}, std::nullopt, Why());
  Data().Record(wrong, {"Ann", ""});
  const auto last = Head();
  ExpectWhole();
  Tamper(id, [](StoredRecord& each) { each.values[0] = 77; });
  EXPECT_EQ(OnlyFind(), "#1 T: differs from what entry " + std::to_string(last) + " stored");
}

// Of records whose lot becomes another one: each has a test, a lot, a label.
TEST_F(DataCheckTest, WhatWasTakenOutHasTheMergesOfItsOwnTime) {
  struct Sent {
    const char *test, *lot, *label;
  };
  // What is taken out is of the test that becomes another one, then of that other one: there the
  // subgroup has a record of the first, which comes to its place.
  const struct {
    const char* name;
    std::vector<Sent> sent;
    const char* taken_out;
    std::int64_t left;
  } cases[] = {
      {"of the test that goes", {{"L", "old", "1"}, {"D", "L1", "2"}, {"L", "L1", "3"}}, "L", 2},
      {"of the test that stays", {{"D", "old", "1"}, {"L", "L1", "1"}, {"D", "L1", "3"}}, "D", 2}};
  std::int64_t records = 0;
  int number = 0;
  for (const auto& each : cases) {
    for (const bool as_batch : {false, true}) {
      SCOPED_TRACE(std::string(each.name) + (as_batch ? ", of a batch" : ""));
      const auto own = " " + std::to_string(++number);
      std::vector<NewRecord> sent;
      for (const auto& one : each.sent) {
        auto record = RecordOf(one.test + own, {10, 11});
        record.label = one.label + own;
        record.time = 1'700'000'000 + 60 * (one.label[0] - '0');
        record.context["lot"] = one.lot + own;
        sent.push_back(record);
      }
      Store(sent, as_batch);
      Data().Merge(ItemKind::Lot, "old" + own, "L1" + own, Why());
      ExpectWhole();
      Data().DeleteSubgroups({SubgroupOf("1" + own)}, Id(ItemKind::Test, each.taken_out + own),
                             Why());
      const auto deleted = Head();
      ExpectWhole();
      Data().Merge(ItemKind::Test, "L" + own, "D" + own, Why());
      const auto check = Check();
      EXPECT_TRUE(check.finds.empty()) << check.finds.front();
      records += each.left;
      EXPECT_EQ(check.records, records);
      if (each.taken_out[0] != 'L') continue;
      Data().Restore(deleted, Why());
      ExpectWhole();
      ++records;
    }
  }
}

TEST_F(DataCheckTest, WhatAnImportBroughtAfterARecordWasTakenOutIsProved) {
  auto record = RecordOf("T", {1.5});
  record.time = 1'700'000'000;
  record.label = "1";
  const auto id = Data().Record(record, {"Ann", ""}, NewNames::Create).subgroup;
  Data().DeleteSubgroups({id}, std::nullopt, Why());
  Import("part,process,test,subgroup,time,value\nA,P,T,1," + platform::IsoText(record.time) +
         "Z,7\n");
  Data().ChangeFlag({id}, std::nullopt, 1, Why());
  Data().DeleteSubgroups({id}, std::nullopt, Why());
  Data().Record(record, {"Ann", ""});
  ExpectWhole();
}

TEST_F(DataCheckTest, WhatIsRecordedAgainAfterItWasTakenOutIsProved) {
  auto record = RecordOf("T", {1.5, 2.5});
  record.time = 1'700'000'000;
  record.label = "1";
  const auto id = Data().Record(record, {"Ann", ""}, NewNames::Create).subgroup;
  Data().DeleteSubgroups({id}, std::nullopt, Why());
  EXPECT_EQ(Data().Record(record, {"Ann", ""}).subgroup, id);
  ExpectWhole();
  Data().ChangeFlag({id}, std::nullopt, 1, Why());
  ExpectWhole();
  Tamper(id, [](StoredRecord& each) { each.values[0] = 77; });
  EXPECT_EQ(OnlyFind(), "#1 T: differs from what entry 6 stored");
}

TEST_F(DataCheckTest, WhatIsImportedAgainAfterItWasTakenOutIsProved) {
  Import(Many());
  Data().DeleteSubgroups({4, 5, 6}, std::nullopt, Why());
  std::istringstream lines(Many());
  std::string again;
  for (int i = 0; i < 1 + 6 * 3; ++i) {
    std::string line;
    std::getline(lines, line);
    if (i == 0 || i > 3 * 3) again += line + "\n";
  }
  Import(again);
  ExpectWhole();
  EXPECT_EQ(Check().batches, 2);
  Data().ChangeFlag({5, 6}, std::nullopt, 1, Why());
  Data().DeleteSubgroups({6}, std::nullopt, Why());
  ExpectWhole();
  Tamper(4, [](StoredRecord& each) { each.values[0] = 77; });
  EXPECT_NE(OnlyFind().find("batch 2: differs"), std::string::npos);
}

TEST_F(DataCheckTest, WhatIsImportedAgainAfterItWasUndoneIsProved) {
  Import(Many());
  Data().UndoImport(1, false, Why());
  Import(Many());
  Data().ChangeFlag({5, 6}, std::nullopt, 1, Why());
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, kSubgroups);
}

// --- What nothing stored -------------------------------------------------------------------------

TEST_F(DataCheckTest, ARecordThatNothingStoredIsFound) {
  Import(Many());
  Tamper(5, [](StoredRecord& record) { record.batch = 0; });
  const auto check = Check();
  ASSERT_EQ(check.finds.size(), 2U);
  EXPECT_EQ(check.finds[0], "#5 T: is there, and no entry of the log stored it");
  EXPECT_EQ(check.unproved, 0);
}

TEST_F(DataCheckTest, ARecordOfABatchThatWasUndoneIsFound) {
  Import(Many());
  Import(Many(kSubgroups));
  Data().UndoImport(1, false, Why());
  ExpectWhole();
  Tamper(kSubgroups + 5, [](StoredRecord& record) { record.batch = 1; });
  const auto check = Check();
  ASSERT_EQ(check.finds.size(), 2U);
  EXPECT_NE(check.finds[0].find(": names batch 1, which was undone"), std::string::npos);
}

// --- Copies --------------------------------------------------------------------------------------

TEST_F(DataCheckTest, ACopyTakesTheLogAlongAndNamesWhatItIsOf) {
  Import(Many());
  Data().ChangeFlag({1, 2, 3}, std::nullopt, 1, Why());
  const auto source = Data().LogHead();
  const auto anchors = folder_.File("anchors");
  Data().AnchorLog(anchors);
  const auto path = folder_.Store("copy.db");
  CopyOptions options;
  options.actor.by = "Bob";
  options.reason = "for the archive";
  Data().CopyTo(path, options);
  const auto copied = QualityDatabase::Open(path);
  const auto entries = copied.Log();
  ASSERT_EQ(entries.size(), static_cast<std::size_t>(source.seq) + 1);
  EXPECT_EQ(entries[entries.size() - 2].hash, source.hash);
  const auto& last = entries.back();
  EXPECT_EQ(last.operation, "copy");
  EXPECT_EQ(last.who, "Bob");
  EXPECT_EQ(last.reason, "for the archive");
  const auto after = log::ReadJson(last.after);
  EXPECT_EQ(after["source"], source.uuid);
  EXPECT_EQ(after["head"], source.hash);
  EXPECT_EQ(after["uuid"], copied.LogHead().uuid);
  EXPECT_NE(copied.LogHead().uuid, source.uuid);
  const auto check = copied.VerifyLog({.with_data = true, .anchors = anchors});
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, kSubgroups);
  // Entries of a copy are only added, too.
  EXPECT_THROW(store::OpenAnother(path)->Execute("DELETE FROM log"), sql::SqlError);
  EXPECT_EQ(copied.Log({.object = "batch 1"}).size(), 1U);
}

TEST_F(DataCheckTest, ACopyOfASelectionSaysWhatItCannotProve) {
  Import(Many());
  Data().ChangeFlag({1, 2, 3}, std::nullopt, 0, Why());
  store::FlatSelection chosen;
  chosen.info.Count = 10;
  CopyOptions options;
  options.selection = CopySelection{chosen.info, chosen.Filter()};
  const auto path = folder_.Store("copy.db");
  EXPECT_EQ(Data().CopyTo(path, options).measurements, 10);
  const auto copied = QualityDatabase::Open(path);
  const auto check = copied.VerifyLog({.with_data = true});
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 0);
  ASSERT_EQ(check.notes.size(), 1U);
  EXPECT_NE(check.notes[0].find("copied a selection"), std::string::npos);
  EXPECT_EQ(log::ReadJson(copied.Log().back().after)["selected"], 10);
}

TEST_F(DataCheckTest, WhatACopyLeftOutAndAnImportBringsAnewIsProved) {
  ImportBothAndCorrectL();
  const auto test = Id(ItemKind::Test, "L");
  GoOnInCopyOf("T");
  Import(OnlyL());
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, 2);
  Tamper(1, [](StoredRecord& record) { record.values[0] = 77; });
  EXPECT_EQ(OnlyFind(), "batch 2: differs from what entry 5 stored");
  Tamper(1, [](StoredRecord& record) { record.values[0] = 20; });
  ExpectWhole();
  Data().ChangeValue(1, test, {ValueChange::What::Set, 1, 0, 7.5}, Why());
  ExpectWhole();
  EXPECT_EQ(Check().batches, 1);
  Tamper(1, [](StoredRecord& record) { record.values[0] = 12.5; });
  EXPECT_EQ(OnlyFind(), "#1 L: differs from what entry 6 stored");
}

TEST_F(DataCheckTest, ACorrectedRecordThatACopyTookDoesNotPassForOneOfALaterImport) {
  ImportBothAndCorrectL();
  GoOnInCopyOf("L");
  Import("part,process,test,subgroup,time,value\nA,P,L,2,2024-01-02,20\n");
  ExpectWhole();
  Tamper(1, [](StoredRecord& record) {
    record.values[0] = 77;
    record.entry = 0;
    record.batch = 2;
  });
  EXPECT_EQ(OnlyFind(), "batch 2: differs from what entry 5 stored, 2 records for 1");
}

// Of the second copy the log cannot say which of the two left the corrected record out.
TEST_F(DataCheckTest, WhatACopyLeftOutAndAnImportBroughtAnewIsInTheNextCopy) {
  ImportBothAndCorrectL();
  GoOnInCopyOf("T");
  Import(OnlyL());
  GoOnInCopyOf("L", "second.db");
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 0);
  EXPECT_EQ(check.records, 1);
}

TEST_F(DataCheckTest, WhatACopyLeftOutIsImportedAgainAfterItsImportWasUndone) {
  ImportBothAndCorrectL();
  GoOnInCopyOf("T");
  Data().UndoImport(1, false, Why());
  Import(Both());
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.batches, 1);
  EXPECT_EQ(check.records, 2);
}

// A test without values in the copy becomes the one that was copied, and the other way around.
TEST_F(DataCheckTest, ATestThatACopyLeftOutIsMergedWithTheOneThatItTook) {
  ImportBothAndCorrectL();
  for (const std::string from : {"L", "T"}) {
    GoOnInCopyOf("T", "without-" + from + ".db");
    Data().Merge(ItemKind::Test, from, from == "L" ? "T" : "L", Why());
    const auto check = Check();
    EXPECT_TRUE(check.finds.empty()) << from << ": " << check.finds.front();
    EXPECT_EQ(check.records, 1);
    GoBackToTheOriginal();
  }
}

TEST_F(DataCheckTest, ARecordThatACopyLeftOutIsNotThatOfTheTestItIsMergedWith) {
  auto taken = RecordOf("T", {1.5, 2.5}), left_out = RecordOf("L", {3.5, 4.5});
  for (auto* const record : {&taken, &left_out}) {
    record->time = 1'700'000'000;
    record->label = "1";
    ASSERT_EQ(Data().Record(*record, {"Ann", ""}, NewNames::Create).subgroup, 1);
  }
  for (const std::string from : {"L", "T"}) {
    const std::string into = from == "L" ? "T" : "L";
    GoOnInCopyOf("T", "without-" + from + ".db");
    Data().Merge(ItemKind::Test, from, into, Why());
    ExpectWhole();
    EXPECT_EQ(Check().records, 1);
    Tamper(1, [](StoredRecord& record) { record.values[0] = 77; });
    EXPECT_EQ(OnlyFind(), "#1 " + into + ": differs from what entry 2 stored");
    GoBackToTheOriginal();
  }
}

TEST_F(DataCheckTest, ADatabaseWithALogOfItsOwnIsNotCopiedInto) {
  Import(Many());
  const auto path = folder_.Store("settings.db");
  QualityDatabase other(OpenDatabase(path, true));
  EXPECT_EQ(other.LogHead().seq, 1);
  store::SqlStoreOf(*other.Database())->Write({}, "", [](log::Writing& writing) {
    writing.Add("trial", "database", "", "");
  });
  EXPECT_NE(store::FailureOf([&] { Data().CopyTo(path); }).find("holds data already"),
            std::string::npos);
  EXPECT_EQ(other.LogHead().seq, 2);
}

}  // namespace
}  // namespace orvspc::engine::audit
