// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Text.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kGap = 2;         // between columns
constexpr std::size_t kNarrowest = 14;  // of a column whose words may be broken

// The title is over the first column.
bool IsTitled(const Table& table) { return table.headings[0].empty() && !table.title.empty(); }

bool IsNumbers(const std::string& heading) { return heading.starts_with('#'); }

// The cells as they are shown, the headings first. Below a title over the first column
// they are indented.
TextWriter::Cells CellsOf(const Table& table) {
  TextWriter::Cells cells = {table.headings};
  for (auto& heading : cells[0])
    if (heading.starts_with('#') || heading.starts_with('@')) heading.erase(0, 1);
  if (table.headings[0].empty()) cells[0][0] = table.title;
  for (const auto& row : table.rows) {
    cells.push_back(row);
    if (IsTitled(table)) cells.back()[0].insert(0, "  ");
  }
  return cells;
}

std::size_t LongestWord(const std::string& text) {
  std::size_t longest = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    longest = std::max(longest, Width(std::string_view(text).substr(start, end - start)));
    start = end + 1;
  }
  return longest;
}

// Of one column: as wide as its widest cell, and as narrow as it may become.
struct Column {
  std::size_t width = 0, least = 0;
};

Column Measure(const TextWriter::Cells& cells, const std::string& heading, std::size_t c) {
  Column column;
  for (const auto& line : cells) {
    if (c >= line.size()) continue;
    const std::size_t width = Width(line[c]);
    const std::size_t word = heading.starts_with('@') ? width : LongestWord(line[c]);
    const bool whole = heading.starts_with('@') || IsNumbers(heading);
    column.width = std::max(column.width, width);
    column.least = std::max(column.least, whole ? word : std::min(word, kNarrowest));
  }
  return column;
}

// Nothing when the columns do not fit however narrow they are.
std::optional<std::vector<std::size_t>> Fit(const Table& table, const TextWriter::Cells& cells,
                                            std::size_t room) {
  std::vector<Column> columns;
  for (std::size_t c = 0; c < table.headings.size(); ++c)
    columns.push_back(Measure(cells, table.headings[c], c));
  std::size_t sum = kGap * (columns.size() - 1);
  for (const auto& column : columns) sum += column.width;
  const auto slack = [](const Column& column) {
    return column.width > column.least ? column.width : 0;
  };
  for (; sum > room; --sum) {
    const auto widest =
        std::max_element(columns.begin(), columns.end(),
                         [&](const Column& a, const Column& b) { return slack(a) < slack(b); });
    if (slack(*widest) == 0) return std::nullopt;
    --widest->width;
  }
  std::vector<std::size_t> widths;
  for (const auto& column : columns) widths.push_back(column.width);
  return widths;
}

}  // namespace

std::vector<Note> PlainNotes(std::vector<Note> notes) {
  for (auto& note : notes) {
    note.text = PlainText(note.text);
    note.stream = PlainText(note.stream);
  }
  return notes;
}

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

std::string Joined(const std::vector<std::string>& pieces, const char* separator) {
  std::string text;
  for (const auto& piece : pieces)
    if (!piece.empty()) text += (text.empty() ? "" : separator) + piece;
  return text;
}

std::string BasisText(const Estimate& estimate) {
  std::string text;
  if (std::isfinite(estimate.constant) && estimate.constant != 0.0)
    text += ", constant " + Significant(estimate.constant, 7);
  if (estimate.used > 0) text += ", from " + std::to_string(estimate.used);
  return text;
}

std::string EstimatorText(const std::string& name) {
  struct Words {
    const char* start;
    const char* text;
  };
  static constexpr Words kWords[] = {
      {"MR-est", "mean moving range / d2"}, {"R-est", "mean of R/d2"}, {"S-est", "mean of s/c4"}};
  for (const auto& words : kWords) {
    const std::string start = words.start;
    if (name.rfind(start, 0) != 0) continue;
    std::string kind = name.substr(start.size());
    kind.erase(0, kind.find_first_not_of(' '));
    // Weighted for least variance is the rule and the same as unweighted where sizes do not differ.
    return kind.empty() || kind == "mvlue" ? words.text : words.text + (" (" + kind + ")");
  }
  return name;
}

