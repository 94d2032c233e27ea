// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>

#include "engine/write/import/import_kind.h"
#include "engine/write/log/Json.h"

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
constexpr const char* kPlaceColumns[] = {"company",    "division", "site",
                                         "department", "area",     "production_unit"};

// What a line changes of an item that was there before the file. Texts and weights that nobody gave
// yet may come by themselves, what was given changes for a reason.
class ItemChange {
 public:
  ItemChange(ImportFile& file, ItemKind kind, std::int32_t id, bool is_new)
      : file_(file), kind_(kind), id_(id), is_new_(is_new) {}

  void Set(const char* column, const log::Json& before, const log::Json& after, bool was_given) {
    if (before == after || is_new_) return;
    before_[column] = before;
    after_[column] = after;
    needs_reason_ = needs_reason_ || was_given;
  }
  void AddEntry() {
    if (after_.is_null()) return;
    if (needs_reason_) file_.writing.NeedReason();
    file_.writing.Add("edit-item", std::string(WordOf(kind_)) + " " + std::to_string(id_),
                      log::CanonicalText(before_), log::CanonicalText(after_));
  }

 private:
  ImportFile& file_;
  ItemKind kind_;
  std::int32_t id_;
  bool is_new_, needs_reason_ = false;
  log::Json before_, after_;
};

constexpr double kUsualWeight = 1.0;

void SetWeight(ItemChange& change, double before, double after) {
  change.Set("factor", log::Number(before), log::Number(after), before != kUsualWeight);
}

// What the lines of one code say of it.
struct CodeFacts {
  bool is_new = false;  // of this file
  std::optional<std::string> text;
  std::optional<double> factor;
  std::optional<std::int32_t> type;
};

constexpr std::string_view kDiffersFromCode = "differs from an earlier line of the same code";

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

using Codes = std::map<std::int32_t, CodeFacts>;

// An item of a line, and whether the file brought it.
template <class Facts>
std::int32_t TakeItem(ImportFile& file, std::size_t column, ItemKind kind,
                      std::map<std::int32_t, Facts>& all) {
  const bool is_new = !file.names.Find(kind, file.table.Name(column));
  const auto id = file.Item(column, kind);
  all[id].is_new |= is_new;
  return id;
}

// A code with what all codes have.
CodeFacts& TakeCode(ImportFile& file, ItemKind kind, std::int32_t id, Codes& codes,
                    ItemChange& change) {
  static const auto select = catalogue::TextsByKind([](ItemKind each) {
    return "SELECT text, factor FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
  });
  static const auto update = catalogue::TextsByKind([](ItemKind each) {
    return "UPDATE " + catalogue::TableOf(each) +
           " SET text = coalesce(?2, text), factor = coalesce(?3, factor) WHERE id = ?1";
  });
  auto& facts = codes[id];
  if (const auto cell = file.table.Cell(At("name")); !cell.empty()) {
    if (facts.text && *facts.text != cell) file.table.Refuse(At("name"), kDiffersFromCode);
    facts.text = cell;
  }
  TakeWeight(file.table, At("factor"), facts.factor, kDiffersFromCode);
  std::string text;
  double factor = kUsualWeight;
  {
    sql::Query query(file.db, select[static_cast<std::size_t>(kind)], id);
    if (query.Step()) query.Read(text, factor);
  }
  change.Set("text", text, facts.text.value_or(text), !text.empty());
  SetWeight(change, factor, facts.factor.value_or(factor));
  Run(file.db, update[static_cast<std::size_t>(kind)], id, facts.text, facts.factor);
  ++file.report.rows;
  return facts;
}

template <ItemKind kKind>
LineTaker BeginCodes(ImportFile& file) {
  return [&file, codes = Codes()]() mutable {
    const auto id = TakeItem(file, At("code"), kKind, codes);
    ItemChange change(file, kKind, id, codes[id].is_new);
    TakeCode(file, kKind, id, codes, change);
    change.AddEntry();
    if (const auto group = file.table.Cell(At("group")); !group.empty()) {
      file.AddToGroup(kKind, group, id);
    }
  };
}

