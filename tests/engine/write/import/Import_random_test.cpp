// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/write/import/import_random.h"

namespace orvspc::engine::import {
namespace {

TEST_F(ImportRandomTest, RandomFilesLeadToWhatAPlainReaderSays) { Compare(1, 250, false); }

TEST_F(ImportRandomTest, DamagedFilesLeadToWhatAPlainReaderSays) { Compare(2, 250, true); }

// Longer than the piece of a file that is read at once.
TEST_F(ImportRandomTest, LongFilesLeadToWhatAPlainReaderSays) { Compare(5, 6, false, 300); }

}  // namespace
}  // namespace orvspc::engine::import
