// SPDX-License-Identifier: Apache-2.0
#include "host/cli/demo_summary.h"

#include "engine/store/Catalogue.h"
#include "host/cli/ComplianceCommand.h"
#include "host/cli/Selection.h"
#include "host/cli/StatesCommand.h"

namespace orvspc::host {

namespace {

constexpr const char* kProcesses[] = {"Capper", "Filler 1", "Filler 2"};
constexpr const char *kSince = "2024-04-08", *kUntil = "2024-04-13";

std::shared_ptr<DataSelect> Selection(EmbeddedDatabase& database) {
  auto select = std::make_shared<DataSelect>();
  select->MaximumItems(10000);
  select->DateRangeTimeType(drttStatic);
  select->DateRangeStart(DateOption("since", kSince, false));
  select->DateRangeEnd(DateOption("until", kUntil, true));
  const auto descriptor = select->Descriptors()->Add(dtProcess);
  for (const char* name : kProcesses) {
    const auto process =
        engine::store::FindItem(database, engine::catalogue::ItemKind::Process, name);
    if (!process) throw Refusal(std::string("the sample data has no process ") + name);
    descriptor->AddItemID(*process);
  }
  return select;
}

std::string Options() {
  std::string options;
  for (const char* name : kProcesses) options += "--process " + ShellWord(name) + " ";
  return options + "--since " + kSince + " --until " + kUntil;
}

struct Files {
  std::string picture, embedded, page, figures;
};

DemoSummary Written(const std::filesystem::path& folder, const std::string& command,
                    const char* title, const char* text, const Files& files) {
  const std::string name = "filling-" + command, stem = (folder / name).string();
  WriteFile(stem + ".svg", files.picture);
  WriteFile(stem + ".html", files.page);
  WriteFile(stem + ".json", files.figures);
  return {{title,
           text,
           files.embedded,
           {{"page", name + ".html"}, {"picture", name + ".svg"}, {"figures", name + ".json"}}},
          command,
          Options()};
}

}  // namespace

std::vector<DemoSummary> DrawSummaryDemo(const std::shared_ptr<EmbeddedDatabase>& database,
                                         const std::filesystem::path& folder) {
  const Names names = NamesOf(database);
  const auto select = Selection(*database);
  const StatesDocument states = RunStates(database, *select);
  const StatesView lanes = MakeStatesView(states, names);
  const ComplianceDocument compliance = RunCompliance(database, select);
  const ComplianceView counts = MakeComplianceView(compliance);
  return {Written(folder, "states", "Process states with events",
                  "A simulated week of a bottling line: two fillers and a capper.",
                  {RenderStatesSvg(lanes), RenderStatesSvg(lanes, true), RenderStatesHtml(lanes),
                   StatesJson(states, names)}),
          Written(folder, "compliance", "Sampling compliance by requirement, shift and day",
                  "Which of the samples that the same week asked for were taken.",
                  {RenderComplianceSvg(counts), RenderComplianceSvg(counts, true),
                   RenderComplianceHtml(counts), ComplianceJson(compliance)})};
}

}  // namespace orvspc::host
