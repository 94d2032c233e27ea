// SPDX-License-Identifier: Apache-2.0
#include "engine/catalogue/ItemKind.h"

#include <array>
#include <string>

namespace orvspc::engine::catalogue {
namespace {

struct KindName {
  std::string_view word, table;
};
constexpr std::array<KindName, kItemKinds> kNames{{
    {"part", "part"},
    {"process", "process"},
    {"test", "test"},
    {"revision", "revision"},
    {"workstation", "workstation"},
    {"gage", "gage"},
    {"job", "job"},
    {"lot", "lot"},
    {"shift", "shift"},
    {"employee", "employee"},
    {"defect", "defect"},
    {"serial", "serial"},
    {"acc-code", "acc_code"},
    {"cac-code", "cac_code"},
    {"state-code", "state_code"},
    {"event-name", "event_name"},
    {"company", "company"},
    {"division", "division"},
    {"site", "site"},
    {"department", "department"},
    {"area", "area"},
    {"production-unit", "production_unit"},
    {"requirement", "requirement"},
}};

}  // namespace

std::string_view WordOf(ItemKind kind) { return kNames[static_cast<std::size_t>(kind)].word; }

std::string_view TableOf(ItemKind kind) { return kNames[static_cast<std::size_t>(kind)].table; }

std::optional<ItemKind> ItemKindFromWord(std::string_view word) {
  if (word == "companies") return ItemKind::Company;
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    const std::string singular(kNames[i].word);
    if (word == singular || word == singular + "s" || word == singular + "es") {
      return static_cast<ItemKind>(i);
    }
  }
  return std::nullopt;
}

}  // namespace orvspc::engine::catalogue
