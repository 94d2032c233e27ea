// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/write/import/import_random.h"

namespace orvspc::engine::import {
namespace {

TEST_F(ImportRandomTest, FiveHundredRandomFilesLeadToWhatAPlainReaderSays) {
  Compare(3, 500, false);
}

TEST_F(ImportRandomTest, ThirtyThousandDamagedFilesLeadToWhatAPlainReaderSays) {
  Compare(4, 30000, true);
}

TEST_F(ImportRandomTest, TwentyLongFilesLeadToWhatAPlainReaderSays) { Compare(5, 20, false, 300); }

}  // namespace
}  // namespace orvspc::engine::import
