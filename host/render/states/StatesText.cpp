// SPDX-License-Identifier: Apache-2.0
// States in a terminal: a line of letters for each process.
#include <algorithm>
#include <map>
#include <utility>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Words.h"
#include "host/render/states/States.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

constexpr StateLook kLooks[] = {
    {pst_None, '-', "\x1b[2m", "s0", 0.15},
    {pst_Start, 'S', "\x1b[36m", "s1", 0.8},
    {pst_Run, 'R', "\x1b[32m", "s2", 1.0},
    {pst_Pause, 'P', "\x1b[33m", "s3", 0.55},
    {pst_End, 'E', "\x1b[2m", "s4", 0.25},
    {pst_Idle, 'I', "\x1b[34m", "s5", 0.35},
    {pst_ScheduledDown, 'D', "\x1b[35m", "s6", 0.7},
    {pst_UnscheduledDown, 'U', "\x1b[1;31m", "s7", 1.0},
};
constexpr StateLook kOtherLook = {-1, '?', nullptr, "s0", 0.45};

Table TotalsTable(const StatesView& view) {
  Table table{"", {"process", "state", "type", "#stays", "#hours", "#percent"}, {}};
  for (const auto& total : StateTotals(view))
    table.rows.push_back({total.process, total.state, StateTypeWord(total.type),
                          std::to_string(total.stays), Fixed(total.hours, 2),
                          Fixed(total.percent, 1)});
  return table;
}

// A character for each stretch of time.
class Lines {
 public:
  Lines(const StatesView& view, const TextOptions& options)
      : view_(view), out_(options), colour_(options.colour) {
    for (const auto& lane : view.lanes) label_ = std::max(label_, Width(lane.process) + 2);
    label_ = std::min({label_, kMaxLabel, out_.Columns() / 3});
    cells_ = out_.Columns() - label_ - 1;
  }

  std::string Write() {
    if (view_.Empty()) {
      out_.Line("no data selected");
    } else {
      out_.Head(view_);
      out_.Blank();
      for (const auto& lane : view_.lanes) DrawLane(lane);
      Axis();
      Legend();
      Block(TotalsTable(view_));
      Block(view_.events);
    }
    out_.Notes(view_);
    return out_.Take();
  }

 private:
  std::int64_t StartOfCell(std::size_t cell) const {
    return view_.start + (view_.end - view_.start) * static_cast<std::int64_t>(cell) /
                             static_cast<std::int64_t>(cells_);
  }

  // The type that fills most of the time of each cell; -1: not known. The stays follow each other,
  // so each cell goes on where the one before ended.
  std::vector<std::int32_t> TypesOf(const Lane& lane) const {
    std::vector<std::int32_t> types;
    std::size_t first = 0;
    for (std::size_t cell = 0; cell < cells_; ++cell) {
      // A cell of less than a second shows its second.
      const std::int64_t start = StartOfCell(cell),
                         end = std::max(StartOfCell(cell + 1), start + 1);
      while (first < lane.stays.size() && lane.stays[first].end <= start) ++first;
      std::map<std::int32_t, std::int64_t> times;
      for (std::size_t s = first; s < lane.stays.size() && lane.stays[s].start < end; ++s) {
        const Stay& stay = lane.stays[s];
        times[stay.type] += std::min(stay.end, end) - std::max(stay.start, start);
      }
      const auto longest =
          std::max_element(times.begin(), times.end(),
                           [](const auto& a, const auto& b) { return a.second < b.second; });
      types.push_back(longest == times.end() ? -1 : longest->first);
    }
    return types;
  }

  void DrawLane(const Lane& lane) {
    // A name that is too long has a line of its own.
    const bool fits = Width(lane.process) < label_;
    if (!fits) out_.Line(lane.process);
    std::string line = Padded(fits ? lane.process : "", label_);
    const char* colour = nullptr;
    for (const std::int32_t type : TypesOf(lane)) {
      const StateLook& look = LookOf(type);
      const char* wanted = colour_ ? look.colour : nullptr;
      if (wanted != colour) {
        if (colour) line += "\x1b[0m";
        if (wanted) line += wanted;
        colour = wanted;
      }
      line += type != -1 ? look.letter : lane.is_process ? '.' : ' ';
    }
    out_.Painted(colour ? line + "\x1b[0m" : line);
    std::string marks(cells_, ' ');
    for (const auto& event : lane.events) {
      if (event.time < view_.start || event.time > view_.end) continue;
      const auto cell =
          static_cast<std::size_t>((event.time - view_.start) * static_cast<std::int64_t>(cells_) /
                                   (view_.end - view_.start));
      char& mark = marks[std::min(cell, cells_ - 1)];
      mark = mark == ' ' ? (event.open ? '!' : '^') : '*';
    }
    if (marks.find_first_not_of(' ') != std::string::npos)
      out_.Line(std::string(label_, ' ') + marks);
  }