TextWriter::TextWriter(const TextOptions& options)
    : columns_(std::max(options.columns, kMinColumns)), colour_(options.colour) {}

void TextWriter::Line(const std::string& text, std::size_t indent) {
  const std::size_t end = text.find_last_not_of(' ');
  if (end == std::string::npos) return Blank();
  for (const auto& line : Wrapped(text.substr(0, end + 1), columns_, indent)) out_ += line + "\n";
}

void TextWriter::Head(const View& view, bool empty) {
  if (!view.title.empty()) Line(view.title);
  if (!view.subtitle.empty()) Line(view.subtitle);
  if (empty) Line("no data selected");
}

void TextWriter::Notes(const View& view) {
  for (const auto& note : view.notes) Line("note: " + note.Sentence());
}

std::string TextWriter::InColour(const char* colour, const std::string& text) const {
  return colour_ && colour != nullptr && !text.empty() ? colour + text + "\x1b[0m" : text;
}

void TextWriter::Write(const Table& table) {
  if (!table.headings[0].empty() && !table.title.empty()) Line(table.title);
  const Cells cells = CellsOf(table);
  const auto widths = Fit(table, cells, columns_);
  if (widths) {
    Rows(table, cells, *widths);
  } else {
    Blocks(table, cells);
  }
}

void TextWriter::Section(const Table& table) {
  if (table.rows.empty()) return;
  Blank();
  Write(table);
}

void TextWriter::Rows(const Table& table, const Cells& cells,
                      const std::vector<std::size_t>& widths) {
  for (std::size_t r = 0; r < cells.size(); ++r) {
    // A row is as tall as its tallest cell.
    std::vector<std::vector<std::string>> columns;
    std::size_t height = 1;
    for (std::size_t c = 0; c < cells[r].size(); ++c) {
      const std::string& cell = cells[r][c];
      columns.push_back(Wrapped(cell, widths[c], c == 0 && cell.starts_with("  ") ? 4 : 0));
      height = std::max(height, columns.back().size());
    }
    for (std::size_t h = 0; h < height; ++h) {
      std::string line;
      for (std::size_t c = 0; c < columns.size(); ++c)
        line += (c == 0 ? "" : std::string(kGap, ' ')) +
                Padded(h < columns[c].size() ? columns[c][h] : "", widths[c],
                       IsNumbers(table.headings[c]));
      Line(line);
    }
    if (r == 0 || r > table.details.size() || table.details[r - 1].empty()) continue;
    const std::size_t indent = std::min(widths[0] + kGap, columns_ / 4);
    Line(std::string(indent, ' ') + table.details[r - 1], indent);
  }
}

void TextWriter::Blocks(const Table& table, const Cells& cells) {
  std::size_t label = 0;
  for (std::size_t c = 1; c < cells[0].size(); ++c) label = std::max(label, Width(cells[0][c]));
  label = std::min(label, columns_ / 2);
  if (IsTitled(table)) Line(table.title);
  for (std::size_t r = 1; r < cells.size(); ++r) {
    const auto& row = cells[r];
    if (r > 1 && !IsTitled(table)) Blank();
    if (!table.rows[r - 1][0].empty()) Line(row[0], 4);
    for (std::size_t c = 1; c < row.size(); ++c)
      if (!row[c].empty())
        Line("    " + (label == 0 ? "" : Padded(cells[0][c], label) + "  ") + row[c], label + 6);
    if (r <= table.details.size() && !table.details[r - 1].empty())
      Line("    " + table.details[r - 1], 6);
  }
}

}  // namespace orvspc::render
