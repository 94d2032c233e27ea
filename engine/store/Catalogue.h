// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/ItemKind.h"
#include "platform/Database.h"

// Names and identifiers of what a quality database holds, for hosts. The database must be one of
// the engine's own; failures are thrown as platform::ExternalFailure.
namespace orvspc::engine::store {

struct ListedItem {
  std::int32_t id = 0;
  std::string name;
  std::int32_t test_type = 0;        // of a test: one of TestTypes, 0 until it has values
  std::int64_t subgroups = 0;        // in which it occurs; 0 for kinds that subgroups do not name
  std::int32_t first = 0, last = 0;  // stamps of the first and last of them; meaningless with none
};

struct ListedGroup {
  std::int32_t id = 0;
  std::string name;
  std::vector<std::int32_t> members;
};

struct ListedDescriptor {
  std::int32_t id = 0, group = 0;
  std::string name, group_name;
};

// By name. Counts read the whole database.
std::vector<ListedItem> ListItems(platform::Database& database, catalogue::ItemKind kind);
std::optional<std::int32_t> FindItem(platform::Database& database, catalogue::ItemKind kind,
                                     std::string_view name);
// Empty for an unknown identifier.
std::string ItemName(platform::Database& database, catalogue::ItemKind kind, std::int32_t id);

std::vector<ListedGroup> ListGroups(platform::Database& database, catalogue::ItemKind kind);
std::optional<std::int32_t> FindGroup(platform::Database& database, catalogue::ItemKind kind,
                                      std::string_view name);

std::vector<ListedDescriptor> ListDescriptors(platform::Database& database);
std::optional<std::int32_t> FindDescriptorGroup(platform::Database& database,
                                                std::string_view name);

// What the import file called the subgroup; empty for an unknown identifier.
std::string SubgroupLabel(platform::Database& database, std::int32_t subgroup);

// The rule sets of the database by name. UseRuleSet lets the analyses of this open database take
// the alarms of graph 1 from a set instead of the stored alarm rows (graphs 2 and 3: rule 1);
// an empty name goes back to the rows. Pre-control rules stay on beside every other set.
std::vector<std::string> RuleSetNames(platform::Database& database);
void UseRuleSet(platform::Database& database, std::string_view name);

// Settings: "time_zone" (UTC or a fixed offset such as +02:00), "shift_starts" (ascending times of
// day in that zone, "06:00 14:00 22:00"), "sigma_estimator" and others that
// the analyses name. A value that its reader could not use is refused.
void StoreSetting(platform::Database& database, std::string_view key, std::string_view value);
// Those that were stored; a setting that was not has its default.
std::map<std::string, std::string> ListSettings(platform::Database& database);

}  // namespace orvspc::engine::store
