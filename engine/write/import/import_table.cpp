// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/import_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/ChartWord.h"
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

ImportTable::ImportTable(const std::string& path, std::span<const ImportColumn> columns,
                         const ImportOptions& options)
    : columns_(columns), options_(options), reader_(path), places_(columns.size(), kAbsent) {
  if (!reader_.Next())
    reader_.RefuseAt(1, "", "", "the file is empty; the first line names the columns");
  for (std::size_t place = 0; place < reader_.Cells().size(); ++place) {
    Match(reader_.Cells()[place], place);
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].required && !Has(i)) {
      reader_.Refuse(columns_[i].name, "", "the file lacks this column");
    }
  }
}

void ImportTable::Match(std::string_view name, std::size_t place) {
  const auto lower = catalogue::Lower(name);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const auto column = columns_[i].name;
    const auto prefix = column.substr(0, column.find(':') + 1);
    if (!prefix.empty() && lower.starts_with(prefix) && lower.size() > prefix.size()) {
      const auto rest = name.substr(prefix.size());
      if (!extra_names_.emplace(rest).second) reader_.Refuse(name, "", "the column is there twice");
      extra_.push_back({std::string(rest), place});
      return;
    }
    if (!prefix.empty() || column != lower) continue;
    if (Has(i)) reader_.Refuse(column, "", "the column is there twice");
    places_[i] = place;
    return;
  }
  if (!options_.ignore_unknown) {
    reader_.Refuse("", name, "no column of this kind of file has this name");
  }
}

bool ImportTable::Next() {
  if (!reader_.Next()) return false;
  CountLine();
  return true;
}

void ImportTable::Report() const {
  if (options_.progress) options_.progress(reader_.BytesRead(), reader_.FileSize());
}

void ImportTable::Refuse(std::size_t column, std::string_view reason) const {
  reader_.Refuse(columns_[column].name, Cell(column), reason);
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

std::optional<std::int32_t> ImportTable::OptionalStamp(std::size_t column) const {
  return Cell(column).empty() ? std::nullopt : std::optional(Stamp(column));
}

std::size_t ImportTable::WordOf(std::size_t column, std::span<const std::string_view> words) const {
  const auto cell = catalogue::Lower(Name(column));
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (cell == catalogue::Lower(words[i])) return i;
    list += (i == 0 ? "" : i + 1 < words.size() ? ", " : " or ") + std::string(words[i]);
  }
  Refuse(column, "must be " + list);
}

bool ImportTable::YesOrNo(std::size_t column) const {
  constexpr std::string_view kWords[] = {"yes", "on", "true", "1", "no", "off", "false", "0"};
  const auto* const found = std::ranges::find(kWords, catalogue::Lower(Name(column)));
  if (found != std::end(kWords)) return found < kWords + 4;
  Refuse(column, "must be yes or no, on or off, true or false, 1 or 0");
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
  if (!platform::IsChartWord(word)) Refuse(column, "is the word of no chart");
  return word;
}

}  // namespace orvspc::engine::import
