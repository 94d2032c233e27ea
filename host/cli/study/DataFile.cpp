// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/DataFile.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "host/cli/Options.h"
#include "host/cli/Output.h"
#include "host/render/core/Text.h"

namespace orvspc::cli {

namespace {

std::string Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  return lowered;
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// One record after the other.
class Records {
 public:
  explicit Records(std::string_view text) : text_(text) {
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    if (text_.starts_with(kMark)) text_.remove_prefix(kMark.size());
    const auto headings = text_.substr(0, text_.find('\n'));
    if (headings.find(',') == headings.npos && headings.find(';') != headings.npos) comma_ = ';';
  }

  // The line in which the last record began, from 1, and whether its last quote is missing.
  std::size_t Line() const { return line_; }
  bool IsOpen() const { return open_; }

  // False at the end of the text.
  bool Next(std::vector<std::string>& cells) {
    cells.clear();
    line_ = next_line_;
    if (at_ >= text_.size()) return false;
    for (bool more = true; more;) more = Cell(cells);
    return true;
  }

 private:
  // Whether another cell follows.
  bool Cell(std::vector<std::string>& cells) {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
    std::string quoted;
    const bool has_quotes = at_ < text_.size() && text_[at_] == '"';
    if (has_quotes) quoted = InQuotes();
    const auto begin = at_;
    while (at_ < text_.size() && text_[at_] != comma_ && text_[at_] != '\n') ++at_;
    auto rest = text_.substr(begin, at_ - begin);
    if (rest.ends_with('\r')) rest.remove_suffix(1);
    cells.push_back(has_quotes ? quoted + Trimmed(rest) : Trimmed(rest));
    if (at_ >= text_.size()) return false;
    const bool more = text_[at_++] == comma_;
    if (!more) ++next_line_;
    return more;
  }

  std::string InQuotes() {
    std::string cell;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == '"') {
        const bool doubled = at_ + 1 < text_.size() && text_[at_ + 1] == '"';
        if (!doubled) {
          ++at_;
          return cell;
        }
        ++at_;
      } else if (text_[at_] == '\n') {
        ++next_line_;
      }
      cell += text_[at_];
    }
    open_ = true;
    return cell;
  }

  std::string_view text_;
  char comma_ = ',';
  std::size_t at_ = 0, line_ = 1, next_line_ = 1;
  bool open_ = false;
};

bool IsBlank(const std::vector<std::string>& cells) {
  return std::ranges::all_of(cells, [](const std::string& cell) { return cell.empty(); });
}

}  // namespace

DataFile::DataFile(const std::string& path) : path_(path) { Read(ReadFile(path)); }

DataFile::DataFile(std::string path, std::string_view text) : path_(std::move(path)) { Read(text); }

void DataFile::Read(std::string_view text) {
  Records records(text);
  std::vector<std::string> cells;
  while (records.Next(cells)) {
    if (records.IsOpen()) RefuseLine(records.Line(), "a quote is not closed");
    if (IsBlank(cells)) continue;
    if (headings_.empty()) {
      for (const auto& cell : cells) {
        auto heading = Lowered(cell);
        if (!heading.empty() && std::ranges::find(headings_, heading) != headings_.end())
          RefuseLine(records.Line(), "there are two columns " + Quoted(cell));
        headings_.push_back(std::move(heading));
      }
      continue;
    }
    if (cells.size() != headings_.size()) {
      RefuseLine(records.Line(), "the line has " + render::Counted(cells.size(), "cell") +
                                     ", the headings are " + std::to_string(headings_.size()));
    }
    rows_.push_back({records.Line(), cells});
  }
  if (headings_.empty()) Refuse("there is no line of headings");
}

std::optional<std::size_t> DataFile::Find(std::initializer_list<std::string_view> names) const {
  for (const auto& name : names) {
    const auto found = std::ranges::find(headings_, name);
    if (found != headings_.end()) return static_cast<std::size_t>(found - headings_.begin());
  }
  return std::nullopt;
}

std::size_t DataFile::Column(std::initializer_list<std::string_view> names) const {
  if (const auto found = Find(names)) return *found;
  std::vector<std::string> wanted;
  for (const auto& name : names) wanted.push_back(Quoted(name));
  RefuseLine(1, "there is no column " + Joined(wanted));
}

const std::string& DataFile::Name(std::size_t row, std::size_t column) const {
  const auto& text = Text(row, column);
  if (text.empty()) Refuse(row, column, "is empty");
  return text;
}

double DataFile::Number(std::size_t row, std::size_t column) const {
  const double value = NumberOrNone(row, column);
  if (std::isnan(value)) Refuse(row, column, "is empty");
  return value;
}

double DataFile::NumberOrNone(std::size_t row, std::size_t column) const {
  const auto& text = Text(row, column);
  double value = std::numeric_limits<double>::quiet_NaN();
  if (text.empty()) return value;
  try {
    value = ToDouble(text);
  } catch (const Failure&) {
  }
  if (!std::isfinite(value)) Refuse(row, column, "is no number");
  return value;
}

void DataFile::Refuse(std::size_t row, std::size_t column, const std::string& reason) const {
  const auto& value = Text(row, column);
  throw Refusal(path_ + ": line " + std::to_string(rows_[row].line) + ", column " +
                Quoted(headings_[column]) + (value.empty() ? "" : ", value " + Quoted(value)) +
                ": " + reason);
}

void DataFile::Refuse(const std::string& reason) const { throw Refusal(path_ + ": " + reason); }

void DataFile::RefuseLine(std::size_t line, const std::string& reason) const {
  throw Refusal(path_ + ": line " + std::to_string(line) + ": " + reason);
}

}  // namespace orvspc::cli
