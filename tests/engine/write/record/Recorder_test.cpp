// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "engine/QualityDatabase.h"
#include "engine/chunks/StreamWalk.h"
#include "engine/sql/counter.h"
#include "engine/store/digest.h"
#include "engine/time/calendar.h"
#include "engine/write/log/Canonical.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/Log.h"
#include "platform/TimeText.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/watched_device.h"

namespace orvspc::engine::record {
namespace {

using store::StoreTest;

constexpr std::int64_t kNow = 1'773'208'800;  // 2026-03-11T06:00:00Z

std::vector<NewPiece> Values(std::initializer_list<double> values) {
  std::vector<NewPiece> pieces;
  for (const auto value : values) pieces.push_back({value, 0, 0, "", "", ""});
  return pieces;
}

NewRecord Diameter(std::initializer_list<double> values, std::int64_t time = kNow) {
  NewRecord record;
  record.part = "Ring";
  record.process = "Press A";
  record.test = "Diameter";
  record.time = time;
  record.pieces = Values(values);
  return record;
}

NewRecord Leaks(double size, std::initializer_list<double> counts, std::int64_t time = kNow) {
  auto record = Diameter(counts, time);
  record.test = "Leaks";
  record.size = size;
  return record;
}

class RecorderTest : public StoreTest {
 protected:
  RecorderTest() { Into(); }

  const Actor kAnn{"Ann", "gauge 7"};

  QualityDatabase& Into() {
    if (!into_) into_.emplace(Data());
    return *into_;
  }
  Recorded Make(const NewRecord& record) { return Into().Record(record, kAnn, NewNames::Create); }
  std::optional<Refused> RefusalOf(const NewRecord& record, NewNames names = NewNames::Refuse) {
    return RefusalOf([&] { Into().Record(record, kAnn, names); });
  }
  std::optional<Refused> RefusalOf(const std::function<void()>& work) {
    const auto before = StateText();
    try {
      work();
    } catch (const Refused& refused) {
      EXPECT_EQ(StateText(), before) << "a refusal changes nothing";
      return refused;
    }
    return std::nullopt;
  }
  void ExpectRefused(const NewRecord& record, const std::string& code, const std::string& text,
                     NewNames names = NewNames::Refuse) {
    const auto refused = RefusalOf(record, names);
    ASSERT_TRUE(refused) << text;
    EXPECT_EQ(refused->code, code);
    EXPECT_EQ(refused->Description(), text);
    EXPECT_EQ(refused->Description().substr(0, refused->field.size() + 2), refused->field + ": ");
  }
  std::int64_t Value(const std::string& sql) {
    const auto db = store::OpenAnother(Path());
    sql::Query query(*db, sql);
    return query.Step() ? query.Int64(0) : -1;
  }
  std::string Text(const std::string& sql) {
    const auto db = store::OpenAnother(Path());
    sql::Query query(*db, sql);
    return query.Step() ? std::string(query.Text(0)) : "";
  }
  std::string Digest() {
    std::string digest;
    Opened()->ReadOrThrow([&](sql::Connection& db) { digest = store::DigestOf(db).all; });
    return digest;
  }
  // What a refusal must leave alone.
  std::string StateText() {
    return Digest() + " " + std::to_string(Value("SELECT count(*) FROM log")) + " " +
           std::to_string(Value("SELECT count(*) FROM client_key")) + " " +
           std::to_string(
               Value("SELECT coalesce(sum(last), 0) FROM counter WHERE name LIKE 'label %'"));
  }
  struct StoredValues {
    std::vector<double> values;
    std::vector<store::RowKey> keys;
    double size = 0.0;
    std::int32_t flag = 0;
    std::int64_t batch = 0;
  };
  std::optional<StoredValues> Stored(std::int32_t subgroup, const std::string& test = "Diameter") {
    std::optional<StoredValues> stored;
    const auto of = Id(ItemKind::Test, test);
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      std::vector<std::int64_t> streams;
      for (sql::Query query(db, "SELECT id FROM stream WHERE test = ?1", of); query.Step();) {
        streams.push_back(query.Int64(0));
      }
      for (const auto stream : streams) {
        store::ForEachRecord(db, stream, [&](const store::RecordView& record) {
          if (record.Subgroup() != subgroup) return;
          EXPECT_FALSE(stored) << "stored once";
          stored.emplace();
          stored->size = record.Size();
          stored->flag = record.Flag();
          stored->batch = record.Batch();
          for (std::size_t i = 0; i < record.Count(); ++i) {
            stored->values.push_back(record.Value(i));
            stored->keys.push_back(record.Key(i));
          }
        });
      }
    });
    return stored;
  }
  log::Json LatestAfter() {
    return log::ReadJson(Text("SELECT after FROM log ORDER BY seq DESC LIMIT 1"));
  }

  time::FixedNow now_{kNow};
  std::optional<QualityDatabase> into_;
};

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

