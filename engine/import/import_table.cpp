// SPDX-License-Identifier: Apache-2.0
#include "engine/import/import_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/TimeText.h"

namespace orvspc::engine::import {
namespace {

enum class Parsed { Yes, No, OutOfRange };

// The whole text as a number; a plus sign in front is taken.
template <class T>
Parsed Parse(std::string_view text, T& value) {
  if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return Parsed::No;
  if (code == std::errc::result_out_of_range) return Parsed::OutOfRange;
  return code == std::errc() ? Parsed::Yes : Parsed::No;
}

bool IsDecimalComma(std::string_view text) {
  if (std::count(text.begin(), text.end(), ',') != 1) return false;
  std::string point(text);
  std::replace(point.begin(), point.end(), ',', '.');
  double value = 0.0;
  return Parse(point, value) == Parsed::Yes;
}

}  // namespace

ImportTable::ImportTable(const std::string& path, std::span<const ColumnSpec> columns,
                         const ImportOptions& options, std::string_view prefix)
    : columns_(columns), options_(options), reader_(path), places_(columns.size(), kAbsent) {
  MatchHeader(options, prefix);
}

void ImportTable::MatchHeader(const ImportOptions& options, std::string_view prefix) {
  if (!reader_.Next())
    reader_.RefuseAt(1, "", "", "the file is empty; the first line names the columns");
  for (std::size_t place = 0; place < reader_.Cells().size(); ++place) {
    Match(reader_.Cells()[place], place, options, prefix);
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].required && !Has(i)) {
      reader_.Refuse(columns_[i].name, "", "the file lacks this column");
    }
  }
}

void ImportTable::Match(std::string_view name, std::size_t place, const ImportOptions& options,
                        std::string_view prefix) {
  const auto lower = catalogue::Lower(name);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].name != lower) continue;
    if (places_[i] != kAbsent) reader_.Refuse(columns_[i].name, "", "the column is there twice");
    places_[i] = place;
    return;
  }
  if (!prefix.empty() && lower.starts_with(prefix) && lower.size() > prefix.size()) {
    const auto rest = name.substr(prefix.size());
    if (!extra_names_.emplace(rest).second) reader_.Refuse(name, "", "the column is there twice");
    extra_.push_back({std::string(rest), place});
    return;
  }
  if (!options.ignore_unknown) {
    reader_.Refuse("", name, "no column of this kind of file has this name");
  }
}

bool ImportTable::Next() {
  if (!reader_.Next()) return false;
  ++lines_;
  constexpr std::int64_t kLinesBetweenReports = 1 << 15;
  if (options_.progress && lines_ % kLinesBetweenReports == 0) {
    options_.progress(reader_.BytesRead(), reader_.FileSize());
  }
  return true;
}

void ImportTable::Refuse(std::size_t column, std::string_view reason) const {
  reader_.Refuse(columns_[column].name, Cell(column), reason);
}

void ImportTable::RefuseAt(std::int64_t line, std::size_t column, std::string_view value,
                           std::string_view reason) const {
  reader_.RefuseAt(line, columns_[column].name, value, reason);
}

void ImportTable::Remark(ImportReport& report, std::string code, std::size_t column,
                         std::string_view reason) const {
  constexpr std::size_t kMaxNotes = 20;
  if (report.notes.size() >= kMaxNotes) return;
  report.notes.push_back(
      {std::move(code),
       reader_.PlaceText(reader_.Line(), columns_[column].name, Cell(column), reason),
       {}});
}

std::string_view ImportTable::Name(std::size_t column) const {
  const auto cell = Cell(column);
  if (cell.empty()) Refuse(column, "the cell is empty");
  return cell;
}

double ImportTable::Number(std::size_t column) const {
  const auto cell = Cell(column);
  if (cell.empty()) Refuse(column, "the cell is empty, a number is needed");
  double value = 0.0;
  const auto parsed = Parse(cell, value);
  if (parsed == Parsed::OutOfRange) Refuse(column, "is out of range");
  if (parsed == Parsed::Yes && std::isfinite(value)) return value;
  if (parsed == Parsed::Yes) Refuse(column, "is not a finite number");
  if (IsDecimalComma(cell)) Refuse(column, "is no number; the decimal sign must be a point");
  Refuse(column, "is no number");
}

std::optional<double> ImportTable::OptionalNumber(std::size_t column) const {
  if (Cell(column).empty()) return std::nullopt;
  return Number(column);
}

std::int32_t ImportTable::Whole(std::size_t column, std::int32_t lowest,
                                std::int32_t highest) const {
  const auto cell = Cell(column);
  if (cell.empty()) Refuse(column, "the cell is empty, a whole number is needed");
  std::int64_t value = 0;
  const auto parsed = Parse(cell, value);
  if (parsed == Parsed::No) Refuse(column, "is no whole number");
  if (parsed == Parsed::OutOfRange || value < lowest || value > highest) {
    Refuse(column,
           "must lie between " + std::to_string(lowest) + " and " + std::to_string(highest));
  }
  return static_cast<std::int32_t>(value);
}

