// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "engine/statistics/RunRules.h"
#include "engine/store/Store.h"
#include "engine/write/import/import_kind.h"

namespace orvspc::engine::import {
namespace {

using catalogue::ItemKind;

constexpr ImportColumn kRuleColumns[] = {
    {"number", kRequired, "0 to 14, 16 to 30 and one of 15 and 31; it keeps its rule for life"},
    {"kind", kRequired, "limit, zone, within, outside, trend, alternate, red or yellow2"},
    {"k", kOptional, "points of the window that fulfil the rule, 1 to 1000; m unless given"},
    {"m", kOptional, "points of the window, 1 to 1000; k unless given"},
    {"zone", kOptional, "number of sigmas, 0 to 1000"},
    {"side", kOptional, "same, either, both, upper or lower"},
    {"priority", kOptional, "the number unless given"},
    {"text", kOptional, "what the rule is called; Rule and the number unless given"},
    {"set", kOptional, "names of rule sets that the rule joins, blanks between them"}};
using At = PlaceIn<kRuleColumns>;

constexpr std::int32_t kMaxWindow = 1000;

using Rules = std::map<std::int32_t, store::StoredRule>;

Rules ReadRules(sql::Connection& db) {
  using Rule = store::StoredRule;
  Rules rules;
  sql::Query query(db, "SELECT number, priority, kind, k, m, zone, side, text FROM rule");
  for (auto& rule : query.All<Rule>(&Rule::number, &Rule::priority, &Rule::kind, &Rule::k, &Rule::m,
                                    &Rule::zone, &Rule::side, &Rule::text)) {
    rules[rule.number] = std::move(rule);
  }
  return rules;
}

// What the line leaves open stays as it is.
void ReadGiven(const ImportTable& table, store::StoredRule& rule) {
  const auto kinds = statistics::RuleKindNames(), sides = statistics::RuleSideNames();
  rule.kind = kinds[table.WordOf(At("kind"), kinds)];
  rule.k = table.Whole(At("k"), 1, kMaxWindow, rule.k);
  rule.m = table.Whole(At("m"), 1, kMaxWindow, rule.m);
  rule.zone = table.OptionalNumber(At("zone")).value_or(rule.zone);
  if (rule.zone < 0.0) table.Refuse(At("zone"), "must not be below 0");
  if (!table.Cell(At("side")).empty()) rule.side = sides[table.WordOf(At("side"), sides)];
  rule.priority = table.Whole(At("priority"), 0, INT32_MAX, rule.priority);
  if (!table.Cell(At("text")).empty()) rule.text = table.Cell(At("text"));
}

// What the rule engine could not run is refused here, where the line is known.
void CheckWindow(const ImportTable& table, const store::StoredRule& rule) {
  const auto min = rule.kind == "trend" ? 2 : rule.kind == "alternate" ? 3 : 1;
  if (rule.k > rule.m) table.Refuse(At("k"), "must not be above m");
  if (rule.kind == "zone") {
    if (rule.k != rule.m && rule.m > 64) {
      table.Refuse(At("m"), "must not be above 64 where k differs");
    }
  } else if (rule.k != rule.m) {
    table.Refuse(At("k"), "must be equal to m for this kind");
  }
  if (rule.m < min) {
    table.Refuse(At("m"), "must be at least " + std::to_string(min) + " for this kind");
  }
  if ((rule.kind == "limit" || rule.kind == "red") && rule.m != 1) {
    table.Refuse(At("m"), "must be 1 for this kind, which looks at one point");
  }
  if (rule.zone > 1000.0) table.Refuse(At("zone"), "must be a number of sigmas, 0 to 1000");
}

store::StoredRule NewRule(const ImportTable& table, std::int32_t number, const Rules& rules) {
  if ((number == 15 && rules.contains(31)) || (number == 31 && rules.contains(15))) {
    table.Refuse(At("number"), "15 and 31 share one bit; a list can hold one of them");
  }
  store::StoredRule rule;
  rule.number = number;
  ReadGiven(table, rule);
  if (rule.k == 0) rule.k = rule.m == 0 ? 1 : rule.m;
  if (rule.m == 0) rule.m = rule.k;
  CheckWindow(table, rule);
  const bool is_run = rule.kind == "zone" || rule.kind == "trend" || rule.kind == "yellow2";
  if (rule.side.empty()) rule.side = is_run ? "same" : "either";
  if (rule.priority == 0) rule.priority = number;
  if (rule.text.empty()) rule.text = "Rule " + std::to_string(number);
  return rule;
}

void TakeRule(ImportFile& file, Rules& rules) {
  static const auto insert_set = InsertNew("rule_set(name)");
  static const auto insert = InsertInto("rule(number, priority, kind, k, m, zone, side, text)");
  const auto number = file.table.Whole(At("number"), 0, 31);
  if (const auto known = rules.find(number); known != rules.end()) {
    auto rule = known->second;
    ReadGiven(file.table, rule);
    if (rule != known->second) {
      file.table.Refuse(At("number"),
                        "the number belongs to a rule with other parameters; use a free one");
    }
  } else {
    const auto rule = NewRule(file.table, number, rules);
    file.Store(insert, rule.number, rule.priority, rule.kind, rule.k, rule.m, rule.zone, rule.side,
               rule.text);
    rules[number] = rule;
  }
  for (const auto set : WordsOf(file.table.Cell(At("set")))) {
    const auto id =
        FindOrAdd(file.db, "SELECT id FROM rule_set WHERE name = ?1", insert_set, set).id;
    Run(file.db,
        "INSERT INTO rule_set_member(rule_set, number) VALUES(?1, ?2) ON CONFLICT DO NOTHING", id,
        number);
  }
}

LineTaker BeginRules(ImportFile& file) {
  return [&file, rules = ReadRules(file.db)]() mutable { TakeRule(file, rules); };
}

constexpr ImportColumn kAlarmColumns[] = {
    {"part", kOptional, "name of a part that is there; any unless given"},
    {"process", kOptional, "name of a process that is there; any unless given"},
    {"test", kOptional, "name of a test that is there; any unless given"},
    {"graph", kOptional, "1 to 3; any unless given"},
    {"number", kRequired, "number of a rule that is there"},
    {"on", kRequired, "yes, on, true, 1 or no, off, false, 0"}};

void TakeAlarm(ImportFile& file) {
  using AtAlarm = PlaceIn<kAlarmColumns>;
  static const auto insert =
      InsertNew("rule_alarm(part, process, test, graph, number, is_on, who, made)");
  const auto& table = file.table;
  const auto known = [&](std::size_t column, ItemKind kind) {
    const auto name = table.Cell(column);
    const auto id = name.empty() ? 0 : file.names.FindUsed(kind, name);
    if (!id) table.Refuse(column, "the database has nothing of this name");
    return Reference{*id};
  };
  const auto part = known(AtAlarm("part"), ItemKind::Part);
  const auto process = known(AtAlarm("process"), ItemKind::Process);
  const auto test = known(AtAlarm("test"), ItemKind::Test);
  const auto number = table.Whole(AtAlarm("number"), 0, 31);
  if (!IntOf(file.db, "SELECT 1 FROM rule WHERE number = ?1", number)) {
    table.Refuse(AtAlarm("number"), "the database has no rule of this number");
  }
  const Reference graph{table.Whole(AtAlarm("graph"), 1, 3, 0)};
  file.Store(insert, part, process, test, graph, number, table.YesOrNo(AtAlarm("on")), file.who,
             file.made);
}

constexpr ImportColumn kGroupColumns[] = {
    {"kind", kRequired, "part, process, test, job, lot, shift, employee, defect, acc-code, ..."},
    {"group", kRequired, "name of the group"},
    {"name", kRequired, "name of the item; an item may be in several groups"}};

void TakeGroup(ImportFile& file) {
  using AtGroup = PlaceIn<kGroupColumns>;
  const auto& table = file.table;
  const auto kind = catalogue::ItemKindFromWord(table.Name(AtGroup("kind")));
  if (!kind || *kind == ItemKind::Requirement) {
    table.Refuse(AtGroup("kind"), "is nothing that can be grouped");
  }
  // A state without its type would be neither running nor stopped.
  if (*kind == ItemKind::StateCode && !file.names.Find(*kind, table.Name(AtGroup("name")))) {
    table.Refuse(AtGroup("name"), "is no state of the database; import state-codes first");
  }
  const auto item = file.Item(AtGroup("name"), *kind);
  if (file.AddToGroup(*kind, table.Name(AtGroup("group")), item)) ++file.report.rows;
}

}  // namespace

constinit const KindOfFile kRulesKind{
    {ImportKind::Rules, "rules", "run rules and the sets that they belong to", kRuleColumns},
    BeginRules};
constinit const KindOfFile kAlarmsKind{
    {ImportKind::Alarms, "alarms", "which rules are on; the most specific row wins", kAlarmColumns},
    EachLine<TakeAlarm>};
constinit const KindOfFile kGroupsKind{
    {ImportKind::Groups, "groups", "named groups of parts, processes, codes and so on",
     kGroupColumns},
    EachLine<TakeGroup>};

}  // namespace orvspc::engine::import
