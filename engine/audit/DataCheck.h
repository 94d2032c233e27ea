// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/sql/Connection.h"
#include "engine/write/log/Reading.h"

namespace orvspc::engine::audit {

// Checks the log as CheckChain does, then the values against it. Inside a read transaction. Throws
// SqlError, and std::runtime_error where what is stored is damaged.
//
//   batches   the digest of each is worked out again from the records that name it; of one that was
//             changed or deleted later goes in what the first entry about it says of the time
//             before
//   records   one by one: those that were changed, and those that came by themselves, have the
//             digest that the newest entry about them keeps
//   missing   what an entry stored is there unless a later one took it out
//   names     are those of the time of the entry, found by the later renamings and merges
//   others    nothing else is there, unless the first entry says that there were data before it
//
// Not proved, and counted or noted: what was there before the log, batches that were undone, what a
// selected copy left out.
LogCheck CheckLogAndData(sql::Connection& db);

}  // namespace orvspc::engine::audit
