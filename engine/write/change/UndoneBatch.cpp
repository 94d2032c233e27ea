// SPDX-License-Identifier: Apache-2.0
#include "engine/write/change/UndoneBatch.h"

#include <algorithm>

#include "platform/Actor.h"

namespace orvspc::engine::change {
namespace {

// "4,120"
std::string Grouped(std::int64_t number) {
  constexpr std::size_t kGroup = 3;
  auto text = std::to_string(number);
  for (auto at = text.size(); at > kGroup; at -= kGroup) text.insert(at - kGroup, 1, ',');
  return text;
}

}  // namespace

void RefuseBatch(const Batch& batch, const char* code, const std::string& text) {
  throw Refused(code, "batch", std::to_string(batch.id), batch.Object() + text);
}

void RefuseChanged(const Batch& batch, std::vector<std::int64_t> entries) {
  constexpr std::size_t kMax = 10;
  std::ranges::sort(entries);
  const auto count = static_cast<std::int64_t>(entries.size());
  entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
  std::string list;
  for (std::size_t i = 0; i < std::min(entries.size(), kMax); ++i) {
    list += (i == 0 ? "" : ", ") + std::to_string(entries[i]);
  }
  if (entries.size() > kMax) list += ", ...";
  RefuseBatch(batch, "changed",
              ": " + Grouped(count) + " of " + Grouped(batch.records) +
                  (batch.records == 1 ? " record was" : " records were") +
                  " changed since (entries " + list + "); --keep-changed leaves these");
}

}  // namespace orvspc::engine::change
