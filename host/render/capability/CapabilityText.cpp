// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityText.h"

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

class Report {
 public:
  Report(const CapabilityView& view, const TextOptions& options)
      : view_(view), colour_(options.colour), width_(std::max<std::size_t>(options.columns, 60)) {}

  std::string Write() {
    Line(view_.title);
    if (!view_.subtitle.empty()) Line(view_.subtitle);
    if (view_.Empty()) {
      Line("no data selected");
    } else {
      Histogram();
      Tables();
    }
    for (const auto& note : view_.notes)
      Line("note: " + (note.stream.empty() ? "" : note.stream + ": ") + note.text);
    return out_;
  }

 private:
  void Line(const std::string& text) {
    const std::size_t end = text.find_last_not_of(' ');
    out_ += text.substr(0, end == std::string::npos ? 0 : end + 1) + "\n";
  }

  std::string Painted(const char* colour, const std::string& text) const {
    return colour_ && !text.empty() ? std::string(colour) + text + "\x1b[0m" : text;
  }

  // Where a value of the axis falls: the bin, or before the first and behind the last one.
  struct Place {
    bool before = false, behind = false;
    std::size_t bin = 0;
  };
  Place PlaceOf(double value) const {
    if (value < view_.bars.front().low) return {true, false, 0};
    for (std::size_t b = 0; b < view_.bars.size(); ++b)
      if (value < view_.bars[b].high || (b + 1 == view_.bars.size() && value == view_.bars[b].high))
        return {false, false, b};
    return {false, true, 0};
  }

  void Histogram() {
    std::vector<std::string> beside(view_.bars.size());
    std::string before, behind;
    const auto add = [&](double at, const std::string& text) {
      if (!std::isfinite(at)) return;
      const Place place = PlaceOf(at);
      std::string& target = place.before ? before : place.behind ? behind : beside[place.bin];
      target += (target.empty() ? "" : ", ") + text;
    };
    for (const auto* marks : {&view_.limits, &view_.targets})
      for (const auto& mark : *marks) add(mark.at, mark.text);
    add(view_.mean, "mean " + Fixed(view_.mean, view_.decimals));

    std::size_t label = 0, note = 0;
    for (const auto& bar : view_.bars)
      label = std::max(label, Width(Fixed(bar.low, view_.decimals)));
    for (const auto& text : beside) note = std::max(note, Width(text));
    const std::size_t fixed = label + 2 + 7 + 2 + (note == 0 ? 0 : note + 2);
    const std::size_t room = width_ > fixed + 10 ? width_ - fixed : 10;
    out_ += "\n";
    Line(Padded("from", label, true) + " " + Padded("pieces", 7, true));
    if (!before.empty()) Line(std::string(label + 9, ' ') + "  below: " + before);
    for (std::size_t b = 0; b < view_.bars.size(); ++b) {
      const auto& bar = view_.bars[b];
      Line(Padded(Fixed(bar.low, view_.decimals), label, true) + " " +
           Padded(Fixed(bar.count, 0), 7, true) + " |" + Bar(bar, room, !beside[b].empty()) +
           Painted("\x1b[35m", beside[b]));
    }
    if (!behind.empty()) Line(std::string(label + 9, ' ') + "  above: " + behind);
    bool curve = false;
    for (const auto& bar : view_.bars) curve = curve || std::isfinite(bar.expected);
    Line("\n# pieces" + std::string(curve ? "   * pieces expected by the fitted curve" : ""));
  }

  // Filled up to its room only where something follows.
  std::string Bar(const HistogramBar& bar, std::size_t room, bool filled) const {
    const double most = MostPieces(view_);
    const auto column = [&](double pieces) {
      return static_cast<std::size_t>(
          std::lround(std::clamp(pieces / most, 0.0, 1.0) * static_cast<double>(room - 1)));
    };
    std::size_t length = column(bar.count);
    if (bar.count > 0.0) length = std::max<std::size_t>(length, 1);
    std::string text(length, '#');
    std::size_t at = room;
    if (std::isfinite(bar.expected) && bar.expected >= 0.5) {
      at = column(bar.expected);
      if (text.size() <= at) text.resize(at + 1, ' ');
      text[at] = '*';
    }
    if (filled) text = Padded(text, room + 1);
    if (!colour_) return text;
    std::string painted;
    for (const char c : text)
      painted += c == '#'   ? Painted("\x1b[34m", "#")
                 : c == '*' ? Painted("\x1b[1;31m", "*")
                            : std::string(1, c);
    return painted;
  }

  void Tables() {
    for (const auto& table : view_.tables) {
      std::vector<std::size_t> widths(table.headings.size(), 0);
      widths[0] = std::max<std::size_t>(Width(table.title), 24);
      for (std::size_t c = 1; c < widths.size(); ++c)
        widths[c] = std::max<std::size_t>(Width(table.headings[c]) - 1, 11);
      for (const auto& row : table.rows)
        for (std::size_t c = 0; c < row.size(); ++c)
          widths[c] = std::max(widths[c], Width(row[c]) + (c == 0 ? 2 : 0));
      std::string line = Padded(table.title, widths[0]);
      for (std::size_t c = 1; c < widths.size(); ++c)
        line += "  " + Padded(table.headings[c].substr(1), widths[c], true);
      out_ += "\n";
      Line(line);
      for (const auto& row : table.rows) {
        line = Padded("  " + row[0], widths[0]);
        for (std::size_t c = 1; c < row.size(); ++c) line += "  " + Padded(row[c], widths[c], true);
        Line(line);
      }
    }
  }

  const CapabilityView& view_;
  bool colour_;
  std::size_t width_;
  std::string out_;
};

}  // namespace

std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options) {
  return Report(view, options).Write();
}

}  // namespace orvspc::render
