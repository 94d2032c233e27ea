// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "host/cli/Analysis.h"
#include "host/render/data/DataReading.h"

namespace orvspc::cli {

namespace {

constexpr Number kMaxListed = MaximumOption("the newest N subgroups at most; 0: all", "25");
constexpr Option kDataOptions[] = {kMaxListed, kTestType};

int RunDataCommand(const Arguments& arguments, Console& console) {
  return RunAnalysis(
      arguments, console, kStored, kMaxListed, arguments.Get(kTestType),
      [&](Analysis& run) -> Outcome {
        auto [data, report] = Reported(run.database, [&](const auto& open) {
          // The retrieval writes what it resolved into the selection that it works on.
          return run.select->Clone()->GetSubgroupData(open);
        });
        const bool empty = data->TotalSubgroups() == 0;
        NoteCut(run, kMaxListed, data->TotalSubgroups(), report.notes);
        if (empty) NoteEmpty(run, kMaxListed, report.notes);
        if (run.format == "xml") return {data->GetXML() + "\n", empty, std::move(report.notes)};
        auto subgroups = render::ReadSubgroups(*data);
        ReadTexts(run.database, run.names, subgroups);
        NoteFlags(subgroups, report.notes);
        // Those of the database are all there.
        std::erase_if(report.notes,
                      [](const Note& note) { return note.code == "descriptors-cut"; });
        if (run.format == "json") ReadVersions(run.database, subgroups);
        if (run.format == "json")
          return {render::DataJson(run.select.get(), subgroups, run.names, report.notes), empty};
        return {render::DataText(subgroups, run.names, run.text), empty, std::move(report.notes)};
      });
}

}  // namespace

Command DataCommand() {
  return {"data",
          "--db FILE [OPTIONS]",
          "The selected subgroups with their values, descriptors and comments",
          "Formats: text, json, xml.",
          "orvspc data --db q.db --part Ring --since 2024-03-01 --format json",
          Together(SelectionOptions(), kDataOptions, kOutputOptions),
          RunDataCommand};
}

}  // namespace orvspc::cli
