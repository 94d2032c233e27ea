// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/BinNames.h"

#include <array>

#include "engine/sql/failure.h"
#include "engine/store/Catalogue.h"
#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

// A filter of eight blocks, each without group and items.
constexpr std::array<std::int32_t, 16> kEverything{};

}  // namespace

BinNames::BinNames(platform::Database& database, std::int32_t resource,
                   const API_PAOptions& options)
    : database_(database) {
  const auto of = resource == paProcessEvents  ? Resource::Events
                  : resource == paProcessState ? Resource::States
                                               : Resource::Subgroups;
  const auto store = store::StoreOf(database);
  try {
    store->ReadOrThrow([&](sql::Connection& connection) {
      std::string reason;
      plan_ = MakePlan(of, options, store->Cache().zone_offset, reason);
      if (!plan_) return;
      plan_->with_empty = false;  // whose items need no names
      lookups_.emplace(*store, connection, *plan_, API_DSInfo{}, kEverything, SubgroupRange{});
    });
  } catch (...) {
    sql::RethrowAsExternal(store->Path(), "BinNames");
  }
}

std::string BinNames::NameOf(std::size_t level, std::int32_t id) {
  if (!lookups_) return {};
  for (std::size_t i = 0; i < plan_->levels.size(); ++i) {
    if (plan_->levels[i].place != level) continue;
    if (plan_->levels[i].kind->naming == Naming::Label && id != 0) {
      auto label = store::SubgroupLabel(database_, id);
      return label.empty() ? std::to_string(id) : label;
    }
    return lookups_->NameOf(i, id);
  }
  return {};
}

}  // namespace orvspc::engine::pareto
