// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/Embedded.h"
#include "engine/store/SqlStore.h"
#include "platform/Changes.h"

namespace orvspc {

// Runs work(writing) in one write transaction, of which nothing stays after a dry run. Failures
// leave as those that hosts can catch.
template <class Work>
void Change(EmbeddedDatabase& database, const ChangeOptions& options, Work work) {
  struct DryRun {};
  const auto store = engine::store::SqlStoreOf(database);
  engine::store::Guarded(*store, [&] {
    try {
      store->Write(options.actor, options.reason, [&](engine::log::Writing& writing) {
        work(writing);
        if (options.dry_run) throw DryRun();
      });
    } catch (const DryRun&) {
      // As asked.
    }
  });
}

}  // namespace orvspc
