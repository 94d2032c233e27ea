// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <set>

#include "engine/catalogue/words.h"
#include "engine/import/import_table.h"

namespace orvspc::engine::import {
namespace {

// What the lines of one code say of it; empty: nothing.
struct CodeFacts {
  std::string text;
  std::optional<double> factor;
  std::optional<std::int32_t> type;
};

// Texts of statements live as long as the program.
std::string_view UpdateOf(catalogue::ItemKind kind) {
  static const auto texts = [] {
    std::array<std::string, catalogue::kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = "UPDATE " + std::string(catalogue::TableOf(static_cast<catalogue::ItemKind>(i))) +
               " SET text = coalesce(?2, text), factor = coalesce(?3, factor) WHERE id = ?1";
    }
    return all;
  }();
  return texts[static_cast<std::size_t>(kind)];
}

// The weight that a line gives, into what the earlier lines of the same item gave; empty cells
// leave it.
void TakeWeight(const ImportTable& table, std::size_t column, std::optional<double>& weight,
                std::string_view differs) {
  const auto given = table.OptionalNumber(column);
  if (!given) return;
  // Sums of any number of finds stay finite.
  constexpr double kMostWeight = 1e9;
  if (*given < 0.0) table.Refuse(column, "must not be below 0");
  if (*given > kMostWeight) table.Refuse(column, "must not be above 1000000000");
  if (weight && *weight != *given) table.Refuse(column, differs);
  weight = given;
}

class CodesImport {
 public:
  CodesImport(const ImportContext& context, catalogue::ItemKind kind,
              std::span<const ColumnSpec> columns)
      : db_(context.db),
        kind_(kind),
        table_(context.file, columns, context.options),
        names_(context.db) {}

  ImportReport Run() {
    while (table_.Next()) TakeLine();
    report_.lines = table_.Lines();
    report_.new_names += names_.Added();
    return report_;
  }

  enum Column : std::size_t { kCode, kName, kFactor, kLast };  // kLast: group, or type of a state

 private:
  void TakeLine() {
    const auto code = table_.Name(kCode);
    const bool is_new = !names_.Find(kind_, code);
    const auto id = names_.Take(kind_, code);
    auto& facts = facts_[id];
    TakeText(facts);
    TakeWeight(table_, kFactor, facts.factor, kDiffers);
    Update(id, facts);
    if (kind_ == catalogue::ItemKind::StateCode) {
      TakeType(id, facts, is_new);
    } else if (!table_.Cell(kLast).empty()) {
      const auto added = AddToGroup(db_, kind_, table_.Cell(kLast), id);
      report_.new_names += added.groups;
    }
    ++report_.rows;
  }

  void TakeText(CodeFacts& facts) {
    const auto cell = table_.Cell(kName);
    if (cell.empty()) return;
    if (!facts.text.empty() && facts.text != cell) table_.Refuse(kName, kDiffers);
    facts.text = cell;
  }

  void TakeType(std::int32_t id, CodeFacts& facts, bool is_new) {
    if (table_.Cell(kLast).empty()) {
      if (is_new) table_.Refuse(kLast, "a new state needs its type");
      return;
    }
    const auto type = table_.OneOf(kLast, catalogue::kStateTypes);
    if (facts.type && *facts.type != type) table_.Refuse(kLast, kDiffers);
    facts.type = type;
    sql::Query(db_, "UPDATE state_code SET type = ?2 WHERE id = ?1")
        .Bind(1, std::int64_t{id})
        .Bind(2, std::int64_t{type})
        .Run();
  }

  void Update(std::int32_t id, const CodeFacts& facts) {
    sql::Query update(db_, UpdateOf(kind_));
    update.Bind(1, std::int64_t{id}).BindNull(2).BindNull(3);
    if (!facts.text.empty()) update.Bind(2, std::string_view(facts.text));
    if (facts.factor) update.Bind(3, *facts.factor);
    update.Run();
  }

  static constexpr std::string_view kDiffers = "differs from an earlier line of the same code";

