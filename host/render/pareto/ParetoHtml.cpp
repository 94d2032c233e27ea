// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/Html.h"
#include "host/render/pareto/ParetoView.h"

namespace orvspc::render {

std::string RenderParetoHtml(const ParetoView& view) {
  Page page(view, ParetoScene(view, true));
  page.Write(view.table);
  return page.Text();
}

}  // namespace orvspc::render