  void Axis() {
    const std::string first = IsoTime(view_.start), last = IsoTime(view_.end);
    const std::string start = std::string(label_, ' ') + first;
    if (first.size() + last.size() < cells_) {
      out_.Line(start + Padded(last, cells_ - first.size(), true));
    } else {
      out_.Line(start);
      out_.Line(Padded(last, label_ + cells_, true));
    }
  }

  void Legend() {
    std::string text;
    bool events = false;
    std::map<std::int32_t, bool> seen;
    for (const auto& lane : view_.lanes) {
      for (const auto& stay : lane.stays) seen[stay.type] = true;
      events = events || !lane.events.empty();
    }
    for (const auto& look : kLooks)
      if (seen.contains(look.type))
        text += std::string(1, look.letter) + " " + StateTypeWord(look.type) + ", ";
    text += ". not known";
    if (events) text += ", ^ event, ! open event, * several";
    out_.Line(text, 0);
  }

  void Block(const Table& table) {
    if (table.rows.empty()) return;
    out_.Blank();
    out_.Write(table);
  }

  static constexpr std::size_t kMaxLabel = 24;
  const StatesView& view_;
  TextWriter out_;
  bool colour_;
  std::size_t label_ = 10, cells_ = 0;
};

}  // namespace

const StateLook& LookOf(std::int32_t type) {
  for (const auto& look : kLooks)
    if (look.type == type) return look;
  return kOtherLook;
}

std::string StateTypeWord(std::int32_t type) {
  return WordOrNumber(platform::kStateTypes, type, "type ");
}

std::vector<StateTotal> StateTotals(const StatesView& view) {
  std::vector<StateTotal> totals;
  for (const auto& lane : view.lanes) {
    std::map<std::pair<std::int32_t, std::string>, StateTotal> states;
    double known = 0.0;
    for (const auto& stay : lane.stays) {
      auto& total =
          states
              .try_emplace({stay.type, stay.state}, StateTotal{lane.process, stay.state, stay.type})
              .first->second;
      const double hours = static_cast<double>(stay.end - stay.start) / 3600.0;
      total.hours += hours;
      known += hours;
      ++total.stays;
    }
    for (auto& [key, total] : states) {
      total.percent = known > 0.0 ? 100.0 * total.hours / known : 0.0;
      totals.push_back(total);
    }
  }
  return totals;
}

std::string RenderStatesText(const StatesView& view, const TextOptions& options) {
  return Lines(view, options).Write();
}

std::string RenderStatesHtml(const StatesView& view) {
  constexpr std::size_t kMaxStays = 1000;
  Table events{"Events", {"@time (UTC)", "process", "event"}};
  Table stays{"Stays", {"process", "@from (UTC)", "@to (UTC)", "#minutes", "state", "type"}};
  std::size_t more = 0;
  for (const auto& lane : view.lanes) {
    for (const auto& event : lane.events)
      events.rows.push_back({IsoTime(event.time), lane.process, event.text});
    for (const auto& stay : lane.stays) {
      if (stays.rows.size() == kMaxStays) {
        ++more;
        continue;
      }
      stays.rows.push_back({lane.process, IsoTime(stay.start), IsoTime(stay.end),
                            Fixed(static_cast<double>(stay.end - stay.start) / 60.0, 1), stay.state,
                            StateTypeWord(stay.type)});
    }
  }
  std::stable_sort(events.rows.begin(), events.rows.end(),
                   [](const auto& a, const auto& b) { return a[0] < b[0]; });
  Table totals = TotalsTable(view);
  totals.title = "Time in each state";
  Page page(view, StatesScene(view, true));
  page.Write(totals);
  page.Write(events);
  page.Write(stays, more);
  return page.Text();
}

}  // namespace orvspc::render