std::int32_t ImportTable::Whole(std::size_t column, std::int32_t lowest, std::int32_t highest,
                                std::int32_t fallback) const {
  return Cell(column).empty() ? fallback : Whole(column, lowest, highest);
}

std::int32_t ImportTable::Stamp(std::size_t column) const {
  const auto cell = Cell(column);
  if (cell.empty()) Refuse(column, "the cell is empty, a time is needed");
  const auto stamp = platform::ParseIsoTime(cell);
  if (!stamp) Refuse(column, platform::kNoTime);
  if (*stamp < INT32_MIN || *stamp > INT32_MAX) Refuse(column, platform::kTimeOutOfRange);
  return static_cast<std::int32_t>(*stamp);
}

std::int32_t ImportTable::Stamp(std::size_t column, std::int32_t fallback) const {
  return Cell(column).empty() ? fallback : Stamp(column);
}

std::int32_t ImportTable::OneOf(std::size_t column,
                                std::span<const catalogue::NamedValue> words) const {
  const auto cell = catalogue::Lower(Name(column));
  std::string list;
  for (const auto& [word, value] : words) {
    if (cell == word || cell == std::to_string(value)) return value;
    list += (list.empty() ? "" : ", ") + std::string(word);
  }
  Refuse(column, "must be one of " + list);
}

std::int32_t ImportTable::ChartWord(std::size_t column) const {
  const auto cell = Cell(column);
  std::int32_t word = 0;
  if (cell.starts_with("0x")) {
    const auto [end, code] = std::from_chars(cell.data() + 2, cell.data() + cell.size(), word, 16);
    if (code != std::errc() || end != cell.data() + cell.size() || word < 0 || word > 0xfff) {
      Refuse(column, "is no chart word, 0x000 to 0xfff");
    }
  } else {
    word = Whole(column, 0, 0xfff, 0);
  }
  const auto graph1 = word >> 8, graph2 = (word >> 4) & 15, graph3 = word & 15;
  if (graph1 == 6 || graph1 == 7 || graph2 > 4 || graph3 > 2) {
    Refuse(column, "is the word of no chart");
  }
  return word;
}

ImportNames::Table& ImportNames::Of(catalogue::ItemKind kind) {
  static const auto texts = [] {
    std::array<std::string, catalogue::kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = "SELECT name, id FROM " +
               std::string(catalogue::TableOf(static_cast<catalogue::ItemKind>(i)));
    }
    return all;
  }();
  auto& table = tables_[static_cast<std::size_t>(kind)];
  if (!table.read) {
    sql::Query query(db_, texts[static_cast<std::size_t>(kind)]);
    while (query.Step()) table.ids.emplace(query.Text(0), query.Int(1));
    table.read = true;
  }
  return table;
}

std::optional<std::int32_t> ImportNames::Find(catalogue::ItemKind kind, std::string_view name) {
  const auto& ids = Of(kind).ids;
  const auto found = ids.find(name);
  return found == ids.end() ? std::nullopt : std::optional(found->second);
}

std::int32_t ImportNames::Take(catalogue::ItemKind kind, std::string_view name) {
  if (const auto id = Find(kind, name)) return *id;
  static const auto texts = [] {
    std::array<std::string, catalogue::kItemKinds> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i] = "INSERT INTO " +
               std::string(catalogue::TableOf(static_cast<catalogue::ItemKind>(i))) +
               "(name) VALUES(?1) RETURNING id";
    }
    return all;
  }();
  const auto id = static_cast<std::int32_t>(
      *sql::Query(db_, texts[static_cast<std::size_t>(kind)]).Bind(1, name).RunForInt());
  Of(kind).ids.emplace(name, id);
  ++added_;
  return id;
}

GroupAdded AddToGroup(sql::Connection& connection, catalogue::ItemKind kind, std::string_view group,
                      std::int32_t item) {
  GroupAdded added;
  added.groups = sql::Query(connection,
                            "INSERT INTO item_group(kind, name) VALUES(?1, ?2) "
                            "ON CONFLICT DO NOTHING")
                     .Bind(1, catalogue::WordOf(kind))
                     .Bind(2, group)
                     .Run();
  added.members = sql::Query(connection,
                             "INSERT INTO item_group_member(item_group, item) "
                             "SELECT id, ?3 FROM item_group WHERE kind = ?1 AND name = ?2 "
                             "ON CONFLICT DO NOTHING")
                      .Bind(1, catalogue::WordOf(kind))
                      .Bind(2, group)
                      .Bind(3, std::int64_t{item})
                      .Run();
  return added;
}

}  // namespace orvspc::engine::import
