// SPDX-License-Identifier: Apache-2.0
#include "host/render/states/States.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Words.h"
#include "host/render/events/Events.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

// How a type of state is shown. In pictures it differs from the others in colour and, for readers
// without colours, in the height or the hatching of its bar.
struct StateLook {
  std::int32_t type;
  char letter;         // in a terminal
  const char* colour;  // ANSI
  const char* style;   // in pictures
  double height;       // share of the bar
};
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

const StateLook& LookOf(std::int32_t type) {
  for (const auto& look : kLooks)
    if (look.type == type) return look;
  return kOtherLook;
}

constexpr double kLeft = 150.0, kRight = 984.0;
constexpr double kBar = 24.0;      // height of a lane's bar
constexpr double kLevel = 11.0;    // of a row of event symbols
constexpr double kOutlined = 2.0;  // least width of a bar with an outline
constexpr int kLevels = 3;         // rows of symbols at most

std::string Duration(std::int64_t seconds) {
  const std::int64_t minutes = (seconds + 30) / 60;
  if (minutes < 60) return std::to_string(minutes) + " min";
  return fmt::format("{} h {} min", minutes / 60, minutes % 60);
}

SymbolShape Symbol(std::int32_t type, bool open, double x, double y, const std::string& tip = {}) {
  return {{open ? "pu" : "p", type - 1, true, 3.6}, x, y, tip};
}

// A lane for each process, events above its bar, subgroups below it.
class Picture {
 public:
  Picture(const StatesView& view, bool embedded) : view_(view), scene_(view, embedded, "states") {}

  Scene Draw() {
    double y = scene_.embedded ? 8.0 : 52.0;
    if (view_.Empty()) {
      scene_.NoData(y + 16);
      y += 40.0;
    } else {
      const double top = y;
      for (const auto& lane : view_.lanes) y = DrawLane(lane, y);
      Axis(top, y);
      y = Legend(y + (view_.end - view_.start < 120 ? 60.0 : 44.0));
    }
    scene_.height = scene_.Notes(y) + 4.0;
    return std::move(scene_);
  }

 private:
  double X(std::int64_t stamp) const {
    return kLeft + (kRight - kLeft) * static_cast<double>(stamp - view_.start) /
                       static_cast<double>(view_.end - view_.start);
  }

  // For each event its row above the bar, 0 the lowest; those beyond the last share it.
  std::vector<int> Levels(const Lane& lane) const {
    std::vector<int> levels;
    double ends[kLevels] = {-1e9, -1e9, -1e9};
    for (const auto& event : lane.events) {
      int level = 0;
      while (level + 1 < kLevels && ends[level] > X(event.time) - 9.0) ++level;
      ends[level] = X(event.time);
      levels.push_back(level);
    }
    return levels;
  }

  // Returns where the next lane begins.
  double DrawLane(const Lane& lane, double y) {
    const auto levels = Levels(lane);
    const double highest = levels.empty() ? -1.0 : *std::max_element(levels.begin(), levels.end());
    const double bar = y + 6.0 + kLevel * (highest + 1.0);
    if (lane.is_process) scene_.Rectangle(kLeft, bar, kRight - kLeft, kBar, "lane");
    scene_.Text(kLeft - 8, bar + kBar / 2 + 4, "t", Anchor::End,
                FittingText(lane.process, (kLeft - 22.0) * 0.85));
    for (const auto& stay : lane.stays) DrawStay(lane, stay, bar);
    for (const std::int64_t stamp : lane.subgroups)
      if (stamp >= view_.start && stamp <= view_.end)
        scene_.Line(X(stamp), bar + kBar + 2, X(stamp), bar + kBar + 7, "sg");
    for (std::size_t i = 0; i < lane.events.size(); ++i) {
      const auto& event = lane.events[i];
      if (event.time < view_.start || event.time > view_.end) continue;
      scene_.Add(Symbol(event.type, event.open, X(event.time), bar - 6.0 - kLevel * levels[i],
                        IsoTime(event.time) + "  " + event.text));
    }
    return bar + kBar + 12.0;
  }

  void DrawStay(const Lane& lane, const Stay& stay, double bar) {
    const StateLook& look = LookOf(stay.type);
    const double height = kBar * look.height, x = X(stay.start), width = X(stay.end) - x;
    // The outline of a narrow bar would cover it.
    const std::string style = std::string(look.style) + (width < kOutlined ? " n" : "");
    scene_.Rectangle(
        x, bar + kBar - height, std::max(width, 0.4), height, style,
        fmt::format("{}: {} ({}), {} to {}, {}", lane.process, stay.state, StateTypeWord(stay.type),
                    IsoTime(stay.start), IsoTime(stay.end), Duration(stay.end - stay.start)));
    const bool dark = stay.type == pst_Run;
    const bool plain = dark || stay.type == pst_Start || stay.type == pst_Pause;
    if (plain && WidthOf(stay.state) + 8.0 < width)
      scene_.Text(x + width / 2, bar + kBar - height / 2 + 4, dark ? "w" : "", Anchor::Middle,
                  stay.state);
  }

