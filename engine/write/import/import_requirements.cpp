// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/import_kind.h"

namespace orvspc::engine::import {
namespace {

using catalogue::ItemKind;

constexpr ImportColumn kColumns[] = {
    {"process", kRequired, "name"},
    {"test", kRequired, "name"},
    {"kind", kRequired, "n samples are due for each interval, shift, lot or job"},
    {"n", kRequired, "number of samples, 1 to 1000000"},
    {"part", kOptional, "name; without it the requirement is for any part"},
    {"minutes", kOptional, "length of an interval in running time, 1 to 527040; intervals need it"},
    {"grace", kOptional, "minutes after an interval in which a sample may still come"},
    {"from", kOptional, "time from which the requirement holds"},
    {"to", kOptional, "time until just before which it holds"},
    {"name", kOptional, "a new name; made of the rest unless given"}};
using At = PlaceIn<kColumns>;

constexpr std::string_view kKinds[] = {"interval", "shift", "lot", "job"};
constexpr std::int32_t kMaxMinutes = 366 * 24 * 60, kMaxSamples = 1'000'000;

// What a requirement without a name is called, "Press 1 / Diameter / 5 every 30 min".
std::string NameOf(const ImportTable& table, std::string_view kind, std::int32_t n,
                   std::int32_t minutes) {
  if (!table.Cell(At("name")).empty()) return std::string(table.Cell(At("name")));
  std::string name;
  for (const std::size_t column : {At("part"), At("process"), At("test")}) {
    if (!table.Cell(column).empty()) name += std::string(table.Cell(column)) + " / ";
  }
  name += std::to_string(n);
  if (kind == "interval") return name + " every " + std::to_string(minutes) + " min";
  return name + " per " + std::string(kind);
}

void TakeRequirement(ImportFile& file) {
  static const auto insert = InsertNew(
      "requirement(name, part, process, test, kind, n, minutes, grace, valid_from, valid_to, who, "
      "made)");
  const auto& table = file.table;
  const auto kind = kKinds[table.WordOf(At("kind"), kKinds)];
  const bool is_interval = kind == "interval";
  const auto n = table.Whole(At("n"), 1, kMaxSamples);
  for (const std::size_t column : {At("minutes"), At("grace")}) {
    if (!is_interval && !table.Cell(column).empty()) {
      table.Refuse(column, "belongs to the kind interval only");
    }
  }
  const auto minutes = is_interval ? table.Whole(At("minutes"), 1, kMaxMinutes) : 0;
  const auto grace = table.Whole(At("grace"), 0, kMaxMinutes, 0);
  if (is_interval && grace > minutes) {
    table.Remark(file.report, "grace-above-minutes", At("grace"),
                 "is longer than the interval; samples count for more than one");
  }
  const auto from = table.OptionalStamp(At("from"));
  const auto to = table.OptionalStamp(At("to"));
  if (from && to && *to <= *from) table.Refuse(At("to"), "must lie after from");
  const auto name = NameOf(table, kind, n, minutes);
  if (IntOf(file.db, "SELECT 1 FROM requirement WHERE name = ?1", name)) {
    table.Refuse(table.Has(At("name")) ? At("name") : At("test"),
                 "a requirement of the name \"" + name + "\" is there already");
  }
  const auto part = file.OptionalItem(At("part"), ItemKind::Part);
  const auto process = file.Item(At("process"), ItemKind::Process);
  const auto test = file.Item(At("test"), ItemKind::Test);
  file.Store(insert, name, part, process, test, kind, n, minutes, grace, from, to, file.who,
             file.made);
}

}  // namespace

constinit const KindOfFile kRequirementsKind{
    {ImportKind::Requirements, "requirements", "how many samples a process owes", kColumns},
    EachLine<TakeRequirement>};

}  // namespace orvspc::engine::import
