// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilitySvg.h"

#include <algorithm>
#include <cmath>

#include "host/render/chart/ChartLayout.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Svg.h"

namespace orvspc::render {

namespace {

constexpr double kLeft = 56.0, kRight = 640.0;       // of the plot
constexpr double kTable = 676.0, kTableEnd = 986.0;  // of the tables beside it
constexpr double kColumn = 86.0;                     // of a number in them
constexpr double kTableRow = 15.0, kTableGap = 9.0;
constexpr double kLeastPlot = 300.0;

// Colours differ in lightness too, so that the picture reads the same in black and white.
constexpr const char* kStyle =
    ".bar{fill:#c9dcec;stroke:#5b84a8;stroke-width:.7}"
    ".fit{fill:none;stroke:#222;stroke-width:1.7;stroke-linejoin:round}"
    ".sig{stroke:#888;stroke-width:.9;stroke-dasharray:3 3}"
    ".mean{stroke:#222;stroke-width:1.1}.b1{font-weight:bold}"
    ".halo{stroke:#fff;stroke-width:4;paint-order:stroke}";

double TableHeight(const CapabilityView& view) {
  double height = 0.0;
  for (const auto& table : view.tables)
    if (table.beside) height += kTableGap + kTableRow * static_cast<double>(table.rows.size() + 1);
  return height;
}

class Picture {
 public:
  Picture(const CapabilityView& view, bool embedded)
      : view_(view),
        embedded_(embedded),
        header_(embedded ? 2.0 : 48.0),
        top_(header_ + 40.0),
        bottom_(std::max(header_ + TableHeight(view) - 26.0, top_ + kLeastPlot)),
        range_(ValueRange(view)),
        most_(MostPieces(view) * 1.06),
        sheet_(view.title, Height(), embedded, kStyle) {}

  std::string Write() {
    if (!embedded_) {
      sheet_.Text(14, 22, "h", "start", FittingText(view_.title, 640));
      sheet_.Text(14, 38, "s", "start", FittingText(view_.subtitle, 960));
    }
    if (view_.Empty()) {
      sheet_.Text(14, header_ + 24, "t", "start", "No data selected");
      Notes(header_ + 46);
      return sheet_.Finished();
    }
    Axes();
    Bars();
    SigmaLines();
    Curve();
    Limits();
    SigmaNames();
    sheet_.Rectangle(kLeft, top_, kRight - kLeft, bottom_ - top_, "frame");
    Tables();
    Notes(bottom_ + 54);
    return sheet_.Finished();
  }

 private:
  // A page that shows the picture has the notes itself.
  double NotesHeight() const { return embedded_ ? 0.0 : SvgSheet::HeightOfNotes(view_.notes); }
  double Height() const {
    const double notes = NotesHeight();
    return view_.Empty() ? header_ + 40.0 + notes : bottom_ + 46.0 + notes;
  }

  double X(double value) const {
    return kLeft + (value - range_.low) / (range_.high - range_.low) * (kRight - kLeft);
  }
  double Y(double pieces) const { return bottom_ - pieces / most_ * (bottom_ - top_); }
  bool Shown(double value) const { return value >= range_.low && value <= range_.high; }

  void Axes() {
    for (const double pieces : PieceTicks()) {
      sheet_.Line(kLeft, Y(pieces), kRight, Y(pieces), "grid");
      sheet_.Text(kLeft - 6, Y(pieces) + 4, "s", "end", Fixed(pieces, 0));
    }
    sheet_.Add("<g transform=\"rotate(-90)\">");
    sheet_.Text(-(top_ + bottom_) / 2, 18, "s", "middle", "pieces");
    sheet_.Add("</g>\n");
    const Ticks ticks = RoundTicks(range_.low, range_.high, 8);
    for (const double value : ticks.values) {
      sheet_.Line(X(value), bottom_, X(value), bottom_ + 4, "tick");
      sheet_.Text(X(value), bottom_ + 17, "s", "middle", Fixed(value, ticks.decimals));
    }
    sheet_.Text((kLeft + kRight) / 2, bottom_ + 34, "s", "middle", view_.axis);
  }

  // Whole pieces only.
  std::vector<double> PieceTicks() const {
    std::vector<double> whole;
    for (const double value : RoundTicks(0.0, most_, 6).values)
      if (value == std::round(value)) whole.push_back(value);
    return whole;
  }

  void Bars() {
    for (const auto& bar : view_.bars) {
      if (!(bar.count > 0.0)) continue;
      std::string tip = Significant(bar.low, 7) + " to " + Significant(bar.high, 7) + ": " +
                        Fixed(bar.count, 0) + (bar.count == 1.0 ? " piece" : " pieces");
      if (std::isfinite(bar.expected)) tip += ", expected " + Significant(bar.expected, 4);
      // A bin without width is a line that is wide enough to be seen.
      const double width = std::max(X(bar.high) - X(bar.low), 2.0);
      sheet_.Rectangle(X(bar.low), Y(bar.count), width, bottom_ - Y(bar.count), "bar", tip);
    }
  }

