// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Data of a study out of a CSV file: a line of headings, then a row a line.
namespace orvspc::cli {

// A file in memory. Cells are split at commas, or at semicolons where the headings have those and
// no comma; a cell in quotes may hold both, line feeds, and quotes that are doubled. Blanks around
// a cell are not part of it, and lines whose cells are all empty are left out.
//
//   const DataFile file("gage.csv");
//   const auto value = file.Column({"value", "y"});
//   for (std::size_t row = 0; row < file.Rows(); ++row) file.Number(row, value);
class DataFile {
 public:
  // Refusal, with file and line, for a file that cannot be read, has no headings, one of them
  // twice, or a line with more or fewer cells.
  explicit DataFile(const std::string& path);
  // The same of a text; path: for what is refused
  DataFile(std::string path, std::string_view text);

  std::size_t Rows() const { return rows_.size(); }
  const std::vector<std::string>& Headings() const { return headings_; }

  // The column with one of these headings, in any case. Refusal, which names them, without one.
  std::size_t Column(std::initializer_list<std::string_view> names) const;
  std::optional<std::size_t> Find(std::initializer_list<std::string_view> names) const;

  const std::string& Text(std::size_t row, std::size_t column) const {
    return rows_[row].cells[column];
  }
  // Refusal for an empty cell.
  const std::string& Name(std::size_t row, std::size_t column) const;
  // Refusal for what is no finite number.
  double Number(std::size_t row, std::size_t column) const;
  // The same; NaN for an empty cell.
  double NumberOrNone(std::size_t row, std::size_t column) const;

  // "gage.csv: line 4, column "value", value "x": is no number", thrown as a Refusal.
  [[noreturn]] void Refuse(std::size_t row, std::size_t column, const std::string& reason) const;
  // "gage.csv: there are no rows"
  [[noreturn]] void Refuse(const std::string& reason) const;

 private:
  struct Row {
    std::size_t line = 0;  // in which it begins
    std::vector<std::string> cells;
  };

  void Read(std::string_view text);
  [[noreturn]] void RefuseLine(std::size_t line, const std::string& reason) const;

  std::string path_;
  std::vector<std::string> headings_;
  std::vector<Row> rows_;
};

}  // namespace orvspc::cli
