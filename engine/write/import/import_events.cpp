// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/import_kind.h"

namespace orvspc::engine::import {
namespace {

using catalogue::ItemKind;

constexpr ImportColumn kEventColumns[] = {
    {"type", kRequired,
     "subgroup-alarm, general, sampling-violation, subgroup-disable, subgroup-delete, "
     "subgroup-edit, downtime or 1 to 7"},
    {"time", kRequired, "when it happened or began"},
    {"name", kOptional, "what happened; events of one name are one category of a Pareto analysis"},
    {"end", kOptional, "when it ended, not before time"},
    {"process", kOptional, "name"},
    {"part", kOptional, "name"},
    {"test", kOptional, "name"},
    {"subgroup-time", kOptional, "time of the subgroup concerned"},
    {"employee", kOptional, "name"},
    {"acc", kOptional, "code of the assignable cause"},
    {"acc-employee", kOptional, "who gave the cause"},
    {"acc-time", kOptional, "when, not before time"},
    {"cac", kOptional, "code of the corrective action"},
    {"cac-employee", kOptional, "who took the action"},
    {"cac-time", kOptional, "when, not before time"},
    {"open", kOptional,
     "codes still missing, which the line does not give: acc, cac, acc cac, none"}};
using At = PlaceIn<kEventColumns>;

std::optional<std::int32_t> StampFrom(const ImportTable& table, std::size_t column,
                                      std::int32_t earliest) {
  const auto stamp = table.OptionalStamp(column);
  if (stamp && *stamp < earliest) table.Refuse(column, "lies before the time of the event");
  return stamp;
}

std::int32_t OpenWord(const ImportTable& table) {
  const auto cell = catalogue::Lower(table.Cell(At("open")));
  if (cell.empty() || cell == "none") return 0;
  if (cell == "acc") return efOpenACC;
  if (cell == "cac") return efOpenCAC;
  if (cell == "acc cac" || cell == "cac acc") return efOpenACC | efOpenCAC;
  table.Refuse(At("open"), "must be acc, cac, both with a blank between them, or none");
}

std::int32_t OpenFlags(const ImportTable& table) {
  const auto flags = OpenWord(table);
  if ((flags & efOpenACC) != 0 && !table.Cell(At("acc")).empty()) {
    table.Refuse(At("open"), "must not name acc, which the line gives");
  }
  if ((flags & efOpenCAC) != 0 && !table.Cell(At("cac")).empty()) {
    table.Refuse(At("open"), "must not name cac, which the line gives");
  }
  return flags;
}

void TakeEvent(ImportFile& file) {
  static const auto insert = InsertNew(
      "event(time, type, name, process, part, test, employee, acc, acc_employee, cac, "
      "cac_employee, finish, acc_time, cac_time, subgroup_time, flag)");
  const auto& table = file.table;
  const auto type = table.OneOf(At("type"), catalogue::kEventTypes);
  const auto time = table.Stamp(At("time"));
  const auto item = [&](std::size_t column, ItemKind kind) {
    return file.OptionalItem(column, kind);
  };
  const auto name = item(At("name"), ItemKind::EventName);
  const auto process = item(At("process"), ItemKind::Process);
  const auto part = item(At("part"), ItemKind::Part), test = item(At("test"), ItemKind::Test);
  if (IntOf(file.db,
            "SELECT 1 FROM event WHERE time = ?1 AND type = ?2 "
            "AND name IS NOT DISTINCT FROM ?3 AND process IS NOT DISTINCT FROM ?4 "
            "AND part IS NOT DISTINCT FROM ?5 AND test IS NOT DISTINCT FROM ?6",
            time, type, name, process, part, test)) {
    table.Refuse(At("time"), "the event is already stored");
  }
  const auto employee = item(At("employee"), ItemKind::Employee);
  const auto acc = item(At("acc"), ItemKind::AccCode), cac = item(At("cac"), ItemKind::CacCode);
  const auto acc_employee = item(At("acc-employee"), ItemKind::Employee);
  const auto cac_employee = item(At("cac-employee"), ItemKind::Employee);
  const auto flags = OpenFlags(table);
  const auto end = StampFrom(table, At("end"), time);
  const auto acc_time = StampFrom(table, At("acc-time"), time);
  const auto cac_time = StampFrom(table, At("cac-time"), time);
  const auto subgroup_time = StampFrom(table, At("subgroup-time"), INT32_MIN);
  file.Store(insert, time, type, name, process, part, test, employee, acc, acc_employee, cac,
             cac_employee, end, acc_time, cac_time, subgroup_time, flags);
}

constexpr ImportColumn kStateColumns[] = {
    {"process", kRequired, "name"},
    {"time", kRequired, "from which on the process is in the state; one state at a time"},
    {"state", kRequired, "code of the state"},
    {"type", kOptional, "as in state-codes; a state that the database does not have needs it"}};

void TakeState(ImportFile& file) {
  using AtState = PlaceIn<kStateColumns>;
  const auto& table = file.table;
  const auto process = file.Item(AtState("process"), ItemKind::Process);
  const auto time = table.Stamp(AtState("time"));
  const bool gives_type = !table.Cell(AtState("type")).empty();
  auto state = file.names.Find(ItemKind::StateCode, table.Name(AtState("state")));
  if (!state) {
    if (!gives_type) {
      table.Refuse(AtState("state"),
                   "is no state of the database; import state-codes first, or give its type");
    }
    state = file.Item(AtState("state"), ItemKind::StateCode);
    Run(file.db, "UPDATE state_code SET type = ?2 WHERE id = ?1", *state,
        table.OneOf(AtState("type"), catalogue::kStateTypes));
  } else if (gives_type && !IntOf(file.db, "SELECT 1 FROM state_code WHERE id = ?1 AND type = ?2",
                                  *state, table.OneOf(AtState("type"), catalogue::kStateTypes))) {
    table.Refuse(AtState("type"), "differs from the type that the state has");
  }
  if (IntOf(file.db, "SELECT 1 FROM state_log WHERE process = ?1 AND time = ?2", process, time)) {
    table.Refuse(AtState("time"), "the process has a state of this time already");
  }
  file.Store("INSERT INTO state_log(process, time, state_code) VALUES(?1, ?2, ?3)", process, time,
             *state);
}

}  // namespace

constinit const KindOfFile kEventsKind{
    {ImportKind::Events, "events", "alarms, downtimes and other events, with causes and actions",
     kEventColumns},
    EachLine<TakeEvent>};
constinit const KindOfFile kStatesKind{
    {ImportKind::States, "states", "the log of states that processes were in", kStateColumns},
    EachLine<TakeState>};

}  // namespace orvspc::engine::import
