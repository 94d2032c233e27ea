// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/csv.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <utility>

#include "engine/sql/failure.h"
#include "platform/ExternalFailure.h"
#include "platform/Utf8.h"
#include "system/system.h"

namespace orvspc::engine::import {
namespace {

constexpr std::size_t kMaxRecord = 1 << 20;
constexpr std::size_t kChunk = 1 << 18;

// Lines are looked at in words of eight bytes, the first byte lowest.
constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kSlack = kWord;
constexpr std::uint64_t kHighBits = 0x8080808080808080u;
static_assert(std::endian::native == std::endian::little);

constexpr std::uint64_t InEachByte(char c) {
  return static_cast<unsigned char>(c) * 0x0101010101010101u;
}

// The high bit of each byte that is 0.
constexpr std::uint64_t ZeroBytes(std::uint64_t word) {
  return ~(((word & ~kHighBits) + ~kHighBits) | word | ~kHighBits);
}

std::uint64_t WordAt(const char* at) {
  std::uint64_t word = 0;
  std::memcpy(&word, at, kWord);
  return word;
}

bool LiesIn(std::string_view whole, std::string_view part) {
  constexpr std::less_equal<> kNotBehind;
  return kNotBehind(whole.data(), part.data()) &&
         kNotBehind(part.data() + part.size(), whole.data() + whole.size());
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool IsBlank(std::string_view record, char separator) {
  return separator != '\t' ? Trimmed(record).empty() : record.empty();
}

bool HasHighByte(std::string_view text) {
  std::uint64_t bits = 0;
  for (; text.size() >= kWord; text.remove_prefix(kWord)) bits |= WordAt(text.data());
  for (const char c : text) bits |= static_cast<unsigned char>(c);
  return (bits & kHighBits) != 0;
}

bool IsUtf8(std::string_view text) {
  char32_t point = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (!platform::TakeUtf8(text, at, point)) return false;
  }
  return true;
}

std::string Shortened(std::string_view text) {
  constexpr int kCharacters = 60;
  std::string result;
  int characters = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (++characters > kCharacters) return result + "...";
    char32_t point = platform::kReplacementCharacter;
    if (!platform::TakeUtf8(text, at, point)) ++at;
    platform::AppendUtf8(result, point < 0x20 || point == 0x7f ? U' ' : point);
  }
  return result;
}

}  // namespace

CsvReader::CsvReader(const std::string& path) : path_(path), buffer_(kChunk + kSlack) {
  const auto fail = [&](const std::string& why) {
    throw platform::ExternalFailure(sql::kRefused, "Import", path + ": " + why);
  };
  const auto state = system::StateOf(path);
  if (!state) fail(std::strerror(errno));
  if (state->kind == system::FileKind::Folder) fail("is a folder");
  file_size_ = state->size;
  file_.reset(system::OpenToRead(path));
  if (!file_) fail(std::strerror(errno));
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  Fill();
  if (std::string_view(buffer_.data(), end_).starts_with(kMark)) begin_ = kMark.size();
}

std::string CsvReader::PlaceText(std::int64_t line, std::string_view column, std::string_view value,
                                 std::string_view reason) const {
  std::string message = path_ + ": line " + std::to_string(line);
  if (!column.empty()) message += ", column \"" + std::string(column) + "\"";
  if (!value.empty()) message += ", value \"" + Shortened(value) + "\"";
  return message + ": " + std::string(reason);
}

void CsvReader::RefuseAt(std::int64_t line, std::string_view column, std::string_view value,
                         std::string_view reason) const {
  throw platform::ExternalFailure(sql::kRefused, "Import", PlaceText(line, column, value, reason));
}

// Makes room behind what is not yet taken and reads on. False when the file has no more.
bool CsvReader::Fill() {
  if (file_done_) return false;
  KeepCells();
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() - kSlack - end_ < kChunk) buffer_.resize(buffer_.size() + kChunk);
  const auto room = buffer_.size() - kSlack - end_;
  const auto got = std::fread(buffer_.data() + end_, 1, room, file_.get());
  if (got == 0 && std::ferror(file_.get()) != 0) {
    RefuseAt(next_line_, "", "", std::string("the file cannot be read: ") + std::strerror(errno));
  }
  end_ += got;
  bytes_read_ += static_cast<std::int64_t>(got);
  file_done_ = got == 0;
  return got > 0;
}

