// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "platform/Reports.h"

// What the families hand to the writers of text, SVG and HTML, as plain values and finished texts,
// and the writer of text. All texts are as PlainText leaves them; the writer prints them as they
// are.
namespace orvspc::render {

// A heading that starts with # is that of numbers, one with @ that of a column that is never
// broken. Where the first heading is empty, the title takes its place.
struct Table {
  std::string title;
  std::vector<std::string> headings;
  std::vector<std::vector<std::string>> rows = {};
  bool beside = false;  // shown beside the picture, not on the page below it
  std::vector<std::string> details =
      {};  // a line below each row, "" for none; empty: no row has one
};

// What the view of every family begins with.
struct View {
  std::string title, subtitle;
  std::vector<Note> notes;
};

std::vector<Note> PlainNotes(std::vector<Note> notes);

// "1 event", "3 events"
std::string Counted(std::size_t count, const std::string& one, const std::string& many = {});

// The pieces that are not empty, with the separator between them.
std::string Joined(const std::vector<std::string>& pieces, const char* separator);

// ", constant 2.325929, from 45": what went into an estimate, as far as it is known.
std::string BasisText(const Estimate& estimate);

// The engine's name of an estimator in the words of the field: "mean of R/d2".
std::string EstimatorText(const std::string& name);

inline constexpr std::size_t kMinColumns = 40;

struct TextOptions {
  std::size_t columns = 80;  // of the terminal; at least kMinColumns are used
  bool colour = false;       // ANSI sequences; the text reads the same without
};

// The text of one result. No line is wider than the terminal, whatever it is given.
class TextWriter {
 public:
  using Cells = std::vector<std::vector<std::string>>;  // as they are shown, the headings first

  explicit TextWriter(const TextOptions& options);

  std::size_t Columns() const { return columns_; }

  // Without the blanks at its end. What does not fit is wrapped, the further lines indented.
  void Line(const std::string& text, std::size_t indent = 2);
  // A line that is known to fit, with sequences for colours.
  void Painted(const std::string& line) { out_ += line + "\n"; }
  void Blank() { out_ += "\n"; }

  // Title and subtitle; without data the words that say so in their place.
  void Head(const View& view, bool empty = false);
  void Notes(const View& view);

  // Columns as wide as their cells, two blanks apart. Where they do not fit, cells are broken at
  // blanks; where that does not suffice, each row is a block of lines, one a column.
  void Write(const Table& table);
  // The same below a blank line; nothing without rows.
  void Section(const Table& table);

  // text in that colour, an ANSI sequence or null
  std::string InColour(const char* colour, const std::string& text) const;

  std::string Take() { return std::move(out_); }

 private:
  void Rows(const Table& table, const Cells& cells, const std::vector<std::size_t>& widths);
  void Blocks(const Table& table, const Cells& cells);

  std::size_t columns_;
  bool colour_;
  std::string out_;
};

}  // namespace orvspc::render