TEST_F(RecorderTest, RefusesNamesThatAreNone) {
  const std::string reason = ": must be 1 to 255 bytes of text without control characters";
  for (const auto& name :
       {std::string(), std::string(256, 'x'), std::string("a\tb"), std::string("a\x7f"),
        std::string("\xff"), std::string("a\u202Eb"), std::string("\u2066"), std::string("\u2028"),
        std::string("\u2029"), std::string("\u0085")}) {
    auto record = Diameter({1});
    record.part = name;
    ExpectRefused(record, "name", "part" + reason, NewNames::Create);
  }
  const std::function<void(NewRecord&)> changes[] = {
      [](NewRecord& r) { r.process = "\n"; },
      [](NewRecord& r) { r.test = ""; },
      [](NewRecord& r) { r.label = "\n"; },
      [](NewRecord& r) { r.context["lot"] = "\n"; },
      [](NewRecord& r) { r.context["descriptor:Colour"] = ""; },
      [](NewRecord& r) { r.pieces[0].serial = "\n"; },
      [](NewRecord& r) { r.pieces[0].gage = "\n"; },
      [](NewRecord& r) { r.pieces[0].defect = "\n"; },
  };
  for (const auto& change : changes) {
    auto record = Diameter({1});
    change(record);
    const auto refused = RefusalOf(record, NewNames::Create);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->code, "name");
    EXPECT_EQ(refused->Description(), refused->field + reason);
  }
  auto longest = Diameter({1});
  longest.part = std::string(255, 'x');
  EXPECT_FALSE(RefusalOf(longest, NewNames::Create));
}

TEST_F(RecorderTest, RefusesUnknownNamesUnlessTheyAreToBeCreated) {
  auto record = Diameter({1});
  record.part = "Bolzen";
  Make(record);
  record.part = "Boltzen";
  ExpectRefused(record, "unknown",
                "part: there is no part \"Boltzen\"; did you mean \"Bolzen\"? --create makes it");
  record.part = "Welle";
  ExpectRefused(record, "unknown", "part: there is no part \"Welle\"; --create makes it");
  record.part = "Bolzen";
  record.process = "press a";
  ExpectRefused(
      record, "unknown",
      "process: there is no process \"press a\"; did you mean \"Press A\"? --create makes "
      "it");
  record.process = "Press A";
  record.test = "Diametre";
  ExpectRefused(
      record, "unknown",
      "test: there is no test \"Diametre\"; did you mean \"Diameter\"? --create makes it");
  EXPECT_EQ(Id(ItemKind::Part, "Boltzen"), -1);
  EXPECT_FALSE(RefusalOf(record, NewNames::Create));
  // A lot and its like are new all the time.
  record = Diameter({1}, kNow - 1);
  record.part = "Bolzen";
  record.context = {{"lot", "L1"}};
  record.pieces[0].serial = "S1";
  EXPECT_FALSE(RefusalOf(record));
}

TEST_F(RecorderTest, RefusesItemsThatAreNotActive) {
  auto record = Diameter({1});
  record.context = {{"lot", "L1"}};
  Make(record);
  record.time -= 1;
  Opened()->Write(kAnn, "scrapped", [&](log::Writing& writing) {
    sql::Query(writing.Db(), "UPDATE process SET active = 0").Run();
    writing.Add("deactivate", "process " + std::to_string(Id(ItemKind::Process, "Press A")), "",
                "");
  });
  const auto today = platform::IsoText(std::chrono::duration_cast<std::chrono::seconds>(
                                           std::chrono::system_clock::now().time_since_epoch())
                                           .count());
  ExpectRefused(record, "inactive",
                "process: \"Press A\" is deactivated since " + today.substr(0, 10));
  store::RunSql(Path(), "UPDATE process SET active = 1; UPDATE lot SET active = 0");
  ExpectRefused(record, "inactive", "lot: \"L1\" is deactivated");
}

TEST_F(RecorderTest, RefusesValuesWhereATestCountsAndTheReverse) {
  Make(Diameter({1}));
  Make(Leaks(50, {2}));
  ExpectRefused(Leaks(0, {2}, kNow - 1), "type",
                "test: Leaks counts defectives; give --size and a count");
  auto scratches = Leaks(50, {2});
  scratches.test = "Scratches";
  scratches.pieces[0].defect = "SC";
  Make(scratches);
  scratches.size = 0;
  scratches.time -= 1;
  ExpectRefused(scratches, "type", "test: Scratches counts defects; give --size and a count");
  // What was counted must be said, also when it is nothing.
  const std::string count = "test: Leaks counts defectives; give --size and a count";
  ExpectRefused(Leaks(50, {}, kNow - 1), "type", count);
  EXPECT_EQ(Stored(Make(Leaks(50, {0}, kNow - 2)).subgroup, "Leaks")->values,
            std::vector<double>{0});
  const std::string measured =
      "test: Diameter has measured values; give these, without --size and --defect";
  auto counted = Diameter({1}, kNow - 1);
  counted.size = 50;
  ExpectRefused(counted, "type", measured);
  counted = Diameter({1}, kNow - 1);
  counted.pieces[0].defect = "SC";
  ExpectRefused(counted, "type", measured);
  ExpectRefused(Diameter({}, kNow - 1), "type", measured);
}

TEST_F(RecorderTest, RefusesWhatIsNoNumber) {
  Make(Diameter({1}));
  ExpectRefused(Diameter({1, std::numeric_limits<double>::quiet_NaN()}, kNow - 1), "number",
                "value: nan is no number");
  ExpectRefused(Diameter({-std::numeric_limits<double>::infinity()}, kNow - 1), "number",
                "value: -inf is no number");
  ExpectRefused(Diameter({-1e300}, kNow - 1), "number",
                "value: -1e+300 is too large; values lie below 1e300");
  EXPECT_FALSE(RefusalOf(Diameter({9.9e299}, kNow - 1)));
  auto twice = Diameter({1, 2}, kNow - 2);
  twice.pieces[0].tsno = twice.pieces[1].tsno = 3;
  ExpectRefused(twice, "number", "tsno: the record has piece 3, with this sbno, twice");
  twice.pieces[1].tsno = -1;
  ExpectRefused(twice, "number", "tsno: must be a whole number between 0 and 1000000000");
}

