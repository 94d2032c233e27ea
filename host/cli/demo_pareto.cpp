// SPDX-License-Identifier: Apache-2.0
#include "host/cli/demo_pareto.h"

#include <utility>

#include "engine/store/Catalogue.h"
#include "host/cli/ParetoCommand.h"
#include "host/cli/Selection.h"
#include "host/render/pareto/ParetoView.h"
#include "host/render/pareto/ParetoJson.h"
#include "host/render/pareto/ParetoModel.h"

namespace orvspc::host {

namespace {

constexpr const char* kPart = "Door panel";
constexpr const char *kSince = "2024-03-18", *kUntil = "2024-03-24";

struct Picture {
  const char* name;  // of its files
  const char* title;
  const char* text;
  paResourceTypes from;
  paBinTypes major, minor;
  std::int32_t bins;
  paProcessingTypes measure;
  const char* options;
};

constexpr Picture kPictures[] = {
    {"panel-defects", "Pareto: which defects to work on first",
     "Defects of simulated door panels by code; darker bars make up the first 80 percent.",
     paSubgroups, paBinTypeDefect, paBinTypeNone, 10, paProcessByCount, "--by defect"},
    {"panel-defects-by-line", "Pareto with two levels",
     "The same defects, each code divided by production line.", paSubgroups, paBinTypeDefect,
     paBinTypeProcess, 15, paProcessByCount, "--by defect,process --bins 15"},
    {"panel-stops", "Pareto of stops by cause", "Hours that the same lines stood, by cause.",
     paProcessEvents, paBinTypeACC, paBinTypeNone, 10, paProcessByHours,
     "--from events --by acc-code --measure hours"},
};

ParetoDocument Analyse(const std::shared_ptr<EmbeddedDatabase>& database, const Picture& picture) {
  auto select = std::make_shared<DataSelect>();
  select->MaximumItems(INT32_MAX);
  select->DateRangeInterval(0);
  select->IncludeDefectTests(true);
  select->IncludeDefectiveTests(true);
  const auto part = engine::store::FindItem(*database, engine::catalogue::ItemKind::Part, kPart);
  if (!part) throw Refusal(std::string("the sample data has no part ") + kPart);
  select->Descriptors()->Add(dtPart)->AddItemID(*part);
  if (picture.from != paSubgroups) {
    // One stop is open: without an end of the range it would last until today.
    select->DateRangeTimeType(drttStatic);
    select->DateRangeStart(DateOption("since", kSince, false));
    select->DateRangeEnd(DateOption("until", kUntil, true));
  }
  auto processing = std::make_shared<PAProcessing>();
  processing->ResourceType(picture.from);
  processing->BinType(0, picture.major);
  processing->BinType(1, picture.minor);
  processing->BinCount(picture.bins);
  processing->ProcessingType(picture.measure);
  return RunPareto(database, select, processing);
}

}  // namespace

std::vector<DemoPareto> DrawParetoDemo(const std::shared_ptr<EmbeddedDatabase>& database,
                                       const std::filesystem::path& folder) {
  const Names names = NamesOf(database);
  std::vector<DemoPareto> drawn;
  for (const auto& picture : kPictures) {
    const ParetoDocument document = Analyse(database, picture);
    const ParetoView view = MakeParetoView(document, names);
    const std::string name = picture.name, stem = (folder / name).string();
    WriteFile(stem + ".svg", RenderParetoSvg(view));
    WriteFile(stem + ".html", RenderParetoHtml(view));
    WriteFile(stem + ".json", ParetoJson(document));
    std::string options = "--part \"" + std::string(kPart) + "\" " + picture.options;
    if (picture.from != paSubgroups)
      options += std::string(" --since ") + kSince + " --until " + kUntil;
    drawn.push_back(
        {{picture.title,
          picture.text,
          RenderParetoSvg(view, true),
          {{"page", name + ".html"}, {"picture", name + ".svg"}, {"figures", name + ".json"}}},
         std::move(options)});
  }
  return drawn;
}

}  // namespace orvspc::host
