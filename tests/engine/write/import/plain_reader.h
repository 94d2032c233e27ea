// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/TimeText.h"
#include "platform/Utf8.h"

// What a file of values must lead to, by a reader that knows no speed: it holds every line and
// every record as text. Its answer is compared with that of the import.
namespace orvspc::engine::import::plain {

// "line 3, column "time", value "x": reason", as behind the name of the file.
struct Refusal {
  std::int64_t line = 0;
  std::string text;
};

inline std::string Shortened(std::string_view text) {
  std::string result;
  int characters = 0;
  for (std::size_t at = 0; at < text.size(); ++characters) {
    if (characters == 60) return result + "...";
    char32_t point = 0xfffd;
    if (!platform::TakeUtf8(text, at, point)) ++at;
    platform::AppendUtf8(result, point < 0x20 || point == 0x7f ? U' ' : point);
  }
  return result;
}

[[noreturn]] inline void Refuse(std::int64_t line, const std::string& column,
                                const std::string& value, const std::string& reason) {
  std::string text = "line " + std::to_string(line);
  if (!column.empty()) text += ", column \"" + column + "\"";
  if (!value.empty()) text += ", value \"" + Shortened(value) + "\"";
  throw Refusal{line, text + ": " + reason};
}

inline std::string Trimmed(std::string text) {
  text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
  text.erase(text.find_last_not_of(" \t") + 1);
  return text;
}

// The lines of a file, one after the other.
class Lines {
 public:
  explicit Lines(std::string text) : text_(std::move(text)) {
    if (text_.starts_with("\xef\xbb\xbf")) text_.erase(0, 3);
  }

  std::int64_t line = 0;
  std::vector<std::string> cells;

  bool Next() {
    std::string record;
    do {
      if (at_ == text_.size()) return false;
      line = next_line_;
      record.clear();
      bool quoted = false, ended = false;
      for (; at_ < text_.size() && !ended; ++at_) {
        const char c = text_[at_];
        if (c == '"') quoted = !quoted;
        if (c == '\n') ++next_line_;
        ended = c == '\n' && !quoted;
        if (!ended) record += c;
      }
      if (!ended && quoted) Refuse(line, "", "", "a quote is opened and not closed");
      if (ended && !record.empty() && record.back() == '\r') record.pop_back();
    } while (separator_ == '\t' ? record.empty() : Trimmed(record).empty());
    if (record.find('\0') != std::string::npos) {
      Refuse(line, "", "", "the line has a byte 0; is the file text in UTF-8?");
    }
    char32_t point = 0;
    for (std::size_t at = 0; at < record.size();) {
      if (!platform::TakeUtf8(record, at, point)) {
        Refuse(line, "", "", "the line is no valid UTF-8");
      }
    }
    const bool is_header = columns_ == 0;
    for (const char c : {'\t', ';', ','}) {
      if (is_header && separator_ == 0 && (c == ',' || record.find(c) != std::string::npos)) {
        separator_ = c;
      }
    }
    Split(record);
    if (is_header) columns_ = cells.size();
    if (cells.size() != columns_) {
      Refuse(line, "", "",
             "the line has " + std::to_string(cells.size()) + " cells, the header " +
                 std::to_string(columns_));
    }
    return true;
  }

 private:
  void Split(const std::string& record) {
    cells.clear();
    const bool has_quotes = record.find('"') != std::string::npos;
    std::size_t at = 0;
    for (;; ++at) {
      while (has_quotes && at < record.size() && record[at] == ' ') ++at;
      std::string cell;
      if (at < record.size() && record[at] == '"') {
        for (++at; at < record.size() && (record[at] != '"' || record.substr(at, 2) == "\"\"");
             ++at) {
          if (record[at] == '"') ++at;
          cell += record[at];
        }
        if (at >= record.size()) Refuse(line, "", "", "a quote is opened and not closed");
        ++at;
        while (at < record.size() && (record[at] == ' ' || record[at] == '\r')) ++at;
        if (at < record.size() && record[at] != separator_) {
          Refuse(line, "", record.substr(at), "text behind a closing quote");
        }
      } else {
        for (; at < record.size() && record[at] != separator_; ++at) cell += record[at];
      }
      cells.push_back(Trimmed(cell));
      if (at >= record.size()) return;
    }
  }