TEST_F(RecorderTest, RefusesCountsThatCannotBe) {
  Make(Leaks(50, {2}));
  const std::string whole = "value: must be a whole number between 0 and 1000000000";
  ExpectRefused(Leaks(50, {2.5}, kNow - 1), "count", whole);
  ExpectRefused(Leaks(50, {-1}, kNow - 1), "count", whole);
  ExpectRefused(Leaks(2e9, {1e9 + 1}, kNow - 1), "count", whole);
  ExpectRefused(Leaks(50, {30, 21}, kNow - 1), "count",
                "value: more defectives (51) than units inspected (50)");
  ExpectRefused(Leaks(2.5, {1}, kNow - 1), "count",
                "size: must be a whole number, as only that of a test of defects need not be");
  ExpectRefused(Leaks(3e9, {1}, kNow - 1), "count", "size: must lie between 0 and 2147483647");
  EXPECT_FALSE(RefusalOf(Leaks(50, {50}, kNow - 1)));
  // A unit that is named twice is one unit.
  auto units = Leaks(2, {1, 1, 1}, kNow - 2);
  units.pieces[0].tsno = units.pieces[1].tsno = 1;
  units.pieces[2].tsno = 2;
  EXPECT_FALSE(RefusalOf(units));
}

TEST_F(RecorderTest, RefusesUnreasonableValuesUnlessForced) {
  Make(Diameter({74}));
  Import("part,test,url,lrl,effective\nRing,Diameter,80,70,2026-03-01\nRing,Diameter,800,70,\n",
         ImportKind::Limits);
  ExpectRefused(Diameter({74, 740.3}, kNow - 1), "unreasonable",
                "value: 740.3 lies beyond the reasonable limit 80; --force stores it");
  ExpectRefused(Diameter({69.5}, kNow - 1), "unreasonable",
                "value: 69.5 lies beyond the reasonable limit 70; --force stores it");
  // At the limit is not beyond it, and before March another row holds.
  EXPECT_FALSE(RefusalOf(Diameter({80, 70}, kNow - 1)));
  EXPECT_FALSE(RefusalOf(Diameter({740.3}, kNow - 86400 * 30)));
  EXPECT_EQ(Value("SELECT count(*) FROM event"), 0);
  auto forced = Diameter({740.3}, kNow - 2);
  forced.force = true;
  const auto recorded = Into().Record(forced, kAnn);
  EXPECT_TRUE(Stored(recorded.subgroup));
  EXPECT_EQ(Value("SELECT type FROM event"), etGeneral);
  EXPECT_EQ(Value("SELECT subgroup_time FROM event"), kNow - 2);
  EXPECT_EQ(Text("SELECT n.name FROM event e JOIN event_name n ON n.id = e.name"),
            "Unreasonable value");
  EXPECT_EQ(Text("SELECT p.name FROM event e JOIN employee p ON p.id = e.employee"), "Ann");
}

// Each count as it is typed.
TEST_F(RecorderTest, RefusesUnreasonableCountsUnlessForced) {
  Make(Leaks(50, {1}, kNow - 10));
  Import("part,test,url,lrl\nRing,Leaks,20,1\n", ImportKind::Limits);
  ExpectRefused(Leaks(50, {21}, kNow - 1), "unreasonable",
                "value: 21 lies beyond the reasonable limit 20; --force stores it");
  ExpectRefused(Leaks(50, {}, kNow - 1), "unreasonable",
                "value: 0 lies beyond the reasonable limit 1; --force stores it");
  ExpectRefused(Leaks(50, {51}, kNow - 1), "count",
                "value: more defectives (51) than units inspected (50)");
  EXPECT_FALSE(RefusalOf(Leaks(50, {20}, kNow - 1)));
  auto forced = Leaks(50, {21}, kNow - 2);
  forced.force = true;
  Make(forced);
  EXPECT_EQ(Text("SELECT n.name FROM event e JOIN event_name n ON n.id = e.name"),
            "Unreasonable value");
}

TEST_F(RecorderTest, RefusesSubgroupsOfAnotherSizeUnlessIncomplete) {
  Make(Diameter({1, 2, 3}));
  auto other = Diameter({1}, kNow - 50);
  other.test = "Height";
  Make(other);
  Into().Set("subgroup_size", "5");
  Into().Set("subgroup_size:Ring/Press A/Height", "1");
  ExpectRefused(Diameter({1, 2, 3}, kNow - 1), "size",
                "value: 3 values where 5 belong to a subgroup; --flag incomplete stores them");
  ExpectRefused(Diameter({1, 2, 3, 4, 5, 6}, kNow - 1), "size",
                "value: 6 values where 5 belong to a subgroup; --flag incomplete stores them");
  EXPECT_FALSE(RefusalOf(Diameter({1, 2, 3, 4, 5}, kNow - 1)));
  auto incomplete = Diameter({1}, kNow - 2);
  incomplete.flag = sfIncomplete;
  EXPECT_FALSE(RefusalOf(incomplete));
  // Readings are not pieces.
  auto readings = Diameter({1, 2, 3, 4, 5, 6}, kNow - 3);
  readings.pieces[5].tsno = 5;
  readings.pieces[5].sbno = 1;
  EXPECT_FALSE(RefusalOf(readings));
  // A stream has its own, and a test that counts none.
  other.time = kNow - 51;
  EXPECT_FALSE(RefusalOf(other));
  EXPECT_FALSE(RefusalOf(Leaks(50, {2}), NewNames::Create));
  const auto failure = [&](const std::string& name, const std::string& value) {
    return store::FailureOf([&] { Into().Set(name, value); });
  };
  EXPECT_NE(failure("subgroup_size:Ring/Press B/Height", "1").find("is no stream"),
            std::string::npos);
  EXPECT_NE(failure("key_days:Ring/Press A/Height", "1").find("there is no setting"),
            std::string::npos);
  EXPECT_NE(failure("subgroup_size", "-1").find("takes a whole number from 0 to 1000000"),
            std::string::npos);
}

