// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/Pareto.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

constexpr double kLeft = 76.0, kRight = 934.0;
constexpr double kHeight = 330.0;   // of the plot
constexpr double kHeadroom = 1.05;  // above the highest that an axis shows
constexpr double kLineHeight = 13.0;
constexpr double kGroupGap = 0.5;     // between groups, in bars
constexpr double kTurned = 122.0;     // most height of turned names
constexpr std::size_t kMaxLines = 3;  // of a name below its bar
// Below this share of the highest bar the axes are not tied: bars would be too low to
// differ visibly.
constexpr double kTiedShare = 12.0;

// Broken at blanks into lines of so many characters; empty when they do not suffice.
std::vector<std::string> Lines(const std::string& text, std::size_t width, std::size_t most) {
  std::istringstream words(text);
  for (std::string word; words >> word;)
    if (Width(word) > width) return {};
  const auto lines = text.empty() ? std::vector<std::string>() : Wrapped(text, width);
  return lines.size() <= most ? lines : std::vector<std::string>{};
}

class Picture {
 public:
  Picture(const ParetoView& view, bool embedded)
      : view_(view),
        scene_(view, embedded, "pareto"),
        header_(embedded ? 2.0 : 48.0),
        top_(header_ + 36.0),
        bottom_(top_ + kHeight) {}

  Scene Draw() {
    if (view_.Empty()) {
      scene_.NoData(header_ + 24);
      scene_.height = scene_.Notes(header_ + 46) - 6.0;
      return std::move(scene_);
    }
    Place();
    Axes();
    Groups();
    Bars();
    Cumulative();
    scene_.Rectangle(kLeft, top_, kRight - kLeft, bottom_ - top_, "frame");
    Names();
    scene_.height = scene_.Notes(bottom_ + names_height_ + 26.0) - 8.0;
    return std::move(scene_);
  }

 private:
  // Gives everything its place.
  void Place() {
    const auto groups = static_cast<double>(view_.groups.empty() ? 1 : view_.groups.size());
    const auto bars = static_cast<double>(view_.bars.size());
    unit_ = std::min((kRight - kLeft) / (bars + kGroupGap * (groups - 1.0) + 0.3), 150.0);
    room_ = static_cast<std::size_t>(unit_ / kCharacter);
    // Where the values add up, both axes are one: 100 percent is the whole.
    const double most = view_.MostValue();
    tied_ = !view_.chronological && std::isfinite(view_.whole) && view_.whole > 0.0 &&
            most / view_.whole * 100.0 >= kTiedShare;
    most_ = tied_ ? std::max(view_.whole, most) * kHeadroom : most * 1.1;
    most_share_ = tied_ ? most_ / view_.whole * 100.0 : 100.0 * kHeadroom;
    std::size_t lines = 1;
    double widest = 0.0;
    for (const auto& bar : view_.bars) {
      values_ = values_ && WidthOf(ParetoValue(bar.value)) <= unit_;
      const auto broken = Lines(bar.name, room_, kMaxLines);
      turned_ = turned_ || (broken.empty() && !bar.name.empty());
      lines = std::max(lines, broken.size());
      widest = std::max(widest, WidthOf(bar.name));
    }
    bar_names_ =
        turned_ ? std::min(widest * 0.82 + 8.0, kTurned) : kLineHeight * static_cast<double>(lines);
    names_height_ = 10.0 + bar_names_ + (view_.groups.empty() ? 0.0 : 12.0 + 2 * kLineHeight);
  }

  double X(std::size_t bar) const {
    const auto groups_before = std::count_if(
        view_.groups.begin(), view_.groups.end(),
        [&](const ParetoGroup& group) { return group.first != 0 && group.first <= bar; });
    return kLeft + unit_ * (static_cast<double>(bar) + 0.65 +
                            kGroupGap * static_cast<double>(groups_before));
  }
  double Y(double value) const { return bottom_ - value / most_ * (bottom_ - top_); }
  double YOfShare(double share) const { return bottom_ - share / most_share_ * (bottom_ - top_); }

  void Axes() {
    const Ticks ticks = RoundTicks(0.0, most_, 6);
    for (const double value : ticks.values) {
      scene_.Line(kLeft, Y(value), kRight, Y(value), "grid");
      scene_.Text(kLeft - 6, Y(value) + 4, "s", Anchor::End, Fixed(value, ticks.decimals));
    }
    scene_.Text(kLeft - 60, top_ - 10, "s", Anchor::Start, FittingText(view_.axis, 420));
    for (int share = 0; share <= 100; share += 20) {
      scene_.Line(kRight, YOfShare(share), kRight + 4, YOfShare(share), "tick");
      scene_.Text(kRight + 8, YOfShare(share) + 4, share == 80 && view_.eighty ? "b1 cl1" : "cl1",
                  Anchor::Start, std::to_string(share) + " %");
    }
    scene_.Text(kRight + 56, top_ - 10, "cl1", Anchor::End, "cumulative share");
  }

