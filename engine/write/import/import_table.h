// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "engine/catalogue/words.h"
#include "engine/write/import/csv.h"
#include "platform/Import.h"

namespace orvspc::engine::import {

// Column tables of the kinds of files.
inline constexpr bool kRequired = true, kOptional = false;

// The table must have the column, which a constant expression proves.
constexpr std::size_t PlaceOf(std::span<const ImportColumn> columns, std::string_view name) {
  std::size_t place = 0;
  while (columns[place].name != name) ++place;
  return place;
}

// The place of a column in the table of its kind. A name that the table lacks does not compile.
template <const auto& kColumns>
class PlaceIn {
 public:
  consteval explicit PlaceIn(std::string_view name) : place_(PlaceOf(kColumns, name)) {}
  constexpr operator std::size_t() const { return place_; }

 private:
  std::size_t place_;
};

// A file whose header has been matched with the columns of its kind. A column is given by its place
// in the table of the kind; one that the file lacks reads as empty.
class ImportTable {
 public:
  ImportTable(const std::string& path, std::span<const ImportColumn> columns,
              const ImportOptions& options);

  bool Next();
  // CsvReader::NextAlike() of a column that the file has.
  bool NextAlike(std::size_t column, double& value) {
    if (!reader_.NextAlike(places_[column], value)) return false;
    CountLine();
    return true;
  }
  // Whether the cell differs from that of the line before.
  bool Differs(std::size_t column) const { return Has(column) && reader_.Differs(places_[column]); }
  bool Has(std::size_t column) const { return places_[column] != kAbsent; }
  std::string_view Cell(std::size_t column) const {
    return places_[column] == kAbsent ? std::string_view() : reader_.Cells()[places_[column]];
  }

  // Columns of the file that a row such as "descriptor:NAME" matches: NAME and the cell.
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
  std::optional<std::int32_t> OptionalStamp(std::size_t column) const;

  // One of the words, in any case: its place in the list.
  std::size_t WordOf(std::size_t column, std::span<const std::string_view> words) const;
  // Yes, on, true, 1, or no, off, false, 0, in any case.
  bool YesOrNo(std::size_t column) const;
  // One of the words, in any case, or its value in digits.
  std::int32_t OneOf(std::size_t column, std::span<const catalogue::NamedValue> words) const;

  // Decimal or 0x and hexadecimal digits; 0 when empty.
  std::int32_t ChartWord(std::size_t column) const;

  [[noreturn]] void Refuse(std::size_t column, std::string_view reason) const;
  // The line is taken, but its author may want to look at it again.
  void Remark(ImportReport& report, std::string code, std::size_t column,
              std::string_view reason) const;
  const CsvReader& Reader() const { return reader_; }
  std::int64_t Lines() const { return lines_; }

 private:
  static constexpr std::size_t kAbsent = SIZE_MAX;

  void Match(std::string_view name, std::size_t place);
  void CountLine() {
    constexpr std::int64_t kLinesBetweenReports = 1 << 15;
    if (++lines_ % kLinesBetweenReports == 0) Report();
  }
  void Report() const;

  std::span<const ImportColumn> columns_;
  const ImportOptions& options_;
  CsvReader reader_;
  std::vector<std::size_t> places_;
  std::vector<ExtraColumn> extra_;
  std::unordered_set<std::string> extra_names_;
  std::int64_t lines_ = 0;
};

}  // namespace orvspc::engine::import
