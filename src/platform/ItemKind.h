// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace orvspc {

// The kinds of named items that a quality database holds.
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
// Their words, in the same order.
inline constexpr std::string_view kItemKindWords[] = {
    "part",     "process",    "test",       "revision",        "workstation", "gage",
    "job",      "lot",        "shift",      "employee",        "defect",      "serial",
    "acc-code", "cac-code",   "state-code", "event-name",      "company",     "division",
    "site",     "department", "area",       "production-unit", "requirement"};
inline constexpr int kItemKinds = static_cast<int>(std::size(kItemKindWords));
static_assert(kItemKinds == static_cast<int>(ItemKind::Requirement) + 1, "a word for each kind");

// In the singular.
inline std::string_view WordOf(ItemKind kind) {
  return kItemKindWords[static_cast<std::size_t>(kind)];
}
// "part" or "parts", "acc-code"; empty for an unknown word.
inline std::optional<ItemKind> ItemKindFromWord(std::string_view word) {
  if (word == "companies") return ItemKind::Company;
  for (int i = 0; i < kItemKinds; ++i) {
    const auto kind = static_cast<ItemKind>(i);
    const std::string singular(WordOf(kind));
    if (word == singular || word == singular + "s" || word == singular + "es") return kind;
  }
  return std::nullopt;
}

}  // namespace orvspc
