// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/sql/Connection.h"
#include "platform/Actor.h"
#include "platform/LogEntry.h"

// The log of a quality database: what was changed, when, by whom and why, in entries that each
// carry a hash of all before them.
namespace orvspc::engine::log {

using Entry = LogEntry;

// SHA-256 of "orvspc-log-1", the hash of the entry before, and each column of the entry, in the
// order of Entry up to program, as the eight bytes of its length and the bytes of its text; numbers
// are decimal. The hash before is taken as its hexadecimal text, which is empty for the first
// entry.
std::string HashOf(const Entry& entry, std::string_view before);

// Writes the first entry of a database whose tables were just made or brought forward, and who the
// database is. digest is that of the data that were there before; empty: there were none. Inside a
// write transaction.
void BeginLog(sql::Connection& db, std::string_view digest);

// The identity that BeginLog gave, a UUID.
std::string IdentityOf(sql::Connection& db);

class Writing;

// Makes a copy of a database one of its own: another identity, and an entry that names both. Inside
// a write transaction.
void BecomeAnother(Writing& writing);

// What is written in one transaction, with its entries. Inside a write transaction of db, which it
// may not outlive.
class Writing {
 public:
  // Throws Refused. Empty reasons are taken: see NeedReason.
  //   by      the setting require_by asks for a name
  //   name    who does it is no name
  //   text    station or reason are no text
  //   reason  it has less than 3 or more than 500 characters
  Writing(sql::Connection& db, Actor actor, std::string reason = {});

  sql::Connection& Db() const { return db_; }
  // Of all entries, in milliseconds; seconds for what counts in these.
  std::int64_t Milliseconds() const { return now_; }
  std::int32_t Seconds() const;
  const std::string& Who() const { return who_; }
  const std::string& Reason() const { return reason_; }

  // Throws Refused (code "reason") where there is none. For every change of what is stored.
  void NeedReason() const;
  // The employee of that name, who is made if new. One who was undone is in use again, by an entry.
  std::int32_t Employee();

  // The number that the next entry gets, for what refers to it.
  std::int64_t Next() const { return head_seq_ + 1; }
  // Appends an entry. before and after are canonical JSON, see Json.h. Returns its number.
  std::int64_t Add(std::string_view operation, std::string_view object, std::string_view before,
                   std::string_view after);

 private:
  sql::Connection& db_;
  Actor actor_;
  std::string who_, reason_;
  std::int64_t now_ = 0;
  bool clock_went_back_ = false;
  std::int64_t head_seq_ = 0;
  std::string head_hash_;
  std::optional<std::int32_t> employee_;
};

}  // namespace orvspc::engine::log
