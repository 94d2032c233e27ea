// SPDX-License-Identifier: Apache-2.0
#include "capability/CAStatistics.h"

#include <cmath>
#include <string>
#include <tuple>

#include "capability/statistics_table.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

using platform::XmlNode;
using statistics_table::Element;

template <class Record>
XmlNode CreateRecordXMLNode(platform::XmlDocument& document, const API_CAStatistics& statistics) {
  using E = Element<Record>;
  const auto entry = [] { return "CAStatistics.Create" + std::string(E::kName) + "XMLNode"; };
  return Traced(entry, [&] {
    return settings_xml::CreateElement(document, E::kName, E::kFields, statistics.*E::kRecord);
  });
}

template <class Record>
void SetRecordXMLNode(const XmlNode& element, API_CAStatistics& statistics) {
  using E = Element<Record>;
  const auto entry = [] { return "CAStatistics.Set" + std::string(E::kReader) + "XMLNode"; };
  Traced(entry, [&] { settings_xml::Read(element, E::kFields, statistics.*E::kRecord); });
}

// Calls visit with a null pointer to each record that has an element, in their order.
template <class Visit>
void ForEachRecord(Visit&& visit) {
  std::apply([&](const auto*... record) { (visit(record), ...); }, statistics_table::kRecords);
}

}  // namespace

bool CAStatistics::GetTargetRatio(double& Value) const {
  // Deliberate: the one Get that computes, and that leaves Value alone without a limit.
  if (!Spec(slfUSL | slfLSL)) return false;
  const double ratio = std::abs(static_cast<double>(record_.CPs.Cpr)) * 3.0;
  if (!std::isfinite(ratio)) FailOverflow();
  Value = ratio;
  return true;
}

void CAStatistics::Load(const Friend&, const API_CAStatistics& Stats) {
  Traced("CAStatistics.Load", [&] { record_ = Stats; });
}

XmlNode CAStatistics::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("CAStatistics.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Statistics");
    XMLSupport::SetXMLAttribute(element, "JohnsonCurveType", record_.JohnsonCurveType);
    ForEachRecord([&]<class Record>(const Record*) {
      Document.AppendChild(element, CreateRecordXMLNode<Record>(Document, record_));
    });
    return element;
  });
}

bool CAStatistics::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("CAStatistics.SetXMLNode", [&] {
    if (!Node) return false;
    platform::XmlDocument& document = XMLSupport::DocumentOf(Node);
    settings_xml::ReadValue(Node, "JohnsonCurveType", record_.JohnsonCurveType);
    ForEachRecord([&]<class Record>(const Record*) {
      SetRecordXMLNode<Record>(document.SelectSingleNode(Node, Element<Record>::kName), record_);
    });
    return true;
  });
}

}  // namespace orvspc
