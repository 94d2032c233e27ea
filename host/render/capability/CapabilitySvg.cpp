// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/Capability.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kLeft = 56.0, kRight = 640.0;       // of the plot
constexpr double kTable = 676.0, kTableEnd = 986.0;  // of the tables beside it
constexpr double kColumn = 86.0;                     // of a number in them
constexpr double kTableRow = 15.0, kTableGap = 9.0;
constexpr double kLeastPlot = 300.0;

double TableHeight(const CapabilityView& view) {
  double height = 0.0;
  for (const auto& table : view.tables)
    if (table.beside) height += kTableGap + kTableRow * static_cast<double>(table.rows.size() + 1);
  return height;
}

// "x-bar" for the mean, "+2 sigma", with their letters.
std::string SigmaName(int sigmas) {
  if (sigmas == 0) return "x\xCC\x84";
  return (sigmas > 0 ? "+" : "\xE2\x88\x92") + std::to_string(std::abs(sigmas)) + "\xCF\x83";
}

class Picture {
 public:
  Picture(const CapabilityView& view, bool embedded)
      : view_(view),
        scene_(view, embedded, "capability"),
        header_(embedded ? 2.0 : 48.0),
        top_(header_ + 40.0),
        bottom_(std::max(header_ + TableHeight(view) - 26.0, top_ + kLeastPlot)),
        range_(ValueRange(view)),
        most_(MostPieces(view) * 1.06) {}

  Scene Draw() {
    if (view_.Empty()) {
      scene_.NoData(header_ + 24);
      scene_.height = scene_.Notes(header_ + 46) - 6.0;
      return std::move(scene_);
    }
    Axes();
    Bars();
    const auto sigmas = SigmaMarks();
    for (const auto& [k, x] : sigmas) scene_.Line(x, top_, x, bottom_, k == 0 ? "mean" : "sig");
    Curve();
    Limits();
    // Over the lines of limits, which go up to their own names.
    for (const auto& [k, x] : sigmas)
      scene_.Text(x, top_ - 5, k == 0 ? "b1 halo" : "s halo", Anchor::Middle, SigmaName(k));
    scene_.Rectangle(kLeft, top_, kRight - kLeft, bottom_ - top_, "frame");
    Tables();
    scene_.height = scene_.Notes(bottom_ + 54) - 8.0;
    return std::move(scene_);
  }

 private:
  double X(double value) const {
    return kLeft + (value - range_.low) / (range_.high - range_.low) * (kRight - kLeft);
  }
  double Y(double pieces) const { return bottom_ - pieces / most_ * (bottom_ - top_); }
  bool Shown(double value) const { return value >= range_.low && value <= range_.high; }

  void Axes() {
    for (const double pieces : RoundTicks(0.0, most_, 6).values) {
      if (pieces != std::round(pieces)) continue;
      scene_.Line(kLeft, Y(pieces), kRight, Y(pieces), "grid");
      scene_.Text(kLeft - 6, Y(pieces) + 4, "s", Anchor::End, Fixed(pieces, 0));
    }
    scene_.Text(18, (top_ + bottom_) / 2, "s", Anchor::Middle, "pieces", Turn::Up);
    const Ticks ticks = RoundTicks(range_.low, range_.high, 8);
    for (const double value : ticks.values) {
      scene_.Line(X(value), bottom_, X(value), bottom_ + 4, "tick");
      scene_.Text(X(value), bottom_ + 17, "s", Anchor::Middle, Fixed(value, ticks.decimals));
    }
    scene_.Text((kLeft + kRight) / 2, bottom_ + 34, "s", Anchor::Middle, view_.axis);
  }

  void Bars() {
    for (const auto& bar : view_.bars) {
      if (!(bar.count > 0.0)) continue;
      std::string tip =
          fmt::format("{} to {}: {} {}", Significant(bar.low, 7), Significant(bar.high, 7),
                      Fixed(bar.count, 0), bar.count == 1.0 ? "piece" : "pieces");
      if (std::isfinite(bar.expected)) tip += ", expected " + Significant(bar.expected, 4);
      // A bin without width is a line that is wide enough to be seen.
      const double width = std::max(X(bar.high) - X(bar.low), 2.0);
      scene_.Rectangle(X(bar.low), Y(bar.count), width, bottom_ - Y(bar.count), "bar", tip);
    }
  }

  void Curve() {
    Polyline line;
    for (const auto& [x, y] : view_.curve) {
      if (std::isfinite(x) && std::isfinite(y) && Shown(x)) {
        line.emplace_back(X(x), Y(y));
      } else {
        scene_.Path(line, "fit");
        line.clear();
      }
    }
    scene_.Path(line, "fit");
  }

  // The mean and 1, 2, 3 long-term sigmas on either side, where their names have room.
  std::vector<std::pair<int, double>> SigmaMarks() const {
    std::vector<std::pair<int, double>> marks;
    const double step = std::isfinite(view_.sigma) ? X(view_.sigma) - X(0.0) : 0.0;
    const int every = step >= 26.0 ? 1 : step >= 9.0 ? 3 : 4;
    for (int k = -3; k <= 3; ++k) {
      const double value = k == 0 ? view_.mean : view_.mean + k * view_.sigma;
      if (k % every == 0 && Shown(value)) marks.emplace_back(k, X(value));
    }
    return marks;
  }

  void Limits() {
    std::vector<Label> labels;
    double widest = 40.0;
    const auto add = [&](const std::vector<ValueMark>& marks, const char* style) {
      for (const auto& mark : marks) {
        std::string text = mark.text;
        if (Shown(mark.at)) {
          scene_.Line(X(mark.at), top_ - 20, X(mark.at), bottom_, style);
        } else {
          text = mark.at < range_.low ? "\xE2\x86\x90 " + text : text + " \xE2\x86\x92";
        }
        widest = std::max(widest, WidthOf(text) + 6.0);
        labels.push_back({std::clamp(X(mark.at), kLeft, kRight), 0.0, text, "ls"});
      }
    };
    add(view_.limits, "spec");
    add(view_.targets, "tar");
    PushApart(labels, widest, kLeft + widest / 2 - 40.0, kRight - widest / 2 + 20.0);
    for (const auto& label : labels)
      scene_.Text(label.at, top_ - 24, label.style, Anchor::Middle, label.text);
  }

  void Tables() {
    double y = header_ + 10.0;
    for (const auto& table : view_.tables) {
      if (!table.beside) continue;
      const std::size_t last = table.headings.size() - 1;
      const auto column = [&](std::size_t c) {
        return kTableEnd - kColumn * static_cast<double>(last - c);
      };
      scene_.Text(kTable, y, "b1", Anchor::Start, table.title);
      for (std::size_t c = 1; c <= last; ++c)
        if (table.headings[c].size() > 1)
          scene_.Text(column(c), y, "s", Anchor::End, table.headings[c].substr(1));
      scene_.Line(kTable, y + 4, kTableEnd, y + 4, "tick");
      for (const auto& row : table.rows) {
        y += kTableRow;
        scene_.Text(kTable, y, "", Anchor::Start, row[0]);
        for (std::size_t c = 1; c < row.size(); ++c)
          if (!row[c].empty()) scene_.Text(column(c), y, "", Anchor::End, row[c]);
      }
      y += kTableRow + kTableGap;
    }
  }

  const CapabilityView& view_;
  Scene scene_;
  double header_, top_, bottom_;
  Range range_;
  double most_;
};

}  // namespace

Scene CapabilityScene(const CapabilityView& view, bool embedded) {
  return Picture(view, embedded).Draw();
}

}  // namespace orvspc::render
