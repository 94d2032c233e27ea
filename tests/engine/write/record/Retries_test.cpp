// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/engine/watched_device.h"
#include "tests/engine/write/record/retries.h"

namespace orvspc::engine::record {
namespace {

class RetriesTest : public Retries {};

TEST_F(RetriesTest, OfAKilledProgramStoreEachRecordOnce) { Run({1, 1000, 10, 5}); }

TEST_F(RetriesTest, OfSeveralProgramsStoreEachRecordOnce) { Run({4, 60, 2, 3}); }

// At each size of the device, by the page.
TEST_F(RetriesTest, OnAFullDeviceNothingIsStored) {
  const time::FixedNow now(kNow);
  const auto whole = folder_.File("whole.db"), path = folder_.File("full.db");
  constexpr int kBefore = 25, kMore = 3;
  {
    auto database = QualityDatabase::Create(whole);
    for (int i = 0; i < kBefore; ++i) {
      database.Record(RecordOf(0, i), ActorOf(0), NewNames::Create);
    }
  }
  constexpr std::int64_t kPage = 4096;
  int refused = 0;
  bool is_enough = false;
  // What lies there already takes no room of the device until it is written.
  for (std::int64_t room = 0; !is_enough; room += kPage) {
    ASSERT_LT(room, 1000 * kPage);
    std::filesystem::copy_file(whole, path, std::filesystem::copy_options::overwrite_existing);
    int stored = kBefore;
    {
      WatchedDevice device(room);
      const auto failure = store::FailureOf([&] {
        auto database = QualityDatabase::Open(path);
        for (int i = kBefore; i < kBefore + kMore; ++i) {
          const auto reason =
              store::FailureOf([&] { database.Record(RecordOf(0, i), ActorOf(0)); });
          if (reason.empty()) {
            EXPECT_EQ(stored, i) << "there was room for it, but not for the one before";
            ++stored;
          } else {
            EXPECT_EQ(reason, path + ": there is no room left on the device");
            ++refused;
          }
        }
        is_enough = stored == kBefore + kMore;
      });
      if (!failure.empty()) {
        EXPECT_EQ(failure, path + ": there is no room left on the device");
      }
    }
    const auto database = QualityDatabase::Open(path);
    store::SqlStoreOf(*database.Database())->ReadOrThrow([&](sql::Connection& db) {
      EXPECT_EQ(store::DigestOf(db).measurements, stored) << room;
      EXPECT_EQ(LogFault(db), "") << room;
      sql::Query keys(db, "SELECT count(*) FROM client_key");
      EXPECT_TRUE(keys.Step());
      EXPECT_EQ(keys.Int64(0), stored) << room;
    });
  }
  EXPECT_GT(refused, 10);
}

}  // namespace
}  // namespace orvspc::engine::record
