// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "engine/time/calendar.h"
#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

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

TEST_F(RecorderTest, WhatIsNoNumberIsRefusedWithAKeyToo) {
  Make(Diameter({1}));
  Make(Leaks(50, {2}));
  const std::string measured =
      "test: Diameter has measured values; give these, without --size and "
      "--defect";
  const std::string counted = "test: Leaks counts defectives; give --size and a count";
  const struct {
    double number;
    std::string called, size;  // and what is said of it as a size of units
  } cases[] = {
      {std::numeric_limits<double>::quiet_NaN(), "nan", counted},
      {std::numeric_limits<double>::infinity(), "inf", "size: must lie between 0 and 2147483647"},
      {-std::numeric_limits<double>::infinity(), "-inf", counted}};
  for (const auto& [number, called, size] : cases) {
    auto value = Diameter({1, number}, kNow - 1);
    value.key = "k1";
    ExpectRefused(value, "number", "value: " + called + " is no number");
    auto sized = Diameter({1}, kNow - 1);
    sized.size = number;
    sized.key = "k1";
    ExpectRefused(sized, "type", measured);
    auto units = Leaks(number, {2}, kNow - 1);
    units.key = "k1";
    const auto refused = RefusalOf(units);
    ASSERT_TRUE(refused) << called;
    EXPECT_EQ(refused->Description(), size);
    // In a batch, with a key of its own and with one of the record.
    for (const bool may_skip : {false, true}) {
      BatchOptions options;
      options.key = "monday";
      options.skip_refused = may_skip;
      auto batch = Into().Begin(kAnn, options);
      batch.Add(value);
      batch.Add(Diameter({number}, kNow - 1));
      if (may_skip) {
        const auto result = batch.Commit();
        EXPECT_EQ(result.batch, 0);
        ASSERT_EQ(result.refused.size(), 2U);
        EXPECT_EQ(result.refused.at(0).code, "number");
        EXPECT_EQ(result.refused.at(1).code, "number");
      } else {
        const auto one = RefusalOf([&] { batch.Commit(); });
        ASSERT_TRUE(one);
        EXPECT_EQ(one->code, "number");
      }
    }
  }
  // The place of a refused record belongs to what the key of a batch identifies.
  BatchOptions options;
  options.key = "tuesday";
  options.skip_refused = true;
  const auto send = [&](double first, double second) {
    auto batch = Into().Begin(kAnn, options);
    batch.Add(Diameter({first}, kNow - 2));
    batch.Add(Diameter({second}, kNow - 3));
    return batch.Commit();
  };
  const auto stored = send(cases[0].number, 1);
  EXPECT_NE(stored.batch, 0);
  EXPECT_TRUE(send(cases[0].number, 1).repeated);
  EXPECT_EQ(RefusalOf([&] { send(1, cases[0].number); })->code, "key");
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

}  // namespace
}  // namespace orvspc::engine::record
