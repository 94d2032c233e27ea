// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "engine/store/digest.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Canonical.h"
#include "engine/write/log/Json.h"
#include "tests/engine/watched_device.h"
#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

TEST_F(RecorderTest, StoresValuesWithTheirNames) {
  auto record = Diameter({74.03, 74.002, 74.019});
  record.context = {{"lot", "L7"}, {"shift", "Early"}, {"descriptor:Colour", "red"}};
  record.comments = {"tool changed"};
  record.flag = sfIncomplete;
  const auto recorded = Make(record);
  EXPECT_GT(recorded.subgroup, 0);
  EXPECT_EQ(recorded.label, "1");
  EXPECT_EQ(recorded.time, kNow);
  EXPECT_FALSE(recorded.repeated);
  const auto stored = Stored(recorded.subgroup);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->values, (std::vector{74.03, 74.002, 74.019}));
  EXPECT_EQ(stored->keys[2], store::PlainKey(2));
  EXPECT_EQ(stored->size, 3.0);
  EXPECT_EQ(stored->flag, sfIncomplete);
  EXPECT_EQ(stored->batch, 0);
  EXPECT_EQ(Data().SubgroupLabel(recorded.subgroup), "1");
  EXPECT_EQ(Text("SELECT l.name FROM context c JOIN lot l ON l.id = c.lot"), "L7");
  EXPECT_EQ(Text("SELECT note FROM comment"), "tool changed");
  EXPECT_EQ(Text("SELECT e.name FROM comment c JOIN employee e ON e.id = c.employee"), "Ann");
  EXPECT_EQ(Text("SELECT d.name FROM subgroup_descriptor s JOIN descriptor d "
                 "ON d.id = s.descriptor"),
            "red");
}

TEST_F(RecorderTest, ALineOfJsonKeepsAllOfItsCommentsAndDescriptors) {
  Make(Diameter({1}, kNow - 9));
  const std::string line = R"({"part":"Ring","process":"Press A","test":"Diameter","label":"x",)"
                           R"("time":"2026-03-11T05:00:00Z","pieces":[{"value":1},{"value":2}],)"
                           R"("descriptors":{"Colour":["blue",{"name":"green","tsno":2},"red"],)"
                           R"("Mould":{"name":"M1","tsno":1}},)"
                           R"("comments":["plain",{"text":"scratch","tsno":2,"employee":"Bob",)"
                           R"("time":"2026-03-11T05:30:00Z"}]})";
  const auto record = RecordFromJson(line);
  EXPECT_EQ(log::TextOf(log::CanonicalOf(record)), line);
  const auto recorded = Into().Record(record, kAnn);
  const auto rows = [&](const std::string& sql) {
    const auto db = store::OpenAnother(Path());
    std::string text;
    for (sql::Query query(*db, sql); query.Step();) text += std::string(query.Text(0)) + " ";
    return text;
  };
  EXPECT_EQ(rows("SELECT g.name || ':' || d.name || ':' || s.tsno FROM subgroup_descriptor s "
                 "JOIN descriptor d ON d.id = s.descriptor "
                 "JOIN descriptor_group g ON g.id = d.descriptor_group "
                 "ORDER BY g.name, s.tsno, d.name"),
            "Colour:blue:0 Colour:red:0 Colour:green:2 Mould:M1:1 ");
  EXPECT_EQ(rows("SELECT c.note || ':' || c.tsno || ':' || e.name || ':' || c.time FROM comment c "
                 "JOIN employee e ON e.id = c.employee ORDER BY c.id"),
            "plain:0:Ann:" + std::to_string(kNow - 3600) +
                " scratch:2:Bob:" + std::to_string(kNow - 1800) + " ");
  const auto after = LatestAfter();
  EXPECT_EQ(after["descriptors"][0], log::ReadJson(line)["descriptors"]);
  EXPECT_EQ(after["comments"][0], log::ReadJson(line)["comments"]);
  EXPECT_TRUE(Into().VerifyLog({true}).finds.empty());
  // Deleted and brought back it is the same.
  const auto deleted = Into().DeleteSubgroups({recorded.subgroup}, {}, {kAnn, "by mistake"});
  Into().Restore(deleted[0].version, {kAnn, "it was right"});
  // What cannot be stored is refused there, too.
  auto other = record;
  other.label = "y";
  other.other_comments[0].time = std::int64_t{1} << 40;
  ExpectRefused(other, "time",
                "time: must lie between 1901-12-13T20:45:52 and 2038-01-19T03:14:07");
  other = record;
  other.other_comments[0].employee = "a\nb";
  ExpectRefused(other, "name",
                "employee: must be 1 to 255 bytes of text without control characters");
  other = record;
  other.descriptors[0].name = "";
  ExpectRefused(other, "name",
                "descriptor:Colour: must be 1 to 255 bytes of text without control characters");
  other = record;
  other.descriptors[0].tsno = -1;
  ExpectRefused(other, "number", "tsno: must be a whole number between 0 and 1000000000");
  other = record;
  other.other_comments[0].text = "";
  ExpectRefused(other, "comment", "comment: must be 1 to 4000 characters of text");
}

