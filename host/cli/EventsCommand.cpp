// SPDX-License-Identifier: Apache-2.0
#include "host/cli/EventsCommand.h"

#include <ostream>

#include "host/cli/Command.h"
#include "host/cli/Selection.h"
#include "host/render/events/Events.h"

namespace orvspc::host {

namespace {

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml"});
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, 25);
  const auto events = select->GetEventData(database);
  CheckEngine(*database);
  const auto notes = TakeNotes();
  if (events->Count() == 0 && format != "text") console.err << kNoData << "\n";
  if (format == "json") {
    Deliver(arguments, console,
            EventsJson({select.get(), ReadEvents(*events), notes}, NamesOf(database)));
    return 0;
  }
  PrintNotes(console, notes);
  Deliver(arguments, console,
          format == "xml"
              ? events->GetXML() + "\n"
              : EventsText(ReadEvents(*events), NamesOf(database), {console.columns, false}));
  return 0;
}

}  // namespace

std::string ShowEvents(const std::string& text, const std::string& format, const Console& console) {
  EventData events;
  events.SetXML(text);
  if (format == "xml") return events.GetXML() + "\n";
  const auto rows = ReadEvents(events);
  return format == "text" ? EventsText(rows, NoNames(), {console.columns, false})
                          : EventsJson({nullptr, rows, {}}, NoNames());
}

Command EventsCommand() {
  Command command;
  command.name = "events";
  command.synopsis = "--db FILE [OPTIONS]";
  command.summary = "Process events: alarms, sampling violations, downtime";
  command.details =
      "Takes the newest 25 events unless --max says otherwise. Events have a time, a process, a\n"
      "part, a test and an employee; other options of the selection do not narrow them.\n"
      "Formats: text, json, xml.\n";
  command.example = "orvspc events --db q.db --process \"Press A\" --since 2024-03-04 --max 200";
  command.options = SelectionOptions("the newest N events at most (default 25)");
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
