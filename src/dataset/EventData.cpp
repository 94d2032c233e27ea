// SPDX-License-Identifier: Apache-2.0
#include "dataset/EventData.h"

#include <utility>

#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {

void EventData::LoadStructures(const Friend&, Array<API_EventData>&& Rows) {
  Traced("EventData.LoadStructures", [&] {
    rows_ = std::move(Rows);
    cursor_.Reset();
    answers_ = {};
  });
}

std::int32_t EventData::CurrentIndex() const {
  return Traced("EventData.CurrentIndex(g)", [&] { return cursor_.CurrentIndex(); });
}

std::int32_t EventData::Field(std::string_view entry, std::int32_t API_EventData::*field) const {
  return Traced(entry, [&] { return Count() == 0 ? 0 : Current().*field; });
}

double EventData::DateField(std::string_view entry, std::int32_t API_EventData::*field) const {
  return Traced(entry, [&] { return Count() == 0 ? 0.0 : TimeStampToDate(Current().*field); });
}

std::int32_t EventData::ACC() const { return Field("EventData.ACC(g)", &API_EventData::F_ACC); }
std::int32_t EventData::ACCEmployee() const {
  return Field("EventData.ACCEmployee(g)", &API_EventData::F_ACEM);
}
double EventData::ACCTime() const {
  return DateField("EventData.ACCTime(g)", &API_EventData::F_ACTM);
}
std::int32_t EventData::CAC() const { return Field("EventData.CAC(g)", &API_EventData::F_CAC); }
std::int32_t EventData::CACEmployee() const {
  return Field("EventData.CACEmployee(g)", &API_EventData::F_CAEM);
}
double EventData::CACTime() const {
  return DateField("EventData.CACTime(g)", &API_EventData::F_CATM);
}
std::int32_t EventData::Empl() const { return Field("EventData.Empl(g)", &API_EventData::F_EMPL); }
std::int32_t EventData::Evnt() const { return Field("EventData.Evnt(g)", &API_EventData::Evnt); }
double EventData::EventTime() const {
  return DateField("EventData.EventTime(g)", &API_EventData::F_EVTM);
}
EventFlags EventData::Flag() const {
  return static_cast<EventFlags>(Field("EventData.Flag(g)", &API_EventData::F_FLAG));
}
std::int32_t EventData::Part() const { return Field("EventData.Part(g)", &API_EventData::F_PART); }
std::int32_t EventData::Prcs() const { return Field("EventData.Prcs(g)", &API_EventData::F_PRCS); }
double EventData::Sgtm() const { return DateField("EventData.Sgtm(g)", &API_EventData::F_SGTM); }
std::int32_t EventData::Test() const { return Field("EventData.Test(g)", &API_EventData::F_TEST_); }
EventTypes EventData::EventType() const {
  return static_cast<EventTypes>(Field("EventData.EventType(g)", &API_EventData::F_TYPE));
}

std::string EventData::Name() {
  return Traced("EventData.Name(g)", [&] {
    return Count() == 0 ? std::string() : TrimFixedField(rows_[cursor_.Position()].F_NAME);
  });
}

bool EventData::MoveTo(std::int32_t CurrentIndex) {
  return Traced("EventData.MoveTo", [&] { return cursor_.MoveTo(CurrentIndex, Count()); });
}

bool EventData::MoveFirst() {
  return Traced("EventData.MoveFirst", [&] { return MoveTo(1); });
}

bool EventData::MoveLast() {
  return Traced("EventData.MoveLast", [&] { return MoveTo(Count()); });
}

bool EventData::MoveNext() {
  return Traced("EventData.MoveNext", [&] {
    const std::int32_t index = CurrentIndex();
    return index < Count() && MoveTo(index + 1);
  });
}

bool EventData::MovePrev() {
  return Traced("EventData.MovePrev", [&] { return MoveTo(CurrentIndex() - 1); });
}

bool EventData::Has(std::string_view entry, std::int32_t API_EventData::*field,
                    std::int32_t Answers::*kept) const {
  return Traced(entry, [&] {
    std::int32_t& answer = answers_.*kept;
    if (answer == 0) {
      answer = -1;
      for (const API_EventData& row : rows_.Elements()) {
        if (row.*field == 0) continue;
        answer = 1;
        break;
      }
    }
    return answer == 1;
  });
}

bool EventData::HasOpenEvents() const {
  return Has("EventData.HasOpenEvents", &API_EventData::F_FLAG, &Answers::open_events);
}
bool EventData::HasEmployees() const {
  return Has("EventData.HasEmployees", &API_EventData::F_EMPL, &Answers::employees);
}
bool EventData::HasACCs() const {
  return Has("EventData.HasACCs", &API_EventData::F_ACC, &Answers::accs);
}
bool EventData::HasCACs() const {
  return Has("EventData.HasCACs", &API_EventData::F_CAC, &Answers::cacs);
}

}  // namespace orvspc
