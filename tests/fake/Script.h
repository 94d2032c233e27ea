// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/CapabilityRecords.h"
#include "platform/ChartRecords.h"
#include "platform/ComplianceRecords.h"
#include "platform/CtrlChrt6.h"
#include "platform/NameRecord.h"
#include "platform/ParetoRecords.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::fake {

struct Rule {
  std::int32_t number = 0;
  std::string text;
};

// The arguments of a call of the capability library; those that the Johnson fit is not given are
// null.
struct CapabilityCall {
  std::int32_t reserved1 = 0, connection = 0;
  API_DSInfo* info = nullptr;
  std::span<std::int32_t> filter;
  std::span<double> x, y;
  platform::ArrayRef bins;
  API_CASummary* summary = nullptr;
  API_CAPPs* pps = nullptr;
  API_CAChiSq* chi_sq = nullptr;
  API_CASpecLim8* spec_lim = nullptr;
  API_CASpecResults* spec_results = nullptr;
  API_CAOptions options = {};
  API_CACPs* cps = nullptr;
  API_CAMoments* moments = nullptr;
  API_CAAnova* anova = nullptr;
  API_CANccLim8* ncc_lim = nullptr;
  API_CANccResults* ncc_results = nullptr;
  API_CAReserved* reserved = nullptr;
  std::int32_t reserved2 = 0;
};

// A record of the log of process states; time is a date.
struct StateRecord {
  double time = 0.0;
  std::int32_t process = 0, state = 0, type = 0;
  std::string name;
};

// What the fakes answer. Everything is empty until a test says otherwise: no rows, chart word 0.
struct Script {
  // Rows, served by the retrieval and by a chart run alike.
  std::vector<API_SubgroupData> subgroups;
  std::vector<API_TestData> tests;
  std::vector<API_DescriptorData> descriptors;
  std::vector<API_CommentData> comments;
  // Results of the retrieval's calls; without one the number of the rows.
  std::optional<std::int32_t> build_result, subgroup_result, descriptor_result, comment_result;

  // What the build and the process calls write into the selection.
  std::function<void(API_DSInfo&, std::span<std::int32_t>)> rewrite;

  // A chart run: word of the process call, totals (without them counted from the rows here), the
  // arrays of a graph by code and graph number (those that are missing are left as they came),
  // limit rows, the limits call.
  std::int32_t chart_word = 0;
  std::optional<API_CCTotals> totals;
  std::map<std::pair<platform::ChartData, std::int32_t>, std::vector<double>> doubles;
  std::map<std::pair<platform::ChartData, std::int32_t>, std::vector<std::int32_t>> integers;
  std::vector<API_CCCtrlLim> ctrl_lims;
  std::vector<API_CCSpecLim> spec_lims;
  std::vector<API_CCDefOpp> def_opps;
  double mean_estimate = 0.0, sp_estimate = 0.0, sw_estimate = 0.0;
  std::array<double, 3> average_sizes = {};
  // Rules that are enabled as alarms, for each graph.
  std::array<std::int32_t, 3> alarm_mask = {};

  // The two calls of the capability library; without one it returns 0 and writes nothing.
  std::function<std::int32_t(CapabilityCall&)> capability, johnson;
  // A call of the Pareto library; without one it returns 0 and writes nothing.
  std::function<std::int32_t(std::span<API_PABin>, API_PAOptions&)> pareto;
  // Rows of the compliance library, and its result without them.
  std::vector<API_SCRow> compliance_rows;
  std::optional<std::int32_t> compliance_result;
  // Events, and the result of their build without them; the log of process states in order of time.
  std::vector<API_EventData> events;
  std::optional<std::int32_t> event_result;
  std::vector<StateRecord> state_log;

  // Run rules that RuleDef reads from the database, and names by identifier.
  std::vector<Rule> rules;
  std::map<std::pair<platform::NameRecordKind, std::int32_t>, std::string> names;

  std::int32_t connection = 77;
  std::string identity = "tests";
};

// Rows for tests: subgroups of `size` values each, `first` + 0, 1, 2, ... in order; identifiers
// from 1, part 1, process 1, test `test`, one minute apart.
void FillRows(Script& script, std::int32_t subgroups, std::int32_t size, double first = 10.0,
              std::int32_t test = 1);

}  // namespace orvspc::fake
