// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "chart/CCProcessing.h"
#include "chart/CCResults.h"
#include "dataset/SubgroupData.h"
#include "host/render/core/Words.h"
#include "platform/ItemKind.h"
#include "platform/LimitTable.h"
#include "select/DataSelect.h"

// Everything that a result object can give, read once into plain values, so that pictures and
// documents need no cursor.
namespace orvspc::render {

struct TestRow {
  std::int32_t sn = 0, tsno = 0, sbno = 0, def = 0, gage = 0;
  double value = 0.0;
};
struct DescriptorRow {
  std::int32_t group = 0, descriptor = 0, tsno = 0;
};
struct CommentRow {
  std::string employee, note;
  std::int32_t test = 0, tsno = 0;
  double edited = 0.0;  // date
};

struct SubgroupRow {
  std::int32_t sgrp = 0, part = 0, prcs = 0, test = 0, wkst = 0, job = 0, lot = 0, shft = 0,
               ptrv = 0, empl = 0, size = 0, flag = 0;
  std::int64_t stamp = 0;
  std::int32_t group_index = 0, group_id = 0;
  std::vector<TestRow> tests;
  std::vector<DescriptorRow> descriptors;
  std::vector<CommentRow> comments;
};

struct SubgroupsRead {
  std::int32_t total_subgroups = 0, total_groups = 0, total_tests = 0, total_descriptors = 0;
  std::vector<SubgroupRow> rows;
};
SubgroupsRead ReadSubgroups(SubgroupData& data);

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

using NameKind = ItemKind;
// Name for an identifier; empty when it has none.
using Names = std::function<std::string(NameKind, std::int32_t)>;
// For people: the name, else "#12"; empty for identifier 0.
std::string ShownName(const Names& names, NameKind kind, std::int32_t id);

}  // namespace orvspc::render