  std::string text_;
  std::size_t at_ = 0, columns_ = 0;
  char separator_ = 0;
  std::int64_t next_line_ = 1;
};

struct Row {
  double value = 0.0;
  std::int32_t tsno = 0, sbno = 0;
  std::string serial, defect, gage;
  std::int64_t line = 0;
};

// A cell that a record has once.
struct Shared {
  std::string text, value;
  std::int64_t line = 0;
};

struct Record {
  std::vector<Row> rows;
  std::int32_t highest_tsno = 0, last_sbno = 0;
  std::map<std::string, Shared> shared;
};

struct Test {
  std::string type;
  bool names_defect = false;
};

class Reader {
 public:
  explicit Reader(const std::string& text) : lines_(text) {}

  // What the file leads to: the refusal, or the report and everything that is stored.
  std::string Outcome() {
    try {
      Read();
      return Finish();
    } catch (const Refusal& refusal) {
      return refusal.text;
    }
  }

 private:
  static constexpr const char* kColumns[] = {
      "part",     "process", "test",   "subgroup", "time",    "value",    "count",    "tsno",
      "sbno",     "size",    "flag",   "job",      "lot",     "shift",    "revision", "workstation",
      "employee", "gage",    "serial", "defect",   "comment", "test-type"};
  static constexpr const char* kWho[] = {"workstation", "job",      "lot",
                                         "shift",       "revision", "employee"};
  using Key = std::array<std::string, 5>;  // part, process, test, time, label

  bool Has(const std::string& column) const { return places_.contains(column); }
  std::string Cell(const std::string& column) const {
    const auto place = places_.find(column);
    return place == places_.end() ? "" : lines_.cells[place->second];
  }
  [[noreturn]] void RefuseCell(const std::string& column, const std::string& reason) const {
    Refuse(lines_.line, column, Cell(column), reason);
  }

  // 0: no number; 1: out of range; 2: a number.
  template <class T>
  static int Parse(std::string text, T& value) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.erase(0, 1);
    const auto* const last = text.data() + text.size();
    const auto [end, code] = std::from_chars(text.data(), last, value);
    if (end != last || code == std::errc::invalid_argument) return 0;
    return code == std::errc() ? 2 : 1;
  }

  double Number(const std::string& column) const {
    auto text = Cell(column);
    double value = 0.0;
    if (text.empty()) RefuseCell(column, "the cell is empty, a number is needed");
    const int parsed = Parse(text, value);
    if (parsed == 1) RefuseCell(column, "is out of range");
    if (parsed == 2 && std::isfinite(value)) return value;
    if (parsed == 2) RefuseCell(column, "is not a finite number");
    if (std::ranges::count(text, ',') == 1) {
      text[text.find(',')] = '.';
      if (Parse(text, value) == 2) {
        RefuseCell(column, "is no number; the decimal sign must be a point");
      }
    }
    RefuseCell(column, "is no number");
  }

  std::int32_t Whole(const std::string& column, std::int64_t lowest, std::int64_t highest) const {
    std::int64_t value = 0;
    if (Cell(column).empty()) return 0;
    const int parsed = Parse(Cell(column), value);
    if (parsed == 0) RefuseCell(column, "is no whole number");
    if (parsed == 1 || value < lowest || value > highest) {
      RefuseCell(column,
                 "must lie between " + std::to_string(lowest) + " and " + std::to_string(highest));
    }
    return static_cast<std::int32_t>(value);
  }

  void Read() {
    if (!lines_.Next()) {
      Refuse(1, "", "", "the file is empty; the first line names the columns");
    }
    Match();
    while (lines_.Next()) {
      ++line_count_;
      Take();
    }
  }

