// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <thread>
#include <utility>

#include "tests/postgres/server_kill.h"

namespace orvspc::engine::store {
namespace {

TEST_F(ServerKillTest, AKilledImportLeavesWhatWasThereWithAllOrNothingOfTheFile) {
  KillAtRandom(6, 1);
}

TEST_F(ServerKillTest, NoReaderSeesHalfOfWhatManyWritersStore) {
  WriteAndRead(std::chrono::seconds(0), 3);
}

TEST_F(ServerKillTest, AServerThatDiesInAnImportHasAllOfItOrNothing) {
  Import(Values(0, 10));
  WriteFile(folder_.File("many.csv"), Values(10, 60000));
  for (const double share : {0.0, 0.2, 0.5}) {
    bool struck = false;
    ImportOptions options;
    options.progress = [&](std::int64_t so_far, std::int64_t size) {
      if (struck || static_cast<double>(so_far) < share * static_cast<double>(size)) return;
      struck = true;
      Control("ORVSPC_TEST_KILL");
    };
    const auto failure = Checked(
        FailureOf([&] { ImportCsv(folder_.File("many.csv"), Db(), ImportKind::Values, options); }));
    ASSERT_TRUE(struck);
    EXPECT_EQ(Reason(failure), "the connection to its server was lost") << failure;
    Control("ORVSPC_TEST_START");
    EXPECT_EQ(Stored(), 10U) << share;
  }
}

// At any moment, of the commit too.
TEST_F(ServerKillTest, AServerThatDiesAtAnyMomentHasAllOfAnImportOrNothing) {
  constexpr int kSubgroups = 40'000;  // progress is reported every 32,768 lines
  Import(Values(0, 10));
  std::size_t before = 10;
  int all = 0, nothing = 0;
  constexpr int kRounds = 12;
  std::chrono::steady_clock::duration whole{};
  for (int round = 0; round <= kRounds; ++round) {
    WriteFile(folder_.File("some.csv"), Values(10 + round * kSubgroups, kSubgroups));
    std::thread killer;
    const auto strike_after = [&](std::chrono::steady_clock::duration delay) {
      killer = std::thread([delay] {
        std::this_thread::sleep_for(delay);
        Control("ORVSPC_TEST_KILL");
      });
    };
    ImportOptions options;
    bool has_begun = false;
    options.progress = [&](std::int64_t, std::int64_t) {
      if (std::exchange(has_begun, true) || round == 0) return;
      strike_after(whole * (kRounds - round) / kRounds);
      if (round == kRounds) killer.join();
    };
    const auto begin = std::chrono::steady_clock::now();
    const auto failure = Checked(
        FailureOf([&] { ImportCsv(folder_.File("some.csv"), Db(), ImportKind::Values, options); }));
    ASSERT_TRUE(has_begun) << failure;
    // At first once it is through, at last as soon as it has begun.
    if (round == 0) {
      whole = std::chrono::steady_clock::now() - begin;
      strike_after({});
    }
    if (killer.joinable()) killer.join();
    Control("ORVSPC_TEST_START");
    const auto now = Stored();
    if (failure.empty()) {
      EXPECT_EQ(now, before + kSubgroups) << "what was done is there";
    }
    EXPECT_TRUE(now == before || now == before + kSubgroups) << now;
    ++(now == before ? nothing : all);
    before = now;
  }
  EXPECT_GT(nothing, 0);
  EXPECT_GT(all, 0);
}

}  // namespace
}  // namespace orvspc::engine::store
