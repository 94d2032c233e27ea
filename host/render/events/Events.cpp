// SPDX-License-Identifier: Apache-2.0
#include "host/render/events/Events.h"

#include <algorithm>

#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"
#include "host/render/core/Words.h"
#include "platform/Enumerations.h"
#include "platform/TimeStamp.h"

namespace orvspc::render {

namespace {

std::int64_t StampOf(double date) { return platform::DateToTimeStamp(date); }

// "ACC: tool changed (Ann, 2024-03-01T08:00:00)"
std::string CodeText(const char* what, NameKind kind, const EventCode& code, const Names& names) {
  if (code.code == 0) return {};
  const std::string by = Joined({ShownName(names, NameKind::Employee, code.employee),
                                 code.time == 0 ? "" : IsoTime(code.time)},
                                ", ");
  return what + (": " + ShownName(names, kind, code.code)) + (by.empty() ? "" : " (" + by + ")");
}

}  // namespace

std::vector<EventRow> ReadEvents(EventData& events) {
  return ReadRows(events, [&] {
    return EventRow{events.Evnt(),
                    events.EventType(),
                    events.Empl(),
                    events.Prcs(),
                    events.Part(),
                    events.Test(),
                    events.Flag(),
                    events.Name(),
                    StampOf(events.EventTime()),
                    StampOf(events.Sgtm()),
                    {events.ACC(), events.ACCEmployee(), StampOf(events.ACCTime())},
                    {events.CAC(), events.CACEmployee(), StampOf(events.CACTime())}};
  });
}

std::string EventTypeWord(std::int32_t type) {
  return WordOrNumber(platform::kEventTypes, type, "type ");
}

std::string OpenText(std::int32_t flag) {
  if (flag == 0) return {};
  if (flag == efOpenACC) return "open ACC";
  if (flag == efOpenCAC) return "open CAC";
  if (flag == (efOpenACC | efOpenCAC)) return "open ACC and CAC";
  return "open (" + std::to_string(flag) + ")";
}

void WriteEvents(JsonWriter& json, const std::vector<EventRow>& events, const Names& names) {
  json.Objects("Events", events, [&](const EventRow& event) { WriteEvent(json, event, names); });
}

std::string EventsJson(const EventsDocument& document, const Names& names) {
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "DataSelect", document.select, WriteDataSelect);
    WriteEvents(json, document.events, names);
    WriteNotes(json, document.notes);
  });
}

Table EventsTable(const std::vector<EventRow>& events, const Names& names) {
  const auto open = std::count_if(events.begin(), events.end(),
                                  [](const EventRow& event) { return event.flag != 0; });
  Table table{Counted(events.size(), "event") + ", " + std::to_string(open) + " open",
              {"@time (UTC)", "type", "name", "process / part / test"},
              {}};
  for (const auto& event : events) {
    const std::string where = Joined({ShownName(names, NameKind::Process, event.prcs),
                                      ShownName(names, NameKind::Part, event.part),
                                      ShownName(names, NameKind::Test, event.test)},
                                     " / ");
    const std::string state = event.flag == 0 ? "" : "[" + OpenText(event.flag) + "]";
    table.rows.push_back({IsoTime(event.time), EventTypeWord(event.type), PlainText(event.name),
                          Joined({where, state}, "  ")});
    table.details.push_back(
        Joined({event.empl == 0 ? "" : "by " + ShownName(names, NameKind::Employee, event.empl),
                event.sgtm == 0 ? "" : "subgroup of " + IsoTime(event.sgtm),
                CodeText("ACC", NameKind::AccCode, event.acc, names),
                CodeText("CAC", NameKind::CacCode, event.cac, names)},
               "; "));
  }
  return table;
}

std::string EventsText(const std::vector<EventRow>& events, const Names& names,
                       const TextOptions& options) {
  TextWriter out(options);
  if (events.empty()) {
    out.Line("no data selected");
  } else {
    out.Write(EventsTable(events, names));
  }
  return out.Take();
}

}  // namespace orvspc::render
