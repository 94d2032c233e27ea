// SPDX-License-Identifier: Apache-2.0
#include "engine/store/second_reader.h"

#include <exception>
#include <string>

namespace orvspc::engine::store {
namespace {

// Whether another file stands at the path by now.
bool HasMoved(const sql::Connection& connection) {
  int moved = 0;
  const int code = sqlite3_file_control(connection.Get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return code != SQLITE_OK || moved != 0;
}

}  // namespace

std::unique_ptr<SecondReader> SecondReader::Open(sql::Connection& first) noexcept {
  try {
    const char* path = sqlite3_db_filename(first.Get(), "main");
    if (path == nullptr || *path == '\0') return nullptr;
    std::unique_ptr<SecondReader> reader(
        new SecondReader(sql::Connection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX)));
    reader->connection_.Execute("PRAGMA query_only=ON");
    reader->Version();  // opens the file
    // Each is the file at the path, so they are one.
    if (HasMoved(first) || HasMoved(reader->connection_)) return nullptr;
    return reader;
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::int64_t SecondReader::Version() {
  sql::Query query(connection_, "PRAGMA data_version");
  return query.Step() ? query.Int64(0) : 0;
}

bool SecondReader::Note() noexcept {
  try {
    noted_ = Version();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool SecondReader::Join() noexcept {
  try {
    reading_.emplace(connection_, sql::Transaction::Kind::Read);
    if (Version() == noted_) return true;
  } catch (const std::exception&) {
    // The first connection goes on alone.
  }
  Leave();
  return false;
}

}  // namespace orvspc::engine::store