  void Groups() {
    for (const auto& group : view_.groups) {
      if (!(group.value > 0.0)) continue;
      const double left = X(group.first) - unit_ * 0.5, right = X(group.last) + unit_ * 0.5;
      scene_.Rectangle(left, Y(group.value), right - left, bottom_ - Y(group.value), "grp",
                       group.name + ": " + ParetoValue(group.value) + ", " + Percent(group.share));
      const std::string text = ParetoValue(group.value);
      if (group.last > group.first && WidthOf(text) < right - left)
        scene_.Text((left + right) / 2, AboveGroup(group), "b1", Anchor::Middle, text);
    }
  }

  // Top of a bar; what is above 0 is seen.
  double TopOf(const ParetoBar& bar) const {
    return std::isfinite(bar.value) ? std::min(Y(bar.value), bottom_ - 1.0) : bottom_;
  }
  bool Inside(double top) const { return bottom_ - top > 18.0; }

  // Where the figure of a group is clear of those of its bars.
  double AboveGroup(const ParetoGroup& group) const {
    double y = Y(group.value) - 4.0;
    for (std::size_t i = group.first; values_ && i <= group.last; ++i) {
      const double top = TopOf(view_.bars[i]);
      if (!Inside(top)) y = std::min(y, top - 4.0 - kLineHeight);
    }
    return y;
  }

  void Bars() {
    const double width = unit_ * (view_.groups.empty() ? 0.8 : 0.72);
    for (std::size_t i = 0; i < view_.bars.size(); ++i) {
      const ParetoBar& bar = view_.bars[i];
      if (!(bar.value > 0.0) || !std::isfinite(bar.value)) continue;
      std::string style = view_.eighty && i <= *view_.eighty ? "few" : "bar";
      if (bar.open) style += " open";
      const double y = TopOf(bar);
      scene_.Rectangle(X(i) - width / 2, y, width, bottom_ - y, style, bar.tip);
      if (!values_) continue;
      const bool dark = style.starts_with("few");
      scene_.Text(X(i), Inside(y) ? y + 13.0 : y - 4.0, Inside(y) && dark ? "in1" : "",
                  Anchor::Middle, ParetoValue(bar.value));
    }
  }

  void Cumulative() {
    Polyline line;
    for (std::size_t i = 0; i < view_.bars.size(); ++i)
      line.emplace_back(X(i), YOfShare(view_.bars[i].cumulative));
    if (view_.eighty) scene_.Line(kLeft, YOfShare(80.0), kRight, YOfShare(80.0), "e80");
    scene_.Path(line, "cum");
    for (std::size_t i = 0; i < line.size(); ++i) {
      const auto [x, y] = line[i];
      if (unit_ >= 7.0)
        scene_.Add(CircleShape{x, y, unit_ >= 20.0 ? 3.0 : 2.0, "dot", view_.bars[i].tip});
      // The first point is on its own bar, whose figure says the same.
      if (unit_ >= 36.0 && (i != 0 || !tied_))
        scene_.Text(x + 4.0, y - 7.0, "cl1", Anchor::End, Fixed(view_.bars[i].cumulative, 1));
    }
  }

  void Names() {
    // Where bars are narrower than a line of text, only some have their name.
    const auto every = static_cast<std::size_t>(std::max(1.0, std::ceil(11.0 / unit_)));
    for (std::size_t i = 0; i < view_.bars.size(); ++i) {
      const ParetoBar& bar = view_.bars[i];
      const char* style = bar.empty ? "e1" : "";
      const double x = X(i) + 4.0;
      if (!turned_) {
        TextLines(X(i), bottom_ + 15.0, style, Lines(bar.name, room_, kMaxLines));
      } else if (i % every == 0) {
        // From the lower left up to the place; what would leave the picture is cut.
        scene_.Text(x, bottom_ + 12.0, style, Anchor::End,
                    FittingText(bar.name, std::min((x - 4.0) / 0.574, kTurned / 0.82)),
                    Turn::Slanted);
      }
    }
    for (const auto& group : view_.groups) GroupName(group);
  }

  void TextLines(double x, double y, const char* style, const std::vector<std::string>& lines) {
    for (const auto& line : lines) {
      scene_.Text(x, y, style, Anchor::Middle, line);
      y += kLineHeight;
    }
  }

  void GroupName(const ParetoGroup& group) {
    const double left = X(group.first) - unit_ * 0.5, right = X(group.last) + unit_ * 0.5;
    const double y = bottom_ + 14.0 + bar_names_;
    scene_.Path({{left + 1, y - 4}, {left + 1, y}, {right - 1, y}, {right - 1, y - 4}}, "brace");
    const double width = right - left + unit_ * kGroupGap - 2.0;
    auto lines = Lines(group.name, static_cast<std::size_t>(width / kCharacter), 2);
    if (lines.empty()) lines = {FittingText(group.name, width)};
    TextLines((left + right) / 2, y + 14.0, "b1", lines);
  }

