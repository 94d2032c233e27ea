// SPDX-License-Identifier: Apache-2.0
#include "pareto/PABins.h"

#include <utility>
#include <variant>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

using platform::WireDouble;
using platform::XmlNode;

constexpr std::string_view kElement = "PABins";
constexpr std::string_view kBin = "PABin";

// An attribute of a bin and its value in the record: a number, an element of an array, or the name.
struct IDPlace {
  std::int32_t level;
  bool written = true;
};
struct PercentagePlace {
  std::int32_t level;
};
struct NamePlace {};

struct Column {
  std::string_view attribute;
  std::variant<std::int32_t API_PABin::*, WireDouble API_PABin::*, IDPlace, PercentagePlace,
               NamePlace>
      place;
};

// In the order of the attributes.
constexpr Column kColumns[] = {
    {"ID1", IDPlace{0}},
    {"ID2", IDPlace{1}},
    {"ID3", IDPlace{2}},
    // Deliberate: the reader takes six identifiers where the writer writes three.
    {"ID4", IDPlace{3, false}},
    {"ID5", IDPlace{4, false}},
    {"ID6", IDPlace{5, false}},
    {"Name", NamePlace{}},
    {"Count", &API_PABin::BinCount},
    {"Factor", &API_PABin::Factor},
    {"Value", &API_PABin::Value},
    {"Percent", PercentagePlace{0}},
    {"Percent2", PercentagePlace{1}},
    {"Percent3", PercentagePlace{2}},
    {"Percent4", PercentagePlace{3}},
    {"Percent5", PercentagePlace{4}},
    {"Percent6", PercentagePlace{5}},
    {"Total", &API_PABin::Total},
    {"Yield", &API_PABin::Yield},
    {"PPK", &API_PABin::PPK},
    {"Flag", &API_PABin::Flag},
    {"SubgroupID", &API_PABin::SubgroupID},
};

struct Writer {
  const XmlNode& element;
  std::string_view attribute;
  API_PABin& bin;

  void operator()(std::int32_t API_PABin::*field) const { Write(bin.*field); }
  void operator()(WireDouble API_PABin::*field) const { Write(static_cast<double>(bin.*field)); }
  void operator()(const IDPlace& place) const {
    if (place.written) Write(bin.ID[place.level]);
  }
  void operator()(const PercentagePlace& place) const {
    Write(static_cast<double>(bin.Percentage[place.level]));
  }
  void operator()(NamePlace) const { Write(std::string_view(TrimFixedField(bin.Name))); }

  template <class T>
  void Write(T value) const {
    XMLSupport::SetXMLAttribute(element, attribute, value);
  }
};

struct Reader {
  const XmlNode& element;
  std::string_view attribute;
  API_PABin& bin;

  void operator()(std::int32_t API_PABin::*field) const { Read(bin.*field); }
  void operator()(WireDouble API_PABin::*field) const { Read(bin.*field); }
  void operator()(const IDPlace& place) const { Read(bin.ID[place.level]); }
  void operator()(const PercentagePlace& place) const { Read(bin.Percentage[place.level]); }
  void operator()(NamePlace) const {
    const std::string missing = TrimFixedField(bin.Name);
    platform::StoreFixedText(bin.Name, XMLSupport::ReadText(element, attribute, missing));
  }

  void Read(std::int32_t& field) const { field = XMLSupport::ReadInt32(element, attribute, field); }
  void Read(WireDouble& field) const { field = XMLSupport::ReadDouble(element, attribute, field); }
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
    const XmlNode element = Document.CreateElement(kBin);
    for (const Column& column : kColumns)
      std::visit(Writer{element, column.attribute, bins_[Index]}, column.place);
    return element;
  });
}

bool PABins::SetXML(std::string_view XML) { return settings_xml::SetXML(kElement, *this, XML); }

bool PABins::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("PABins.SetXMLNode", [&] {
    XMLSupport::DocumentOf(Node);  // a null node has failed here, not as one without bins
    Array<API_PABin> bins;
    // Deliberate: an element without bins fails with 9, the one that an empty object writes too.
    bins.Dimension(0, XMLSupport::CountChildren(Node, kBin) - 1);
    std::int32_t i = 0;
    XMLSupport::ForEachChild(Node, kBin, [&](const XmlNode& element) {
      API_PABin& bin = bins[i++];
      for (const Column& column : kColumns)
        std::visit(Reader{element, column.attribute, bin}, column.place);
    });
    Load(Friend{}, std::move(bins));
    return true;
  });
}

}  // namespace orvspc