TEST_F(RecorderTest, TheSizeOfAMeasuredTestIsItsPiecesNotItsReadings) {
  Make(Diameter({1}, kNow - 9));
  auto record = Diameter({1, 3, 10, 20});
  for (std::size_t i = 0; i < 4; ++i) {
    record.pieces[i].tsno = static_cast<std::int32_t>(1 + i / 2);
    record.pieces[i].sbno = static_cast<std::int32_t>(1 + i % 2);
  }
  record.size = 2;
  const auto stored = Stored(Make(record).subgroup);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->size, 2);
  EXPECT_EQ(stored->values, (std::vector<double>{2, 1, 3, 15, 10, 20}));
  // Also where the pieces are not numbered.
  for (auto& piece : record.pieces) piece.tsno = 0;
  record.time = kNow - 1;
  EXPECT_FALSE(RefusalOf(record));
  record.time = kNow - 2;
  record.size = 4;
  ExpectRefused(record, "type",
                "test: Diameter has measured values; give these, without --size and --defect");
}

TEST_F(RecorderTest, RefusesTimesThatCannotBe) {
  Make(Diameter({1}));
  ExpectRefused(Diameter({1}, kNow + 7200), "time", "time: lies 2 h in the future");
  ExpectRefused(Diameter({1}, kNow + 301), "time", "time: lies 5 min in the future");
  ExpectRefused(Diameter({1}, kNow + 86400 * 3), "time", "time: lies 3 days in the future");
  ExpectRefused(Diameter({1}, INT64_C(1) << 32), "time",
                "time: must lie between 1901-12-13T20:45:52 and 2038-01-19T03:14:07");
  EXPECT_FALSE(RefusalOf(Diameter({1}, kNow + 300)));
  EXPECT_EQ(Make(Diameter({1}, 0)).time, kNow);
}

TEST_F(RecorderTest, RefusesWhatIsStored) {
  auto record = Diameter({1});
  record.label = "17";
  const auto first = Make(record);
  const std::string text = "test: this subgroup, #" + std::to_string(first.subgroup) +
                           ", has values of this test (orvspc edit value changes them)";
  ExpectRefused(record, "stored", text);
  // Another test joins the subgroup; another time or label is another one.
  auto height = record;
  height.test = "Height";
  EXPECT_EQ(Make(height).subgroup, first.subgroup);
  auto other = record;
  other.label = "18";
  EXPECT_NE(Make(other).subgroup, first.subgroup);
  other = record;
  other.time -= 1;
  EXPECT_NE(Make(other).subgroup, first.subgroup);
  // It is found also when it is sealed by now.
  for (int i = 0; i < 60; ++i) Make(Diameter({1}, kNow - 100 - i));
  EXPECT_GT(Value("SELECT count(*) FROM measurement_chunk"), 0);
  ExpectRefused(record, "stored", text);
}

TEST_F(RecorderTest, TheFirstRuleThatIsBrokenIsNamed) {
  // Each is broken with all that come after it.
  auto record = Diameter({1});
  record.label = "1";
  Make(record);
  Import("part,test,url\nRing,Diameter,80\n", ImportKind::Limits);
  Into().Set("subgroup_size", "5");
  record.pieces = Values({1e301, 90});
  record.time = kNow + 1000;
  record.part = "";
  EXPECT_EQ(RefusalOf(record)->code, "name");
  record.part = "Bush";
  EXPECT_EQ(RefusalOf(record)->code, "unknown");
  record.part = "Ring";
  store::RunSql(Path(), "UPDATE part SET active = 0");
  record.size = 7;
  EXPECT_EQ(RefusalOf(record)->code, "inactive");
  store::RunSql(Path(), "UPDATE part SET active = 1");
  EXPECT_EQ(RefusalOf(record)->code, "type");
  record.size = 0;
  EXPECT_EQ(RefusalOf(record)->code, "number");
  record.pieces = Values({90});
  record.time = kNow;
  EXPECT_EQ(RefusalOf(record)->code, "unreasonable");
  record.force = true;
  EXPECT_EQ(RefusalOf(record)->code, "size");
  record.flag = sfIncomplete;
  EXPECT_EQ(RefusalOf(record)->code, "stored");
}

