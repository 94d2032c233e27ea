// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>

#include "host/render/capability/Capability.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::render {

namespace {

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
  add(view.mean, "mean " + Fixed(view.mean, view.decimals));

  std::size_t label = 0, note = 0;
  for (const auto& bar : view.bars) label = std::max(label, Width(Fixed(bar.low, view.decimals)));
  for (std::size_t b = 1; b + 1 < beside.size(); ++b) note = std::max(note, Width(beside[b]));
  // In a narrow terminal the notes stand below their bars.
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

std::string RenderCapabilityText(const CapabilityView& view, const TextOptions& options) {
  TextWriter out(options);
  out.Head(view, view.Empty());
  if (!view.Empty()) WriteHistogram(out, view);
  for (const auto& table : view.tables) {
    out.Blank();
    out.Write(table);
  }
  out.Notes(view);
  return out.Take();
}

// The picture, the tables that do not stand beside it, and the bins.
std::string RenderCapabilityHtml(const CapabilityView& view) {
  Page page(view, CapabilityScene(view, true));
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
