// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityHtml.h"

#include <cmath>

#include "host/render/capability/CapabilitySvg.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

std::string RenderCapabilityHtml(const CapabilityView& view) {
  Page page(view.title);
  page.Paragraph("sub", view.subtitle);
  page.Add(RenderCapabilitySvg(view, true));
  for (const auto& note : view.notes) page.Paragraph("note", note.Sentence());
  for (const auto& table : view.tables) {
    if (table.beside) continue;
    page.Heading(table.title);
    page.Table(table.headings, table.rows);
  }
  if (view.Empty()) return page.Text();
  std::vector<std::vector<std::string>> bins;
  for (const auto& bar : view.bars)
    bins.push_back({Fixed(bar.low, view.decimals), Fixed(bar.high, view.decimals),
                    Fixed(bar.count, 0), Significant(bar.expected, 4)});
  page.Heading("Histogram");
  page.Table({"#from", "#to", "#pieces", "#expected"}, bins);
  return page.Text();
}

}  // namespace orvspc::render