TEST_F(RecorderTest, RefusesOtherFieldsThatCannotBe) {
  auto record = Diameter({1});
  record.context = {{"colour", "red"}};
  ExpectRefused(record, "context",
                "colour: there is no such context, only workstation, job, lot, shift, revision, "
                "employee, descriptor:NAME",
                NewNames::Create);
  record.context.clear();
  record.comments = {std::string(4001, 'x')};
  ExpectRefused(record, "comment", "comment: must be 1 to 4000 characters of text",
                NewNames::Create);
  record.comments = {std::string(4000, 'x')};
  record.flag = 3;
  ExpectRefused(record, "flag", "flag: must be enabled, disabled or incomplete", NewNames::Create);
  record.flag = 0;
  record.key = std::string(65, 'k');
  ExpectRefused(record, "key", "key: must be 1 to 64 printable characters of ASCII",
                NewNames::Create);
  record.key = std::string(64, 'k');
  EXPECT_FALSE(RefusalOf(record, NewNames::Create));
}

TEST_F(RecorderTest, LabelsCountUpForEachPartAndProcess) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  EXPECT_EQ(Make(Diameter({1})).label, "2");  // though the time is the same
  auto other = Diameter({1});
  other.process = "Press B";
  EXPECT_EQ(Make(other).label, "1");
  auto named = Diameter({1});
  named.label = "mine";
  EXPECT_EQ(Make(named).label, "mine");
  auto height = Diameter({1});
  height.test = "Height";
  EXPECT_EQ(Make(height).label, "3");
  into_.reset();
  Reopen();
  EXPECT_EQ(Make(Diameter({1})).label, "4");
  // A number that somebody took for this time is passed over.
  named.label = "5";
  Make(named);
  EXPECT_EQ(Make(Diameter({1})).label, "6");
}

TEST_F(RecorderTest, LabelsGoOnFromTheNewestImport) {
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,41,2026-03-01,1\n"
      "Ring,Press A,Diameter,42,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "43");
}

TEST_F(RecorderTest, LabelsGoOnFromTheHighestOfAnImport) {
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,20,2026-03-01,1\n"
      "Ring,Press A,Diameter,A7,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "21");
}

TEST_F(RecorderTest, LabelsGoOnBehindOneThatWasChanged) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  SubgroupChange change;
  change.label = "6";
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "as on the sheet";
  Into().ChangeSubgroups({1}, {}, change, why);
  EXPECT_EQ(Make(Diameter({1})).label, "7");
}

TEST_F(RecorderTest, AfterAMergeNoLabelIsGivenAgain) {
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "two names of one";
  for (const bool is_into_imported : {true, false}) {
    const std::string into = is_into_imported ? "Into" : "Ring 2",
                      from = is_into_imported ? "Ring" : "From";
    auto record = Diameter({1});
    record.part = is_into_imported ? from : into;
    EXPECT_EQ(Make(record).label, "1");
    EXPECT_EQ(Make(record).label, "2");
    Import("part,process,test,subgroup,time,value\n" + (is_into_imported ? into : from) +
           ",Press A,Diameter,20,2026-03-01,1\n");
    Into().Merge(ItemKind::Part, from, into, why);
    record.part = into;
    EXPECT_EQ(Make(record).label, "21") << into;
  }
}