  void Curve() {
    std::vector<std::pair<double, double>> line;
    for (const auto& [x, y] : view_.curve) {
      if (std::isfinite(x) && std::isfinite(y) && Shown(x)) {
        line.emplace_back(X(x), Y(y));
        continue;
      }
      sheet_.Path(line, "fit");
      line.clear();
    }
    sheet_.Path(line, "fit");
  }

  // The mean and 1, 2, 3 long-term sigmas on either side, where their names have room.
  struct SigmaMark {
    int sigmas;
    double x;
  };
  std::vector<SigmaMark> SigmaMarks() const {
    std::vector<SigmaMark> marks;
    if (!std::isfinite(view_.mean)) return marks;
    const double step = std::isfinite(view_.sigma) ? X(view_.sigma) - X(0.0) : 0.0;
    const int every = step >= 26.0 ? 1 : step >= 9.0 ? 3 : 4;
    for (int k = -3; k <= 3; ++k) {
      const double value = k == 0 ? view_.mean : view_.mean + k * view_.sigma;
      if (k % every == 0 && Shown(value)) marks.push_back({k, X(value)});
    }
    return marks;
  }

  void SigmaLines() {
    for (const auto& mark : SigmaMarks())
      sheet_.Line(mark.x, top_, mark.x, bottom_, mark.sigmas == 0 ? "mean" : "sig");
  }

  // Over the lines of limits, which go up to their own names.
  void SigmaNames() {
    for (const auto& mark : SigmaMarks()) {
      const std::string sign = mark.sigmas > 0 ? "+" : "\xE2\x88\x92";
      sheet_.Text(mark.x, top_ - 5, mark.sigmas == 0 ? "b1 halo" : "s halo", "middle",
                  mark.sigmas == 0 ? "x\xCC\x84"
                                   : sign + std::to_string(std::abs(mark.sigmas)) + "\xCF\x83");
    }
  }

  void Limits() {
    std::vector<Label> labels;
    double widest = 40.0;
    const auto add = [&](const std::vector<ValueMark>& marks, const char* style) {
      for (const auto& mark : marks) {
        std::string text = mark.text;
        if (Shown(mark.at)) {
          sheet_.Line(X(mark.at), top_ - 20, X(mark.at), bottom_, style);
        } else {
          text = mark.at < range_.low ? "\xE2\x86\x90 " + text : text + " \xE2\x86\x92";
        }
        widest = std::max(widest, kCharacter * static_cast<double>(Width(text)) + 6.0);
        labels.push_back({std::clamp(X(mark.at), kLeft, kRight), 0.0, text, "ls"});
      }
    };
    add(view_.limits, "spec");
    add(view_.targets, "tar");
    PushApart(labels, widest, kLeft + widest / 2 - 40.0, kRight - widest / 2 + 20.0);
    for (const auto& label : labels)
      sheet_.Text(label.at, top_ - 24, label.style.c_str(), "middle", label.text);
  }

  void Tables() {
    double y = header_ + 10.0;
    for (const auto& table : view_.tables) {
      if (!table.beside) continue;
      const std::size_t last = table.headings.size() - 1;
      const auto column = [&](std::size_t c) {
        return kTableEnd - kColumn * static_cast<double>(last - c);
      };
      sheet_.Text(kTable, y, "b1", "start", table.title);
      for (std::size_t c = 1; c <= last; ++c)
        if (table.headings[c].size() > 1)
          sheet_.Text(column(c), y, "s", "end", table.headings[c].substr(1));
      sheet_.Line(kTable, y + 4, kTableEnd, y + 4, "tick");
      for (const auto& row : table.rows) {
        y += kTableRow;
        sheet_.Text(kTable, y, "", "start", row[0]);
        for (std::size_t c = 1; c < row.size(); ++c)
          if (!row[c].empty()) sheet_.Text(column(c), y, "", "end", row[c]);
      }
      y += kTableRow + kTableGap;
    }
  }

  void Notes(double y) {
    if (!embedded_) sheet_.Notes(view_.notes, y);
  }

  const CapabilityView& view_;
  bool embedded_;
  double header_, top_, bottom_;
  Range range_;
  double most_;
  SvgSheet sheet_;
};

}  // namespace

std::string RenderCapabilitySvg(const CapabilityView& view, bool embedded) {
  return Picture(view, embedded).Write();
}

}  // namespace orvspc::render
