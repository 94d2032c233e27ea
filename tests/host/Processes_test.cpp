// SPDX-License-Identifier: Apache-2.0
#include "tests/host/processes.h"

namespace orvspc::host {
namespace {

using std::chrono_literals::operator""s;

TEST_F(Processes, FourThatWriteAndTwentyThatReadLoseNothingAndSeeNoHalf) {
  RunTogether({.writers = 4, .readers = 20, .turns_of_opening = 10}, 3s);
}

// The last one that closes the file empties the log and removes it.
TEST_F(Processes, AFileThatIsOpenedAndClosedAtEachTurnIsNeverHalfThereEither) {
  RunTogether({.writers = 2, .readers = 2, .turns_of_opening = 1}, 2s);
}

}  // namespace
}  // namespace orvspc::host
