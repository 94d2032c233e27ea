// SPDX-License-Identifier: Apache-2.0
#include "dataset/EventData.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using settings_xml::Field;

// The attributes of an event in their order.
// Deliberate: Evnt is not among them, so an event of a text has identifier 0.
constexpr std::tuple kEventFields{
    Field{"F_TYPE", &API_EventData::F_TYPE},
    settings_xml::TrimmedField{"F_NAME", &API_EventData::F_NAME},
    Field{"F_EMPL", &API_EventData::F_EMPL},
    Field{"F_EVTM", &API_EventData::F_EVTM},
    Field{"F_PRCS", &API_EventData::F_PRCS},
    Field{"F_PART", &API_EventData::F_PART},
    Field{"F_TEST", &API_EventData::F_TEST_},
    Field{"F_SGTM", &API_EventData::F_SGTM},
    Field{"F_ACC", &API_EventData::F_ACC},
    Field{"F_ACEM", &API_EventData::F_ACEM},
    Field{"F_ACTM", &API_EventData::F_ACTM},
    Field{"F_CAC", &API_EventData::F_CAC},
    Field{"F_CAEM", &API_EventData::F_CAEM},
    Field{"F_CATM", &API_EventData::F_CATM},
    Field{"F_FLAG", &API_EventData::F_FLAG},
};

}  // namespace

void EventData::LoadStructures(const Friend&, Array<API_EventData>&& Rows) {
  Traced("EventData.LoadStructures", [&] {
    rows_ = std::move(Rows);
    ResetCursor();
    answers_ = {};
  });
}

std::int32_t EventData::CurrentIndex() const {
  return Traced("EventData.CurrentIndex(g)", [&] { return RowSet::CurrentIndex(); });
}

std::int32_t EventData::Field(std::string_view property, std::int32_t API_EventData::*field) const {
  return Traced(ProcedureName{Module(), property, "(g)"},
                [&] { return Count() == 0 ? 0 : Current().*field; });
}

double EventData::DateField(std::string_view property, std::int32_t API_EventData::*field) const {
  return Traced(ProcedureName{Module(), property, "(g)"},
                [&] { return Count() == 0 ? 0.0 : TimeStampToDate(Current().*field); });
}

std::string EventData::Name() {
  return Traced("EventData.Name(g)", [&] {
    return Count() == 0 ? std::string() : TrimFixedField(rows_[Position()].F_NAME);
  });
}

bool EventData::Has(std::string_view procedure, std::int32_t API_EventData::*field,
                    std::int32_t Answers::*kept) const {
  return Traced(ProcedureName{Module(), procedure}, [&] {
    std::int32_t& answer = answers_.*kept;
    const auto set = [field](const API_EventData& row) { return row.*field != 0; };
    if (answer == 0) answer = std::ranges::any_of(rows_.Elements(), set) ? 1 : -1;
    return answer == 1;
  });
}

platform::XmlNode EventData::CreateXMLNode(const Friend&, platform::XmlDocument& Document) {
  return Traced("EventData.CreateXMLNode", [&] {
    const platform::XmlNode root = Document.CreateElement(Module());
    for (API_EventData& row : rows_.Elements())
      Document.AppendChild(root, Traced("EventData.CreateXMLEvent", [&] {
                             return settings_xml::CreateElement(Document, "Event", kEventFields,
                                                                row);
                           }));
    return root;
  });
}

std::string EventData::GetXML() { return settings_xml::GetXML(Module(), *this); }

bool EventData::SetXML(std::string_view XML) { return settings_xml::SetXML(Module(), *this, XML); }

bool EventData::SetXMLNode(const Friend&, const platform::XmlNode& node) {
  return Traced("EventData.SetXMLNode", [&] {
    Array<API_EventData> rows;
    // Deliberate: without events this fails with 9, so the text of an empty set is refused.
    settings_xml::ReadRows(node, "Event", kEventFields, rows);
    LoadStructures(Friend(), std::move(rows));
    return true;
  });
}

}  // namespace orvspc
