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

void TimeMember(JsonWriter& json, const char* key, std::int64_t stamp) {
  json.MemberIf(stamp != 0, key, IsoTime(stamp));
}

// "ACC: tool changed (Ann, 2024-03-01T08:00:00)"
std::string CodeText(const char* what, const std::string& code, const std::string& employee,
                     std::int64_t stamp) {
  if (code.empty()) return {};
  std::string text = std::string(what) + ": " + code;
  const std::string time = stamp == 0 ? std::string() : IsoTime(stamp);
  if (employee.empty() && time.empty()) return text;
  return text + " (" + employee + (employee.empty() || time.empty() ? "" : ", ") + time + ")";
}

std::string JoinedNonEmpty(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const auto& part : parts)
    if (!part.empty()) text += (text.empty() ? "" : separator) + part;
  return text;
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
                    events.ACC(),
                    events.ACCEmployee(),
                    events.CAC(),
                    events.CACEmployee(),
                    events.Flag(),
                    events.Name(),
                    StampOf(events.EventTime()),
                    StampOf(events.Sgtm()),
                    StampOf(events.ACCTime()),
                    StampOf(events.CACTime())};
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
  json.Objects("Events", events, [&](const EventRow& event) {
    const auto item = [&](const char* key, NameKind kind, std::int32_t id) {
      WriteItem(json, key, names, kind, id);
    };
    json.Members("Evnt", event.evnt, "EventType", event.type, "Name", event.name);
    item("Empl", NameKind::Employee, event.empl);
    json.Member("EventTime", IsoTime(event.time));
    item("Prcs", NameKind::Process, event.prcs);
    item("Part", NameKind::Part, event.part);
    item("Test", NameKind::Test, event.test);
    TimeMember(json, "Sgtm", event.sgtm);
    item("ACC", NameKind::AccCode, event.acc);
    item("ACCEmployee", NameKind::Employee, event.acc_employee);
    TimeMember(json, "ACCTime", event.acc_time);
    item("CAC", NameKind::CacCode, event.cac);
    item("CACEmployee", NameKind::Employee, event.cac_employee);
    TimeMember(json, "CACTime", event.cac_time);
    json.Member("Flag", event.flag);
  });
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
    const std::string where = JoinedNonEmpty({ShownName(names, NameKind::Process, event.prcs),
                                              ShownName(names, NameKind::Part, event.part),
                                              ShownName(names, NameKind::Test, event.test)},
                                             " / ");
    const std::string state = event.flag == 0 ? "" : "[" + OpenText(event.flag) + "]";
    table.rows.push_back({IsoTime(event.time), EventTypeWord(event.type), PlainText(event.name),
                          JoinedNonEmpty({where, state}, "  ")});
    table.details.push_back(JoinedNonEmpty(
        {event.empl == 0 ? "" : "by " + ShownName(names, NameKind::Employee, event.empl),
         event.sgtm == 0 ? "" : "subgroup of " + IsoTime(event.sgtm),
         CodeText("ACC", ShownName(names, NameKind::AccCode, event.acc),
                  ShownName(names, NameKind::Employee, event.acc_employee), event.acc_time),
         CodeText("CAC", ShownName(names, NameKind::CacCode, event.cac),
                  ShownName(names, NameKind::Employee, event.cac_employee), event.cac_time)},
        "; "));
  }
  return table;
}

std::string EventsText(const std::vector<EventRow>& events, const Names& names,
                       const TextOptions& options) {
  TextWriter out(options);
  events.empty() ? out.Line("no data selected") : out.Write(EventsTable(events, names));
  return out.Take();
}

}  // namespace orvspc::render
