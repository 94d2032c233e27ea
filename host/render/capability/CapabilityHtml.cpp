// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityView.h"
#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"

namespace orvspc::render {

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
