// SPDX-License-Identifier: Apache-2.0
#include "select/DataSelect.h"

#include <type_traits>
#include <variant>

#include "frame/DateText.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/NumberText.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {

struct DataSelect::Fields {
  // A date is told from other doubles by its kind; a selection has no other doubles.
  using Member =
      std::variant<bool Settings::*, std::int32_t Settings::*, DateRangeTimeTypes Settings::*,
                   DateRangePeriods Settings::*, double Settings::*>;
  struct Field {
    std::string_view name;
    Member member;
  };

  static constexpr Field kAll[] = {
      {"IncludeEnabled", &Settings::IncludeEnabled},
      {"IncludeIncomplete", &Settings::IncludeIncomplete},
      {"IncludeDisabled", &Settings::IncludeDisabled},
      {"MaximumItems", &Settings::MaximumItems},
      {"Tsno", &Settings::Tsno},
      {"ItemTypes", &Settings::ItemTypes},
      {"DateRangeTimeType", &Settings::DateRangeTimeType},
      {"DateRangeInterval", &Settings::DateRangeInterval},
      {"DateRangePeriod", &Settings::DateRangePeriod},
      {"DateRangeStart", &Settings::DateRangeStart},
      {"DateRangeEnd", &Settings::DateRangeEnd},
      {"IncludeVariableTests", &Settings::IncludeVariableTests},
      {"IncludeDefectTests", &Settings::IncludeDefectTests},
      {"IncludeDefectiveTests", &Settings::IncludeDefectiveTests},
  };

  static void Write(const platform::XmlNode& element, std::string_view name, double date) {
    XMLSupport::SetXMLAttribute(element, name, std::string_view(DateToText(date)));
  }
  template <class T>
  static void Write(const platform::XmlNode& element, std::string_view name, T value) {
    XMLSupport::SetXMLAttribute(element, name, static_cast<std::int32_t>(value));
  }

  // Without the checks of the Lets.
  template <class T>
  static T FromText(std::string_view text) {
    if constexpr (std::is_same_v<T, bool>) {
      return ToBoolean(text);
    } else if constexpr (std::is_same_v<T, double>) {
      return TextToDate(text);
    } else {
      return static_cast<T>(ToInt32(text));
    }
  }
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
    const platform::XmlNode element = Document.CreateElement("DataSelect");
    for (const auto& field : Fields::kAll)
      std::visit([&](auto member) { Fields::Write(element, field.name, settings_.*member); },
                 field.member);
    Document.AppendChild(element, descriptors_->CreateXMLNode(Friend{}, Document));
    return element;
  });
}

bool DataSelect::SetXMLNode(const Friend&, const platform::XmlNode& node) {
  return Traced("DataSelect.SetXMLNode", [&] {
    for (const auto& field : Fields::kAll) {
      const auto text = XMLSupport::AttributeText(node, field.name);
      if (!text) continue;
      std::visit(
          [&](auto member) {
            auto& value = settings_.*member;
            value = Fields::FromText<std::remove_reference_t<decltype(value)>>(*text);
          },
          field.member);
    }
    descriptors_->SetXML(Friend{},
                         XMLSupport::DocumentOf(node).SelectSingleNode(node, "Descriptors"));
    return true;
  });
}

}  // namespace orvspc
