// SPDX-License-Identifier: Apache-2.0
#include "engine/import/csv.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "engine/sql/failure.h"
#include "platform/ExternalFailure.h"
#include "platform/Utf8.h"
#include "system/system.h"

namespace orvspc::engine::import {
namespace {

constexpr std::size_t kMaxRecord = 1 << 20;
constexpr std::size_t kChunk = 1 << 18;

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool IsBlank(std::string_view record, char separator) {
  return separator != '\t' ? Trimmed(record).empty() : record.empty();
}

bool HasHighByte(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080u;
  std::uint64_t bits = 0;
  for (; text.size() >= sizeof bits; text.remove_prefix(sizeof bits)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), sizeof word);
    bits |= word;
  }
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

CsvReader::CsvReader(const std::string& path) : path_(path), buffer_(kChunk) {
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
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() - end_ < kChunk) buffer_.resize(buffer_.size() + kChunk);
  const auto got = std::fread(buffer_.data() + end_, 1, buffer_.size() - end_, file_.get());
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

bool CsvReader::Next() {
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
          unquoted_ += record[at];
        } else if (at + 1 < record.size() && record[at + 1] == '"') {
          unquoted_ += '"';
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
      cells_.push_back(Trimmed(std::string_view(unquoted_).substr(first)));
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
