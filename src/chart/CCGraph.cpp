// SPDX-License-Identifier: Apache-2.0
#include "chart/CCGraph.h"

#include <utility>

#include "frame/Friend.h"
#include "frame/Trail.h"

namespace orvspc {

// Deliberate: the library's own size is kept in the record but not exposed.
double CCGraph::AverageSize() const { return 0.0; }

std::shared_ptr<CCGraphData> CCGraph::GraphData() {
  return Traced("CCGraph.GraphData(g)", [&] {
    if (!graph_data_) {
      auto data = std::make_shared<CCGraphData>(Friend{});
      data->Load(Friend{}, std::move(record_), rule_def_);
      graph_data_ = std::move(data);
    }
    return graph_data_;
  });
}

void CCGraph::Load(const Friend&, API_CCGraph&& record,
                   std::shared_ptr<platform::RuleDef> rule_def) {
  Traced("CCGraph.Load", [&] {
    record_ = std::exchange(record, {});
    rule_def_ = std::move(rule_def);
  });
}

}  // namespace orvspc
