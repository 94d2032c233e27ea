// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The log of a quality database, as plain data.
namespace orvspc {

// A change: what, when, by whom and why.
struct LogEntry {
  std::int64_t seq = 0;  // 1, 2, 3, ... without gaps
  std::int64_t at = 0;   // milliseconds since 1970 UTC, never less than those of the one before
  std::string who, system, station;
  std::string operation;      // "record", "edit-value", "limit", ...
  std::string object;         // "subgroup 4711 test 3", "limit 12", "batch 88"
  std::string before, after;  // canonical JSON; empty: there was, or is, nothing
  std::string reason, program;
  std::string hash;  // hexadecimal, of this entry and all before it
};

// Which entries; what is empty narrows nothing.
struct LogFilter {
  // "subgroup 4711": also what is about a part of it, "subgroup 4711 test 3".
  std::string object = {}, by = {}, operation = {};
  std::optional<std::int64_t> since = {}, until = {};  // seconds, both belonging to it
  std::int64_t max = 0;                                // the newest so many; 0: all
};

// The newest entry. Kept elsewhere, it proves later that nothing before it was changed.
struct LogAnchor {
  std::string uuid;  // of the database
  std::int64_t seq = 0;
  std::string hash;
  std::int64_t at = 0;
  friend bool operator==(const LogAnchor&, const LogAnchor&) = default;
};

// How much a check of the log looks at.
struct LogCheckOptions {
  bool with_data = false;    // the values, too
  std::string anchors = {};  // a file that AnchorLog wrote; empty: none
};

// What a check of the log has found.
struct LogCheck {
  LogAnchor head;
  std::int64_t entries = 0;
  // Only of a check with data. Of the records: those that an entry or the digest of an import
  // vouches for, and those that were there before the log or that it cannot vouch for any more.
  std::int64_t batches = 0, records = 0, unproved = 0;
  std::vector<std::string> finds;  // what is wrong, a sentence each, the first so many of them
  std::vector<std::string> notes;  // what could not be checked, and why
};

}  // namespace orvspc
