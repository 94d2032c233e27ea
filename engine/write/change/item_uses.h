// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/ItemKind.h"

// Where tables name items. Contexts, streams, subgroups and packed values have ways of their own.
namespace orvspc::engine::change {

struct ItemUse {
  ItemKind kind;
  const char *table, *column;
  // Of rows that count as a use: events of changes and alarms do not.
  const char* counts = "";
};

inline constexpr const char* kSomebodysEvent = " AND type NOT IN (1, 4, 5, 6)";

inline constexpr ItemUse kItemUses[] = {
    {ItemKind::Part, "spec_limit", "part"},
    {ItemKind::Part, "control_limit", "part"},
    {ItemKind::Part, "opportunity", "part"},
    {ItemKind::Part, "net_content", "part"},
    {ItemKind::Part, "rule_alarm", "part"},
    {ItemKind::Part, "event", "part", kSomebodysEvent},
    {ItemKind::Part, "requirement", "part"},
    {ItemKind::Part, "phase", "part"},
    {ItemKind::Part, "baseline_policy", "part"},
    {ItemKind::Part, "chart_option", "part"},
    {ItemKind::Process, "control_limit", "process"},
    {ItemKind::Process, "rule_alarm", "process"},
    {ItemKind::Process, "event", "process", kSomebodysEvent},
    {ItemKind::Process, "requirement", "process"},
    {ItemKind::Process, "phase", "process"},
    {ItemKind::Process, "baseline_policy", "process"},
    {ItemKind::Process, "chart_option", "process"},
    {ItemKind::Process, "state_log", "process"},
    {ItemKind::Test, "spec_limit", "test"},
    {ItemKind::Test, "control_limit", "test"},
    {ItemKind::Test, "opportunity", "test"},
    {ItemKind::Test, "net_content", "test"},
    {ItemKind::Test, "rule_alarm", "test"},
    {ItemKind::Test, "event", "test", kSomebodysEvent},
    {ItemKind::Test, "requirement", "test"},
    {ItemKind::Test, "phase", "test"},
    {ItemKind::Test, "baseline_policy", "test"},
    {ItemKind::Test, "chart_option", "test"},
    {ItemKind::Test, "comment", "test"},
    {ItemKind::Employee, "comment", "employee"},
    {ItemKind::Employee, "event", "employee"},
    {ItemKind::Employee, "event", "acc_employee"},
    {ItemKind::Employee, "event", "cac_employee"},
};

}  // namespace orvspc::engine::change