  void Match() {
    std::set<std::string> extra;
    for (std::size_t i = 0; i < lines_.cells.size(); ++i) {
      const auto& name = lines_.cells[i];
      std::string lower;
      for (const char c : name) lower += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
      if (lower.starts_with("descriptor:") && lower.size() > 11) {
        if (!extra.insert(name.substr(11)).second) {
          Refuse(lines_.line, name, "", "the column is there twice");
        }
        extra_.emplace_back(name.substr(11), i);
      } else if (std::ranges::find(kColumns, lower) == std::end(kColumns)) {
        Refuse(lines_.line, "", name, "no column of this kind of file has this name");
      } else if (!places_.emplace(lower, i).second) {
        Refuse(lines_.line, lower, "", "the column is there twice");
      }
    }
    for (const char* column : {"part", "process", "test", "subgroup", "time"}) {
      if (!Has(column)) Refuse(lines_.line, column, "", "the file lacks this column");
    }
    if (Has("value") == Has("count")) {
      Refuse(lines_.line, Has("value") ? "count" : "value", "",
             Has("value") ? "a file has either value or count, not both"
                          : "the file lacks this column, or count in its place");
    }
  }

  void Take() {
    for (const char* column : {"part", "process", "test", "subgroup"}) {
      if (Cell(column).empty()) RefuseCell(column, "the cell is empty");
    }
    if (Cell("time").empty()) RefuseCell("time", "the cell is empty, a time is needed");
    const auto time = platform::ParseIsoTime(Cell("time"));
    if (!time) RefuseCell("time", std::string(platform::kNoTime));
    if (*time < INT32_MIN || *time > INT32_MAX) {
      RefuseCell("time", std::string(platform::kTimeOutOfRange));
    }
    const Key key{Cell("part"), Cell("process"), Cell("test"), std::to_string(*time),
                  Cell("subgroup")};
    auto& record = records_[key];
    if (!tests_.contains(key[2])) order_of_tests_.push_back(key[2]);
    auto& test = tests_[key[2]];
    SettleType(test);
    TakeRow(record, test);
    TakeShared(record, test);
    for (const auto& [group, place] : extra_) {
      const auto& cell = lines_.cells[place];
      if (cell.empty()) continue;
      const auto tsno = Whole("tsno", 0, INT32_MAX);
      rest_.insert("descriptor " + Text(key, false) + " " + std::to_string(tsno) + " " + group +
                   "=" + cell);
      names_.insert("descriptor " + group + "=" + cell);
    }
    if (const auto note = Cell("comment"); !note.empty()) {
      const auto tsno = Whole("tsno", 0, INT32_MAX);
      rest_.insert("comment " + Text(key, true) + " " + std::to_string(tsno) + " " +
                   Cell("employee") + ": " + note);
    }
    for (const char* column : {"part", "process", "test", "serial", "defect", "gage"}) {
      if (!Cell(column).empty()) names_.insert(column + (" " + Cell(column)));
    }
    for (const char* column : kWho) {
      if (!Cell(column).empty()) names_.insert(column + (" " + Cell(column)));
    }
  }

  void SettleType(Test& test) {
    auto given = Cell("test-type");
    for (auto& c : given) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    if (!given.empty() && given != "variable" && given != "defects" && given != "defectives") {
      RefuseCell("test-type", "must be variable, defects or defectives");
    }
    if (!given.empty() && !test.type.empty() && given != test.type) {
      RefuseCell("test-type", "differs from the type that the test has");
    }
    if (test.type.empty()) test.type = given.empty() && Has("value") ? "variable" : given;
    if (test.type == "variable" && !Has("value")) {
      RefuseCell("count", "the test has variable values; they belong into a column value");
    }
  }

