// SPDX-License-Identifier: Apache-2.0
#include "engine/store/tables.h"

#include <algorithm>
#include <map>
#include <utility>

#include "engine/catalogue/References.h"

namespace orvspc::engine::store {
namespace {

constexpr Table kTables[] = {
    {"company", "id name:t active:i"},
    {"division", "id name:t active:i"},
    {"site", "id name:t active:i"},
    {"department", "id name:t active:i"},
    {"area", "id name:t active:i"},
    {"production_unit", "id name:t active:i"},
    {"part", "id name:t active:i factor:r"},
    {"process",
     "id name:t active:i company>company division>division site>site department>department "
     "area>area production_unit>production_unit"},
    {"test", "id name:t active:i type:i"},
    {"revision", "id name:t active:i"},
    {"workstation", "id name:t active:i"},
    {"gage", "id name:t active:i"},
    {"job", "id name:t active:i"},
    {"lot", "id name:t active:i"},
    {"shift", "id name:t active:i"},
    {"employee", "id name:t active:i"},
    {"serial", "id name:t active:i"},
    {"event_name", "id name:t active:i"},
    {"defect", "id name:t active:i factor:r text:t"},
    {"acc_code", "id name:t active:i factor:r text:t"},
    {"cac_code", "id name:t active:i factor:r text:t"},
    {"state_code", "id name:t active:i factor:r text:t type:i"},
    {"setting", "id key:t value:t who:t made:i", TableUse::Ordered},
    {"item_group", "id kind:t name:t"},
    {"item_group_member", "item_group>item_group item*"},
    {"descriptor_group", "id name:t"},
    {"descriptor", "id descriptor_group>descriptor_group name:t"},
    {"stream", "id part>part process>process test>test", TableUse::IdentifierMap},
    {"context",
     "id workstation>workstation job>job lot>lot shift>shift revision>revision employee>employee",
     TableUse::IdentifierMap},
    {"subgroup_descriptor", "subgroup# descriptor>descriptor tsno:i"},
    {"comment", "id subgroup# test>test tsno:i time:i employee>employee note:t"},
    {"spec_limit",
     "id part>part test>test effective:i usl:r target:r lsl:r ugb:r lgb:r url:r lrl:r uwp:r lwp:r "
     "cp:r cpk:r eflag:i aflag:i scale:i name:t who:t made:i",
     TableUse::Ordered},
    {"control_limit",
     "id part>part process>process test>test effective:i mean:r sp:r spl:r sw:r swl:r start:i "
     "finish:i chart_word:i status:t rule:t replaced_by! until:i state_at:i approved_at:i digest:t "
     "estimator:t used:i reason:t average_size:r within:r moving:r gamma:r numerator:r "
     "denominator:r sp_bar:r within_bar:r sw_bar:r who:t made:i",
     TableUse::Ordered},
    {"opportunity", "id part>part test>test effective:i opportunities:i who:t made:i",
     TableUse::Ordered},
    {"rule", "number:i priority:i kind:t k:i m:i zone:r side:t text:t"},
    {"rule_set", "id name:t"},
    {"rule_set_member", "rule_set>rule_set number:i"},
    {"rule_alarm", "id part>part process>process test>test graph:i number:i is_on:i who:t made:i",
     TableUse::Ordered},
    {"event",
     "id type:i name>event_name time:i finish:i process>process part>part test>test "
     "subgroup_time:i employee>employee acc>acc_code acc_employee>employee acc_time:i cac>cac_code "
     "cac_employee>employee cac_time:i flag:i",
     TableUse::Ordered},
    {"state_log", "process>process time:i state_code>state_code"},
    {"net_content",
     "id part>part test>test effective:i class:t quantity:t nominal:r mav:r with_upper:i mavl:r "
     "mavlp:r mavu:r mavup:r t1l:r t1lp:r t1u:r t1up:r t2l:r t2lp:r t2u:r t2up:r factor:r name:t "
     "who:t made:i",
     TableUse::Ordered},
    {"requirement",
     "id name:t active:i part>part process>process test>test kind:t n:i minutes:i grace:i "
     "valid_from:i valid_to:i who:t made:i"},
    {"phase",
     "id part>part process>process test>test start:i finish:i name:t reason:t kind:t "
     "freeze_after:i who:t made:i",
     TableUse::Ordered},
    {"baseline_policy",
     "id part>part process>process test>test run:i minimum:i rule:t who:t made:i",
     TableUse::Ordered},
    {"chart_option", "id part>part process>process test>test graph:i key:t value:t who:t made:i",
     TableUse::Ordered},
    {"limit_exclusion", "limit_row:i subgroup# reason:t", TableUse::History},
    {"batch",
     "id kind:t source:t source_sha256:t profile:t key:t lines:i records:i digest:t state:t "
     "entry:i",
     TableUse::History},
    {"descriptor_source", "subgroup# descriptor>descriptor tsno:i batch:i", TableUse::History},
    {"client_key", "key:t fingerprint:t subgroup:i batch:i entry:i made:i answer:t",
     TableUse::History},
    {"alias", "kind:t name:t item:i", TableUse::History},
    {"alarm_mark", "stream>stream time:i subgroup:i limit_row:i rules:t", TableUse::History},
    {"alarm_checkpoint", "stream>stream graph:i time:i subgroup:i upper:r lower:r",
     TableUse::History},
    {"alarm",
     "event:i stream>stream graph:i rule:i first_subgroup:i last_subgroup:i points:i state:t "
     "is_late:i detected:i revision:i",
     TableUse::History},
    {"sampling_mark", "requirement:i due:i", TableUse::History},
    {"missed_sample", "event:i requirement:i due:i is_withdrawn:i revision:i", TableUse::History},
    {"outbox", "id event:i revision:i made:i message:t", TableUse::History},
    {"delivery", "outbox:i hook:t state:t tries:i next:i error:t", TableUse::History},
};

enum class Form { Named, Stored };

// The name of the row with an identifier.
std::string NameExpression(std::string_view table, const std::string& id) {
  const auto select = [&](std::string_view name, std::string_view from) {
    return "(SELECT " + std::string(name) + " FROM " + std::string(from) + " WHERE n.id = " + id +
           ")";
  };
  if (table == "descriptor") {
    return select("g.name || '=' || n.name",
                  "descriptor n JOIN descriptor_group g ON g.id = n.descriptor_group");
  }
  if (table == "item_group") return select("n.kind || '=' || n.name", "item_group n");
  return select("n.name", std::string(table) + " n");
}

std::string MemberExpression(const std::string& id) {
  std::string text = "CASE (SELECT g.kind FROM item_group g WHERE g.id = x.item_group)";
  for (int i = 0; i < kItemKinds; ++i) {
    const auto kind = static_cast<ItemKind>(i);
    text += " WHEN '" + std::string(WordOf(kind)) + "' THEN " +
            NameExpression(catalogue::TableOf(kind), id);
  }
  return text + " END";
}

std::string Expression(const Column& column) {
  const auto stored = "x." + std::string(column.name);
  if (column.kind == ColumnKind::Reference) return NameExpression(column.table, stored);
  return column.kind == ColumnKind::Member ? MemberExpression(stored) : stored;
}

std::string TextOf(const Table& table, Form form) {
  std::string columns, order;
  for (const auto& column : ColumnsOf(table)) {
    if (column.kind == ColumnKind::Id) order = " ORDER BY x.id";
    if (column.IsOfRow() && form == Form::Named) continue;
    if (!columns.empty()) columns += ", ";
    columns += form == Form::Named ? Expression(column) : "x." + std::string(column.name);
  }
  return "SELECT " + columns + " FROM " + std::string(table.name) + " x" + order;
}

// Texts of statements must live as long as connections.
std::string_view KeptTextOf(const Table& table, Form form) {
  static const auto texts = [] {
    std::map<std::pair<std::string_view, Form>, std::string> all;
    for (const auto& each : kTables) {
      for (const auto each_form : {Form::Named, Form::Stored}) {
        all[{each.name, each_form}] = TextOf(each, each_form);
      }
    }
    return all;
  }();
  return texts.at({table.name, form});
}

}  // namespace

std::span<const Table> Tables() { return kTables; }

std::vector<Column> ColumnsOf(const Table& table) {
  std::vector<Column> columns;
  for (auto rest = table.columns; !rest.empty();) {
    const auto word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    const auto mark = word.find_first_of(":>#*!");
    const auto name = word.substr(0, mark);
    const auto behind = mark == std::string_view::npos ? std::string_view() : word.substr(mark);
    const auto kind = behind.empty()   ? ColumnKind::Id
                      : behind == ":i" ? ColumnKind::Number
                      : behind == ":r" ? ColumnKind::Real
                      : behind == ":t" ? ColumnKind::Text
                      : behind == "#"  ? ColumnKind::Subgroup
                      : behind == "*"  ? ColumnKind::Member
                      : behind == "!"  ? ColumnKind::Row
                                       : ColumnKind::Reference;
    columns.push_back(
        {name, kind, kind == ColumnKind::Reference ? behind.substr(1) : std::string_view()});
  }
  return columns;
}

std::string_view SelectNamed(const Table& table) { return KeptTextOf(table, Form::Named); }
std::string_view SelectStored(const Table& table) { return KeptTextOf(table, Form::Stored); }

std::string RowOf(const Table& table) {
  std::string columns;
  for (const auto& column : ColumnsOf(table)) {
    if (!columns.empty()) columns += ", ";
    columns += column.name;
  }
  return std::string(table.name) + "(" + columns + ")";
}

}  // namespace orvspc::engine::store
