// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SqliteStore.h"
#include "engine/store/select.h"

// How the store runs a selection: one thread, or two for a large one.
namespace orvspc::engine::store {

// Whether a selection may be large enough, as far as can be told before it runs.
bool SqliteStore::MayShare(const API_DSInfo& info) {
  if (info.Count > 0 && info.Count < share_from_) return false;
  if (sqlite3_get_autocommit(connection_.Get()) == 0) return false;
  RefreshSoon();
  return cache_.highest_subgroup >= share_from_;
}

bool SqliteStore::RunShared(
    API_DSInfo& info,
    const std::function<void(sql::Connection&, TwoThreads& threads, API_DSInfo& info)>& work) {
  try {
    const std::lock_guard lock(mutex_);
    TwoThreads threads;
    threads.from = share_from_;
    if (MayShare(info)) {
      if (!second_) second_ = SecondReader::Open(connection_);
      if (second_ && second_->Note()) threads.second = second_.get();
    }
    auto resolved = info;
    ReadOrThrow([&](sql::Connection& connection) { work(connection, threads, resolved); });
    info = resolved;
    if (threads.used) ++shared_;
    return true;
  } catch (...) {
    KeepCurrentFailure(*this);
    return false;
  }
}

bool SqliteStore::Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                         const SelectOptions& options, DataSet& out) {
  out = {};
  const bool done =
      RunShared(info, [&](sql::Connection& connection, TwoThreads& threads, API_DSInfo& resolved) {
        RunSelection(connection, Cache(), resolved, filter, options, threads, out);
      });
  if (!done) out = {};
  return done;
}

bool SqliteStore::SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                                  const SelectOptions& options, BatchTaker& taker) {
  return RunShared(
      info, [&](sql::Connection& connection, TwoThreads& threads, API_DSInfo& resolved) {
        RunSelectionInBatches(connection, Cache(), resolved, filter, options, threads, taker);
      });
}

}  // namespace orvspc::engine::store
