// SPDX-License-Identifier: Apache-2.0
#include "dataset/EventData.h"

#include <algorithm>
#include <utility>

#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {

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

}  // namespace orvspc
