// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/catalogue/ItemKind.h"
#include "engine/catalogue/words.h"
#include "engine/import/Import.h"
#include "engine/import/csv.h"
#include "engine/sql/Connection.h"

namespace orvspc::engine::import {

struct ColumnSpec {
  std::string_view name;
  bool required = false;
};

// A file whose header has been matched with the columns of its kind; columns are spoken of by
// their place in the list. A column that the file lacks reads as empty.
class ImportTable {
 public:
  // Columns "PREFIX..." are taken too if prefix is not empty; see Extra.
  ImportTable(const std::string& path, std::span<const ColumnSpec> columns,
              const ImportOptions& options, std::string_view prefix = {});

  bool Next();
  bool Has(std::size_t column) const { return places_[column] != kAbsent; }
  std::string_view Cell(std::size_t column) const {
    return places_[column] == kAbsent ? std::string_view() : reader_.Cells()[places_[column]];
  }

  // Columns that begin with the prefix: the rest of the name and the cell.
  struct ExtraColumn {
    std::string name;
    std::size_t place = 0;
  };
  const std::vector<ExtraColumn>& Extra() const { return extra_; }
  std::string_view ExtraCell(std::size_t i) const { return reader_.Cells()[extra_[i].place]; }

  std::string_view Name(std::size_t column) const;  // refused when empty
  double Number(std::size_t column) const;          // finite
  std::optional<double> OptionalNumber(std::size_t column) const;
  std::int32_t Whole(std::size_t column, std::int32_t lowest, std::int32_t highest) const;
  std::int32_t Whole(std::size_t column, std::int32_t lowest, std::int32_t highest,
                     std::int32_t fallback) const;
  std::int32_t Stamp(std::size_t column) const;
  std::int32_t Stamp(std::size_t column, std::int32_t fallback) const;

  // One of the words, in any case, or its value in digits.
  std::int32_t OneOf(std::size_t column, std::span<const catalogue::NamedValue> words) const;

  // Decimal or 0x and hexadecimal digits; 0 when empty.
  std::int32_t ChartWord(std::size_t column) const;

  [[noreturn]] void Refuse(std::size_t column, std::string_view reason) const;
  [[noreturn]] void RefuseAt(std::int64_t line, std::size_t column, std::string_view value,
                             std::string_view reason) const;
  // The line is taken, but its author may want to look at it again.
  void Remark(ImportReport& report, std::string code, std::size_t column,
              std::string_view reason) const;
  const CsvReader& Reader() const { return reader_; }
  std::int64_t Lines() const { return lines_; }

 private:
  static constexpr std::size_t kAbsent = SIZE_MAX;

  void MatchHeader(const ImportOptions& options, std::string_view prefix);
  void Match(std::string_view name, std::size_t place, const ImportOptions& options,
             std::string_view prefix);

  std::span<const ColumnSpec> columns_;
  const ImportOptions& options_;
  CsvReader reader_;
  std::vector<std::size_t> places_;
  std::vector<ExtraColumn> extra_;
  std::unordered_set<std::string> extra_names_;
  std::int64_t lines_ = 0;
};

struct TextHash : std::hash<std::string_view> {
  using is_transparent = void;
};

// Names of the database with those that the import adds.
class ImportNames {
 public:
  explicit ImportNames(sql::Connection& connection) : db_(connection) {}

  std::optional<std::int32_t> Find(catalogue::ItemKind kind, std::string_view name);
  // Adds it when it is new.
  std::int32_t Take(catalogue::ItemKind kind, std::string_view name);
  std::int64_t Added() const { return added_; }

 private:
  struct Table {
    bool read = false;
    std::unordered_map<std::string, std::int32_t, TextHash, std::equal_to<>> ids;
  };
  Table& Of(catalogue::ItemKind kind);

  sql::Connection& db_;
  std::array<Table, catalogue::kItemKinds> tables_;
  std::int64_t added_ = 0;
};

// Puts an item into a group of its kind, which is made if it is new. Returns how many rows that
// added: members, and groups.
struct GroupAdded {
  std::int64_t members = 0, groups = 0;
};
GroupAdded AddToGroup(sql::Connection& connection, catalogue::ItemKind kind, std::string_view group,
                      std::int32_t item);

struct ImportContext {
  sql::Connection& db;
  const std::string& file;
  const ImportOptions& options;
  std::string who;  // "import FILE"
  std::int64_t made = 0;
};

ImportReport ImportValues(const ImportContext& context);
ImportReport ImportLimits(const ImportContext& context);
ImportReport ImportControlLimits(const ImportContext& context);
ImportReport ImportOpportunities(const ImportContext& context);
ImportReport ImportRules(const ImportContext& context);
ImportReport ImportAlarms(const ImportContext& context);
ImportReport ImportGroups(const ImportContext& context);
ImportReport ImportRequirements(const ImportContext& context);
ImportReport ImportDefects(const ImportContext& context);
ImportReport ImportAccCodes(const ImportContext& context);
ImportReport ImportCacCodes(const ImportContext& context);
ImportReport ImportStateCodes(const ImportContext& context);
ImportReport ImportParts(const ImportContext& context);
ImportReport ImportProcesses(const ImportContext& context);
ImportReport ImportEvents(const ImportContext& context);
ImportReport ImportStates(const ImportContext& context);
ImportReport ImportNetContents(const ImportContext& context);

}  // namespace orvspc::engine::import
