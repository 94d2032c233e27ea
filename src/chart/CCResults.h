// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "chart/CCGraph.h"
#include "chart/CCProcessing.h"
#include "chart/ChartResultRecord.h"
#include "dataset/SubgroupData.h"
#include "platform/CtrlLim.h"
#include "platform/DefOpp.h"
#include "platform/Dom.h"
#include "platform/RuleDef.h"
#include "platform/SpecLim.h"
#include "select/ResultsOf.h"

namespace orvspc {

class Friend;

// The result of a control-chart analysis. What is lazy is built at the first call, takes its arrays
// out of the flat record, and is the same object at later calls. An analysis without data gives a
// result with nothing in it. Processing has the chart types that were really drawn.
class CCResults : public ResultsOf<CCProcessing> {
 public:
  // The subgroups with their test values and groups, without descriptors and comments. Lazy.
  std::shared_ptr<orvspc::SubgroupData> SubgroupData();

  // All run rules of the database.
  std::shared_ptr<platform::RuleDef> RuleDef() const { return rule_def_; }

  // Stored control limits that concern the data. Lazy; empty when there are none, never null.
  std::shared_ptr<platform::CtrlLim> CtrlLim();

  // That of Processing; fails with 91 without one.
  std::int32_t GraphCount() const;
  // Both build SubgroupData.
  std::int32_t TotalSubgroups();
  std::int32_t TotalGroups();

  // Mean and the two estimates of sigma, in the unit of the characteristic; 0 for attribute charts.
  double MeanEstimate() const;
  double SPEstimate() const { return record_.SPEstimate; }
  double SWEstimate() const { return record_.SWEstimate; }

  // Specification limits and defect opportunities that concern the data. Lazy; never null.
  std::shared_ptr<platform::SpecLim> SpecLim();
  std::shared_ptr<platform::DefOpp> DefOpp();

  // One chart; null below 1 and above GraphCount. Lazy. Fails with 9 when the analysis was empty
  // but the settings ask for the chart.
  std::shared_ptr<CCGraph> Graphs(ccGraphTypes Index);

  // The whole result. Writing takes the rows into SubgroupData, and what was read before is gone
  // from it: a graph is then written without its arrays, and rows of a limit table fail with 9.
  // Reading makes what is in the text, without rules; limit rows do not come back, nor do groups
  // but for their identifiers. Graphs and tables that were read before stay the objects they were.
  // A failure leaves what was read up to it: "Node does not exist!" for a text without the root, 91
  // for an element that is missing (all but CCProcessing, DataSelect and SubgroupData), 13 or 6 for
  // a number, 9 for a graph beyond the third.
  bool SetXML(std::string_view XML);
  bool SetXMLNode(const platform::XmlNode& Node);
  std::string GetXML();

  // For the library.
  void Structure(const Friend&, API_CCResults&& record);
  void RuleDef(const Friend&, std::shared_ptr<platform::RuleDef> value);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document);

 private:
  API_CCResults record_;
  std::shared_ptr<platform::RuleDef> rule_def_;
  std::shared_ptr<orvspc::SubgroupData> subgroup_data_;
  std::shared_ptr<platform::CtrlLim> ctrl_lim_;
  std::shared_ptr<platform::SpecLim> spec_lim_;
  std::shared_ptr<platform::DefOpp> def_opp_;
  std::array<std::shared_ptr<CCGraph>, 3> graphs_;
};

}  // namespace orvspc
