// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/pareto/Pareto.h"

namespace orvspc::render {

namespace {

constexpr std::size_t kMaxName = 40, kMinName = 12, kMinBar = 12;
constexpr std::size_t kShare = 7;  // "100.0 %"
constexpr const char* kNotShown = "(not shown)";
constexpr const char* kBlue = "\x1b[34m";
constexpr const char* kDim = "\x1b[2m";

// What stands in a line: of a bar, of its group, or of what is not shown.
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
  // In a narrow terminal a name stands in a line of its own, over its numbers.
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
    bar.empty() ? out.Line(head) : out.Painted(head + "  " + out.InColour(row.colour, bar));
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

std::string RenderParetoText(const ParetoView& view, const TextOptions& options) {
  TextWriter out(options);
  out.Head(view, view.Empty());
  if (!view.Empty()) WriteBars(out, view);
  out.Notes(view);
  return out.Take();
}

std::string RenderParetoHtml(const ParetoView& view) {
  Page page(view, ParetoScene(view, true));
  page.Write(view.table);
  return page.Text();
}

}  // namespace orvspc::render
