// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/sql/Connection.h"

struct sqlite3;

namespace orvspc::engine::sql::sqlite {

// Opens a file, with create also one that does not exist, and switches it to the engine's settings:
// foreign keys, write-ahead log, commits that survive a power cut. Calls check before the switch to
// the log, the first thing that changes the file. An empty path with create: a database of the
// connection alone, which goes with it. on_wait is called several times a second while it waits for
// others until the file is open. Throws SqlError.
std::unique_ptr<Connection> OpenFile(const std::string& path, bool create,
                                     const std::function<void(Connection&)>& check,
                                     std::function<void()> on_wait = {});

// Opens a file that may not be written to, or that lies in a folder that may not.
//
// Log      is read where other programs use the file or have left what the log needs; nothing is
//          made beside the file
// No log   the file is read without locks; whoever may write it is noticed at the end of each
//          transaction, which fails, and the next one reads the file anew
// Failures SqlError: a log that only a program which may write can read
std::unique_ptr<Connection> OpenFileToRead(const std::string& path);

// Gives each page of a file that was made without them a checksum (ChecksumVfs.h); where they are
// there already, it does nothing.
//
// connection  one that OpenFile made, outside of a transaction
// Locks       it waits for nobody
// Room        twice the size of the file, half of it among the temporary files
// Kill        leaves the file as it was or with all checksums; what is in its log is not lost
// Failures    SqlError: full, or locked by a writer
void AddChecksums(Connection& connection);

// Moves a log into the file, so that no other program has it open: nobody reads the file while it
// is brought forward. Outside of a transaction. Throws SqlError: locked by another program.
void LeaveLog(Connection& connection);

// Copies a file with all that is committed, page by page, into one that is empty or yet to be made,
// which is then made with the rights of the other.
//
// Writers   of the file go on meanwhile: the copy is the state of one moment
// Checksums of the copy are those of the file
// Failures  SqlError, of kind Damaged alone where the file cannot be read; a part of a copy stays
void BackUp(const std::string& from, const std::string& to);
// The same with what a connection reads in the transaction that it is in. progress is called with
// the percent done.
void BackUp(Connection& from, const std::string& to, const std::function<void(int)>& progress = {});

// What SQLite has of a connection that a function above has opened.
sqlite3* HandleOf(Connection& connection);

}  // namespace orvspc::engine::sql::sqlite
