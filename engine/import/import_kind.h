// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "engine/import/columns.h"
#include "engine/import/import_names.h"
#include "engine/import/import_table.h"
#include "engine/import/statements.h"

namespace orvspc::engine::import {

// A file on its way into the database: what the importer of a kind works with.
struct ImportFile {
  sql::Connection& db;
  ImportTable table;
  ImportNames names;
  ImportReport report;
  std::string who;               // "import FILE"
  std::int64_t made;             // when, in seconds since 1970
  std::size_t most_held;         // of ImportOptions
  std::function<void()> finish;  // after the last line; may be empty
  std::set<std::array<std::int32_t, 4>> keys;

  // Identifier of the name in a column; a new name is added. Refused when empty.
  std::int32_t Item(std::size_t column, catalogue::ItemKind kind) {
    return names.Take(kind, table.Name(column));
  }
  // 0 when empty.
  std::int32_t OptionalItem(std::size_t column, catalogue::ItemKind kind) {
    return table.Cell(column).empty() ? 0 : Item(column, kind);
  }
  // Refused when an earlier line of the file has the same key.
  void TakeKey(std::size_t column, const std::array<std::int32_t, 4>& key) {
    if (!keys.insert(key).second) {
      table.Refuse(column, "the file has a line for the same time already");
    }
  }
};

// Called for each line.
using LineTaker = std::function<void()>;

// A kind of file: what is known of it, and what makes the taker of the lines of one file.
struct KindOfFile : ImportKindInfo {
  LineTaker (*begin)(ImportFile&);
};

// For a kind whose lines need nothing of earlier ones but what ImportFile holds.
template <void (*kTake)(ImportFile&)>
LineTaker EachLine(ImportFile& file) {
  return [&file] { kTake(file); };
}

// The words of a text, blanks between them.
inline std::vector<std::string_view> WordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const auto stop = std::min(text.find(' '), text.size());
    if (stop > 0) words.push_back(text.substr(0, stop));
    text.remove_prefix(std::min(stop + 1, text.size()));
  }
  return words;
}

extern const KindOfFile kValuesKind, kLimitsKind, kControlLimitsKind, kOpportunitiesKind,
    kRulesKind, kAlarmsKind, kGroupsKind, kRequirementsKind, kDefectsKind, kAccCodesKind,
    kCacCodesKind, kStateCodesKind, kPartsKind, kProcessesKind, kEventsKind, kStatesKind,
    kNetContentsKind;

}  // namespace orvspc::engine::import
