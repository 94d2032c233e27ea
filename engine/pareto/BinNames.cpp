// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/BinNames.h"

#include <array>
#include <functional>
#include <utility>

#include "engine/store/Store.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

// A filter of eight blocks, each without group and items.
constexpr std::array<std::int32_t, 16> kEverything{};

// Failures leave as what hosts can catch.
void Reading(store::Store& store, const std::function<void(sql::Connection&)>& work) {
  try {
    store.ReadOrThrow(work);
  } catch (...) {
    sql::RethrowAsExternal(store.Path(), "BinNames");
  }
}

}  // namespace

BinNames::BinNames(platform::Database& database, std::int32_t resource,
                   const API_PAOptions& options)
    : store_(store::StoreOf(database)) {
  const auto of = resource == paProcessEvents  ? Resource::Events
                  : resource == paProcessState ? Resource::States
                                               : Resource::Subgroups;
  Reading(*store_, [&](sql::Connection& connection) {
    std::string reason;
    plan_ = MakePlan(of, options, store_->Cache().zone_offset, reason);
    if (!plan_) return;
    plan_->with_empty = false;  // whose items need no names
    lookups_.emplace(*store_, connection, *plan_, API_DSInfo{}, kEverything, SubgroupRange{});
  });
}

std::string BinNames::NameOf(std::size_t level, std::int32_t id) {
  if (!lookups_) return {};
  for (std::size_t i = 0; i < plan_->levels.size(); ++i) {
    if (plan_->levels[i].place != level) continue;
    if (plan_->levels[i].kind->naming == Naming::Label && id != 0) {
      std::string label;
      Reading(*store_, [&](sql::Connection& connection) {
        for (auto& [subgroup, text] : catalogue::ReadLabels(connection, id, id))
          label = std::move(text);
      });
      return label.empty() ? std::to_string(id) : label;
    }
    return lookups_->NameOf(i, id);
  }
  return {};
}

}  // namespace orvspc::engine::pareto
