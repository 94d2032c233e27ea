// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelect.h"

#include <tuple>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {

struct DataSelect::Fields {
  static constexpr std::tuple kAll{
      settings_xml::Field{"IncludeEnabled", &Settings::IncludeEnabled},
      settings_xml::Field{"IncludeIncomplete", &Settings::IncludeIncomplete},
      settings_xml::Field{"IncludeDisabled", &Settings::IncludeDisabled},
      settings_xml::Field{"MaximumItems", &Settings::MaximumItems},
      settings_xml::Field{"Tsno", &Settings::Tsno},
      settings_xml::Field{"ItemTypes", &Settings::ItemTypes},
      settings_xml::Field{"DateRangeTimeType", &Settings::DateRangeTimeType},
      settings_xml::Field{"DateRangeInterval", &Settings::DateRangeInterval},
      settings_xml::Field{"DateRangePeriod", &Settings::DateRangePeriod},
      settings_xml::DateField{"DateRangeStart", &Settings::DateRangeStart},
      settings_xml::DateField{"DateRangeEnd", &Settings::DateRangeEnd},
      settings_xml::Field{"IncludeVariableTests", &Settings::IncludeVariableTests},
      settings_xml::Field{"IncludeDefectTests", &Settings::IncludeDefectTests},
      settings_xml::Field{"IncludeDefectiveTests", &Settings::IncludeDefectiveTests},
  };
};

DataSelect::DataSelect() { Reset(); }

void DataSelect::Reset() {
  Traced("DataSelect.Reset", [&] {
    settings_ = {};
    descriptors_ = std::make_shared<DataSelectDescriptors>();
    settings_.IncludeEnabled = true;
    settings_.IncludeIncomplete = true;
    settings_.IncludeDisabled = true;
    settings_.MaximumItems = 25;
    settings_.DateRangeInterval = 25;
    settings_.DateRangePeriod = drpYear;
    settings_.IncludeVariableTests = true;
  });
}

std::shared_ptr<DataSelect> DataSelect::Clone() const {
  return Traced("DataSelect.Clone", [&] {
    auto clone = std::make_shared<DataSelect>();
    clone->Structure(Friend{}, settings_);
    for (const auto& descriptor : *descriptors_)
      clone->descriptors_->AddClone(Friend{}, descriptor->Clone(Friend{}));
    return clone;
  });
}

void DataSelect::Structure(const Friend&, const Settings& value) {
  Traced("DataSelect.Structure(l)", [&] { settings_ = value; });
}

void DataSelect::MaximumItems(std::int32_t value) {
  Traced("DataSelect.MaximumItems(l)", [&] {
    if (value < 1) FailMessage("Invalid MaximumItems (must be > 0)");
    settings_.MaximumItems = value;
  });
}

void DataSelect::Tsno(std::int32_t value) {
  Traced("DataSelect.Tsno(l)", [&] {
    // Deliberate: 0 passes, whatever the message says.
    if (value < 0) FailMessage("Invalid TSNO (must be > 0)");
    settings_.Tsno = value;
  });
}

void DataSelect::DateRangeInterval(std::int32_t value) {
  Traced("DataSelect.DateRangeInterval(l)", [&] {
    // Deliberate: 0 passes, whatever the message says.
    if (value < 0) FailMessage("Invalid DateRangeInterval! (Must be > 0)");
    settings_.DateRangeInterval = value;
  });
}

std::string DataSelect::GetXML() const { return settings_xml::GetXML("DataSelect", *this); }

bool DataSelect::SetXML(std::string_view XML) {
  return Traced("DataSelect.SetXML", [&] {
    // Deliberate: only this one clears, and before it parses; SetXMLNode adds to what is there.
    descriptors_->Clear();
    const auto root = XMLSupport::GetXMLSingleNode(XML, "DataSelect");
    return SetXMLNode(Friend{}, root.node);
  });
}

platform::XmlNode DataSelect::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("DataSelect.CreateXMLNode", [&] {
    const auto element =
        settings_xml::CreateElement(Document, "DataSelect", Fields::kAll, settings_);
    Document.AppendChild(element, descriptors_->CreateXMLNode(Friend{}, Document));
    return element;
  });
}

bool DataSelect::SetXMLNode(const Friend&, const platform::XmlNode& node) {
  return Traced("DataSelect.SetXMLNode", [&] {
    // Without the checks of the Lets.
    settings_xml::Read(node, Fields::kAll, settings_);
    descriptors_->SetXML(Friend{},
                         XMLSupport::DocumentOf(node).SelectSingleNode(node, "Descriptors"));
    return true;
  });
}

}  // namespace orvspc