  void Axis(double top, double bottom) {
    const TimeTicks times = RoundTimes(view_.start, view_.end, 10);
    for (const std::int64_t day : times.days) scene_.Line(X(day), top, X(day), bottom, "b");
    scene_.Line(kLeft, bottom, kRight, bottom, "tick");
    for (const auto& [stamp, text] : times.ticks) {
      scene_.Line(X(stamp), bottom, X(stamp), bottom + 4, "tick");
      scene_.Text(X(stamp), bottom + 17, "s", Anchor::Middle, text);
    }
    scene_.Text(14, bottom + 17, "s", Anchor::Start, "time (UTC)");
    if (times.ticks.size() < 2)
      scene_.Text(kLeft, bottom + 32, "s", Anchor::Start,
                  IsoTime(view_.start) + " to " + IsoTime(view_.end));
  }

  // A row of samples with their words; returns the y below.
  double Legend(double y) {
    std::map<std::int32_t, double> hours;
    std::map<std::pair<std::int32_t, bool>, std::size_t> events;
    bool subgroups = false;
    for (const auto& lane : view_.lanes) {
      for (const auto& stay : lane.stays)
        hours[stay.type] += static_cast<double>(stay.end - stay.start) / 3600.0;
      for (const auto& event : lane.events) ++events[{event.type, event.open}];
      subgroups = subgroups || !lane.subgroups.empty();
    }
    double x = 14.0;
    const auto entry = [&](const std::string& text, auto&& sample) {
      const double width = 24.0 + WidthOf(text) + 14.0;
      if (x + width > 990.0) {
        x = 14.0;
        y += 18.0;
      }
      sample(x, y);
      scene_.Text(x + 22, y, "s", Anchor::Start, text);
      x += width;
    };
    for (const auto& [type, sum] : hours) {
      const StateLook& look = LookOf(type);
      entry(StateTypeWord(type) + " " + Fixed(sum, 1) + " h", [&](double at, double line) {
        const double height = 12.0 * look.height;
        scene_.Rectangle(at, line + 1.0 - height, 16, height, look.style);
      });
    }
    x = 14.0;
    if (!hours.empty()) y += 18.0;
    for (const auto& [key, count] : events)
      entry(EventTypeWord(key.first) + (key.second ? ", open" : "") + " (" + std::to_string(count) +
                ")",
            [&, each = key](double at, double line) {
              scene_.Add(Symbol(each.first, each.second, at + 8, line - 4));
            });
    if (subgroups)
      entry("a subgroup",
            [&](double at, double line) { scene_.Line(at + 8, line - 7, at + 8, line - 2, "sg"); });
    entry("not known",
          [&](double at, double line) { scene_.Rectangle(at, line - 11.0, 16, 12, "lane frame"); });
    return y + 16.0;
  }

  const StatesView& view_;
  Scene scene_;
};

Table TotalsTable(const StatesView& view) {
  Table table{"", {"process", "state", "type", "#stays", "#hours", "#percent"}, {}};
  for (const auto& total : StateTotals(view))
    table.rows.push_back({total.process, total.state, StateTypeWord(total.type),
                          std::to_string(total.stays), Fixed(total.hours, 2),
                          Fixed(total.percent, 1)});
  return table;
}

// A line of letters for each process, one for each stretch of time.
class Lines {
 public:
  Lines(const StatesView& view, const TextOptions& options) : view_(view), out_(options) {
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
      out_.Section(TotalsTable(view_));
      out_.Section(view_.events);
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
    std::string line = Padded(fits ? lane.process : "", label_), run;
    const char* colour = nullptr;
    for (const std::int32_t type : TypesOf(lane)) {
      const StateLook& look = LookOf(type);
      if (look.colour != colour) {
        line += out_.InColour(colour, std::exchange(run, {}));
        colour = look.colour;
      }
      run += type != -1 ? look.letter : lane.is_process ? '.' : ' ';
    }
    out_.Painted(line + out_.InColour(colour, run));
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

  static constexpr std::size_t kMaxLabel = 24;
  const StatesView& view_;
  TextWriter out_;
  std::size_t label_ = 10, cells_ = 0;
};

}  // namespace

std::string RenderStatesSvg(const StatesView& view, bool embedded) {
  return WriteSvg(Picture(view, embedded).Draw());
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
  Page page(view, Picture(view, true).Draw());
  page.Write(totals);
  page.Write(events);
  page.Write(stays, more);
  return page.Text();
}

}  // namespace orvspc::render