  sql::Connection& db_;
  catalogue::ItemKind kind_;
  ImportTable table_;
  ImportNames names_;
  ImportReport report_;
  std::map<std::int32_t, CodeFacts> facts_;
};

constexpr ColumnSpec kCodeColumns[] = {
    {"code", true}, {"name", false}, {"factor", false}, {"group", false}};
constexpr ColumnSpec kStateColumns[] = {
    {"code", true}, {"name", false}, {"factor", false}, {"type", false}};
static_assert(std::size(kCodeColumns) == CodesImport::kLast + 1);
static_assert(std::size(kStateColumns) == CodesImport::kLast + 1);

struct PlaceColumn {
  catalogue::ItemKind kind;
  std::string_view sql;
};
constexpr PlaceColumn kPlaces[] = {
    {catalogue::ItemKind::Company, "UPDATE process SET company = ?2 WHERE id = ?1"},
    {catalogue::ItemKind::Division, "UPDATE process SET division = ?2 WHERE id = ?1"},
    {catalogue::ItemKind::Site, "UPDATE process SET site = ?2 WHERE id = ?1"},
    {catalogue::ItemKind::Department, "UPDATE process SET department = ?2 WHERE id = ?1"},
    {catalogue::ItemKind::Area, "UPDATE process SET area = ?2 WHERE id = ?1"},
    {catalogue::ItemKind::ProductionUnit, "UPDATE process SET production_unit = ?2 WHERE id = ?1"},
};

}  // namespace

ImportReport ImportDefects(const ImportContext& context) {
  return CodesImport(context, catalogue::ItemKind::Defect, kCodeColumns).Run();
}

ImportReport ImportAccCodes(const ImportContext& context) {
  return CodesImport(context, catalogue::ItemKind::AccCode, kCodeColumns).Run();
}

ImportReport ImportCacCodes(const ImportContext& context) {
  return CodesImport(context, catalogue::ItemKind::CacCode, kCodeColumns).Run();
}

ImportReport ImportStateCodes(const ImportContext& context) {
  return CodesImport(context, catalogue::ItemKind::StateCode, kStateColumns).Run();
}

ImportReport ImportParts(const ImportContext& context) {
  static constexpr ColumnSpec kColumns[] = {{"part", true}, {"factor", true}};
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  std::map<std::int32_t, std::optional<double>> weights;
  while (table.Next()) {
    const auto part = names.Take(catalogue::ItemKind::Part, table.Name(0));
    auto& weight = weights[part];
    TakeWeight(table, 1, weight, "differs from an earlier line of the same part");
    if (weight) {
      sql::Query(context.db, "UPDATE part SET factor = ?2 WHERE id = ?1")
          .Bind(1, std::int64_t{part})
          .Bind(2, *weight)
          .Run();
    }
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

ImportReport ImportProcesses(const ImportContext& context) {
  static constexpr ColumnSpec kColumns[] = {
      {"process", true},     {"company", false}, {"division", false},       {"site", false},
      {"department", false}, {"area", false},    {"production-unit", false}};
  static_assert(std::size(kColumns) == std::size(kPlaces) + 1);
  ImportTable table(context.file, kColumns, context.options);
  ImportNames names(context.db);
  ImportReport report;
  std::set<std::int32_t> told;
  while (table.Next()) {
    const auto process = names.Take(catalogue::ItemKind::Process, table.Name(0));
    if (!told.insert(process).second) table.Refuse(0, "an earlier line is of the same process");
    for (std::size_t i = 0; i < std::size(kPlaces); ++i) {
      const auto cell = table.Cell(i + 1);
      if (cell.empty()) continue;
      sql::Query(context.db, kPlaces[i].sql)
          .Bind(1, std::int64_t{process})
          .Bind(2, std::int64_t{names.Take(kPlaces[i].kind, cell)})
          .Run();
    }
    ++report.rows;
  }
  report.lines = table.Lines();
  report.new_names = names.Added();
  return report;
}

}  // namespace orvspc::engine::import
