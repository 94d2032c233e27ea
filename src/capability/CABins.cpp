// SPDX-License-Identifier: Apache-2.0
#include "capability/CABins.h"

#include <string_view>
#include <utility>

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"

namespace orvspc {
namespace {

using platform::XmlDocument;
using platform::XmlNode;

// In the order of the attributes.
struct Edge {
  std::string_view attribute;
  platform::WireDouble API_CABin::*field;
};
constexpr Edge kEdges[] = {
    {"XMin", &API_CABin::XMin},
    {"XMax", &API_CABin::XMax},
    {"YMin", &API_CABin::YMin},
    {"YMax", &API_CABin::YMax},
};

constexpr std::string_view kBin = "Bin";

XmlNode CreateBinXMLNode(XmlDocument& Document, const API_CABin& bin) {
  return Traced("CABins.CreateBinXMLNode", [&] {
    const XmlNode element = Document.CreateElement(kBin);
    for (const Edge& edge : kEdges)
      XMLSupport::SetXMLAttribute(element, edge.attribute, static_cast<double>(bin.*edge.field));
    return element;
  });
}

}  // namespace

void CABins::Load(const Friend&, Array<API_CABin> Bins) {
  Traced("CABins.Load", [&] {
    bins_ = std::move(Bins);
    count_ = checked::Narrow(bins_.UpperBound() + 1);
    ResetCursor();
  });
}

platform::XmlNode CABins::CreateXMLNode(const Friend&, XmlDocument& Document) const {
  return Traced("CABins.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Bins");
    for (std::int32_t i = 0; i < count_; ++i)
      Document.AppendChild(element, CreateBinXMLNode(Document, bins_[i]));
    return element;
  });
}

bool CABins::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("CABins.SetXMLNode", [&] {
    XMLSupport::DocumentOf(Node);  // a missing element fails here
    Array<API_CABin> bins;
    // Deliberate: no bin is no array, which fails with 9; an empty result cannot be read back.
    bins.Dimension(0, std::int64_t{XMLSupport::CountChildren(Node, kBin)} - 1);
    std::int32_t row = 0;
    XMLSupport::ForEachChild(Node, kBin, [&](const XmlNode& element) {
      API_CABin& bin = bins[row++];
      // Deliberate: a missing attribute gives 0 here, not the value that the bin had.
      for (const Edge& edge : kEdges)
        bin.*edge.field = XMLSupport::ReadDouble(element, edge.attribute, 0.0);
    });
    Load(Friend{}, std::move(bins));
    return true;
  });
}

}  // namespace orvspc