TEST_F(RecorderTest, NamesOfAnUndoneBatchAreRecordedAgain) {
  auto record = Diameter({1});
  record.context = {{"lot", "L9"}, {"shift", "Late"}, {"employee", "Bob"}};
  const auto store = [&] {
    BatchOptions options;
    options.names = NewNames::Create;
    auto batch = Into().Begin(kAnn, options);
    batch.Add(record);
    return batch.Commit().batch;
  };
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "wrong sheet";
  Into().UndoImport(store(), false, why);
  // Part, process and test are new once more: asked for, and not proposed.
  EXPECT_EQ(RefusalOf(record)->code, "unknown");
  EXPECT_STREQ(RefusalOf(record)->what(), "part: there is no part \"Ring\"; --create makes it");
  EXPECT_EQ(Value("SELECT count(*) FROM lot WHERE active = 1"), 0);
  EXPECT_EQ(Value("SELECT count(*) FROM part WHERE active = 1"), 0);
  const auto again = store();
  for (const char* kind : {"part", "process", "test", "lot", "shift", "employee"}) {
    EXPECT_EQ(Value(std::string("SELECT count(*) FROM ") + kind + " WHERE active = 0"), 0) << kind;
    EXPECT_EQ(Value(std::string("SELECT count(*) FROM log WHERE operation = 'activate' AND "
                                "object = '") +
                    kind + " ' || (SELECT max(id) FROM " + kind + ")"),
              1)
        << kind;
  }
  Into().UndoImport(again, false, why);
  record.context.clear();
  record.time += 1;
  const auto plain = Make(record);
  EXPECT_EQ(Value("SELECT count(*) FROM lot WHERE active = 1"), 0);
  SubgroupChange change;
  change.context = {{"lot", "L9"}};
  Into().ChangeSubgroups({plain.subgroup}, {}, change, why);
  EXPECT_EQ(Value("SELECT count(*) FROM lot WHERE active = 1"), 1);
  EXPECT_EQ(Value("SELECT count(*) FROM log WHERE operation = 'activate' AND object = 'lot 1'"), 2);
  // Somebody wanted this one so.
  Into().SetActive(ItemKind::Part, "Ring", false, why);
  record.time += 1;
  EXPECT_EQ(RefusalOf(record)->code, "inactive");
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

TEST_F(RecorderTest, ALabelThatIsCountedIsNeverThatOfAnImport) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,2,2026-03-01,1\n"
      "Ring,Press A,Diameter,7,2026-03-02,1\nRing,Press A,Diameter,L5,2026-03-03,1\n"
      "Ring,Press B,Diameter,90,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "8");
  Import("part,process,test,subgroup,time,value\nRing,Press A,Diameter,3,2026-03-04,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "9");
}

TEST_F(RecorderTest, ALabelThatIsCountedIsNeverOneThatWasTyped) {
  const auto make = [&](const std::string& label, std::int64_t time) {
    auto record = Diameter({1}, time);
    record.label = label;
    return Make(record).label;
  };
  EXPECT_EQ(make("4", kNow - 9), "4");
  EXPECT_EQ(make("", kNow - 8), "5");
  EXPECT_EQ(make("6", kNow - 7), "6");
  EXPECT_EQ(make("", kNow - 6), "7");
  EXPECT_EQ(make("3", kNow - 5), "3");
  EXPECT_EQ(make("", kNow - 4), "8");
  // In a batch, too, whatever comes first.
  auto batch = Into().Begin(kAnn, {});
  auto typed = Diameter({1}, kNow - 3);
  typed.label = "9";
  batch.Add(typed);
  batch.Add(Diameter({1}, kNow - 3));
  const auto stored = batch.Commit();
  EXPECT_EQ(stored.records[1].label, "10");
  EXPECT_NE(stored.records[0].subgroup, stored.records[1].subgroup);
}

TEST_F(RecorderTest, AKeyStoresItsRecordOnce) {
  auto record = Diameter({1, 2}, 0);
  record.key = "g7-991";
  const auto first = Make(record);
  EXPECT_FALSE(first.repeated);
  const auto state = StateText();
  // Also later, when the clock, which the record leaves open, has gone on.
  const time::FixedNow later(kNow + 5000);
  const auto again = Make(record);
  EXPECT_TRUE(again.repeated);
  EXPECT_EQ(again.subgroup, first.subgroup);
  EXPECT_EQ(again.version, first.version);
  EXPECT_EQ(again.label, first.label);
  EXPECT_EQ(again.time, first.time);
  EXPECT_EQ(StateText(), state);
  record.pieces[0].value = 3;
  ExpectRefused(
      record, "key",
      "key: \"g7-991\" was used for other values (#" + std::to_string(first.subgroup) + ")");
}

TEST_F(RecorderTest, AKeyHoldsAfterTheDatabaseWasReopened) {
  auto record = Diameter({1, 2});
  record.key = "k";
  const auto first = Make(record);
  into_.reset();
  Reopen();
  EXPECT_TRUE(Make(record).repeated);
  EXPECT_EQ(Make(record).subgroup, first.subgroup);
}

TEST_F(RecorderTest, KeysAreDroppedAfterTheirDays) {
  Make(Diameter({1}));
  Into().Set("key_days", "2");
  auto record = Diameter({1}, kNow - 10);
  record.key = "old";
  Make(record);
  auto other = Diameter({1}, kNow - 11);
  other.key = "new";
  {
    const time::FixedNow later(kNow + 2 * 86400 - 1);
    Make(other);
    EXPECT_EQ(Value("SELECT count(*) FROM client_key"), 2);
  }
  const time::FixedNow later(kNow + 2 * 86400 + 3601);
  other.time -= 1;
  other.key = "newest";
  Make(other);
  EXPECT_EQ(Text("SELECT key FROM client_key ORDER BY key"), "new");
  EXPECT_EQ(Value("SELECT count(*) FROM client_key"), 2);
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

TEST_F(RecorderTest, RecordsOfASubgroupMustAgree) {
  auto one = Diameter({1}), other = Diameter({1});
  other.test = "Height";
  const std::function<void(NewRecord&)> changes[] = {
      [](NewRecord& r) { r.part = "Bush"; }, [](NewRecord& r) { r.process = "Press B"; },
      [](NewRecord& r) { r.label = "17"; }, [](NewRecord& r) { r.time -= 1; },
      [](NewRecord& r) { r.key = "k"; }};
  for (const auto& change : changes) {
    auto changed = other;
    change(changed);
    const auto refused = RefusalOf([&] {
      Into().RecordSubgroup(std::vector{one, changed}, kAnn, NewNames::Create);
    });
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->code, "subgroup");
  }
  // All or nothing.
  auto refused_one = other;
  refused_one.pieces[0].value = 1e301;
  EXPECT_EQ(RefusalOf([&] {
              Into().RecordSubgroup(std::vector{one, refused_one}, kAnn, NewNames::Create);
            })->code,
            "number");
  EXPECT_EQ(RefusalOf([&] {
              Into().RecordSubgroup(std::vector{one, one}, kAnn, NewNames::Create);
            })->code,
            "stored");
  EXPECT_EQ(RefusalOf([&] { Into().RecordSubgroup({}, kAnn); })->code, "subgroup");
}

TEST_F(RecorderTest, WhoRecordsMustBeNamedWhereThatIsSet) {
  Make(Diameter({1}));
  Into().Set("require_by", "yes", kAnn);
  const auto refused = RefusalOf([&] { Into().Record(Diameter({1}, kNow - 1), {}); });
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->code, "by");
  EXPECT_FALSE(RefusalOf([&] { Into().Record(Diameter({1}, kNow - 1), kAnn); }));
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

TEST_F(RecorderTest, FormerNamesAreTranslatedWithANote) {
  Make(Diameter({1}));
  store::RunSql(Path(),
                "UPDATE part SET name = 'Ring 2'; INSERT INTO alias(kind, name, item) "
                "SELECT 'part', 'Ring', id FROM part");
  const auto recorded = Into().Record(Diameter({1}, kNow - 1), kAnn);
  ASSERT_EQ(recorded.notes.size(), 2U);
  EXPECT_EQ(recorded.notes[0].text, "the part \"Ring\" is now \"Ring 2\"");
  EXPECT_EQ(recorded.notes[1].code, "no-limits");
  EXPECT_EQ(Value("SELECT count(*) FROM part"), 1);
  auto canonical = log::CanonicalOf(Diameter({1}, kNow - 1));
  canonical.part = "Ring 2";
  canonical.label = recorded.label;
  EXPECT_EQ(LatestAfter()["records"][0]["digest"], DigestOf(canonical));
}

TEST_F(RecorderTest, FormerAndPresentNamesOfABatchAreOneItem) {
  Make(Diameter({1}, kNow - 9));
  const ChangeOptions why{kAnn, "a better name"};
  Into().Rename(ItemKind::Part, "Ring", "Ring 2", why);
  Into().Rename(ItemKind::Process, "Press A", "Press 1", why);
  Into().Rename(ItemKind::Test, "Diameter", "Width", why);
  auto present = Diameter({2}, kNow - 3);
  present.part = "Ring 2";
  present.process = "Press 1";
  present.test = "Width";
  const auto send = [&](std::vector<NewRecord> records) {
    auto batch = Into().Begin(kAnn, {NewNames::Refuse, "", true});
    for (auto& each : records) batch.Add(std::move(each));
    return batch.Commit();
  };
  // Labels count on.
  const auto counted = send({Diameter({2}, kNow - 3), present});
  EXPECT_TRUE(counted.refused.empty());
  EXPECT_EQ(counted.records[0].label, "2");
  EXPECT_EQ(counted.records[1].label, "3");
  EXPECT_EQ(Value("SELECT max(last) FROM counter WHERE name LIKE 'label %'"), 3);
  // One subgroup, and the second one is refused.
  auto former = Diameter({3}, kNow - 3);
  former.label = present.label = "mine";
  const auto twice = send({former, present});
  ASSERT_EQ(twice.refused.size(), 1U);
  EXPECT_EQ(twice.refused.at(1).code, "stored");
  former.test = "Height";
  former.label = present.label = "yours";
  auto batch = Into().Begin(kAnn, {NewNames::Create, "", true});
  batch.Add(former);
  batch.Add(present);
  const auto both = batch.Commit();
  EXPECT_EQ(both.records[0].subgroup, both.records[1].subgroup);
  EXPECT_EQ(Value("SELECT count(*) FROM stream"), 2);
  // Also in one call.
  former.label = present.label = "theirs";
  const auto pair = Into().RecordSubgroup(std::vector{former, present}, kAnn);
  EXPECT_EQ(pair[0].subgroup, pair[1].subgroup);
  former.test = "Diameter";
  former.label = present.label = "none";
  EXPECT_EQ(RefusalOf([&] {
              Into().RecordSubgroup(std::vector{former, present}, kAnn);
            })->code,
            "stored");
  EXPECT_TRUE(Into().VerifyLog({true}).finds.empty());
}

TEST_F(RecorderTest, AFormerNameHasTheSettingsOfItsStream) {
  Make(Diameter({1, 2}, kNow - 9));
  Into().Set("subgroup_size:Ring/Press A/Diameter", "2");
  Into().Rename(ItemKind::Process, "Press A", "Press 1", {kAnn, "a better name"});
  ExpectRefused(Diameter({1, 2, 3}, kNow - 1), "size",
                "value: 3 values where 2 belong to a subgroup; --flag incomplete stores them");
  EXPECT_FALSE(RefusalOf(Diameter({1, 2}, kNow - 1)));
}

TEST_F(RecorderTest, ABatchIsStoredWithOneEntry) {
  Make(Diameter({1}));
  const auto before = Value("SELECT max(seq) FROM log");
  auto batch = Into().Begin(kAnn);
  for (int i = 0; i < 300; ++i) batch.Add(Diameter({1, 2, 3, 4, 5}, kNow - 1000 + i));
  EXPECT_EQ(batch.Size(), 300U);
  const auto stored = batch.Commit();
  EXPECT_EQ(batch.Size(), 0U);
  EXPECT_EQ(Value("SELECT max(seq) FROM log"), before + 1);
  ASSERT_EQ(stored.records.size(), 300U);
  EXPECT_GT(stored.batch, 0);
  EXPECT_EQ(stored.records[0].label, "2");
  EXPECT_EQ(stored.records[299].label, "301");
  EXPECT_EQ(stored.records[299].version, before + 1);
  EXPECT_EQ(Stored(stored.records[299].subgroup)->batch, stored.batch);
  EXPECT_EQ(Text("SELECT object FROM log ORDER BY seq DESC LIMIT 1"),
            "batch " + std::to_string(stored.batch));
  EXPECT_EQ(Value("SELECT records FROM batch WHERE kind = 'record'"), 300);
  std::set<std::int32_t> subgroups;
  for (const auto& each : stored.records) subgroups.insert(each.subgroup);
  EXPECT_EQ(subgroups.size(), 300U);
}

TEST_F(RecorderTest, ABatchThatIsDroppedOrRefusedStoresNothing) {
  Make(Diameter({1}));
  const auto before = StateText();
  {
    auto batch = Into().Begin(kAnn);
    batch.Add(Diameter({1}, kNow - 1));
  }
  EXPECT_EQ(StateText(), before);
  const auto refused = RefusalOf([&] {
    auto batch = Into().Begin(kAnn);
    batch.Add(Diameter({1}, kNow - 1));
    batch.Add(Diameter({1e301}, kNow - 1));
    batch.Commit();
  });
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->code, "number");
  EXPECT_EQ(Into().Begin(kAnn).Commit().batch, 0);
}

