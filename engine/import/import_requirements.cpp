// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "engine/import/import_table.h"
#include "engine/time/calendar.h"

namespace orvspc::engine::import {
namespace {

enum Column : std::size_t {
  kProcess,
  kTest,
  kKind,
  kN,
  kPart,
  kMinutes,
  kGrace,
  kFrom,
  kTo,
  kName
};
constexpr ColumnSpec kColumns[] = {
    {"process", true},  {"test", true},   {"kind", true},  {"n", true},   {"part", false},
    {"minutes", false}, {"grace", false}, {"from", false}, {"to", false}, {"name", false},
};
static_assert(std::size(kColumns) == kName + 1);

constexpr std::array<std::string_view, 4> kKinds{"interval", "shift", "lot", "job"};
constexpr std::int32_t kMostMinutes = 366 * 24 * 60, kMostSamples = 1'000'000;

std::string_view KindOf(const ImportTable& table) {
  const auto kind = std::ranges::find(kKinds, table.Name(kKind));
  if (kind == kKinds.end()) table.Refuse(kKind, "must be interval, shift, lot or job");
  return *kind;
}

// What a requirement without a name is called, "Press 1 / Diameter / 5 every 30 min".
std::string NameOf(const ImportTable& table, std::string_view kind, std::int32_t n,
                   std::int32_t minutes) {
  if (!table.Cell(kName).empty()) return std::string(table.Cell(kName));
  std::string name;
  for (const auto column : {kPart, kProcess, kTest}) {
    if (!table.Cell(column).empty()) name += std::string(table.Cell(column)) + " / ";
  }
  name += std::to_string(n);
  if (kind == "interval") return name + " every " + std::to_string(minutes) + " min";
  return name + " per " + std::string(kind);
}

}  // namespace

ImportReport ImportRequirements(const ImportContext& context) {
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  std::set<std::string> named;
  while (table.Next()) {
    const auto kind = KindOf(table);
    const bool is_interval = kind == "interval";
    const auto n = table.Whole(kN, 1, kMostSamples);
    if (!is_interval && !table.Cell(kMinutes).empty()) {
      table.Refuse(kMinutes, "belongs to the kind interval only");
    }
    if (!is_interval && !table.Cell(kGrace).empty()) {
      table.Refuse(kGrace, "belongs to the kind interval only");
    }
    const auto minutes = is_interval ? table.Whole(kMinutes, 1, kMostMinutes) : 0;
    const auto grace = table.Whole(kGrace, 0, kMostMinutes, 0);
    if (is_interval && grace > minutes) {
      table.Remark(report, "grace-above-minutes", kGrace,
                   "is longer than the interval; samples count for more than one");
    }
    const auto from = table.Stamp(kFrom, time::kNoStamp), to = table.Stamp(kTo, time::kNoStamp);
    if (from != time::kNoStamp && to != time::kNoStamp && to <= from)
      table.Refuse(kTo, "must lie after from");
    const auto name = NameOf(table, kind, n, minutes);
    if (names.Find(catalogue::ItemKind::Requirement, name) || !named.insert(name).second) {
      table.Refuse(table.Has(kName) ? kName : kTest,
                   "a requirement of the name \"" + name + "\" is there already");
    }
    const auto& part = table.Cell(kPart);
    sql::Query insert(context.db,
                      "INSERT INTO requirement(name, part, process, test, kind, n, minutes, grace, "
                      "valid_from, valid_to, who, made) "
                      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)");
    insert.Bind(1, std::string_view(name))
        .BindReference(2, part.empty() ? 0 : names.Take(catalogue::ItemKind::Part, part))
        .Bind(3, std::int64_t{names.Take(catalogue::ItemKind::Process, table.Name(kProcess))})
        .Bind(4, std::int64_t{names.Take(catalogue::ItemKind::Test, table.Name(kTest))})
        .Bind(5, kind)
        .Bind(6, std::int64_t{n})
        .Bind(7, std::int64_t{minutes})
        .Bind(8, std::int64_t{grace});
    for (const auto& [place, stamp] : {std::pair{9, from}, std::pair{10, to}}) {
      if (stamp == time::kNoStamp) {
        insert.BindNull(place);
      } else {
        insert.Bind(place, std::int64_t{stamp});
      }
    }
    insert.Bind(11, std::string_view(context.who)).Bind(12, context.made).Run();
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

}  // namespace orvspc::engine::import