  const ParetoView& view_;
  Scene scene_;
  double header_, top_, bottom_;
  double unit_ = 1.0, most_ = 1.0, most_share_ = 105.0;
  bool tied_ = false, turned_ = false, values_ = true;
  std::size_t room_ = 1;  // characters over a bar
  double bar_names_ = 0.0, names_height_ = 0.0;
};

constexpr std::size_t kMaxName = 40, kMinName = 12, kMinBar = 12;
constexpr std::size_t kShare = 7;  // "100.0 %"
constexpr const char* kNotShown = "(not shown)";
constexpr const char* kBlue = "\x1b[34m";
constexpr const char* kDim = "\x1b[2m";

// What a line shows: of a bar, of its group, or of what is not shown.
struct Row {
  std::string name, value, share, cumulative;
  double length = 0.0;  // the value that the bar is as long as
  const char* sign = "#";
  const char* colour = nullptr;
  bool eighty = false;  // the 80 percent line follows
};

std::vector<Row> RowsOf(const ParetoView& view) {
  std::vector<Row> rows;
  std::size_t group = 0;
  for (std::size_t i = 0; i < view.bars.size(); ++i) {
    if (group < view.groups.size() && view.groups[group].first == i) {
      const ParetoGroup& each = view.groups[group++];
      rows.push_back(
          {each.name, ParetoValue(each.value), Percent(each.share), "", each.value, "=", kDim});
    }
    const ParetoBar& bar = view.bars[i];
    rows.push_back({(view.groups.empty() ? "" : "  ") + bar.name, ParetoValue(bar.value),
                    Percent(bar.share), Percent(bar.cumulative), bar.value, "#", kBlue,
                    view.eighty == i && i + 1 < view.bars.size()});
  }
  if (view.other > 0.0)
    rows.push_back({kNotShown,
                    std::isfinite(view.whole) ? ParetoValue(view.whole * view.other / 100.0) : "",
                    Percent(view.other), Percent(100.0)});
  return rows;
}

void WriteBars(TextWriter& out, const ParetoView& view) {
  const auto rows = RowsOf(view);
  std::size_t name = 4, value = 5;
  for (const auto& row : rows) {
    name = std::max(name, Width(row.name));
    value = std::max(value, Width(row.value));
  }
  name = std::min(name, kMaxName);
  const std::size_t numbers = value + 2 + kShare + 2 + kShare + 2;
  // In a narrow terminal a name has a line of its own, over its numbers.
  const bool above = numbers + 1 + std::min(name, kMinName) + kMinBar > out.Columns();
  name = above ? 1 : std::min(name, out.Columns() - numbers - 1 - kMinBar);
  const std::size_t room = out.Columns() - name - 1 - numbers;
  const auto write = [&](const Row& row) {
    std::string bar;
    if (row.length > 0.0) {
      const double share = std::min(row.length / view.MostValue(), 1.0);
      // A value above 0 shows at least one sign.
      const auto length = std::max<long>(std::lround(share * static_cast<double>(room)), 1);
      for (long i = 0; i < length; ++i) bar += row.sign;
    }
    if (above && !row.name.empty()) out.Line(row.name, 4);
    const std::string head =
        fmt::format("{} {}  {}  {}", Padded(above ? "" : Shortened(row.name, name), name),
                    Padded(row.value, value, true), Padded(row.share, kShare, true),
                    Padded(row.cumulative, kShare, true));
    if (bar.empty()) {
      out.Line(head);
    } else {
      out.Painted(head + "  " + out.InColour(row.colour, bar));
    }
  };
  out.Blank();
  write({"", "value", "share", "cumul."});
  for (const auto& row : rows) {
    write(row);
    if (!row.eighty) continue;
    const std::string text = " 80 % up to here ";
    const std::size_t whole = name + 1 + numbers - 2;
    out.Line(std::string(whole - std::min(whole, text.size()), '-') + text);
  }
  out.Blank();
  out.Line("# " + view.axis + (view.groups.empty() ? "" : "   = all bars of the bin"));
}

}  // namespace

std::string RenderParetoSvg(const ParetoView& view, bool embedded) {
  return WriteSvg(Picture(view, embedded).Draw());
}

std::string RenderParetoText(const ParetoView& view, const TextOptions& options) {
  TextWriter out(options);
  out.Head(view, view.Empty());
  if (!view.Empty()) WriteBars(out, view);
  out.Notes(view);
  return out.Take();
}

std::string RenderParetoHtml(const ParetoView& view) {
  Page page(view, Picture(view, true).Draw());
  page.Write(view.table);
  return page.Text();
}

}  // namespace orvspc::render