// A database into which the same was recorded and imported is the same.
TEST_F(RecorderTest, StoresWhatAnImportStores) {
  const auto create = [](QualityDatabase& into, const NewRecord& record) {
    into.Record(record, {"Ann", ""}, NewNames::Create);
  };
  auto plain = Diameter({1, 2, 3}, kNow - 30);
  plain.label = "A1";
  plain.context = {{"lot", "L1"}, {"descriptor:Colour", "red"}};
  auto readings = Diameter({}, kNow - 20);
  readings.label = "A2";
  readings.context = {{"lot", "L1"}, {"descriptor:Colour", "blue"}};
  readings.pieces = {{5, 2, 1, "S2", "G1", ""}, {7, 2, 2, "S2", "G1", ""}, {1, 1, 0, "S1", "", ""}};
  create(Into(), plain);
  create(Into(), readings);
  into_.reset();
  const auto other = folder_.Store("other.db");
  {
    QualityDatabase imported(OpenDatabase(other, true));
    store::WriteFile(folder_.File("in.csv"),
                     "part,process,test,subgroup,time,value,tsno,sbno,serial,gage,lot,"
                     "descriptor:Colour\n"
                     "Ring,Press A,Diameter,A1,2026-03-11T05:59:30,1,,,,,L1,red\n"
                     "Ring,Press A,Diameter,A1,2026-03-11T05:59:30,2,,,,,L1,red\n"
                     "Ring,Press A,Diameter,A1,2026-03-11T05:59:30,3,,,,,L1,red\n"
                     "Ring,Press A,Diameter,A2,2026-03-11T05:59:40,5,2,1,S2,G1,L1,blue\n"
                     "Ring,Press A,Diameter,A2,2026-03-11T05:59:40,7,2,2,S2,G1,L1,blue\n"
                     "Ring,Press A,Diameter,A2,2026-03-11T05:59:40,1,1,,S1,,L1,blue\n");
    imported.Import(folder_.File("in.csv"), ImportKind::Values);
  }
  const auto digest_at = [](const std::string& path) {
    std::string digest;
    const auto database = OpenDatabase(path);
    store::SqlStoreOf(*database)->ReadOrThrow([&](sql::Connection& db) {
      const auto both = store::DigestOf(db);
      digest = both.values;
      EXPECT_EQ(both.measurements, 2);
      EXPECT_EQ(both.rows, 3 + 4);
    });
    return digest;
  };
  EXPECT_EQ(digest_at(Path()), digest_at(other));
}

TEST_F(RecorderTest, ANewRecordHasNothingOfADeletedOne) {
  auto record = Diameter({1});
  record.label = "7";
  record.context = {{"descriptor:Colour", "red"}};
  record.comments = {"scratched"};
  const auto id = Make(record).subgroup;
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "wrong ring";
  const auto entry = Into().DeleteSubgroups({id}, {}, why).at(0).version;
  EXPECT_EQ(Value("SELECT count(*) FROM comment"), 0);
  Into().Restore(entry, why);
  EXPECT_EQ(Value("SELECT count(*) FROM comment"), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM subgroup_descriptor"), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM descriptor_source"), 1);
  Into().DeleteSubgroups({id}, {}, why);
  record.context = {{"descriptor:Colour", "blue"}};
  record.comments.clear();
  EXPECT_EQ(Make(record).subgroup, id);
  EXPECT_EQ(Value("SELECT count(*) FROM comment"), 0);
  EXPECT_EQ(Text("SELECT d.name FROM subgroup_descriptor s JOIN descriptor d "
                 "ON d.id = s.descriptor ORDER BY d.name DESC"),
            "blue");
}

TEST_F(RecorderTest, EachCallHasOneEntryOfTheLog) {
  const auto before = Value("SELECT max(seq) FROM log");
  auto diameter = Diameter({1, 2});
  diameter.comments = {"note"};
  auto height = Diameter({3});
  height.test = "Height";
  diameter.key = height.key = "both";
  const std::vector both{diameter, height};
  const auto recorded = Into().RecordSubgroup(both, kAnn, NewNames::Create);
  ASSERT_EQ(recorded.size(), 2U);
  EXPECT_EQ(recorded[0].subgroup, recorded[1].subgroup);
  EXPECT_EQ(recorded[0].version, before + 1);
  EXPECT_EQ(Value("SELECT max(seq) FROM log"), before + 1);
  const std::string latest = "FROM log ORDER BY seq DESC LIMIT 1";
  EXPECT_EQ(Text("SELECT operation " + latest), "record");
  EXPECT_EQ(Text("SELECT object " + latest), "subgroup " + std::to_string(recorded[0].subgroup));
  EXPECT_EQ(Text("SELECT who " + latest), "Ann");
  EXPECT_EQ(Text("SELECT station " + latest), "gauge 7");
  EXPECT_EQ(Text("SELECT before " + latest), "");
  // The digest is that of the canonical record as it is stored.
  const auto after = LatestAfter();
  auto canonical = log::CanonicalOf(diameter);
  canonical.label = "1";
  ASSERT_EQ(after["records"].size(), 2U);
  EXPECT_EQ(after["records"][0]["digest"], DigestOf(canonical));
  EXPECT_EQ(after["records"][1]["test"], Id(ItemKind::Test, "Height"));
  EXPECT_EQ(after["key"], "both");
  EXPECT_EQ(after["comments"][0][0], "note");
  EXPECT_TRUE(Into().RecordSubgroup(both, kAnn)[1].repeated);
}

