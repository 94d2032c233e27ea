// SPDX-License-Identifier: Apache-2.0
#include "tests/host/deliver.h"

#ifdef ORVSPC_WEBHOOKS
namespace orvspc::host {
namespace {

TEST_F(DeliverTest, KilledThreeHundredTimesNothingIsLost) { KillAtRandom(300, 2); }

}  // namespace
}  // namespace orvspc::host
#endif