std::string_view CsvReader::TakeRecord() {
  std::size_t scanned = 0;
  bool quoted = false;
  line_ = next_line_;
  for (;;) {
    const char* data = buffer_.data() + begin_;
    const auto length = end_ - begin_;
    while (scanned < length) {
      const auto* found =
          static_cast<const char*>(std::memchr(data + scanned, '\n', length - scanned));
      const auto stop = found == nullptr ? length : static_cast<std::size_t>(found - data);
      // A quote opens and closes; a doubled one inside a cell does both.
      quoted ^= (std::count(data + scanned, data + stop, '"') & 1) != 0;
      if (found == nullptr) {
        scanned = length;
        break;
      }
      ++next_line_;
      if (!quoted) {
        if (stop > kMaxRecord) Refuse("", "", "the line is longer than 1 MB");
        begin_ += stop + 1;
        auto record = std::string_view(data, stop);
        if (!record.empty() && record.back() == '\r') record.remove_suffix(1);
        return record;
      }
      scanned = stop + 1;
    }
    if (scanned > kMaxRecord) Refuse("", "", "the line is longer than 1 MB");
    if (Fill()) continue;
    if (quoted) Refuse("", "", "a quote is opened and not closed");
    const auto record = std::string_view(buffer_.data() + begin_, end_ - begin_);
    at_end_ = record.empty();
    begin_ = end_;
    return record;
  }
}

// What is known of the latest record stays known when the buffer is filled again.
void CsvReader::KeepCells() {
  if (record_.empty() || record_.data() == kept_.data()) return;
  kept_.assign(record_.begin(), record_.end());
  for (auto& cell : cells_) {
    if (LiesIn(record_, cell)) cell = {kept_.data() + (cell.data() - record_.data()), cell.size()};
  }
  record_ = {kept_.data(), kept_.size()};
}

bool CsvReader::Next() {
  if (alike_ == Alike::Possible) {
    // The buffer may move from under what NextAlike() has put there.
    cells_[alike_cell_] = record_.substr(ahead_.size(), 0);
  }
  alike_ = Alike::Unknown;
  if (TakePlainRecord()) return true;
  std::string_view record;
  do {
    record = TakeRecord();
    if (at_end_) return false;
  } while (IsBlank(record, separator_));
  if (std::memchr(record.data(), 0, record.size()) != nullptr) {
    Refuse("", "", "the line has a byte 0; is the file text in UTF-8?");
  }
  if (HasHighByte(record) && !IsUtf8(record)) Refuse("", "", "the line is no valid UTF-8");
  const bool is_header = columns_ == 0;
  if (is_header) {
    const auto has = [&](char c) { return record.find(c) != std::string_view::npos; };
    separator_ = has('\t') ? '\t' : has(';') ? ';' : ',';
  }
  before_.swap(cells_);
  if (record.find('"') == std::string_view::npos) {
    Split(record);
  } else {
    SplitQuoted(record);
  }
  if (is_header) {
    columns_ = cells_.size();
  } else if (cells_.size() != columns_) {
    Refuse("", "",
           "the line has " + std::to_string(cells_.size()) + " cells, the header " +
               std::to_string(columns_));
  }
  const auto* const next = buffer_.data() + begin_;
  record_ = {record.data(), static_cast<std::size_t>(next - record.data())};
  record_lines_ = next_line_ - line_;
  return true;
}