TEST_F(RecorderTest, AStreamWithoutControlLimitsIsNoted) {
  const auto notes_of = [](const Recorded& recorded) {
    std::string text;
    for (const auto& note : recorded.notes) text += note.text;
    return text;
  };
  const std::string none = "no control limits in force: orvspc limits propose";
  EXPECT_EQ(notes_of(Make(Diameter({1}, kNow - 9))), none);
  // In a batch each stream is noted once, with its last record.
  auto batch = Into().Begin(kAnn);
  batch.Add(Diameter({1}, kNow - 8));
  batch.Add(Diameter({2}, kNow - 7));
  const auto recorded = batch.Commit();
  ASSERT_EQ(recorded.records.size(), 2U);
  EXPECT_EQ(notes_of(recorded.records[0]), "");
  EXPECT_EQ(notes_of(recorded.records[1]), none);
  Import("part,process,test,mean,sp,effective\nRing,Press A,Diameter,74,1,2024-01-01\n",
         ImportKind::ControlLimits);
  EXPECT_EQ(notes_of(Into().Record(Diameter({1}, kNow - 6), kAnn)), "");
}

TEST_F(RecorderTest, SeesWhatOthersHaveChanged) {
  Make(Diameter({1}));
  ExpectRefused(Diameter({1e9}, INT64_C(1) << 40), "time",
                "time: must lie between 1901-12-13T20:45:52 and 2038-01-19T03:14:07");
  store::RunSql(Path(), "UPDATE test SET active = 0");
  EXPECT_EQ(RefusalOf(Diameter({1}, kNow - 1))->code, "inactive");
  store::RunSql(Path(), "UPDATE test SET active = 1");
  EXPECT_FALSE(RefusalOf(Diameter({1}, kNow - 1)));
}

TEST_F(RecorderTest, ManyThreadsShareOneObject) {
  Make(Diameter({1}));
  constexpr int kThreads = 8, kEach = 40;
  std::vector<std::thread> threads;
  std::atomic<int> refused = 0;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const time::FixedNow now(kNow);
      for (int i = 0; i < kEach; ++i) {
        auto record = Diameter({static_cast<double>(i)}, kNow - 10 - i);
        record.label = "t" + std::to_string(t) + "-" + std::to_string(i);
        Into().Record(record, {"caller " + std::to_string(t), ""});
        try {
          record.pieces[0].value = 1e301;
          Into().Record(record, {});
        } catch (const Refused&) {
          ++refused;
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(refused, kThreads * kEach);
  EXPECT_EQ(Data().Streams().front().subgroups, kThreads * kEach + 1);
  EXPECT_EQ(Value("SELECT count(*) FROM log WHERE who LIKE 'caller %'"), kThreads * kEach);
}

TEST_F(RecorderTest, SaysSoWhenAnotherProgramWritesForTooLong) {
  Make(Diameter({1}));
  Into().Set("patience", "0");
  Make(Diameter({1}));  // reads the setting
  const auto other = store::OpenAnother(Path());
  const sql::Transaction writing(*other, sql::TransactionKind::Write);
  const auto failure = store::FailureOf([&] { Make(Diameter({1})); });
  EXPECT_EQ(failure, Opened()->Path() + ": another program has been writing for 0 s; try again");
}

// Those of tables and indexes that every record adds to; each costs a durable record some time.
TEST(RecorderFileTest, ARecordWritesEightPages) {
  constexpr std::size_t kFrame = 4096 + 24;
  constexpr int kBefore = 30, kRecords = 60;
  const store::TemporaryFolder folder;
  WatchedDevice device;
  std::size_t bytes = 0;
  device.on_write = [&](std::string_view name, std::span<std::byte> data) {
    if (name.ends_with("-wal")) bytes += data.size();
    return SQLITE_OK;
  };
  auto database = QualityDatabase::Create(folder.File("q.db"));
  for (const bool with_key : {false, true}) {
    std::vector<std::size_t> pages;
    for (int i = 0; i < kBefore + kRecords; ++i) {
      auto record = Diameter({70, 71, 72, 73, 74}, kNow + i * 60 + (with_key ? 100'000 : 0));
      if (with_key) record.key = "gauge 7, " + std::to_string(i);
      bytes = 0;
      database.Record(record, {"Ann", "gauge 7"}, NewNames::Create);
      if (i >= kBefore) pages.push_back(bytes / kFrame);
    }
    // Half of them seal nothing and split no page.
    std::ranges::sort(pages);
    EXPECT_EQ(pages[kRecords / 2], with_key ? 8U : 6U);
  }
}

}  // namespace
}  // namespace orvspc::engine::record
