// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <ostream>
#include <string_view>
#include <system_error>
#include <utility>

#include "engine/import/Import.h"
#include "engine/store/Catalogue.h"
#include "host/cli/ChartCommand.h"
#include "host/cli/Samples.h"
#include "host/cli/demo_capability.h"
#include "host/cli/demo_pareto.h"
#include "host/cli/demo_summary.h"
#include "host/render/core/Html.h"
#include "host/render/chart/ChartView.h"

namespace orvspc::host {

namespace {

namespace fs = std::filesystem;

struct Picture {
  const char* name;  // of its files
  const char* title;
  const char* text;
  const char* part;
  ccGraph1Types graph1;
  ccGraph2Types graph2;
  ccGroupByTypes group_by;
  const char* options;  // for the command line that draws the same
};

constexpr Picture kPictures[] = {
    {"flow-width", "Mean and range, limits stored from the first 25 subgroups",
     "Flow width of wafers, micrometres (Montgomery, Tables 6.1 and 6.2). The process shifts at "
     "the "
     "end, which the stored limits show.",
     "Wafer", ccGraph1XBar, ccGraph2Range, ccGroupByNone, "--graph1 xbar --graph2 range"},
    {"flow-rate", "Individuals and moving range",
     "Flow rate of 10 batches (NIST e-Handbook, 6.3.2.2).", "Reactor feed", ccGraph1Ix, ccGraph2Mr,
     ccGroupByNone, "--graph1 individuals --graph2 mr"},
    {"piston-rings", "Mean and deviation where sizes differ",
     "Inside diameter of piston rings, 3 to 5 a subgroup (Montgomery, Table 6.4). The limits step "
     "with the size.",
     "Piston ring", ccGraph1XBar, ccGraph2Sd, ccGroupByNone, "--graph1 xbar --graph2 sd"},
    {"two-presses", "Two streams side by side, with specification limits",
     "Montgomery's piston ring samples, dealt to two made-up presses in turn. Each stream has "
     "limits of its own.",
     "Ring", ccGraph1XBar, ccGraph2Range, ccGroupByProcess,
     "--graph1 xbar --graph2 range --group-by process"},
    {"purchase-orders-p", "Share of defectives where sizes differ",
     "Purchase orders with an error, 25 weeks of 80 to 120 orders (Montgomery, Table 7.4).",
     "Purchase order", ccGraph1P, ccGraph2None, ccGroupByNone, "--graph1 p"},
    {"purchase-orders-ppt", "Defectives in a thousand", "The same orders, scaled.",
     "Purchase order", ccGraph1Ppt, ccGraph2None, ccGroupByNone, "--graph1 ppt"},
    {"purchase-orders-ppm", "Defectives in a million", "The same orders, scaled.", "Purchase order",
     ccGraph1Ppm, ccGraph2None, ccGroupByNone, "--graph1 ppm"},
    {"juice-cans-np", "Number of defectives",
     "Leaking juice cans in 30 samples of 50 (Montgomery, Table 7.1).", "Juice can", ccGraph1Np,
     ccGraph2None, ccGroupByNone, "--graph1 np"},
    {"circuit-boards-c", "Number of defects, limits stored from the first 26 samples",
     "Nonconformities of 46 samples of 100 circuit boards (Montgomery, Example 7.3).",
     "Circuit board", ccGraph1C, ccGraph2None, ccGroupByNone, "--graph1 c"},
    {"circuit-boards-dpto", "Defects in a thousand opportunities",
     "The same boards, with a made-up 250 opportunities for a defect on each.", "Circuit board",
     ccGraph1Dpto, ccGraph2None, ccGroupByNone, "--graph1 dpto"},
    {"circuit-boards-dpmo", "Defects in a million opportunities",
     "The same boards, with a made-up 250 opportunities for a defect on each.", "Circuit board",
     ccGraph1Dpmo, ccGraph2None, ccGroupByNone, "--graph1 dpmo"},
    {"radiators-u", "Defects a unit where sizes differ",
     "Leaks in 18 lots of 32 to 58 radiators (Wheeler, Understanding Statistical Process Control).",
     "Radiator", ccGraph1U, ccGraph2None, ccGroupByNone, "--graph1 u"},
};

// By the end of its name, "panels-state-codes.csv", "specification-limits.csv"; else values.
engine::import::ImportKind KindOf(std::string_view file) {
  std::string_view kind;
  for (const auto word : engine::import::ImportKindWords()) {
    if (file.ends_with("-" + std::string(word) + ".csv") && word.size() > kind.size()) kind = word;
  }
  return engine::import::ImportKindFromWord(kind).value_or(engine::import::ImportKind::Values);
}

void MakeDirectory(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error || !fs::is_directory(path)) throw Refusal(path.string() + ": cannot be made a folder");
}

// Ours from an earlier demo; whatever else lies in the folder stays.
void RemoveDatabase(const fs::path& path) {
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code error;
    fs::remove(path.string() + ending, error);
    if (error) throw Refusal(path.string() + ending + ": cannot be replaced");
  }
}

