// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAResults.h"

#include <utility>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlNode;

constexpr std::string_view kElement = "PAResults";

template <class T>
void Append(platform::XmlDocument& document, const XmlNode& element,
            const std::shared_ptr<T>& object) {
  if (object) document.AppendChild(element, object->CreateXMLNode(Friend{}, document));
}

template <class T>
void ReadChild(const XmlNode& node, std::string_view name, std::shared_ptr<T>& object) {
  object = nullptr;
  const XmlNode child = XMLSupport::DocumentOf(node).SelectSingleNode(node, name);
  settings_xml::SetObjectXMLNode(child, object);
}

}  // namespace

PAResults::PAResults() {
  log_ = Constructed(kElement, [&] { bins_ = std::make_shared<PABins>(Friend{}); });
}

std::shared_ptr<PABins> PAResults::Bins() const {
  return Traced("PAResults.Bins(g)", [&] { return bins_; });
}

void PAResults::Load(const Friend&, Array<API_PABin> Bins) {
  Traced("PAResults.Load", [&] { Needed(bins_).Load(Friend{}, std::move(Bins)); });
}

std::string PAResults::GetXML() const { return settings_xml::GetXML(kElement, *this); }

XmlNode PAResults::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("PAResults.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement(kElement);
    Append(Document, element, processing_);
    Append(Document, element, data_select_);
    Append(Document, element, subgroup_data_);
    Append(Document, element, bins_);
    return element;
  });
}

bool PAResults::SetXML(std::string_view XML) { return settings_xml::SetXML(kElement, *this, XML); }

bool PAResults::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("PAResults.SetXMLNode", [&] {
    ReadChild(Node, "PAProcessing", processing_);
    ReadChild(Node, "DataSelect", data_select_);
    ReadChild(Node, "SubgroupData", subgroup_data_);
    // Deliberate: the writer's element is named "PABins", so bins of a written text do not come
    // back.
    ReadChild(Node, "Bins", bins_);
    return true;
  });
}

}  // namespace orvspc
