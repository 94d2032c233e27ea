// SPDX-License-Identifier: Apache-2.0
#include "engine/store/SqlStore.h"
#include "engine/store/call_boundary.h"
#include "engine/store/select.h"

// How the store runs a selection: one thread, or two for a large one.
namespace orvspc::engine::store {

// Whether a selection may be large enough, as far as can be said before it runs.
bool SqlStore::MayShare(const API_DSInfo& info) {
  if (info.Count > 0 && info.Count < sharing_.from) return false;
  if (connection_->InTransaction()) return false;
  RefreshSoon();
  return cache_.highest_subgroup >= sharing_.from;
}

bool SqlStore::RunShared(
    API_DSInfo& info,
    const std::function<void(sql::Connection&, TwoThreads& threads, API_DSInfo& info)>& work) {
  return KeepFailures(this, [&] {
           const std::lock_guard lock(mutex_);
           TwoThreads threads;
           threads.from = sharing_.from;
           if (MayShare(info)) {
             auto& second = sharing_.second;
             if (!second) second = SecondReader::Open(*connection_);
             if (second && second->Note()) threads.second = second.get();
           }
           auto resolved = info;
           ReadOrThrow([&](sql::Connection& connection) { work(connection, threads, resolved); });
           info = resolved;
           if (threads.used) ++sharing_.count;
           return 1;
         }) != 0;
}

bool SqlStore::Select(API_DSInfo& info, std::span<const std::int32_t> filter,
                      const SelectOptions& options, DataSet& out) {
  out = {};
  const bool done =
      RunShared(info, [&](sql::Connection& connection, TwoThreads& threads, API_DSInfo& resolved) {
        RunSelection(connection, Cache(), resolved, filter, options, threads, out);
      });
  if (!done) out = {};
  return done;
}

bool SqlStore::SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                               const SelectOptions& options, BatchTaker& taker) {
  return RunShared(
      info, [&](sql::Connection& connection, TwoThreads& threads, API_DSInfo& resolved) {
        RunSelectionInBatches(connection, Cache(), resolved, filter, options, threads, taker);
      });
}

}  // namespace orvspc::engine::store
