// SPDX-License-Identifier: Apache-2.0
#include "capability/CAStatistics.h"

#include <cmath>
#include <span>
#include <type_traits>
#include <variant>

#include "capability/statistics_table.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

using platform::XmlDocument;
using platform::XmlNode;
using statistics_table::Element;

void Write(const XmlNode& element, std::string_view name, std::int32_t value) {
  XMLSupport::SetXMLAttribute(element, name, value);
}

void Write(const XmlNode& element, std::string_view name, const platform::WireDouble& value) {
  XMLSupport::SetXMLAttribute(element, name, static_cast<double>(value));
}

// The whole field with its padding.
void Write(const XmlNode& element, std::string_view name, std::span<const char16_t> field) {
  XMLSupport::SetXMLAttribute(element, name, platform::FixedTextToUtf8(field));
}

void Read(const XmlNode& element, std::string_view name, std::int32_t& value) {
  value = XMLSupport::ReadInt32(element, name, value);
}

void Read(const XmlNode& element, std::string_view name, platform::WireDouble& value) {
  value = XMLSupport::ReadDouble(element, name, value);
}

void Read(const XmlNode& element, std::string_view name, std::span<char16_t> field) {
  if (const auto text = XMLSupport::AttributeText(element, name))
    platform::StoreFixedText(field, *text);
}

template <class Record>
XmlNode CreateRecordXMLNode(XmlDocument& document, const API_CAStatistics& statistics) {
  return Traced(Element<Record>::kCreate, [&] {
    const XmlNode element = document.CreateElement(Element<Record>::kName);
    const Record& record = statistics.*Element<Record>::kRecord;
    for (const auto& attribute : Element<Record>::kAttributes)
      std::visit([&](const auto field) { Write(element, attribute.written, record.*field); },
                 attribute.field);
    return element;
  });
}

template <class Record>
void SetRecordXMLNode(const XmlNode& element, API_CAStatistics& statistics) {
  Traced(Element<Record>::kSet, [&] {
    Record& record = statistics.*Element<Record>::kRecord;
    for (const auto& attribute : Element<Record>::kAttributes)
      std::visit([&](const auto field) { Read(element, attribute.read, record.*field); },
                 attribute.field);
  });
}

// Calls visit with a null pointer to each record that has an element, in their order.
template <class Visit>
void ForEachRecord(Visit&& visit) {
  const auto each = [&](const auto*... record) { (visit(record), ...); };
  each(static_cast<const API_CASummary*>(nullptr), static_cast<const API_CASpecLim*>(nullptr),
       static_cast<const API_CASpecResults*>(nullptr), static_cast<const API_CANccLim*>(nullptr),
       static_cast<const API_CANccResults*>(nullptr), static_cast<const API_CACPs*>(nullptr),
       static_cast<const API_CAPPs*>(nullptr), static_cast<const API_CAMoments*>(nullptr),
       static_cast<const API_CAChiSq*>(nullptr), static_cast<const API_CAAnova*>(nullptr));
}

template <class Record>
using RecordOf = std::remove_const_t<std::remove_pointer_t<Record>>;

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

platform::XmlNode CAStatistics::CreateXMLNode(const Friend&,
                                              platform::XmlDocument& Document) const {
  return Traced("CAStatistics.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Statistics");
    XMLSupport::SetXMLAttribute(element, "JohnsonCurveType", record_.JohnsonCurveType);
    ForEachRecord([&](const auto* record) {
      using Record = RecordOf<decltype(record)>;
      Document.AppendChild(element, CreateRecordXMLNode<Record>(Document, record_));
    });
    return element;
  });
}

bool CAStatistics::SetXMLNode(const Friend&, const platform::XmlNode& Node) {
  return Traced("CAStatistics.SetXMLNode", [&] {
    if (!Node) return false;
    XmlDocument& document = XMLSupport::DocumentOf(Node);
    record_.JohnsonCurveType =
        XMLSupport::ReadInt32(Node, "JohnsonCurveType", record_.JohnsonCurveType);
    ForEachRecord([&](const auto* record) {
      using Record = RecordOf<decltype(record)>;
      SetRecordXMLNode<Record>(document.SelectSingleNode(Node, Element<Record>::kName), record_);
    });
    return true;
  });
}

}  // namespace orvspc