bool CsvReader::TakePlainRecord() {
  const char* const first = buffer_.data() + begin_;
  const char* const end = buffer_.data() + end_;
  const auto separators = InEachByte(separator_);
  std::uint64_t high_bits = 0;
  std::size_t count = 0;
  const char* cell = first;
  const char* stop = nullptr;
  before_.swap(cells_);
  cells_.resize(columns_);
  const auto add = [&](const char* cell_end) {
    if (count < columns_) {
      cells_[count] = Trimmed({cell, static_cast<std::size_t>(cell_end - cell)});
    }
    ++count;
    cell = cell_end + 1;
  };
  bool is_plain = columns_ > 0;
  for (const char* at = first; is_plain && stop == nullptr; at += kWord) {
    if (at >= end) {
      is_plain = false;
      break;
    }
    const auto word = WordAt(at);
    const auto odd = ZeroBytes(word) | ZeroBytes(word ^ InEachByte('"'));
    const auto line_ends = ZeroBytes(word ^ InEachByte('\n'));
    const auto stops = odd | line_ends;
    const auto upto = stops == 0 ? ~std::uint64_t{0} : (stops & -stops) - 1;
    high_bits |= word & kHighBits & upto;
    for (auto found = ZeroBytes(word ^ separators) & upto; found != 0; found &= found - 1) {
      add(at + std::countr_zero(found) / 8);
    }
    if (stops == 0) continue;
    stop = at + std::countr_zero(stops) / 8;
    is_plain = (odd & (stops & -stops)) == 0 && stop < end;
  }
  if (is_plain) {
    add(stop > first && stop[-1] == '\r' ? stop - 1 : stop);
    const std::string_view record(first, static_cast<std::size_t>(stop - first));
    // A line with one empty cell may be blank.
    is_plain = count == columns_ && (columns_ > 1 || !cells_[0].empty()) &&
               record.size() <= kMaxRecord && (high_bits == 0 || IsUtf8(record));
  }
  if (!is_plain) {
    before_.swap(cells_);
    return false;
  }
  record_ = {first, static_cast<std::size_t>(stop + 1 - first)};
  record_lines_ = 1;
  line_ = next_line_++;
  begin_ += record_.size();
  return true;
}

bool CsvReader::NextAlike(std::size_t cell, double& value) {
  if (alike_ == Alike::Unknown) {
    const bool is_possible = LiesIn(record_, cells_[cell]) && record_.back() == '\n';
    alike_ = is_possible ? Alike::Possible : Alike::Impossible;
    alike_cell_ = cell;
    if (is_possible) {
      const auto at = static_cast<std::size_t>(cells_[cell].data() - record_.data());
      ahead_ = record_.substr(0, at);
      behind_ = record_.substr(at + cells_[cell].size());
    }
  }
  if (alike_ == Alike::Impossible) return false;
  const std::string_view rest(buffer_.data() + begin_, end_ - begin_);
  if (!rest.starts_with(ahead_)) return false;
  const auto [stop, code] =
      std::from_chars(rest.data() + ahead_.size(), rest.data() + rest.size(), value);
  if (code != std::errc() || !std::isfinite(value)) return false;
  const auto at = static_cast<std::size_t>(stop - rest.data());
  if (!rest.substr(at).starts_with(behind_)) return false;
  if (at + behind_.size() > kMaxRecord) return false;
  cells_[cell] = rest.substr(ahead_.size(), at - ahead_.size());
  line_ = next_line_;
  next_line_ += record_lines_;
  begin_ += at + behind_.size();
  return true;
}

void CsvReader::Split(std::string_view record) {
  cells_.clear();
  for (;;) {
    const auto stop = record.find(separator_);
    cells_.push_back(Trimmed(record.substr(0, stop)));
    if (stop == std::string_view::npos) return;
    record.remove_prefix(stop + 1);
  }
}

void CsvReader::SplitQuoted(std::string_view record) {
  cells_.clear();
  unquoted_.swap(unquoted_before_);
  unquoted_.clear();
  unquoted_.reserve(record.size());  // so that the views into it stay
  std::size_t at = 0;
  for (;;) {
    while (at < record.size() && record[at] == ' ') ++at;
    if (at < record.size() && record[at] == '"') {
      const auto first = unquoted_.size();
      for (++at;; ++at) {
        if (at >= record.size()) Refuse("", "", "a quote is opened and not closed");
        if (record[at] != '"') {
          unquoted_.push_back(record[at]);
        } else if (at + 1 < record.size() && record[at + 1] == '"') {
          unquoted_.push_back('"');
          ++at;
        } else {
          break;
        }
      }
      ++at;
      while (at < record.size() && (record[at] == ' ' || record[at] == '\r')) ++at;
      if (at < record.size() && record[at] != separator_) {
        Refuse("", record.substr(at), "text behind a closing quote");
      }
      cells_.push_back(Trimmed({unquoted_.data() + first, unquoted_.size() - first}));
    } else {
      const auto stop = std::min(record.find(separator_, at), record.size());
      cells_.push_back(Trimmed(record.substr(at, stop - at)));
      at = stop;
    }
    if (at >= record.size()) return;
    ++at;
  }
}

}  // namespace orvspc::engine::import
