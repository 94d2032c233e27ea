// SPDX-License-Identifier: Apache-2.0
#include "tests/host/processes.h"

namespace orvspc::host {
namespace {

TEST_F(Processes, FourThatWriteAndTwentyThatReadLoseNothingAndSeeNoHalf) {
  RunTogether({.writers = 4, .readers = 20, .turns_of_opening = 10}, std::chrono::seconds(3));
}

// The last one that closes the file empties the log and removes it.
TEST_F(Processes, AFileThatIsOpenedAndClosedAtEachTurnIsNeverHalfThereEither) {
  RunTogether({.writers = 2, .readers = 2, .turns_of_opening = 1}, std::chrono::seconds(2));
}

TEST_F(Processes, AWriterThatIsKilledAgainAndAgainLeavesAllOrNothingOfAnImport) {
  RunTogether({.writers = 3, .readers = 4, .turns_of_opening = 5, .kills = true},
              std::chrono::seconds(2));
}

}  // namespace
}  // namespace orvspc::host
