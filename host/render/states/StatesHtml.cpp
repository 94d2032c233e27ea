// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "host/render/core/Html.h"
#include "host/render/core/Numbers.h"
#include "host/render/states/StatesView.h"

namespace orvspc::render {

std::string RenderStatesHtml(const StatesView& view) {
  constexpr std::size_t kMaxStays = 1000;
  Table events{"Events", {"@time (UTC)", "process", "event"}};
  Table stays{"Stays", {"process", "@from (UTC)", "@to (UTC)", "#minutes", "state", "type"}};
  std::size_t more = 0;
  for (const auto& lane : view.lanes) {
    for (const auto& event : lane.events)
      events.rows.push_back({IsoTime(event.time), lane.process, event.text});
    for (const auto& stay : lane.stays) {
      if (stays.rows.size() == kMaxStays) {
        ++more;
        continue;
      }
      stays.rows.push_back({lane.process, IsoTime(stay.start), IsoTime(stay.end),
                            Fixed(static_cast<double>(stay.end - stay.start) / 60.0, 1), stay.state,
                            StateTypeWord(stay.type)});
    }
  }
  std::stable_sort(events.rows.begin(), events.rows.end(),
                   [](const auto& a, const auto& b) { return a[0] < b[0]; });
  Table totals = TotalsTable(view);
  totals.title = "Time in each state";
  Page page(view, StatesScene(view, true));
  page.Write(totals);
  page.Write(events);
  page.Write(stays, more);
  return page.Text();
}

}  // namespace orvspc::render
