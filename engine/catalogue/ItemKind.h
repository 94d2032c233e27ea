// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

// The kinds of named items that a quality database holds.
namespace orvspc::engine::catalogue {

enum class ItemKind {
  Part,
  Process,
  Test,
  Revision,
  Workstation,
  Gage,
  Job,
  Lot,
  Shift,
  Employee,
  Defect,
  Serial,
  AccCode,
  CacCode,
  StateCode,
  EventName,
  Company,
  Division,
  Site,
  Department,
  Area,
  ProductionUnit,
  Requirement,
};
inline constexpr int kItemKinds = 23;

// "part" and "parts" alike; empty for an unknown word.
std::optional<ItemKind> ItemKindFromWord(std::string_view word);
// The word in the singular, "part", "acc-code".
std::string_view WordOf(ItemKind kind);
// The table that holds the kind; it has at least id, name and active.
std::string_view TableOf(ItemKind kind);

}  // namespace orvspc::engine::catalogue
