// SPDX-License-Identifier: Apache-2.0
#include "tests/host/processes.h"

namespace orvspc::host {
namespace {

TEST_F(Processes, FourThatWriteAndTwentyThatReadForAMinute) {
  RunTogether({.writers = 4, .readers = 20, .turns_of_opening = 10}, std::chrono::seconds(60));
}

TEST_F(Processes, AFileThatIsOpenedAndClosedAtEachTurnForHalfAMinute) {
  RunTogether({.writers = 2, .readers = 2, .turns_of_opening = 1}, std::chrono::seconds(30));
}

TEST_F(Processes, AWriterThatIsKilledForHalfAMinute) {
  RunTogether({.writers = 3, .readers = 4, .turns_of_opening = 5, .kills = true},
              std::chrono::seconds(30));
}

}  // namespace
}  // namespace orvspc::host
