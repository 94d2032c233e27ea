// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <utility>
#include <vector>

#include "host/cli/Analysis.h"
#include "host/render/events/Events.h"

namespace orvspc::cli {

namespace {

constexpr Number kMaxEvents = MaximumOption("the newest N events at most; 0: all", "25");
constexpr Option kEventsOptions[] = {kMaxEvents};

// The record of an event has room for the beginning of its name.
void GiveWholeNames(const Analysis& run, std::vector<render::EventRow>& rows) {
  std::vector<std::int32_t> ids;
  for (const auto& row : rows) ids.push_back(row.evnt);
  const auto events = run.database.Events(ids);
  auto row = rows.begin();
  for (const auto& event : events) {
    while (row->evnt != event.id) ++row;
    row->name = run.names(ItemKind::EventName, event.name);
  }
}

int RunEventsCommand(const Arguments& arguments, Console& console) {
  return RunAnalysis(
      arguments, console, kStored, kMaxEvents, ttVariable, [](Analysis& run) -> Outcome {
        auto [events, report] = Reported(
            run.database, [&](const auto& open) { return run.select->GetEventData(open); });
        const bool empty = events->Count() == 0;
        NoteCut(run, kMaxEvents, events->Count(), report.notes, kEvents);
        if (empty) NoteEmpty(run, kMaxEvents, report.notes, {kEvents});
        if (run.format == "xml") return {events->GetXML() + "\n", empty, std::move(report.notes)};
        auto rows = render::ReadEvents(*events);
        GiveWholeNames(run, rows);
        if (run.format == "json")
          return {render::EventsJson({run.select.get(), rows, report.notes}, run.names), empty};
        return {render::EventsText(rows, run.names, run.text), empty, std::move(report.notes)};
      });
}

}  // namespace

Command EventsCommand() {
  return {"events",
          "--db FILE [OPTIONS]",
          "Process events: alarms, sampling violations, downtime",
          "Takes the newest 25 events unless --max says otherwise. Events have a time, a process, "
          "a part, a test and an employee; other options of the selection do not narrow them.\n"
          "Formats: text, json, xml.",
          "orvspc events --db q.db --process \"Press A\" --since 2024-03-04 --max 200",
          Together(SelectionOptions(), kEventsOptions, kOutputOptions),
          RunEventsCommand};
}

}  // namespace orvspc::cli