  void TakeRow(Record& record, Test& test) {
    Row row;
    row.serial = Cell("serial");
    row.defect = Cell("defect");
    row.gage = Cell("gage");
    row.line = lines_.line;
    if (test.type == "variable") {
      row.value = Number("value");
      row.sbno = Whole("sbno", 0, INT32_MAX);
      row.tsno = Whole("tsno", 1, 1'000'000'000);
      if (row.tsno == 0) {
        const bool reading = row.sbno > record.last_sbno && record.highest_tsno > 0;
        row.tsno = record.highest_tsno + (reading ? 0 : 1);
      }
      record.highest_tsno = std::max(record.highest_tsno, row.tsno);
      record.last_sbno = row.sbno;
    } else {
      const std::string column = Has("count") ? "count" : "value";
      row.tsno = Whole("tsno", 0, INT32_MAX);
      row.sbno = Whole("sbno", 0, INT32_MAX);
      if (!row.defect.empty()) test.names_defect = true;
      row.value = row.defect.empty() || !Cell(column).empty() ? Number(column) : 1.0;
      if (row.value < 0.0 || row.value > 1e9 || row.value != std::floor(row.value)) {
        RefuseCell(column, "must be a whole number between 0 and 1000000000");
      }
      if (row.value == 0.0 && row.tsno == 0) return;
    }
    record.rows.push_back(row);
  }

  void TakeShared(Record& record, const Test& test) {
    const auto take = [&](const std::string& column, const std::string& value) {
      auto& cell = record.shared[column];
      if (!cell.value.empty() && cell.value != value) {
        RefuseCell(column, "differs from an earlier line of the same subgroup and test");
      }
      if (cell.value.empty()) cell = {Cell(column), value, lines_.line};
    };
    if (!Cell("size").empty()) {
      double size = 0.0;
      if (test.type == "variable" || test.type == "defectives") {
        size = Whole("size", 0, INT32_MAX);
      } else {
        size = Number("size");
        if (!(size >= 0.0 && size <= INT32_MAX)) size = Whole("size", 0, INT32_MAX);
      }
      take("size", std::to_string(size));
      if (test.type.empty() && size != std::floor(size)) {
        fractions_.emplace(Cell("test"), std::pair(lines_.line, Cell("size")));
      }
    }
    if (const auto flag = Cell("flag"); !flag.empty()) {
      take("flag", flag == "enabled"      ? "0"
                   : flag == "disabled"   ? "1"
                   : flag == "incomplete" ? "2"
                                          : std::to_string(Whole("flag", 0, 2)));
    }
    for (const char* column : kWho) {
      if (!Cell(column).empty()) take(column, Cell(column));
    }
  }

  // Of a subgroup, or of it with a test.
  static std::string Text(const Key& key, bool with_test) {
    return key[0] + "/" + key[1] + (with_test ? "/" + key[2] : "") + " " + key[3] + " " + key[4];
  }

  void Note(std::int64_t line, const std::string& column, const std::string& value,
            const std::string& reason) {
    try {
      Refuse(line, column, value, reason);
    } catch (const Refusal& refusal) {
      if (!noted_ || refusal.line < noted_->line) noted_ = refusal;
    }
  }

  std::string Finish() {
    std::string text;
    std::set<std::string> subgroups, lines;
    std::size_t rows = 0;
    std::map<std::string, Refusal> excess;  // of tests whose type was open
    for (auto& [key, record] : records_) {
      const auto& test = tests_[key[2]];
      const bool is_variable = test.type == "variable";
      CheckDefectives(key, record, excess);
      if (is_variable) Complete(record);
      if (record.rows.empty()) record.rows.emplace_back();
      auto size = record.shared["size"].value;
      if (size.empty()) {
        const auto pieces =
            std::ranges::count_if(record.rows, [](const Row& row) { return row.sbno == 0; });
        size = std::to_string(is_variable ? static_cast<double>(pieces) : 0.0);
      }
      const auto flag = record.shared["flag"].value;
      auto stored = Text(key, true) + " size " + size + " flag " + (flag.empty() ? "0" : flag);
      for (const char* who : kWho) stored += " " + record.shared[who].value;
      for (const auto& row : record.rows) stored += RowText(row);
      lines.insert(stored);
      rows += record.rows.size();
      subgroups.insert(Text(key, false));
    }
    if (noted_) throw Refusal(*noted_);
    for (const auto& line : lines) text += line + "\n";
    for (const auto& name : order_of_tests_) {
      const auto& test = tests_[name];
      const bool is_defectives =
          test.type == "defectives" || (test.type.empty() && !test.names_defect);
      if (is_defectives && excess.contains(name)) throw Refusal(excess[name]);
      if (is_defectives && fractions_.contains(name)) {
        const auto& [line, size] = fractions_[name];
        Refuse(line, "size", size,
               "the size is no whole number, as only that of a test of defects may be");
      }
      text += "test " + name + " " +
              (!test.type.empty()  ? test.type
               : test.names_defect ? "defects"
                                   : "defectives") +
              "\n";
    }
    for (const auto& line : rest_) text += line + "\n";
    return std::to_string(line_count_) + " lines, " + std::to_string(subgroups.size()) +
           " subgroups, " + std::to_string(rows) + " rows, " + std::to_string(names_.size()) +
           " names\n" + text;
  }

  // Orders rows of pieces; a piece of readings alone has their mean.
  void Complete(Record& record) {
    const auto place = [](const Row& row) { return std::tie(row.tsno, row.sbno); };
    std::ranges::stable_sort(record.rows, {}, place);
    for (std::size_t i = 1; i < record.rows.size(); ++i) {
      const auto &a = record.rows[i - 1], &b = record.rows[i];
      if (place(a) != place(b)) continue;
      Note(std::max(a.line, b.line), "tsno", std::to_string(a.tsno),
           "the subgroup has this piece, with this sbno, already");
      break;
    }
    std::vector<Row> rows;
    for (std::size_t from = 0, to = 0; from < record.rows.size(); from = to) {
      while (to < record.rows.size() && record.rows[to].tsno == record.rows[from].tsno) ++to;
      if (record.rows[from].sbno != 0) {
        auto piece = record.rows[from];
        piece.value = 0.0;
        for (auto i = from; i < to; ++i) {
          piece.value += record.rows[i].value / static_cast<double>(to - from);
        }
        piece.sbno = 0;
        piece.defect.clear();
        rows.push_back(piece);
      }
      for (auto i = from; i < to; ++i) rows.push_back(record.rows[i]);
    }
    record.rows = rows;
  }

  void CheckDefectives(const Key& key, Record& record, std::map<std::string, Refusal>& excess) {
    const auto& test = tests_[key[2]];
    const auto& given = record.shared["size"];
    if (given.value.empty() || (test.type != "defectives" && !test.type.empty())) return;
    const double size = std::stod(given.value);
    if (size <= 0.0) return;
    double defectives = 0.0;
    std::map<std::int32_t, double> units;
    std::int64_t line = 0;
    for (const auto& row : record.rows) {
      if (defectives > size && row.line > given.line) break;
      line = row.line;
      auto& unit = units[row.tsno];
      const auto now = row.tsno == 0 ? unit + row.value : std::max(unit, row.value);
      defectives += now - unit;
      unit = now;
    }
    if (defectives <= size) return;
    line = std::max(line, given.line);
    const auto reason = "more defectives (" + std::to_string(std::int64_t(defectives)) +
                        ") than units inspected (" + std::to_string(std::int64_t(size)) + ")";
    if (test.type == "defectives") return Note(line, "subgroup", key[4], reason);
    try {
      Refuse(line, "subgroup", key[4], reason);
    } catch (const Refusal& refusal) {
      const auto [found, is_new] = excess.emplace(key[2], refusal);
      if (!is_new && refusal.line < found->second.line) found->second = refusal;
    }
  }

 public:
  static std::string RowText(const Row& row) {
    char number[32];
    const auto end = std::to_chars(number, number + sizeof number, row.value).ptr;
    return "; " + std::to_string(row.tsno) + "/" + std::to_string(row.sbno) + " " + row.serial +
           " " + row.defect + " " + row.gage + " " + std::string(number, end);
  }

 private:
  Lines lines_;
  std::int64_t line_count_ = 0;
  std::map<std::string, std::size_t> places_;
  std::vector<std::pair<std::string, std::size_t>> extra_;
  std::map<Key, Record> records_;
  std::map<std::string, Test> tests_;
  std::vector<std::string> order_of_tests_;
  std::map<std::string, std::pair<std::int64_t, std::string>> fractions_;
  std::set<std::string> rest_, names_;
  std::optional<Refusal> noted_;
};

}  // namespace orvspc::engine::import::plain
