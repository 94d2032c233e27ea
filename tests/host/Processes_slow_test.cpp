// SPDX-License-Identifier: Apache-2.0
#include "tests/host/processes.h"

namespace orvspc::host {
namespace {

using std::chrono_literals::operator""s;

TEST_F(Processes, FourThatWriteAndTwentyThatReadForAMinute) {
  RunTogether({.writers = 4, .readers = 20, .turns_of_opening = 10}, 60s);
}

TEST_F(Processes, AFileThatIsOpenedAndClosedAtEachTurnForHalfAMinute) {
  RunTogether({.writers = 2, .readers = 2, .turns_of_opening = 1}, 30s);
}

}  // namespace
}  // namespace orvspc::host
