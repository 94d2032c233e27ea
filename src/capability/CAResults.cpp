// SPDX-License-Identifier: Apache-2.0
#include "capability/CAResults.h"

#include <utility>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

constexpr std::string_view kElement = "CAResults";

}  // namespace

CAResults::CAResults() {
  log_ = Constructed(kElement, [&] {
    statistics_ = std::make_shared<CAStatistics>(Friend{});
    bins_ = std::make_shared<CABins>(Friend{});
    curve_ = std::make_shared<CACurve>(Friend{});
  });
}

void CAResults::Load(const Friend& key, const API_CAStatistics& Stats, Array<API_CABin> Bins,
                     Array<double> X, Array<double> Y) {
  Traced("CAResults.Load", [&] {
    Needed(statistics_).Load(key, Stats);
    Needed(bins_).Load(key, std::move(Bins));
    Needed(curve_).Load(key, std::move(X), std::move(Y));
  });
}

std::string CAResults::GetXML() const { return settings_xml::GetXML(kElement, *this); }

platform::XmlNode CAResults::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("CAResults.CreateXMLNode", [&] {
    const auto root = Document.CreateElement(kElement);
    const auto append = [&](const auto& part) {
      Document.AppendChild(root, Needed(part).CreateXMLNode(Friend{}, Document));
    };
    if (processing_) append(processing_);
    if (data_select_) append(data_select_);
    append(statistics_);
    append(bins_);
    append(curve_);
    return root;
  });
}

bool CAResults::SetXML(std::string_view XML) { return settings_xml::SetXML(kElement, *this, XML); }

bool CAResults::SetXMLNode(const Friend&, const platform::XmlNode& Node) {
  return Traced("CAResults.SetXMLNode", [&] {
    platform::XmlDocument& document = XMLSupport::DocumentOf(Node);
    const auto child = [&](std::string_view name) { return document.SelectSingleNode(Node, name); };
    settings_xml::SetObjectXMLNode("CAResults.SetProcessingXMLNode", child("CAProcessing"),
                                   processing_);
    settings_xml::SetObjectXMLNode("CAResults.SetDataselectXMLNode", child("DataSelect"),
                                   data_select_);
    // Deliberate: a text without statistics is no failure; the object then keeps its own.
    Needed(statistics_).SetXMLNode(Friend{}, child("Statistics"));
    Needed(bins_).SetXMLNode(Friend{}, child("Bins"));
    Needed(curve_).SetXMLNode(Friend{}, child("Curve"));
    return true;
  });
}

}  // namespace orvspc
