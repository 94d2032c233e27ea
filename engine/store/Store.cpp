// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Store.h"

#include <stdexcept>

#include "engine/store/call_boundary.h"

// Default implementations for stores that do not override them.
namespace orvspc::engine::store {

bool Store::SelectInBatches(API_DSInfo& info, std::span<const std::int32_t> filter,
                            const SelectOptions& options, BatchTaker& taker) {
  DataSet all;
  if (!Select(info, filter, options, all)) return false;
  taker.Begin(1);
  taker.Take(0, all);
  return true;
}

std::vector<API_CANccLim8> Store::NetContents(std::int32_t, std::int32_t) { return {}; }

void Store::ReadOrThrow(const std::function<void(sql::Connection&)>&) {
  throw std::logic_error("The store has no database");
}

StoreCache& Store::Cache() { throw std::logic_error("The store has no database"); }

const std::string& Store::Path() const {
  static const std::string none;
  return none;
}

bool Store::Read(const std::function<void(sql::Connection&)>& work) {
  return KeepFailures(this, [&] {
           ReadOrThrow(work);
           return 1;
         }) != 0;
}

void KeepCurrentFailure(Store* store) noexcept {
  if (store == nullptr) return;
  try {
    auto failure = sql::CurrentFailure(store->Path());
    store->Fail(failure.number, std::move(failure.text));
  } catch (...) {
    // No memory for the text: the result 0 must do.
  }
}

}  // namespace orvspc::engine::store
