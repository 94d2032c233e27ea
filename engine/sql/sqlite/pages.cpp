// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/pages.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <utility>

#include "engine/sql/sqlite/ChecksumVfs.h"
#include "engine/sql/sqlite/SqliteConnection.h"

namespace orvspc::engine::sql::sqlite {
namespace {

// Of a log: its header ends with two salts and two sums, and each frame begins with its page.
constexpr sqlite3_int64 kLogHeader = 32, kFrameHeader = 24;
constexpr int kSaltSize = 8, kLogSaltAt = 16, kSaltAt = 8;

sqlite3_file* FileOf(sqlite3* db, int question) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(db, "main", question, static_cast<void*>(&file));
  return file == nullptr || file->pMethods == nullptr ? nullptr : file;
}

std::uint32_t BigEndian(std::span<const unsigned char> bytes) {
  std::uint32_t number = 0;
  for (const auto byte : bytes) number = number << 8 | byte;
  return number;
}

// Reads the pages of the file of a connection one by one, as they are there.
class PagesOfFile {
 public:
  explicit PagesOfFile(Connection& connection) {
    auto* const db = HandleOf(connection);
    const auto number = [&](std::string_view sql) {
      return Query(connection, sql).RunForInt().value_or(0);
    };
    count_ = number("PRAGMA page_count");
    size_ = number("PRAGMA page_size");
    content_.resize(static_cast<std::size_t>(size_));
    file_ = FileOf(db, SQLITE_FCNTL_FILE_POINTER);
  }
  // 0 where there is no file.
  std::int64_t Count() const { return file_ == nullptr ? 0 : count_; }
  std::int64_t Size() const { return size_; }
  // Into the content. Returns what SQLite says.
  int Read(std::int64_t page) {
    return file_->pMethods->xRead(file_, content_.data(), static_cast<int>(size_),
                                  (page - 1) * size_);
  }
  std::span<const std::byte> Content() const { return content_; }

 private:
  std::int64_t count_ = 0, size_ = 0;
  std::vector<std::byte> content_;
  sqlite3_file* file_ = nullptr;
};

// A first page without what a copy counts for itself, which is how often the file and its tables
// were changed and by what, and so without its checksum.
std::vector<std::byte> WithoutCounts(std::span<const std::byte> content) {
  constexpr std::size_t kReservedAt = 20;
  constexpr std::pair<std::size_t, std::size_t> kCounts[] = {{24, 28}, {40, 44}, {92, 100}};
  std::vector<std::byte> page(content.begin(), content.end());
  page.resize(page.size() - std::to_integer<std::size_t>(page[kReservedAt]));
  for (const auto& [begin, end] : kCounts) {
    std::ranges::fill(std::span(page).subspan(begin, end - begin), std::byte{});
  }
  return page;
}

// Where SQLite locks a file; the page there is never used.
bool IsPageOfLocks(std::int64_t page, std::int64_t page_size) {
  constexpr std::int64_t kLockedAt = 0x40000000;
  return page == kLockedAt / page_size + 1;
}

// Whether there is a page of that number in the log.
bool IsInLog(sqlite3* db, std::int64_t page, std::int64_t page_size) {
  auto* const log = FileOf(db, SQLITE_FCNTL_JOURNAL_POINTER);
  std::array<unsigned char, kFrameHeader> start{}, frame{};
  const auto read = [&](auto& into, sqlite3_int64 at) {
    return log->pMethods->xRead(log, into.data(), static_cast<int>(into.size()), at) == SQLITE_OK;
  };
  if (log == nullptr || !read(start, 0)) return false;
  for (auto at = kLogHeader; read(frame, at); at += kFrameHeader + page_size) {
    const bool is_of_log =
        std::equal(&frame[kSaltAt], &frame[kSaltAt] + kSaltSize, &start[kLogSaltAt]);
    if (is_of_log && BigEndian(std::span(frame).first(4)) == page) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> DamagedPages(Connection& connection, std::size_t at_most) {
  auto* const db = HandleOf(connection);
  const StrictPages strict(db);
  std::vector<std::string> found;
  PagesOfFile pages(connection);
  for (std::int64_t page = 1; page <= pages.Count() && found.size() < at_most; ++page) {
    if (IsPageOfLocks(page, pages.Size()) || pages.Read(page) == SQLITE_OK) continue;
    // Another program moves pages from the log into the file, or has died while it did.
    if (IsInLog(db, page, pages.Size())) continue;
    const int code = pages.Read(page);
    if (code == SQLITE_OK) continue;
    const auto text = "page " + std::to_string(page);
    found.push_back(code == SQLITE_IOERR_DATA         ? text + " does not match its checksum"
                    : code == SQLITE_IOERR_SHORT_READ ? text + " is missing: the file was cut"
                                                      : text + " cannot be read");
  }
  return found;
}

std::vector<std::string> DamagedStructure(Connection& connection, std::size_t at_most) {
  std::vector<std::string> found;
  Query check(connection, "PRAGMA quick_check");
  while (found.size() < at_most && check.Step()) {
    if (check.Text(0) != "ok") found.emplace_back(check.Text(0));
  }
  return found;
}

bool HasPagesOf(const std::string& copy, Connection& connection) {
  const auto opened = OpenFileToRead(copy);
  PagesOfFile of(connection), in(*opened);
  if (of.Count() != in.Count() || of.Size() != in.Size()) return false;
  for (std::int64_t page = 1; page <= of.Count(); ++page) {
    if (IsPageOfLocks(page, of.Size())) continue;
    if (of.Read(page) != SQLITE_OK || in.Read(page) != SQLITE_OK) return false;
    const bool is_same =
        page == 1 ? std::ranges::equal(WithoutCounts(of.Content()), WithoutCounts(in.Content()))
                  : std::ranges::equal(of.Content(), in.Content());
    if (!is_same) return false;
  }
  return true;
}

}  // namespace orvspc::engine::sql::sqlite
