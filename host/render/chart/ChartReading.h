// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "chart/CCProcessing.h"
#include "chart/CCResults.h"
#include "host/render/core/Words.h"
#include "host/render/data/DataReading.h"
#include "platform/LimitTable.h"
#include "select/DataSelect.h"

// Everything that a result object can give, read once into plain values, so that pictures and
// documents need no cursor.
namespace orvspc::render {

struct Rule {
  std::int32_t number = 0;
  std::string text;
};

// An array that the result does not have is empty.
struct GraphRead {
  std::int32_t index = 1;  // 1 to 3
  std::int32_t type = 0;   // as the result answers
  std::vector<std::int32_t> sg_sizes, c_oocs, oocs, ooss, a_flags, e_flags;
  std::vector<double> points, usls, targets, lsls, c_ucls, c_cls, c_lcls, ucls, cls, lcls;
  std::vector<std::vector<Rule>> c_rules, rules;  // one list a point
};

// take(name, array) for each array of numbers, with the names and in the order of documents.
template <class Take>
void ForEachArray(const GraphRead& graph, Take take) {
  take("SGSizes", graph.sg_sizes);
  take("Points", graph.points);
  take("cOOCs", graph.c_oocs);
  take("OOCs", graph.oocs);
  take("OOSs", graph.ooss);
  take("AFlags", graph.a_flags);
  take("EFlags", graph.e_flags);
  take("USLs", graph.usls);
  take("Targets", graph.targets);
  take("LSLs", graph.lsls);
  take("cUCLs", graph.c_ucls);
  take("cCLs", graph.c_cls);
  take("cLCLs", graph.c_lcls);
  take("UCLs", graph.ucls);
  take("Cls", graph.cls);
  take("LCLs", graph.lcls);
}

// A row of a limit table: column and value, in the table's order.
using LimitRow = std::vector<std::pair<std::string, platform::Cell>>;

struct ChartRead {
  std::shared_ptr<CCProcessing> processing;  // null in a stored result that has none; so is select
  std::shared_ptr<DataSelect> select;
  SubgroupsRead subgroups;
  double mean_estimate = 0.0, sp_estimate = 0.0, sw_estimate = 0.0;
  std::vector<GraphRead> graphs;
  std::vector<LimitRow> spec_lims, ctrl_lims, def_opps;

  // A stored result keeps no limit rows; an empty table then says nothing.
  bool tables_known = true;
  // Decimals that mean something by the specification limits, the least of their rows.
  std::optional<int> decimals;
  // For pictures: the group of each point and what it was grouped by; empty without grouping.
  std::vector<std::int32_t> group_of, group_ids;
};
// Leaves nothing in the result that XML could still write; write that first.
ChartRead ReadChart(CCResults& results);

// The cell of that column, or 32-bit 0.
platform::Cell CellOf(const LimitRow& row, const std::string& column);
double NumberOf(const platform::Cell& cell);

// Words of the command line and of documents for the types of graphs 1, 2 and 3.
inline constexpr Word kGraph1Words[] = {{"auto", ccGraph1BestGuessVariable},
                                        {"xbar", ccGraph1XBar},
                                        {"median", ccGraph1XMed},
                                        {"individuals", ccGraph1Ix},
                                        {"moving-average", ccGraph1Ma},
                                        {"pre-control", ccGraph1Pc},
                                        {"auto-attribute", ccGraph1BestGuessAttribute},
                                        {"ppt", ccGraph1Ppt},
                                        {"dpto", ccGraph1Dpto},
                                        {"ppm", ccGraph1Ppm},
                                        {"dpmo", ccGraph1Dpmo},
                                        {"np", ccGraph1Np},
                                        {"p", ccGraph1P},
                                        {"c", ccGraph1C},
                                        {"u", ccGraph1U}};
inline constexpr Word kGraph2Words[] = {{"none", ccGraph2None},
                                        {"range", ccGraph2Range},
                                        {"sd", ccGraph2Sd},
                                        {"mr", ccGraph2Mr},
                                        {"cv", ccGraph2Cv}};
inline constexpr Word kGraph3Words[] = {
    {"none", ccGraph3None}, {"range", ccGraph3Range}, {"sd", ccGraph3Sd}};
// The word for such a type; its number when it has none.
std::string GraphWord(std::int32_t graph, std::int32_t type);

}  // namespace orvspc::render
