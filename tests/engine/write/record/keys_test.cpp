// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

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
