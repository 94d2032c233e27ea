// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Text.h"

// The states of processes along time, with events and subgroups, as a plain model that pictures are
// drawn from.
namespace orvspc::render {

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

// How a type of state is shown. In pictures it differs from the others in colour and, for readers
// without colours, in the height or the hatching of its bar.
struct StateLook {
  std::int32_t type;
  const char* word;    // null for a number without a word
  char letter;         // in a terminal
  const char* colour;  // ANSI
  const char* style;   // in pictures
  double height;       // share of the bar
};
const StateLook& LookOf(std::int32_t type);

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
Table TotalsTable(const StatesView& view);

// embedded: for use inside a page, without title line and notes.
Scene StatesScene(const StatesView& view, bool embedded = false);
inline std::string RenderStatesSvg(const StatesView& view, bool embedded = false) {
  return WriteSvg(StatesScene(view, embedded));
}
// The picture, the totals, each stay, the events.
std::string RenderStatesHtml(const StatesView& view);
std::string RenderStatesText(const StatesView& view, const TextOptions& options = {});

}  // namespace orvspc::render
