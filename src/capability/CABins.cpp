// SPDX-License-Identifier: Apache-2.0
#include "capability/CABins.h"

#include <string_view>
#include <tuple>
#include <utility>

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlNode;
using settings_xml::Field;

constexpr std::string_view kBin = "Bin";

// In the order of the attributes.
constexpr std::tuple kBinFields{
    Field{"XMin", &API_CABin::XMin},
    Field{"XMax", &API_CABin::XMax},
    Field{"YMin", &API_CABin::YMin},
    Field{"YMax", &API_CABin::YMax},
};

}  // namespace

void CABins::Load(const Friend&, Array<API_CABin> Bins) {
  Traced("CABins.Load", [&] {
    bins_ = std::move(Bins);
    count_ = checked::Narrow(bins_.UpperBound() + 1);
    ResetCursor();
  });
}

XmlNode CABins::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("CABins.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement("Bins");
    for (std::int32_t i = 0; i < count_; ++i) {
      const API_CABin& bin = bins_[i];
      Document.AppendChild(element, Traced("CABins.CreateBinXMLNode", [&] {
                             return settings_xml::CreateElement(Document, kBin, kBinFields, bin);
                           }));
    }
    return element;
  });
}

bool CABins::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("CABins.SetXMLNode", [&] {
    XMLSupport::DocumentOf(Node);  // a missing element fails here
    Array<API_CABin> bins;
    // Deliberate: no bin is no array, which fails with 9; an empty result cannot be read back.
    settings_xml::ReadRows(Node, kBin, kBinFields, bins);
    Load(Friend{}, std::move(bins));
    return true;
  });
}

}  // namespace orvspc
