// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/Capability.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kLeft = 56.0, kRight = 640.0;       // of the plot
constexpr double kTable = 676.0, kTableEnd = 986.0;  // of the tables beside it
constexpr double kColumn = 86.0;                     // of a number in them
constexpr double kTableRow = 15.0, kTableGap = 9.0;
constexpr double kMinPlot = 300.0;

// The most pieces that a bar or the curve shows, at least 1.
double MostPieces(const CapabilityView& view) {
  double most = 1.0;
  for (const auto& bar : view.bars)
    if (std::isfinite(bar.count)) most = std::max(most, bar.count);
  for (const auto& [x, y] : view.curve)
    if (std::isfinite(y)) most = std::max(most, y);
  return most;
}

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
        bottom_(std::max(header_ + TableHeight(view) - 26.0, top_ + kMinPlot)),
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
    const double end = view_.below ? view_.below(scene_, bottom_ + 48.0) : bottom_ + 54.0;
    scene_.height = scene_.Notes(end) - 8.0;
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

constexpr std::size_t kMinBar = 10;  // cells of the longest bar

// Where a value of the axis falls: its bin, or -1 before the first and the count after the last.
long BinOf(const std::vector<HistogramBar>& bars, double value) {
  const auto count = static_cast<long>(bars.size());
  if (value < bars.front().low) return -1;
  for (long b = 0; b < count; ++b)
    if (value < bars[static_cast<std::size_t>(b)].high) return b;
  return value == bars.back().high ? count - 1 : count;
}

// The bar, filled up to its room only where something follows.
std::string Bar(const TextWriter& out, const HistogramBar& bar, double most, std::size_t room,
                bool filled) {
  const auto column = [&](double pieces) {
    return static_cast<std::size_t>(
        std::lround(std::clamp(pieces / most, 0.0, 1.0) * static_cast<double>(room - 1)));
  };
  std::size_t length = std::isfinite(bar.count) ? column(bar.count) : 0;
  if (bar.count > 0.0) length = std::max<std::size_t>(length, 1);
  std::string text(length, '#');
  if (std::isfinite(bar.expected) && bar.expected >= 0.5) {
    const std::size_t at = column(bar.expected);
    if (text.size() <= at) text.resize(at + 1, ' ');
    text[at] = '*';
  }
  if (filled) text = Padded(text, room + 1);
  std::string painted;
  for (const char c : text)
    painted += out.InColour(c == '#' ? "\x1b[34m" : c == '*' ? "\x1b[1;31m" : nullptr, {c});
  return painted;
}

void WriteHistogram(TextWriter& out, const CapabilityView& view) {
  // Beside each bin, and with one more at both ends, the limits and the mean that lie there.
  std::vector<std::string> beside(view.bars.size() + 2);
  const auto add = [&](double at, const std::string& text) {
    if (!std::isfinite(at)) return;
    std::string& place = beside[static_cast<std::size_t>(BinOf(view.bars, at) + 1)];
    place += (place.empty() ? "" : ", ") + text;
  };
  for (const auto* marks : {&view.limits, &view.targets})
    for (const auto& mark : *marks) add(mark.at, mark.text);
  add(view.mean,
      "mean " + Fixed(view.mean, view.mean_decimals < 0 ? view.decimals : view.mean_decimals));

  std::size_t label = 0, note = 0;
  for (const auto& bar : view.bars) label = std::max(label, Width(Fixed(bar.low, view.decimals)));
  for (std::size_t b = 1; b + 1 < beside.size(); ++b) note = std::max(note, Width(beside[b]));
  // In a narrow terminal the notes are below their bars.
  const std::size_t head = label + 11;
  const bool below = head + note + 2 + kMinBar > out.Columns();
  const std::size_t room = out.Columns() - head - (note == 0 || below ? 0 : note + 2);
  const std::string indent(label + 9, ' ');
  const double most = MostPieces(view);
  out.Blank();
  out.Line(Padded("from", label, true) + " " + Padded("pieces", 7, true));
  if (!beside.front().empty()) out.Line(indent + "  below: " + beside.front(), label + 11);
  for (std::size_t b = 0; b < view.bars.size(); ++b) {
    const auto& bar = view.bars[b];
    const std::string& text = beside[b + 1];
    const bool follows = !text.empty() && !below;
    out.Painted(Padded(Fixed(bar.low, view.decimals), label, true) + " " +
                Padded(Fixed(bar.count, 0), 7, true) + " |" + Bar(out, bar, most, room, follows) +
                (follows ? out.InColour("\x1b[35m", text) : ""));
    if (below && !text.empty()) out.Line(indent + "  " + text, label + 11);
  }
  if (!beside.back().empty()) out.Line(indent + "  above: " + beside.back(), label + 11);
  const bool curve = std::ranges::any_of(
      view.bars, [](double expected) { return std::isfinite(expected); }, &HistogramBar::expected);
  out.Blank();
  out.Line(std::string("# pieces") + (curve ? "   * pieces expected by the fitted curve" : ""));
}

}  // namespace

std::string RenderCapabilitySvg(const CapabilityView& view, bool embedded) {
  return WriteSvg(Picture(view, embedded).Draw());
}

std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options) {
  TextWriter out(options);
  out.Head(view, view.Empty());
  if (!view.Empty()) WriteHistogram(out, view);
  for (const auto& table : view.tables) out.Section(table);
  out.Notes(view);
  return out.Take();
}

// The picture, the tables that are not beside it, and the bins.
std::string RenderCapabilityHtml(const CapabilityView& view) {
  Page page(view, Picture(view, true).Draw());
  for (const auto& table : view.tables)
    if (!table.beside) page.Write(table);
  Table bins{"Histogram", {"#from", "#to", "#pieces", "#expected"}};
  for (const auto& bar : view.bars)
    bins.rows.push_back({Fixed(bar.low, view.decimals), Fixed(bar.high, view.decimals),
                         Fixed(bar.count, 0), Significant(bar.expected, 4)});
  page.Write(bins);
  return page.Text();
}

}  // namespace orvspc::render
