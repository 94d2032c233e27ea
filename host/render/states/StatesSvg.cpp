// SPDX-License-Identifier: Apache-2.0
// States as a picture: a lane for each process, events above its bar, subgroups below it.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Scene.h"
#include "host/render/events/Events.h"
#include "host/render/states/States.h"
#include "platform/Enumerations.h"

namespace orvspc::render {

namespace {

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

}  // namespace

Scene StatesScene(const StatesView& view, bool embedded) { return Picture(view, embedded).Draw(); }

}  // namespace orvspc::render
