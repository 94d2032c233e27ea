// SPDX-License-Identifier: Apache-2.0
#include "pareto/PABins.h"

#include <tuple>
#include <utility>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlNode;
using settings_xml::Field;
using settings_xml::ItemField;

constexpr std::string_view kElement = "PABins";
constexpr std::string_view kBin = "PABin";

// The attributes of a bin in their order.
constexpr std::tuple kWrittenIDs{
    ItemField{"ID1", &API_PABin::ID, 0},
    ItemField{"ID2", &API_PABin::ID, 1},
    ItemField{"ID3", &API_PABin::ID, 2},
};
// Deliberate: the reader takes six identifiers where the writer writes three.
constexpr std::tuple kReadIDs{
    ItemField{"ID4", &API_PABin::ID, 3},
    ItemField{"ID5", &API_PABin::ID, 4},
    ItemField{"ID6", &API_PABin::ID, 5},
};
constexpr std::tuple kFigures{
    settings_xml::TrimmedField{"Name", &API_PABin::Name},
    Field{"Count", &API_PABin::BinCount},
    Field{"Factor", &API_PABin::Factor},
    Field{"Value", &API_PABin::Value},
    ItemField{"Percent", &API_PABin::Percentage, 0},
    ItemField{"Percent2", &API_PABin::Percentage, 1},
    ItemField{"Percent3", &API_PABin::Percentage, 2},
    ItemField{"Percent4", &API_PABin::Percentage, 3},
    ItemField{"Percent5", &API_PABin::Percentage, 4},
    ItemField{"Percent6", &API_PABin::Percentage, 5},
    Field{"Total", &API_PABin::Total},
    Field{"Yield", &API_PABin::Yield},
    Field{"PPK", &API_PABin::PPK},
    Field{"Flag", &API_PABin::Flag},
    Field{"SubgroupID", &API_PABin::SubgroupID},
};

}  // namespace

std::string PABins::Name() {
  return Untraced([&] { return TrimFixedField(bins_[Position()].Name); });
}

std::int32_t PABins::ID(std::int32_t Level) const {
  // Deliberate: three of the six places, with a message of its own; Percentage takes all six and
  // fails with the number of a subscript.
  if (Level < 0 || Level > 2) FailMessage("Invalid ID(Level). Valid levels are 0-2.");
  return Bin().ID[Level];
}

double PABins::Percentage(std::int32_t Level) const {
  if (Level < 0 || Level > 5) FailSubscript();
  return Bin().Percentage[Level];
}

void PABins::Load(const Friend&, Array<API_PABin> Bins) {
  Traced("PABins.Load", [&] {
    bins_ = std::move(Bins);
    count_ = checked::Narrow(bins_.UpperBound() + 1);
    ResetCursor();
  });
}

std::string PABins::GetXML() { return settings_xml::GetXML(kElement, *this); }

XmlNode PABins::CreateXMLNode(const Friend&, platform::XmlDocument& Document) {
  return Traced("PABins.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement(kElement);
    for (std::int32_t i = 0; i < Count(); ++i)
      Document.AppendChild(element, CreateXMLBin(Document, i));
    return element;
  });
}

XmlNode PABins::CreateXMLBin(platform::XmlDocument& Document, std::int32_t Index) {
  return Traced("PABins.CreateXMLBin", [&] {
    return settings_xml::CreateElement(Document, kBin, std::tuple_cat(kWrittenIDs, kFigures),
                                       bins_[Index]);
  });
}

bool PABins::SetXML(std::string_view XML) { return settings_xml::SetXML(kElement, *this, XML); }

bool PABins::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("PABins.SetXMLNode", [&] {
    XMLSupport::DocumentOf(Node);  // a null node has failed here, not as one without bins
    Array<API_PABin> bins;
    // Deliberate: an element without bins fails with 9, the one that an empty object writes too.
    settings_xml::ReadRows(Node, kBin, std::tuple_cat(kWrittenIDs, kReadIDs, kFigures), bins);
    Load(Friend{}, std::move(bins));
    return true;
  });
}

}  // namespace orvspc