std::shared_ptr<EmbeddedDatabase> MakeDatabase(const fs::path& folder) {
  const fs::path path = folder / "sample.db";
  RemoveDatabase(path);
  MakeDirectory(folder / "data");
  auto database = OpenDatabase(path.string(), true);
  for (const bool values : {true, false})
    for (const auto& sample : Samples()) {
      const fs::path file = folder / "data" / sample.file;
      if ((KindOf(sample.file) == engine::import::ImportKind::Values) != values) continue;
      WriteFile(file.string(), sample.text);
      engine::import::ImportCsv(file.string(), *database, KindOf(sample.file));
    }
  return database;
}

ChartDocument Draw(const std::shared_ptr<EmbeddedDatabase>& database, const Picture& picture) {
  const auto part =
      engine::store::FindItem(*database, engine::catalogue::ItemKind::Part, picture.part);
  if (!part) throw Refusal(std::string("the sample data has no part ") + picture.part);
  auto select = std::make_shared<DataSelect>();
  select->MaximumItems(100);
  select->DateRangeInterval(0);
  const auto descriptor = select->Descriptors()->Add(dtPart);
  descriptor->AddItemID(*part);
  auto processing = std::make_shared<CCProcessing>();
  processing->Graph1Type(picture.graph1);
  processing->Graph2Type(picture.graph2);
  processing->GroupBy(picture.group_by);
  SelectTestsOf(*processing, *select);
  return RunChart(database, select, processing);
}

// How the running program can be called from this folder; its plain name where the system does not
// tell.
std::string ProgramPath() {
  std::error_code failed;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (failed) return "orvspc";
  const auto from_here = std::filesystem::proximate(program, failed);
  return failed ? program.string() : from_here.string();
}

int Run(const Arguments& arguments, Console& console) {
  const fs::path folder =
      arguments.Positional().empty() ? "orvspc-demo" : arguments.Positional()[0];
  MakeDirectory(folder);
  const auto database = MakeDatabase(folder);
  const Names names = NamesOf(database);
  const std::string path = (folder / "sample.db").string();

  std::vector<IndexEntry> entries;
  std::string commands, drawn;
  for (const auto& picture : kPictures) {
    ChartDocument document = Draw(database, picture);
    document.acceptance = ReadAcceptance(document);
    ChartView view = MakeChartView(document, names);
    const std::string stem = (folder / picture.name).string();
    WriteFile(stem + ".svg", RenderChartSvg(view));
    WriteFile(stem + ".html", RenderChartHtml(view));
    WriteFile(stem + ".json", ChartJson(document, names));
    const std::string name = picture.name;
    entries.push_back(
        {picture.title,
         picture.text,
         RenderChartSvg(view, true),
         {{"page", name + ".html"}, {"picture", name + ".svg"}, {"figures", name + ".json"}}});
    commands += "  " + ShellWord(ProgramPath()) + " chart --db " + ShellWord(path) + " --part \"" +
                picture.part + "\" " + picture.options + " --max 100\n";
    if (drawn.empty()) drawn = RenderChartText(view, {console.columns, console.out_is_terminal});
  }
  for (auto& capability : DrawCapabilityDemo(database, folder)) {
    entries.push_back(std::move(capability.entry));
    commands += "  " + ShellWord(ProgramPath()) + " capability --db " + ShellWord(path) + " " +
                capability.options + "\n";
  }
  for (auto& pareto : DrawParetoDemo(database, folder)) {
    entries.push_back(std::move(pareto.entry));
    commands += "  " + ShellWord(ProgramPath()) + " pareto --db " + ShellWord(path) + " " +
                pareto.options + "\n";
  }
  for (auto& summary : DrawSummaryDemo(database, folder)) {
    entries.push_back(std::move(summary.entry));
    commands += "  " + ShellWord(ProgramPath()) + " " + summary.command + " --db " +
                ShellWord(path) + " " + summary.options + "\n";
  }
  const std::string index = (folder / "index.html").string();
  WriteFile(index,
            RenderIndex("Charts of the sample data",
                        "Drawn by orvspc from sample.db. Point at a marked point to see its rule.",
                        entries));
  console.out << drawn << "\nThe same database draws more:\n"
              << commands << "\n"
              << "All charts: " << fs::absolute(index).lexically_normal().string() << "\n";
  return 0;
}

}  // namespace

Command DemoCommand() {
  Command command;
  command.name = "demo";
  command.synopsis = "[DIR]";
  command.summary = "Makes DIR/sample.db from data that the program carries, and draws everything";
  command.details = "DIR is orvspc-demo without it. A sample.db in it is replaced.\n";
  command.example = "orvspc demo /tmp/spc";
  command.most_positional = 1;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
