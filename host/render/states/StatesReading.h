// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/render/events/Events.h"
#include "host/render/states/StatesView.h"
#include "platform/PrcsStateLog.h"

// What a process-state analysis gave, read once into plain values.
namespace orvspc::render {

struct StateRow {
  std::int32_t prcs = 0, state = 0, type = 0;
  std::string name;
  std::int64_t time = 0;
};
std::vector<StateRow> ReadStateLog(platform::PrcsStateLog& log);

struct StatesDocument {
  std::shared_ptr<DataSelect> select;  // with the range that was really used
  bool has_log = false;                // false: there is no record at all
  std::vector<StateRow> log;           // by time, from the states in force at the start
  // Where more records follow in the range than were read: the time of the last one read, up to
  // which the states are known. By process; 0: of every process.
  std::map<std::int32_t, std::int64_t> cuts;
  std::vector<EventRow> events;
  SubgroupsRead subgroups;
  std::vector<Note> notes;
};

// As many records of a log as are read at once.
inline constexpr std::size_t kLogRecords = 10000;

// Adds the log of one process in the range of document.select, from the platform in force.
//
// before   the state in force at the start of the range; null where it is not known
// Returns  how many records lie in the range; with kLogRecords there may be more
std::size_t AddLog(StatesDocument& document, const std::shared_ptr<platform::Database>& database,
                   std::int32_t process, const StateRow* before);
// Once all logs were added: by time.
void SortLog(StatesDocument& document);

std::string StatesJson(const StatesDocument& document, const Names& names);
StatesView MakeStatesView(const StatesDocument& document, const Names& names);

// Whether a date bounds a range; those at the two ends of time stand for none.
bool IsGiven(double date);

// Start of the range as a stamp; of an open one the first thing that the document knows of.
std::int64_t StartOf(const StatesDocument& document);

}  // namespace orvspc::render
