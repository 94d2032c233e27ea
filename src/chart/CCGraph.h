// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "chart/CCGraphData.h"
#include "chart/ChartResultRecord.h"
#include "platform/Object.h"
#include "platform/RuleDef.h"

namespace orvspc {

class Friend;

// One of the up to three charts of a CCResults. Hosts reach it through CCResults.Graphs.
class CCGraph : public platform::Object {
 public:
  explicit CCGraph(const Friend&) {}

  // Always 0.
  // Deliberate: the library's own size is kept in the record but not exposed.
  double AverageSize() const { return 0.0; }

  // The points. Built at the first call; later calls give the same object.
  std::shared_ptr<CCGraphData> GraphData();

  // For the library. Takes the arrays out of the record.
  void Load(const Friend&, API_CCGraph&& record, std::shared_ptr<platform::RuleDef> rule_def);

 private:
  API_CCGraph record_;
  std::shared_ptr<platform::RuleDef> rule_def_;
  std::shared_ptr<CCGraphData> graph_data_;
};

}  // namespace orvspc