TEST_F(RecorderTest, ABatchMayLeaveOutWhatIsRefused) {
  auto stored_before = Diameter({1});
  stored_before.label = "17";
  Make(stored_before);
  BatchOptions options;
  options.skip_refused = true;
  auto batch = Into().Begin(kAnn, options);
  auto labelled = Diameter({1}, kNow - 1);
  labelled.label = "18";
  auto unknown = Diameter({1}, kNow - 2);
  unknown.part = "Rung";
  batch.Add(labelled);
  batch.Add(stored_before);
  batch.Add(unknown);
  batch.Add(labelled);
  auto height = labelled;
  height.test = "Leaks";
  batch.Add(height);
  batch.Add(Diameter({2}, kNow - 3));
  const auto result = batch.Commit();
  ASSERT_EQ(result.records.size(), 6U);
  ASSERT_EQ(result.refused.size(), 4U);
  EXPECT_EQ(result.refused.at(1).code, "stored");
  EXPECT_EQ(result.refused.at(2).code, "unknown");
  EXPECT_EQ(result.refused.at(3).code, "stored");
  EXPECT_EQ(result.refused.at(4).code, "unknown");
  EXPECT_GT(result.records[0].subgroup, 0);
  EXPECT_EQ(result.records[1].subgroup, 0);
  EXPECT_TRUE(Stored(result.records[5].subgroup));
  EXPECT_EQ(Value("SELECT records FROM batch"), 2);
}

