// SPDX-License-Identifier: Apache-2.0
#include "host/render/pareto/ParetoHtml.h"

#include "host/render/core/Html.h"
#include "host/render/pareto/ParetoSvg.h"

namespace orvspc::render {

std::string RenderParetoHtml(const ParetoView& view) {
  Page page(view.title);
  page.Paragraph("sub", view.subtitle);
  page.Add(RenderParetoSvg(view, true));
  for (const auto& note : view.notes) page.Paragraph("note", note.Sentence());
  if (view.Empty()) return page.Text();
  page.Heading(view.table.title);
  page.Table(view.table.headings, view.table.rows);
  return page.Text();
}

}  // namespace orvspc::render
