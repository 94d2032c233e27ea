// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"
#include "engine/hooks/HookFile.h"
#include "engine/store/SqlStore.h"
#include "engine/write/deliver/Delivery.h"

// Hooks, for hosts.
namespace orvspc {

using namespace engine;

std::vector<Hook> ReadHooks(const std::string& file) { return hooks::ReadHookFile(file); }

std::vector<HookReport> QualityDatabase::Deliver(const std::vector<Hook>& hooks,
                                                 const DeliveryOptions& options) {
  const auto store = store::SqlStoreOf(*database_);
  return store::Guarded(*store, [&] { return deliver::Deliver(*store, hooks, options); });
}

}  // namespace orvspc
