// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "engine/write/log/Log.h"
#include "platform/TimeText.h"
#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

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

TEST_F(RecorderTest, DefectsGoWithoutASizeWhereThoseBeforeHaveNone) {
  auto scratches = Leaks(0, {2});
  scratches.test = "Scratches";
  scratches.pieces[0].defect = "SC";
  EXPECT_EQ(Stored(Make(scratches).subgroup, "Scratches")->values, std::vector<double>{2});
  scratches.time -= 1;
  EXPECT_EQ(Stored(Make(scratches).subgroup, "Scratches")->size, 0.0);
  scratches.size = 50;
  scratches.time += 2;
  Make(scratches);
  scratches.size = 0;
  scratches.time += 1;
  ExpectRefused(scratches, "type", "test: Scratches counts defects; give --size and a count");
}

TEST_F(RecorderTest, SeveralValuesOfANewTestWithTheirSizeAreMeasured) {
  auto values = Leaks(3, {0.0, 1.0, 0.0});
  values.test = "Depth";
  const auto stored = Stored(Make(values).subgroup, "Depth");
  EXPECT_EQ(stored->values, (std::vector<double>{0.0, 1.0, 0.0}));
  EXPECT_EQ(stored->size, 3.0);
  auto counted = Leaks(3, {1}, kNow - 1);
  counted.test = "Bad";
  EXPECT_EQ(Stored(Make(counted).subgroup, "Bad")->size, 3.0);
}

TEST_F(RecorderTest, CommentsAndDescriptorsAreOfPiecesThatAreThere) {
  Make(Diameter({1, 2}, kNow - 3));
  auto record = Diameter({1, 2});
  record.other_comments.emplace_back();
  record.other_comments[0].text = "burr";
  record.other_comments[0].tsno = 3;
  ExpectRefused(record, "unknown", "tsno: the record has no such piece");
  record.other_comments[0].tsno = 2;
  Make(record);
  record.time -= 1;
  record.descriptors.emplace_back();
  record.descriptors[0].group = "Side";
  record.descriptors[0].name = "left";
  record.descriptors[0].tsno = 5;
  ExpectRefused(record, "unknown", "tsno: the record has no such piece");
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
  ExpectRefused(Leaks(50, {0}, kNow - 1), "unreasonable",
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
  record.part = "Ring";
  store::RunSql(Path(), "UPDATE part SET active = 0; UPDATE process SET active = 0");
  for (auto* const name : {&record.part, &record.process, &record.test}) {
    const auto known = std::exchange(*name, "Bush");
    EXPECT_EQ(RefusalOf(record)->code, "unknown") << "beside names that are not active";
    *name = known;
  }
  store::RunSql(Path(), "UPDATE process SET active = 1");
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

}  // namespace
}  // namespace orvspc::engine::record
