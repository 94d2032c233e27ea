// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/sql/sqlite/page_checksum.h"

struct sqlite3;

// A file layer of SQLite in which each page of a database ends with a checksum of the rest.
//
//   - A page has a checksum when the file's header says that 8 bytes of each page are reserved, as
//     it does in every file that this layer makes. Others are read and written as they are.
//   - It is written with the page, into the file itself, and checked whenever a whole page is read.
//   - A page of which one bit is flipped, in a blob, is read as it is: the blob has its own
//     checksum, and the other rows of the page are whole (flipped_bit.h). Any other damage is
//     refused with the whole page.
//   - The seed is the number of the page, so that pages in each other's place are noticed.
//   - The log has checksums of SQLite's own, which it checks only when a program died. Here they
//     are checked whenever a page is read from the log, so that a checkpoint does not put a new
//     checksum on a damaged page. Of a log that a program left which died, all is checked that can
//     be: damage to its last commit cannot be told from a commit that was never completed.
//   - From PRAGMA synchronous=FULL on, what a transaction writes to the log is kept until the flush
//     of its commit and goes there in one piece: SQLite writes each page by itself. A full device
//     shows then. Not so on a device without SQLITE_IOCAP_POWERSAFE_OVERWRITE.
//   - A program that writes without this layer leaves pages whose checksum is wrong.
namespace orvspc::engine::sql::sqlite {

// The name of the layer for sqlite3_open_v2; it is registered with the first call. What it opens,
// it opens through the default layer at that time.
const char* ChecksumVfs();

// While it lives, what a connection reads has to match wholly: for who copies pages or checks them.
class StrictPages {
 public:
  explicit StrictPages(sqlite3* db);
  StrictPages(const StrictPages&) = delete;
  StrictPages& operator=(const StrictPages&) = delete;
  ~StrictPages();

 private:
  sqlite3* db_;
  bool before_ = true;
};

// Why the latest page that did not match could not be read: "page 17 does not match its checksum".
std::string DamageOf(sqlite3* db);

}  // namespace orvspc::engine::sql::sqlite
