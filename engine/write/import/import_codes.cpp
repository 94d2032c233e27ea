// SPDX-License-Identifier: Apache-2.0
#include <map>

#include "engine/write/import/import_kind.h"

namespace orvspc::engine::import {
namespace {

using catalogue::ItemKind;

constexpr ImportColumn kCodeColumns[] = {
    {"code", kRequired, "the code; one that is there takes over what the line gives"},
    {"name", kOptional, "what the code means; a Pareto has it in the place of the code"},
    {"factor", kOptional, "weight for analyses by factor, 0 to 1000000000; 1 unless given"},
    {"group", kOptional, "a group that the code joins; a code may have a line for each group"}};

constexpr ImportColumn kStateColumns[] = {
    {"code", kRequired, "the state; one that is there takes over what the line gives"},
    {"name", kOptional, "what the code means; a Pareto has it in the place of the code"},
    {"factor", kOptional, "weight for analyses by factor, 0 to 1000000000; 1 unless given"},
    {"type", kOptional,
     "none, start, run, pause, end, idle, scheduled-down, unscheduled-down or its number; a new "
     "state "
     "needs it"}};

constexpr ImportColumn kPartColumns[] = {
    {"part", kRequired, "name"},
    {"factor", kRequired,
     "weight of a finding without a defect code, 0 to 1000000000; an empty cell leaves it"}};

constexpr ImportColumn kProcessColumns[] = {
    {"process", kRequired, "name; a process has one line in a file"},
    {"company", kOptional, "name; in this column and the next an empty cell changes nothing"},
    {"division", kOptional, "name"},
    {"site", kOptional, "name"},
    {"department", kOptional, "name"},
    {"area", kOptional, "name"},
    {"production-unit", kOptional, "name"}};

// Of the columns from company on.
constexpr ItemKind kPlaces[] = {ItemKind::Company,    ItemKind::Division, ItemKind::Site,
                                ItemKind::Department, ItemKind::Area,     ItemKind::ProductionUnit};

// What the lines of one code say of it.
struct CodeFacts {
  std::optional<std::string> text;
  std::optional<double> factor;
  std::optional<std::int32_t> type;
};

constexpr std::string_view kDiffers = "differs from an earlier line of the same code";

// The weight that a line gives, into what the earlier lines of the same item gave; empty cells
// leave it.
void TakeWeight(const ImportTable& table, std::size_t column, std::optional<double>& weight,
                std::string_view differs) {
  const auto given = table.OptionalNumber(column);
  if (!given) return;
  // Sums of any number of findings stay finite.
  constexpr double kMaxWeight = 1e9;
  if (*given < 0.0) table.Refuse(column, "must not be below 0");
  if (*given > kMaxWeight) table.Refuse(column, "must not be above 1000000000");
  if (weight && *weight != *given) table.Refuse(column, differs);
  weight = given;
}

// Columns that all codes share have the same places in both tables.
using At = PlaceIn<kCodeColumns>;
using AtState = PlaceIn<kStateColumns>;

CodeFacts& TakeCode(ImportFile& file, ItemKind kind, std::int32_t id,
                    std::map<std::int32_t, CodeFacts>& codes) {
  static const auto update = catalogue::TextsByKind([](ItemKind each) {
    return "UPDATE " + catalogue::TableOf(each) +
           " SET text = coalesce(?2, text), factor = coalesce(?3, factor) WHERE id = ?1";
  });
  auto& facts = codes[id];
  if (const auto cell = file.table.Cell(At("name")); !cell.empty()) {
    if (facts.text && *facts.text != cell) file.table.Refuse(At("name"), kDiffers);
    facts.text = cell;
  }
  TakeWeight(file.table, At("factor"), facts.factor, kDiffers);
  Run(file.db, update[static_cast<std::size_t>(kind)], id, facts.text, facts.factor);
  ++file.report.rows;
  return facts;
}

template <ItemKind kKind>
LineTaker BeginCodes(ImportFile& file) {
  return [&file, codes = std::map<std::int32_t, CodeFacts>()]() mutable {
    const auto id = file.Item(At("code"), kKind);
    TakeCode(file, kKind, id, codes);
    if (const auto group = file.table.Cell(At("group")); !group.empty()) {
      file.AddToGroup(kKind, group, id);
    }
  };
}

LineTaker BeginStateCodes(ImportFile& file) {
  return [&file, codes = std::map<std::int32_t, CodeFacts>()]() mutable {
    const auto& table = file.table;
    const bool is_new = !file.names.Find(ItemKind::StateCode, table.Name(At("code")));
    const auto id = file.Item(At("code"), ItemKind::StateCode);
    auto& facts = TakeCode(file, ItemKind::StateCode, id, codes);
    if (table.Cell(AtState("type")).empty()) {
      if (is_new) table.Refuse(AtState("type"), "a new state needs its type");
      return;
    }
    const auto type = table.OneOf(AtState("type"), catalogue::kStateTypes);
    if (facts.type && *facts.type != type) table.Refuse(AtState("type"), kDiffers);
    facts.type = type;
    Run(file.db, "UPDATE state_code SET type = ?2 WHERE id = ?1", id, type);
  };
}

LineTaker BeginParts(ImportFile& file) {
  using AtPart = PlaceIn<kPartColumns>;
  return [&file, weights = std::map<std::int32_t, std::optional<double>>()]() mutable {
    const auto part = file.Item(AtPart("part"), ItemKind::Part);
    auto& weight = weights[part];
    TakeWeight(file.table, AtPart("factor"), weight,
               "differs from an earlier line of the same part");
    if (weight) Run(file.db, "UPDATE part SET factor = ?2 WHERE id = ?1", part, *weight);
    ++file.report.rows;
  };
}

LineTaker BeginProcesses(ImportFile& file) {
  using AtProcess = PlaceIn<kProcessColumns>;
  return [&file, seen = std::set<std::int32_t>()]() mutable {
    const auto process = file.Item(AtProcess("process"), ItemKind::Process);
    if (!seen.insert(process).second) {
      file.table.Refuse(AtProcess("process"), "an earlier line is of the same process");
    }
    std::array<Reference, std::size(kPlaces)> places;
    for (std::size_t i = 0; i < places.size(); ++i) {
      places[i] = file.OptionalItem(AtProcess("company") + i, kPlaces[i]);
    }
    Run(file.db,
        "UPDATE process SET company = coalesce(?2, company), division = coalesce(?3, division), "
        "site = coalesce(?4, site), department = coalesce(?5, department), "
        "area = coalesce(?6, area), production_unit = coalesce(?7, production_unit) WHERE id = ?1",
        process, places);
    ++file.report.rows;
  };
}

}  // namespace

constinit const KindOfFile kDefectsKind{
    {ImportKind::Defects, "defects", "what codes of defects mean", kCodeColumns},
    BeginCodes<ItemKind::Defect>};
constinit const KindOfFile kAccCodesKind{
    {ImportKind::AccCodes, "acc-codes", "what codes of assignable causes mean", kCodeColumns},
    BeginCodes<ItemKind::AccCode>};
constinit const KindOfFile kCacCodesKind{
    {ImportKind::CacCodes, "cac-codes", "what codes of corrective actions mean", kCodeColumns},
    BeginCodes<ItemKind::CacCode>};
constinit const KindOfFile kStateCodesKind{
    {ImportKind::StateCodes, "state-codes", "states of processes", kStateColumns}, BeginStateCodes};
constinit const KindOfFile kPartsKind{
    {ImportKind::Parts, "parts", "weights of parts", kPartColumns}, BeginParts};
constinit const KindOfFile kProcessesKind{
    {ImportKind::Processes, "processes", "where processes belong", kProcessColumns},
    BeginProcesses};

}  // namespace orvspc::engine::import