TEST_F(RecorderTest, TestsOfOneBatchSettleTheirTypeOnce) {
  BatchOptions options;
  options.skip_refused = true;
  options.names = NewNames::Create;
  auto batch = Into().Begin(kAnn, options);
  batch.Add(Leaks(50, {2}, kNow - 1));
  batch.Add(Leaks(0, {2}, kNow - 2));
  auto elsewhere = Leaks(0, {2}, kNow - 3);
  elsewhere.process = "Press B";
  batch.Add(elsewhere);
  const auto result = batch.Commit();
  EXPECT_EQ(result.refused.size(), 2U);
  EXPECT_EQ(result.refused.at(1).code, "type");
  EXPECT_EQ(result.refused.at(2).code, "type");
  EXPECT_EQ(Value("SELECT type FROM test WHERE name = 'Leaks'"), ttDefectives);
}

TEST_F(RecorderTest, ABatchHasAKeyAndSoMayItsRecords) {
  Make(Diameter({1}));
  BatchOptions options;
  options.key = "monday";
  const auto send = [&](double value) {
    auto batch = Into().Begin(kAnn, options);
    batch.Add(Diameter({value}, kNow - 1));
    return batch.Commit();
  };
  const auto first = send(1);
  const auto state = StateText();
  const auto again = send(1);
  EXPECT_TRUE(again.repeated);
  EXPECT_EQ(again.batch, first.batch);
  EXPECT_EQ(StateText(), state);
  const auto other = RefusalOf([&] { send(2); });
  ASSERT_TRUE(other);
  EXPECT_EQ(other->Description(), "key: \"monday\" was used for other values (batch " +
                                      std::to_string(first.batch) + ")");
  // Keys of records, of which one is sent twice in the batch, and one with other values.
  options.key.clear();
  options.skip_refused = true;
  auto record = Diameter({1}, kNow - 2);
  record.key = "r1";
  auto changed = record;
  changed.pieces[0].value = 2;
  const auto send_keyed = [&] {
    auto batch = Into().Begin(kAnn, options);
    batch.Add(record);
    batch.Add(record);
    batch.Add(changed);
    return batch.Commit();
  };
  const auto keyed = send_keyed();
  EXPECT_FALSE(keyed.records[0].repeated);
  EXPECT_TRUE(keyed.records[1].repeated);
  EXPECT_EQ(keyed.records[1].subgroup, keyed.records[0].subgroup);
  EXPECT_EQ(keyed.refused.at(2).code, "key");
  const auto keyed_again = send_keyed();
  EXPECT_EQ(keyed_again.batch, 0);
  EXPECT_TRUE(keyed_again.records[0].repeated);
  EXPECT_EQ(keyed_again.records[0].subgroup, keyed.records[0].subgroup);
  EXPECT_EQ(Into().Record(record, kAnn).subgroup, keyed.records[0].subgroup);
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

TEST_F(RecorderTest, RequireNamesTheNearest) {
  auto record = Diameter({1});
  for (const auto* const name : {"Bolzen", "Bolzer", "Balken"}) {
    record.part = name;
    Make(record);
  }
  EXPECT_EQ(Into().Require(ItemKind::Part, "Balken"), Id(ItemKind::Part, "Balken"));
  const auto refused = RefusalOf([&] { Into().Require(ItemKind::Part, "Boltzen"); });
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->code, "unknown");
  EXPECT_EQ(refused->field, "part");
  EXPECT_EQ(refused->Description(),
            "there is no part \"Boltzen\"; did you mean \"Bolzen\" or \"Bolzer\"?");
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
