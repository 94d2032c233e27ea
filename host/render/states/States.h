// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/events/Events.h"
#include "platform/PrcsStateLog.h"

// States of processes along time, with events and subgroups: what an analysis gives, read once into
// plain values, and how it is shown.
namespace orvspc::render {

struct StateRow {
  std::int32_t prcs = 0, state = 0, type = 0;
  std::string name;
  std::int64_t time = 0;
};

struct StatesDocument {
  std::shared_ptr<DataSelect> select;  // with the range that was really used
  bool has_log = false;                // false: there is no record at all
  std::vector<StateRow> log;           // by time, from the states in force at the start
  // Where more records follow in the range than were read: the time of the last one read, up to
  // which the states are known. By process.
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
// Once all logs are added: by time.
void SortLog(StatesDocument& document);

// Whether a date bounds a range; those at the two ends of time mean none.
bool IsGiven(double date);

std::string StatesJson(const StatesDocument& document, const Names& names);

// A process stays in a state from start to end, stamps.
struct Stay {
  std::int64_t start = 0, end = 0;
  std::int32_t type = 0;  // ProcessStateTypes
  std::string state;
};

struct LaneEvent {
  std::int64_t time = 0;
  std::int32_t type = 0;  // EventTypes
  bool open = false;
  std::string text;  // type, name and codes
};

struct Lane {
  std::string process;
  bool is_process = true;   // false: what belongs to none
  std::vector<Stay> stays;  // ascending; a gap: not known
  std::vector<LaneEvent> events;
  std::vector<std::int64_t> subgroups;
};

struct StatesView : View {
  std::int64_t start = 0, end = 0;  // of the time axis
  std::vector<Lane> lanes;
  Table events;  // for texts: all of them by time

  bool Empty() const { return lanes.empty(); }
};
StatesView MakeStatesView(const StatesDocument& document, const Names& names);

// "scheduled-down", as import files say it; "type 9" for a number without a word.
std::string StateTypeWord(std::int32_t type);

// How long each process was in each state, states by name.
struct StateTotal {
  std::string process, state;
  std::int32_t type = 0;
  std::size_t stays = 0;
  double hours = 0.0;
  double percent = 0.0;  // of the time whose state is known
};
std::vector<StateTotal> StateTotals(const StatesView& view);

// embedded: for use inside a page, without title line and notes.
std::string RenderStatesSvg(const StatesView& view, bool embedded = false);
// The picture, the totals, each stay, the events.
std::string RenderStatesHtml(const StatesView& view);
std::string RenderStatesText(const StatesView& view, const TextOptions& options = {});

}  // namespace orvspc::render
