// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/sqlite/pages.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

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
  // Where SQLite locks the file; the page there is never used.
  constexpr std::int64_t kLockedAt = 0x40000000;
  auto* const db = HandleOf(connection);
  const StrictPages strict(db);
  const auto number = [&](std::string_view sql) {
    return Query(connection, sql).RunForInt().value_or(0);
  };
  const auto pages = number("PRAGMA page_count"), size = number("PRAGMA page_size");
  std::vector<std::string> found;
  auto* const file = FileOf(db, SQLITE_FCNTL_FILE_POINTER);
  if (file == nullptr) return found;
  std::vector<std::byte> content(static_cast<std::size_t>(size));
  const auto read = [&](std::int64_t page) {
    return file->pMethods->xRead(file, content.data(), static_cast<int>(size), (page - 1) * size);
  };
  for (std::int64_t page = 1; page <= pages && found.size() < at_most; ++page) {
    if (page == kLockedAt / size + 1 || read(page) == SQLITE_OK) continue;
    // Another program moves pages from the log into the file, or has died while it did.
    if (IsInLog(db, page, size)) continue;
    const int code = read(page);
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

}  // namespace orvspc::engine::sql::sqlite