LineTaker BeginStateCodes(ImportFile& file) {
  return [&file, codes = Codes()]() mutable {
    const auto& table = file.table;
    const auto id = TakeItem(file, At("code"), ItemKind::StateCode, codes);
    ItemChange change(file, ItemKind::StateCode, id, codes[id].is_new);
    auto& facts = TakeCode(file, ItemKind::StateCode, id, codes, change);
    if (!table.Cell(AtState("type")).empty()) {
      const auto type = table.OneOf(AtState("type"), catalogue::kStateTypes);
      if (facts.type && *facts.type != type) table.Refuse(AtState("type"), kDiffersFromCode);
      facts.type = type;
      change.Set("type", *IntOf(file.db, "SELECT type FROM state_code WHERE id = ?1", id), type,
                 true);
      Run(file.db, "UPDATE state_code SET type = ?2 WHERE id = ?1", id, type);
    } else if (facts.is_new && !facts.type) {
      table.Refuse(AtState("type"), "a new state needs its type");
    }
    change.AddEntry();
  };
}

LineTaker BeginParts(ImportFile& file) {
  using AtPart = PlaceIn<kPartColumns>;
  return [&file, parts = Codes()]() mutable {
    const auto id = TakeItem(file, AtPart("part"), ItemKind::Part, parts);
    auto& facts = parts[id];
    TakeWeight(file.table, AtPart("factor"), facts.factor,
               "differs from an earlier line of the same part");
    if (facts.factor) {
      double before = kUsualWeight;
      {
        sql::Query query(file.db, "SELECT factor FROM part WHERE id = ?1", id);
        if (query.Step()) query.Read(before);
      }
      ItemChange change(file, ItemKind::Part, id, facts.is_new);
      SetWeight(change, before, *facts.factor);
      change.AddEntry();
      Run(file.db, "UPDATE part SET factor = ?2 WHERE id = ?1", id, *facts.factor);
    }
    ++file.report.rows;
  };
}

// Company, division and so on of a process by name; empty where it is not known.
std::array<std::string, std::size(kPlaces)> PlacesOf(sql::Connection& db, std::int32_t process) {
  std::array<std::string, std::size(kPlaces)> names;
  sql::Query query(db,
                   "SELECT coalesce(c.name, ''), coalesce(d.name, ''), coalesce(s.name, ''), "
                   "coalesce(e.name, ''), coalesce(a.name, ''), coalesce(u.name, '') "
                   "FROM process p LEFT JOIN company c ON c.id = p.company "
                   "LEFT JOIN division d ON d.id = p.division LEFT JOIN site s ON s.id = p.site "
                   "LEFT JOIN department e ON e.id = p.department "
                   "LEFT JOIN area a ON a.id = p.area "
                   "LEFT JOIN production_unit u ON u.id = p.production_unit WHERE p.id = ?1",
                   process);
  if (query.Step()) query.Read(names);
  return names;
}

LineTaker BeginProcesses(ImportFile& file) {
  using AtProcess = PlaceIn<kProcessColumns>;
  return [&file, seen = std::set<std::int32_t>()]() mutable {
    const bool is_new = !file.names.Find(ItemKind::Process, file.table.Name(AtProcess("process")));
    const auto process = file.Item(AtProcess("process"), ItemKind::Process);
    if (!seen.insert(process).second) {
      file.table.Refuse(AtProcess("process"), "an earlier line is of the same process");
    }
    std::array<Reference, std::size(kPlaces)> places;
    for (std::size_t i = 0; i < places.size(); ++i) {
      places[i] = file.OptionalItem(AtProcess("company") + i, kPlaces[i]);
    }
    const auto before = PlacesOf(file.db, process);
    Run(file.db,
        "UPDATE process SET company = coalesce(?2, company), division = coalesce(?3, division), "
        "site = coalesce(?4, site), department = coalesce(?5, department), "
        "area = coalesce(?6, area), production_unit = coalesce(?7, production_unit) WHERE id = ?1",
        process, places);
    ItemChange change(file, ItemKind::Process, process, is_new);
    const auto after = PlacesOf(file.db, process);
    for (std::size_t i = 0; i < places.size(); ++i) {
      change.Set(kPlaceColumns[i], before[i], after[i], !before[i].empty());
    }
    change.AddEntry();
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
