// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/write/log/Canonical.h"
#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

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
                    kind + " ' || (SELECT max(id) FROM " + kind + " WHERE name <> 'Ann')"),
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

}  // namespace
}  // namespace orvspc::engine::record
