// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "dataset/EventData.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

// The attributes of an event in their order; the name, a text, has no member here.
// Deliberate: Evnt is not among them, so an event of a text has identifier 0.
struct Attribute {
  const char* name;
  std::int32_t API_EventData::*member;
};

constexpr Attribute kAttributes[] = {
    {"F_TYPE", &API_EventData::F_TYPE},  {"F_NAME", nullptr},
    {"F_EMPL", &API_EventData::F_EMPL},  {"F_EVTM", &API_EventData::F_EVTM},
    {"F_PRCS", &API_EventData::F_PRCS},  {"F_PART", &API_EventData::F_PART},
    {"F_TEST", &API_EventData::F_TEST_}, {"F_SGTM", &API_EventData::F_SGTM},
    {"F_ACC", &API_EventData::F_ACC},    {"F_ACEM", &API_EventData::F_ACEM},
    {"F_ACTM", &API_EventData::F_ACTM},  {"F_CAC", &API_EventData::F_CAC},
    {"F_CAEM", &API_EventData::F_CAEM},  {"F_CATM", &API_EventData::F_CATM},
    {"F_FLAG", &API_EventData::F_FLAG},
};

void ReadRow(const platform::XmlNode& element, API_EventData& row) {
  for (const auto& [name, member] : kAttributes) {
    if (member != nullptr) {
      row.*member = XMLSupport::ReadInt32(element, name, row.*member);
    } else {
      const std::string missing = TrimFixedField(row.F_NAME);
      platform::StoreFixedText(row.F_NAME, XMLSupport::ReadText(element, name, missing));
    }
  }
}

}  // namespace

platform::XmlNode EventData::CreateXMLEvent(platform::XmlDocument& document, std::int32_t index) {
  return Traced("EventData.CreateXMLEvent", [&] {
    API_EventData& row = rows_[index];
    const platform::XmlNode element = document.CreateElement("Event");
    for (const auto& [name, member] : kAttributes) {
      if (member != nullptr) {
        XMLSupport::SetXMLAttribute(element, name, row.*member);
      } else {
        XMLSupport::SetXMLAttribute(element, name, std::string_view(TrimFixedField(row.F_NAME)));
      }
    }
    return element;
  });
}

platform::XmlNode EventData::CreateXMLNode(const Friend&, platform::XmlDocument& Document) {
  return Traced("EventData.CreateXMLNode", [&] {
    const platform::XmlNode root = Document.CreateElement("EventData");
    for (std::int32_t index = 0; index < Count(); ++index)
      Document.AppendChild(root, CreateXMLEvent(Document, index));
    return root;
  });
}

std::string EventData::GetXML() { return settings_xml::GetXML("EventData", *this); }

bool EventData::SetXML(std::string_view XML) {
  return settings_xml::SetXML("EventData", *this, XML);
}

bool EventData::SetXMLNode(const Friend&, const platform::XmlNode& node) {
  return Traced("EventData.SetXMLNode", [&] {
    Array<API_EventData> rows;
    // Deliberate: without events this fails with 9, so the text of an empty set is refused.
    rows.Dimension(0, std::int64_t{XMLSupport::CountChildren(node, "Event")} - 1);
    std::int64_t index = 0;
    XMLSupport::ForEachChild(
        node, "Event", [&](const platform::XmlNode& element) { ReadRow(element, rows[index++]); });
    LoadStructures(Friend(), std::move(rows));
    return true;
  });
}

}  // namespace orvspc
