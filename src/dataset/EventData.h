// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/Array.h"
#include "frame/Cursor.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "platform/RowRecords.h"

namespace orvspc {

class Friend;

// The process events of a selection (alarms, sampling violations, downtime) and a cursor over them.
// Without events every Get of a field answers 0, date 0 or an empty text, and CurrentIndex 1; no
// move ever fails for being out of range, it returns false and the cursor stays.
class EventData : public platform::Object {
 public:
  EventData() = default;

  std::int32_t Count() const { return rows_.Count(); }
  // Counts from 1.
  std::int32_t CurrentIndex() const;

  // Fields of the current event. Employees are identifiers; times are dates, days since 1899-12-30.
  std::int32_t ACC() const;
  std::int32_t ACCEmployee() const;
  double ACCTime() const;
  std::int32_t CAC() const;
  std::int32_t CACEmployee() const;
  double CACTime() const;
  std::int32_t Empl() const;
  std::int32_t Evnt() const;  // identifier; 0 for events out of a text
  double EventTime() const;
  EventFlags Flag() const;  // not 0: the event is open
  // Without its padding; rewrites the field with blanks for padding.
  std::string Name();
  std::int32_t Part() const;
  std::int32_t Prcs() const;
  double Sgtm() const;  // time of the subgroup that the event speaks of
  std::int32_t Test() const;
  EventTypes EventType() const;

  // The index counts from 1.
  bool MoveTo(std::int32_t CurrentIndex);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

  // Whether any event is open or has the field; the answer is kept.
  bool HasOpenEvents() const;
  bool HasEmployees() const;
  bool HasACCs() const;
  bool HasCACs() const;

  // Times stay stamps; identifiers and the cursor are not kept. SetXML replaces all events. It
  // fails with 9 on a text without events, which GetXML of an empty set gives too, and leaves the
  // object as it was whenever it fails.
  std::string GetXML();
  bool SetXML(std::string_view XML);

  // Replaces everything; the cursor stands on the first event.
  void LoadStructures(const Friend&, Array<API_EventData>&& Rows);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document);
  bool SetXMLNode(const Friend&, const platform::XmlNode& node);

 private:
  // 0: not asked yet, 1: yes, -1: no.
  struct Answers {
    std::int32_t accs = 0, cacs = 0, open_events = 0, employees = 0;
  };

  const API_EventData& Current() const { return rows_[cursor_.Position()]; }
  std::int32_t Field(std::string_view entry, std::int32_t API_EventData::*field) const;
  double DateField(std::string_view entry, std::int32_t API_EventData::*field) const;
  bool Has(std::string_view entry, std::int32_t API_EventData::*field,
           std::int32_t Answers::*kept) const;
  platform::XmlNode CreateXMLEvent(platform::XmlDocument& document, std::int32_t index);

  Array<API_EventData> rows_;
  Cursor cursor_;
  mutable Answers answers_;
};

}  // namespace orvspc
