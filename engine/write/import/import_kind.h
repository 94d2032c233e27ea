// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/sql/counter.h"
#include "engine/time/calendar.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/import/import_table.h"
#include "engine/write/log/Log.h"

namespace orvspc::engine::import {

using sql::Reference;

// Runs a statement with these values; returns the rows changed. The text must live as long as the
// connection.
template <class... Values>
std::int64_t Run(sql::Connection& connection, std::string_view sql, const Values&... values) {
  return sql::Query(connection, sql, values...).Run();
}

// The first column of the first row of a statement with these values; empty without a row.
template <class... Values>
std::optional<std::int64_t> IntOf(sql::Connection& connection, std::string_view sql,
                                  const Values&... values) {
  return sql::Query(connection, sql, values...).RunForInt();
}

// "INSERT INTO row VALUES(?1, ...)" with a value for each column of a row such as "part(id, name)".
std::string InsertInto(std::string_view row);

// How rows of a table are stored that get new identifiers.
struct NewRow {
  std::string table, insert;
};
// Of a row such as "part(name)", without its identifier.
NewRow InsertNew(std::string_view row);

// Stores a row with these values under a new identifier, which it returns.
template <class... Values>
std::int64_t Add(sql::Connection& connection, const NewRow& row, const Values&... values) {
  const auto id = sql::TakeIds(connection, row.table);
  Run(connection, row.insert, id, values...);
  return id;
}

struct FoundRow {
  std::int64_t id;
  bool is_new;
};
// The row that a SELECT of its identifier finds by these values; added where there is none.
template <class... Values>
FoundRow FindOrAdd(sql::Connection& connection, std::string_view select, const NewRow& row,
                   const Values&... values) {
  if (const auto id = IntOf(connection, select, values...)) return {*id, false};
  return {Add(connection, row, values...), true};
}

struct TextHash : std::hash<std::string_view> {
  using is_transparent = void;
};

// Names of the database with those that the import adds.
class ImportNames {
 public:
  explicit ImportNames(sql::Connection& connection) : db_(connection) {}

  // Also by a former name.
  std::optional<std::int32_t> Find(catalogue::ItemKind kind, std::string_view name);
  // But for one that nothing has used since a batch was undone, which is as new.
  std::optional<std::int32_t> FindUsed(catalogue::ItemKind kind, std::string_view name);
  // Adds it when it is new. One that the undoing of a batch left without use is in use again.
  std::int32_t Take(catalogue::ItemKind kind, std::string_view name);
  std::int64_t Added() const { return added_; }
  // Those that are in use again, which no entry says yet.
  std::vector<std::pair<catalogue::ItemKind, std::int32_t>> Revived() const;
  // The first ten parts, processes and tests that were new.
  const std::vector<NewItem>& NewItems() const { return new_items_; }
  // A note for each name that was taken and is not active, and for each former name that was found:
  // "A" is now called "B".
  std::vector<Note> Notes() const;

 private:
  struct Table {
    bool read = false;
    std::unordered_map<std::string, std::int32_t, TextHash, std::equal_to<>> ids;
    std::map<std::string, std::string, std::less<>> former;  // the present names
    std::set<std::int32_t> inactive;                         // unless they were taken
    std::set<std::int32_t> new_again;                        // of an undone batch, and taken
    std::int32_t last = 0;                                   // identifier before anything was added
  };
  Table& Of(catalogue::ItemKind kind);
  bool WasUndone(catalogue::ItemKind kind, std::int32_t id);
  void KeepNew(catalogue::ItemKind kind, std::string_view name);

  sql::Connection& db_;
  std::array<Table, catalogue::kItemKinds> tables_;
  std::int64_t added_ = 0;
  std::vector<NewItem> new_items_;
  std::vector<Note> inactive_;
  std::map<std::string, std::string> renamed_;  // former names that were found
};

// A file on its way into the database: what the importer of a kind works with.
struct ImportFile {
  log::Writing& writing;
  sql::Connection& db;
  ImportTable table;
  std::string who;        // "import FILE"
  std::size_t most_held;  // of ImportOptions
  bool refuse_new_items;  // of ImportOptions
  std::int64_t batch;     // what is imported names it as its own
  std::int64_t made = time::Now();
  ImportNames names{db};
  ImportReport report{};
  std::function<void()> finish{};  // after the last line; may be empty
  // Of values, once they are finished: how many (subgroup, test), and their digest.
  std::int64_t records = 0;
  std::string digest{};
  alarms::TouchedStreams touched{};  // by values and flags
  std::set<std::array<std::int32_t, 4>> versions{};

  // Identifier of the name in a column; a new name is added. Refused when empty.
  std::int32_t Item(std::size_t column, catalogue::ItemKind kind) {
    return Take(column, kind, table.Name(column));
  }
  // The same of a name that is known.
  std::int32_t Take(std::size_t column, catalogue::ItemKind kind, std::string_view name);
  // None when empty.
  Reference OptionalItem(std::size_t column, catalogue::ItemKind kind) {
    return {table.Cell(column).empty() ? 0 : Item(column, kind)};
  }
  // Part and test of a dated row, and the time from which it holds. Refused when an earlier line of
  // the file is for the same, and the same process.
  std::array<std::int32_t, 3> Version(std::size_t part, std::size_t test, std::size_t effective,
                                      Reference process = {});
  // Puts an item into a group of its kind, which is made if it is new. Returns whether the item is
  // new there.
  bool AddToGroup(catalogue::ItemKind kind, std::string_view group, std::int32_t item);
  // Stores a row of the report by an INSERT.
  template <class... Values>
  void Store(std::string_view insert, const Values&... values) {
    Run(db, insert, values...);
    ++report.rows;
  }
  template <class... Values>
  void Store(const NewRow& row, const Values&... values) {
    Add(db, row, values...);
    ++report.rows;
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
std::vector<std::string_view> WordsOf(std::string_view text);

extern const KindOfFile kValuesKind, kLimitsKind, kControlLimitsKind, kOpportunitiesKind,
    kRulesKind, kAlarmsKind, kGroupsKind, kRequirementsKind, kDefectsKind, kAccCodesKind,
    kCacCodesKind, kStateCodesKind, kPartsKind, kProcessesKind, kEventsKind, kStatesKind,
    kNetContentsKind, kFlagsKind, kCommentsKind;

}  // namespace orvspc::engine::import
