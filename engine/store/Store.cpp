// SPDX-License-Identifier: Apache-2.0
#include "engine/store/Store.h"

// What a store does that has no better way of its own.
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

}  // namespace orvspc::engine::store
