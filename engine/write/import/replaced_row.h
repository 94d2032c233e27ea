// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/write/import/import_kind.h"

namespace orvspc::engine::import {

struct FigureColumn {
  const char* name;
  enum Type { kReal, kInt, kText } type = kReal;
};

// A table of rows that hold for a part and test, or also a process, from a time on. Of rows with
// one time the newest counts; of control limits, the newest for the same charts.
class DatedRows {
 public:
  // object: in the log, before the number of a row.
  DatedRows(const std::string& table, std::string object, std::vector<FigureColumn> figures);

  // Where the row that a line has just stored takes over from another one of its time with other
  // figures, the log gets an entry with those that differ. The former row is kept, so that no
  // reason is needed.
  void AddReplaced(ImportFile& file, const std::array<std::int32_t, 3>& version,
                   sql::Reference process = {}) const;

 private:
  std::string object_;
  std::vector<FigureColumn> figures_;
  std::string read_;
};

}  // namespace orvspc::engine::import
