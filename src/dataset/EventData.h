// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// The process events of a selection (alarms, sampling violations, downtime) and a cursor over them.
// Without events every Get of a field answers 0, date 0 or an empty text, and CurrentIndex 1; no
// move ever fails for being out of range, it returns false and the cursor stays.
class EventData : public RowSet {
 public:
  EventData() : RowSet("EventData", Moves::kByMoveTo) {}

  std::int32_t Count() const { return rows_.Count(); }
  std::int32_t CurrentIndex() const override;

  // Fields of the current event. Employees are identifiers; times are dates, days since 1899-12-30.
  std::int32_t ACC() const { return Field("ACC", &API_EventData::F_ACC); }
  std::int32_t ACCEmployee() const { return Field("ACCEmployee", &API_EventData::F_ACEM); }
  double ACCTime() const { return DateField("ACCTime", &API_EventData::F_ACTM); }
  std::int32_t CAC() const { return Field("CAC", &API_EventData::F_CAC); }
  std::int32_t CACEmployee() const { return Field("CACEmployee", &API_EventData::F_CAEM); }
  double CACTime() const { return DateField("CACTime", &API_EventData::F_CATM); }
  std::int32_t Empl() const { return Field("Empl", &API_EventData::F_EMPL); }
  // identifier; 0 for events out of a text
  std::int32_t Evnt() const { return Field("Evnt", &API_EventData::Evnt); }
  double EventTime() const { return DateField("EventTime", &API_EventData::F_EVTM); }
  // not 0: the event is open
  EventFlags Flag() const { return EventFlags{Field("Flag", &API_EventData::F_FLAG)}; }
  // Without its padding; rewrites the field with blanks for padding.
  std::string Name();
  std::int32_t Part() const { return Field("Part", &API_EventData::F_PART); }
  std::int32_t Prcs() const { return Field("Prcs", &API_EventData::F_PRCS); }
  // time of the subgroup that the event is about
  double Sgtm() const { return DateField("Sgtm", &API_EventData::F_SGTM); }
  std::int32_t Test() const { return Field("Test", &API_EventData::F_TEST_); }
  EventTypes EventType() const { return EventTypes{Field("EventType", &API_EventData::F_TYPE)}; }

  // Whether any event is open or has the field; the answer is kept.
  bool HasOpenEvents() const {
    return Has("HasOpenEvents", &API_EventData::F_FLAG, &Answers::open_events);
  }
  bool HasEmployees() const {
    return Has("HasEmployees", &API_EventData::F_EMPL, &Answers::employees);
  }
  bool HasACCs() const { return Has("HasACCs", &API_EventData::F_ACC, &Answers::accs); }
  bool HasCACs() const { return Has("HasCACs", &API_EventData::F_CAC, &Answers::cacs); }

  // Times stay stamps; identifiers and the cursor are not kept. SetXML replaces all events. It
  // fails with 9 on a text without events, which GetXML of an empty set gives too, and leaves the
  // object as it was whenever it fails.
  std::string GetXML();
  bool SetXML(std::string_view XML);

  // Replaces everything; the cursor is on the first event.
  void LoadStructures(const Friend&, Array<API_EventData>&& Rows);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document);
  bool SetXMLNode(const Friend&, const platform::XmlNode& node);

 private:
  std::int32_t RowCount() const override { return rows_.Count(); }
  // 0: not asked yet, 1: yes, -1: no.
  struct Answers {
    std::int32_t accs = 0, cacs = 0, open_events = 0, employees = 0;
  };

  const API_EventData& Current() const { return rows_[Position()]; }
  std::int32_t Field(std::string_view property, std::int32_t API_EventData::*field) const;
  double DateField(std::string_view property, std::int32_t API_EventData::*field) const;
  bool Has(std::string_view procedure, std::int32_t API_EventData::*field,
           std::int32_t Answers::*kept) const;

  Array<API_EventData> rows_;
  mutable Answers answers_;
};

}  // namespace orvspc
