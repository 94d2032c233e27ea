// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Store.h"

#include <stdexcept>

#include "engine/sql/failure.h"

namespace orvspc::engine::store {

// Default implementations for stores that do not override them.

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
  try {
    ReadOrThrow(work);
    return true;
  } catch (...) {
    KeepCurrentFailure();
    return false;
  }
}

void Store::KeepCurrentFailure() noexcept {
  try {
    auto failure = sql::CurrentFailure(Path());
    Fail(failure.number, std::move(failure.text));
  } catch (...) {
    // No memory for the text: the result must do.
  }
}

}  // namespace orvspc::engine::store
