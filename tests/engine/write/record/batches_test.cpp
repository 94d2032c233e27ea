// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

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

}  // namespace
}  // namespace orvspc::engine::record
