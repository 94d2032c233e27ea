// SPDX-License-Identifier: Apache-2.0
#include <ostream>

#include "host/cli/Command.h"
#include "host/cli/Selection.h"
#include "host/render/data/DataText.h"

namespace orvspc::host {

namespace {

// Which kinds of test; all without the option.
void AddTestTypes(const Arguments& arguments, DataSelect& select) {
  const std::string word =
      arguments.Choice("test-type", {"all", "variable", "defects", "defectives"}, "all");
  const bool all = word == "all";
  select.IncludeVariableTests(all || word == "variable");
  select.IncludeDefectTests(all || word == "defects");
  select.IncludeDefectiveTests(all || word == "defectives");
}

int Run(const Arguments& arguments, Console& console) {
  const std::string format = OutputFormat(arguments, {"text", "json", "xml"});
  const auto database = OpenQualityDatabase(arguments);
  const auto select = MakeSelection(arguments, *database, 25);
  AddTestTypes(arguments, *select);
  // The retrieval writes what it resolved into the selection that it works on.
  const auto data = select->Clone()->GetSubgroupData(database);
  CheckEngine(*database);
  const auto notes = TakeNotes();
  if (data->TotalSubgroups() == 0 && format != "text") console.err << kNoData << "\n";
  if (format == "json") {
    Deliver(arguments, console,
            DataJson(select.get(), ReadSubgroups(*data), NamesOf(database), notes));
    return 0;
  }
  PrintNotes(console, notes);
  Deliver(arguments, console,
          format == "xml"
              ? data->GetXML() + "\n"
              : DataText(ReadSubgroups(*data), NamesOf(database), {console.columns, false}));
  return 0;
}

}  // namespace

Command DataCommand() {
  Command command;
  command.name = "data";
  command.synopsis = "--db FILE [OPTIONS]";
  command.summary = "The selected subgroups with their values, descriptors and comments";
  command.details = "Formats: text, json, xml.\n";
  command.example = "orvspc data --db q.db --part Ring --since 2024-03-01 --format json";
  command.options = SelectionOptions();
  command.options.push_back({"test-type", "WORD", "all variable defects defectives (default all)"});
  for (const auto& option : OutputOptions()) command.options.push_back(option);
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
