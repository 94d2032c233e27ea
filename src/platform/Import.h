// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Actor.h"
#include "platform/Alarm.h"
#include "platform/ItemKind.h"
#include "platform/Reports.h"

namespace orvspc {

// The kinds of files that a quality database imports.
enum class ImportKind {
  Values,
  Limits,
  ControlLimits,
  Opportunities,
  Rules,
  Alarms,
  Groups,
  Requirements,
  Defects,
  AccCodes,
  CacCodes,
  StateCodes,
  Parts,
  Processes,
  Events,
  States,
  NetContents,
  Flags,
  Comments,
};

// A column of a kind of file. "descriptor:NAME" is any column whose name begins so.
struct ImportColumn {
  std::string_view name;
  bool required = false;  // an optional column may also have empty cells
  std::string_view help;  // one line
};

// A kind of file: its word on the command line, what it holds in one line, its columns.
struct ImportKindInfo {
  ImportKind kind;
  std::string_view word, summary;
  std::span<const ImportColumn> columns;
};

struct ImportOptions {
  // Skip columns with unknown names; otherwise such a file is refused.
  bool ignore_unknown = false;
  // Of values: how many (subgroup, test) are held before they are written. More need more memory,
  // fewer more time where the lines of a subgroup lie apart; what is stored is the same.
  std::size_t most_held = 32768;
  // Called now and then with bytes read and the size of the file.
  std::function<void(std::int64_t done, std::int64_t total)> progress = {};
  // How long to wait for other programs that write, unless as long as the setting says, and what is
  // called several times a second meanwhile; it must not throw.
  std::optional<std::chrono::milliseconds> patience = {};
  std::function<void()> waiting = {};
  // Refuse parts, processes and tests that the database lacks, instead of adding them.
  bool refuse_new_items = false;
  // For the log.
  Actor actor = {};
  std::string reason = {};
  // Also keep the SHA-256 of the file itself, which is read once more for that.
  bool hash_source = false;
};

// A part, process or test that an import added.
struct NewItem {
  ItemKind kind = ItemKind::Part;
  std::string name;
  std::string similar;  // one of before that differs in a letter at most; empty where none does
};

struct ImportReport {
  std::int64_t lines = 0;      // without the header
  std::int64_t subgroups = 0;  // new ones; 0 for other kinds than values
  std::int64_t rows = 0;       // test rows, limit rows, rules, alarms, members stored or changed
  std::int64_t new_names = 0;
  std::vector<NewItem> new_items;  // the first ten
  std::int64_t batch = 0;          // the number of this import
  // Lines that were stored and are worth a second look, the first twenty of them.
  std::vector<Note> notes;
  std::vector<Alarm> alarms;               // that values raised
  std::vector<std::int64_t> streams = {};  // that values came to, by their number in the database
};

}  // namespace orvspc
