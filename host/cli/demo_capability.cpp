// SPDX-License-Identifier: Apache-2.0
#include "host/cli/demo_capability.h"

#include "engine/store/Catalogue.h"
#include "host/cli/CapabilityCommand.h"
#include "host/render/capability/CapabilityView.h"
#include "host/render/capability/CapabilityJson.h"
#include "host/render/capability/CapabilityModel.h"

namespace orvspc::host {

namespace {

struct Picture {
  const char* name;  // of its files
  const char* title;
  const char* text;
  const char* part;
  caFitTypes fit;
  const char* options;
};

constexpr Picture kPictures[] = {
    {"ring-capability", "Capability between two limits",
     "Montgomery's piston ring samples from both made-up presses, against 74.00 +/- 0.05 mm.",
     "Ring", caFitNormal, ""},
    {"bottle-capability", "Capability against one limit",
     "Bursting strength of 100 glass containers, at least 200 (Montgomery, Table 8.1).", "Bottle",
     caFitNormal, ""},
    {"shaft-capability", "Skewed values: a Johnson curve",
     "Run-out of ground shafts, at most 35 micrometres. The values are simulated.", "Shaft",
     caFitJohnson, " --fit johnson"},
};

CapabilityDocument Analyse(const std::shared_ptr<EmbeddedDatabase>& database,
                           const Picture& picture) {
  const auto part =
      engine::store::FindItem(*database, engine::catalogue::ItemKind::Part, picture.part);
  if (!part) throw Refusal(std::string("the sample data has no part ") + picture.part);
  auto select = std::make_shared<DataSelect>();
  select->MaximumItems(INT32_MAX);
  select->DateRangeInterval(0);
  select->Descriptors()->Add(dtPart)->AddItemID(*part);
  auto processing = std::make_shared<CAProcessing>();
  processing->FitType(picture.fit);
  return RunCapability(database, select, processing);
}

}  // namespace

std::vector<DemoCapability> DrawCapabilityDemo(const std::shared_ptr<EmbeddedDatabase>& database,
                                               const std::filesystem::path& folder) {
  const Names names = NamesOf(database);
  std::vector<DemoCapability> drawn;
  for (const auto& picture : kPictures) {
    const CapabilityDocument document = Analyse(database, picture);
    const CapabilityView view = MakeCapabilityView(document, names);
    const std::string name = picture.name, stem = (folder / name).string();
    WriteFile(stem + ".svg", RenderCapabilitySvg(view));
    WriteFile(stem + ".html", RenderCapabilityHtml(view));
    WriteFile(stem + ".json", CapabilityJson(document));
    drawn.push_back(
        {{picture.title,
          picture.text,
          RenderCapabilitySvg(view, true),
          {{"page", name + ".html"}, {"picture", name + ".svg"}, {"figures", name + ".json"}}},
         std::string("--part ") + picture.part + picture.options});
  }
  return drawn;
}

}  // namespace orvspc::host
