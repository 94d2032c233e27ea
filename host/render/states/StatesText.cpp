// SPDX-License-Identifier: Apache-2.0
// States in a terminal: a line of letters for each process.
#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/states/StatesView.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

struct TypeLook {
  std::int32_t type;
  const char* word;
  char letter;
  const char* colour;  // ANSI
};
constexpr TypeLook kTypes[] = {
    {pst_None, "none", '-', "\x1b[2m"},
    {pst_Start, "start", 'S', "\x1b[36m"},
    {pst_Run, "run", 'R', "\x1b[32m"},
    {pst_Pause, "pause", 'P', "\x1b[33m"},
    {pst_End, "end", 'E', "\x1b[2m"},
    {pst_Idle, "idle", 'I', "\x1b[34m"},
    {pst_ScheduledDown, "scheduled-down", 'D', "\x1b[35m"},
    {pst_UnscheduledDown, "unscheduled-down", 'U', "\x1b[1;31m"},
};

const TypeLook* LookOf(std::int32_t type) {
  const auto found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                  [type](const TypeLook& look) { return look.type == type; });
  return found == std::end(kTypes) ? nullptr : found;
}

class Text {
 public:
  Text(const StatesView& view, const TextOptions& options) : view_(view), options_(options) {
    const std::size_t width = std::max<std::size_t>(options.columns, 60);
    for (const auto& lane : view.lanes) label_ = std::max(label_, Width(lane.process) + 2);
    label_ = std::min<std::size_t>(label_, 24);
    cells_ = width - label_ - 1;
  }

  std::string Write() {
    if (view_.Empty()) {
      out_ = "no data selected\n";
    } else {
      out_ = view_.title + "\n" + view_.subtitle + "\n\n";
      for (const auto& lane : view_.lanes) DrawLane(lane);
      Axis();
      Legend();
      Totals();
      if (!view_.events.empty()) out_ += "\n" + view_.events;
    }
    for (const auto& note : view_.notes)
      out_ += "note: " + (note.stream.empty() ? "" : note.stream + ": ") + note.text + "\n";
    return out_;
  }

 private:
  std::int64_t StartOfCell(std::size_t cell) const {
    return view_.start + (view_.end - view_.start) * static_cast<std::int64_t>(cell) /
                             static_cast<std::int64_t>(cells_);
  }

  // The type that fills most of the time of a cell; -1: not known.
  std::int32_t TypeOfCell(const Lane& lane, std::size_t cell) const {
    // A cell of less than a second shows its second.
    const std::int64_t start = StartOfCell(cell), end = std::max(StartOfCell(cell + 1), start + 1);
    std::map<std::int32_t, std::int64_t> times;
    for (const auto& stay : lane.stays) {
      const std::int64_t time = std::min(stay.end, end) - std::max(stay.start, start);
      if (time > 0) times[stay.type] += time;
    }
    std::int32_t type = -1;
    std::int64_t longest = 0;
    for (const auto& [each, time] : times)
      if (time > longest) std::tie(type, longest) = std::pair(each, time);
    return type;
  }

  void DrawLane(const Lane& lane) {
    out_ += Padded(lane.process, label_ - 1) + " ";
    const char* colour = nullptr;
    for (std::size_t cell = 0; cell < cells_; ++cell) {
      const std::int32_t type = TypeOfCell(lane, cell);
      const TypeLook* look = LookOf(type);
      const char* wanted = options_.colour && look ? look->colour : nullptr;
      if (wanted != colour) {
        if (colour) out_ += "\x1b[0m";
        if (wanted) out_ += wanted;
        colour = wanted;
      }
      out_ += look ? look->letter : type != -1 ? '?' : lane.is_process ? '.' : ' ';
    }
    if (colour) out_ += "\x1b[0m";
    out_ += "\n";
    if (lane.events.empty()) return;
    std::string marks(cells_, ' ');
    for (const auto& event : lane.events) {
      if (event.time < view_.start || event.time > view_.end) continue;
      auto cell =
          static_cast<std::size_t>((event.time - view_.start) * static_cast<std::int64_t>(cells_) /
                                   (view_.end - view_.start));
      char& mark = marks[std::min(cell, cells_ - 1)];
      mark = mark == ' ' ? (event.open ? '!' : '^') : '*';
    }
    marks.erase(marks.find_last_not_of(' ') + 1);
    if (!marks.empty()) out_ += std::string(label_, ' ') + marks + "\n";
  }

  void Axis() {
    const std::string first = IsoTime(view_.start), last = IsoTime(view_.end);
    out_ += std::string(label_, ' ') + first;
    const std::size_t used = first.size() + last.size();
    out_ += std::string(cells_ > used ? cells_ - used : 1, ' ') + last + "\n";
  }

  void Legend() {
    std::string text;
    bool events = false, open = false;
    std::map<std::int32_t, bool> seen;
    for (const auto& lane : view_.lanes) {
      for (const auto& stay : lane.stays) seen[stay.type] = true;
      for (const auto& event : lane.events) (event.open ? open : events) = true;
    }
    for (const auto& look : kTypes)
      if (seen.contains(look.type))
        text += std::string(text.empty() ? "" : ", ") + look.letter + " " + look.word;
    text += std::string(text.empty() ? "" : ", ") + ". not known";
    if (events || open) text += ", ^ event, ! open event, * several";
    out_ += text + "\n";
  }

  void Totals() {
    const auto totals = StateTotals(view_);
    if (totals.empty()) return;
    out_ += "\n" + Padded("process", label_) + Padded("state", 26) + Padded("type", 18) +
            Padded("stays", 6, true) + Padded("hours", 10, true) + Padded("percent", 9, true) +
            "\n";
    for (const auto& total : totals)
      out_ += Padded(total.process, label_ - 1) + " " + Padded(total.state, 25) + " " +
              Padded(StateTypeWord(total.type), 18) + Padded(std::to_string(total.stays), 6, true) +
              Padded(Fixed(total.hours, 2), 10, true) + Padded(Fixed(total.percent, 1), 9, true) +
              "\n";
  }

  const StatesView& view_;
  const TextOptions& options_;
  std::size_t label_ = 10, cells_ = 0;
  std::string out_;
};

}  // namespace

std::string StateTypeWord(std::int32_t type) {
  const TypeLook* look = LookOf(type);
  return look ? look->word : "type " + std::to_string(type);
}

std::vector<StateTotal> StateTotals(const StatesView& view) {
  std::vector<StateTotal> totals;
  for (const auto& lane : view.lanes) {
    std::map<std::pair<std::int32_t, std::string>, StateTotal> states;
    double known = 0.0;
    for (const auto& stay : lane.stays) {
      auto& total = states[{stay.type, stay.state}];
      const double hours = static_cast<double>(stay.end - stay.start) / 3600.0;
      total.hours += hours;
      known += hours;
      ++total.stays;
    }
    for (auto& [key, total] : states) {
      total.process = lane.process;
      total.type = key.first;
      total.state = key.second;
      total.percent = known > 0.0 ? 100.0 * total.hours / known : 0.0;
      totals.push_back(total);
    }
  }
  return totals;
}

std::string RenderStatesText(const StatesView& view, const TextOptions& options) {
  return Text(view, options).Write();
}

}  // namespace orvspc::render
