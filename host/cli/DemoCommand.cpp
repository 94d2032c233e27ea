// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <system_error>

#include "engine/QualityDatabase.h"
#include "host/cli/Output.h"
#include "host/cli/Samples.h"
#include "host/render/core/Html.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

namespace fs = std::filesystem;

struct Picture {
  const char* name;  // of its files
  const char* title;
  const char* text;
  const char* command;  // without --output; --db is added, and the folder of a file after --data
  bool of_options = false;  // no data at all
};

constexpr Picture kPictures[] = {
    {"flow-width", "Mean and range, limits stored from the first 25 subgroups",
     "Flow width of wafers, micrometres (Montgomery, Tables 6.1 and 6.2). The process shifts at "
     "the end, which the stored limits show.",
     "chart --part Wafer --graph1 xbar --graph2 range --max 100"},
    {"flow-rate", "Individuals and moving range",
     "Flow rate of 10 batches (NIST e-Handbook, 6.3.2.2).",
     "chart --part 'Reactor feed' --graph1 individuals --graph2 mr --max 100"},
    {"piston-rings", "Mean and deviation where sizes differ",
     "Inside diameter of piston rings, 3 to 5 a subgroup (Montgomery, Table 6.4). The limits "
     "step with the size.",
     "chart --part 'Piston ring' --graph1 xbar --graph2 sd --max 100"},
    {"two-presses", "Two streams side by side, with specification limits",
     "Montgomery's piston ring samples, dealt to two made-up presses in turn. Each stream has "
     "limits of its own.",
     "chart --part Ring --graph1 xbar --graph2 range --group-by process --max 100"},
    {"purchase-orders-p", "Share of defectives where sizes differ",
     "Purchase orders with an error, 25 weeks of 80 to 120 orders (Montgomery, Table 7.4).",
     "chart --part 'Purchase order' --graph1 p --max 100"},
    {"purchase-orders-ppt", "Defectives in a thousand", "The same orders, scaled.",
     "chart --part 'Purchase order' --graph1 ppt --max 100"},
    {"purchase-orders-ppm", "Defectives in a million", "The same orders, scaled.",
     "chart --part 'Purchase order' --graph1 ppm --max 100"},
    {"juice-cans-np", "Number of defectives",
     "Leaking juice cans in 30 samples of 50 (Montgomery, Table 7.1).",
     "chart --part 'Juice can' --graph1 np --max 100"},
    {"circuit-boards-c", "Number of defects, limits stored from the first 26 samples",
     "Nonconformities of 46 samples of 100 circuit boards (Montgomery, Example 7.3).",
     "chart --part 'Circuit board' --graph1 c --max 100"},
    {"circuit-boards-dpto", "Defects in a thousand opportunities",
     "The same boards, with a made-up 250 opportunities for a defect on each.",
     "chart --part 'Circuit board' --graph1 dpto --max 100"},
    {"circuit-boards-dpmo", "Defects in a million opportunities",
     "The same boards, with a made-up 250 opportunities for a defect on each.",
     "chart --part 'Circuit board' --graph1 dpmo --max 100"},
    {"radiators-u", "Defects a unit where sizes differ",
     "Leaks in 18 lots of 32 to 58 radiators (Wheeler, Understanding Statistical Process "
     "Control).",
     "chart --part Radiator --graph1 u --max 100"},
    {"ring-capability", "Capability between two limits",
     "Montgomery's piston ring samples from both made-up presses, against 74.00 +/- 0.05 mm.",
     "capability --part Ring"},
    {"bottle-capability", "Capability against one limit",
     "Bursting strength of 100 glass containers, at least 200 (Montgomery, Table 8.1).",
     "capability --part Bottle"},
    {"shaft-capability", "Skewed values: a Johnson curve",
     "Run-out of ground shafts, at most 35 micrometres. The values are simulated.",
     "capability --part Shaft --fit johnson"},
    {"panel-defects", "Pareto: which defects to work on first",
     "Defects of simulated door panels by code; darker bars make up the first 80 percent.",
     "pareto --part 'Door panel' --by defect"},
    {"panel-defects-by-line", "Pareto with two levels",
     "The same defects, each code divided by production line.",
     "pareto --part 'Door panel' --by defect,process --bins 15"},
    {"panel-stops", "Pareto of stops by cause", "Hours that the same lines stood, by cause.",
     "pareto --part 'Door panel' --from events --by acc-code --measure hours --since 2024-03-18 "
     "--until 2024-03-24"},
    {"filling-states", "Process states with events",
     "A simulated week of a bottling line: two fillers and a capper.",
     "states --process Capper --process 'Filler 1' --process 'Filler 2' --since 2024-04-08 --until "
     "2024-04-13"},
    {"filling-compliance", "Sampling compliance by requirement, shift and day",
     "Which of the samples that the same week asked for were taken.",
     "compliance --process Capper --process 'Filler 1' --process 'Filler 2' --since 2024-04-08 "
     "--until 2024-04-13"},
    {"shaft-laws", "Capability by the law that fits best",
     "The same run-out of shafts: fourteen laws, and indices by the quantiles of one.",
     "capability --part Shaft --law best"},
    {"bottle-sixpack", "Six pictures of one capability",
     "Bursting strength of 100 glass containers, with intervals of each index.",
     "capability --part Bottle --intervals --sixpack"},
    {"study-tolerance", "Tolerance limits",
     "What 99 percent of all such containers reach, with a confidence of 95 percent.",
     "study tolerance --part Bottle --content 0.99 --confidence 0.95"},
    {"study-counts", "Capability of counts", "Purchase orders with an error.",
     "study counts --part 'Purchase order'"},
    {"study-ewma", "EWMA with exact limits", "Flow width of wafers; the shift at the end.",
     "study ewma --part Wafer --max 0"},
    {"study-cusum", "Cusum of two arms", "The same flow width.",
     "study cusum --part Wafer --max 0"},
    {"study-steps", "Steps of the mean", "When the flow width changed.",
     "study steps --part Wafer --max 0"},
    {"study-baseline", "Limits of what is left",
     "The same flow width without the points beyond its limits, in rounds.",
     "study baseline --part Wafer --max 0 --screening every"},
    {"study-short-run", "Deviations from the target",
     "Piston rings against their target; several parts of a press would be on one chart.",
     "study short-run --part Ring --max 0"},
    {"study-group", "Group chart", "The greatest and the least mean of two fillers.",
     "study group --part 'Spring water' --test 'Fill volume' --max 0"},
    {"study-arl", "Run lengths of the chart in use",
     "How long the rules of the flow width's chart take to notice a shift.",
     "study arl --part Wafer --runs 5000"},
    {"study-design", "Charts with a wanted run length",
     "Cusum and EWMA that notice a shift of one sigma soonest, with a false alarm in 370 points.",
     "study design --arl0 370 --shift 1", true},
    {"study-acf", "Autocorrelation", "Fill volumes of the bottling line.",
     "study acf --part 'Spring water' --test 'Fill volume' --max 0"},
    {"study-ar1", "Residuals of an autoregressive process", "Cap torques of the same line.",
     "study ar1 --part 'Spring water' --test 'Cap torque' --max 0"},
    {"study-laney", "Laney's p' chart", "Purchase orders with an error (Montgomery, Table 7.4).",
     "study laney --part 'Purchase order' --max 0"},
    {"study-g", "g chart: units between rejected ones", "Simulated; rejects become rarer.",
     "study g --data between-rejects.csv --column units"},
    {"study-t", "t chart: time between failures", "Failures of a valve (Montgomery, Example 7.6).",
     "study t --data valve-failures.csv --column hours --open 3000"},
    {"study-type1", "Type 1 gauge study", "50 simulated readings of one ring.",
     "study type1 --data type1.csv --reference 25 --tolerance 0.03"},
    {"study-gage", "Gauge study: repeatability and reproducibility",
     "10 parts, three operators, three trials (AIAG, Measurement Systems Analysis).",
     "study gage --data gage.csv --tolerance 8"},
    {"study-bias", "Bias of a gauge", "5 parts of known size (the same book).",
     "study bias --data linearity.csv"},
    {"study-linearity", "Linearity of a gauge", "The same readings.",
     "study linearity --data linearity.csv --process-sd 2.5"},
    {"study-agreement", "Agreement of appraisers", "30 parts sorted twice by three appraisers.",
     "study agreement --data agreement.csv --good good"},
    {"study-t2", "T2 chart of two variables",
     "20 subgroups of 4 (Ryan, Statistical Methods for Quality Improvement), and what caused "
     "signals.",
     "study t2 --data two-variables.csv --columns x1,x2 --subgroup sample"},
    {"study-mewma", "MEWMA of two variables",
     "Simulated; the means of a coating shift by half a sigma each.",
     "study mewma --data coating.csv --columns thickness,hardness --base 30"},
    {"study-plan", "Acceptance sampling",
     "The least plan for 1 percent accepted and 5 percent rejected.",
     "study plan --aql 0.01 --alpha 0.05 --rql 0.05 --beta 0.1 --lot-size 10000", true},
};

// The words of a command line whose only quotes are '.
std::vector<std::string> WordsOf(std::string_view line) {
  std::vector<std::string> words{""};
  bool quoted = false;
  for (const char c : line) {
    if (c == '\'') {
      quoted = !quoted;
    } else if (c == ' ' && !quoted) {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  return words;
}

// By the end of its name, "panels-state-codes.csv", "specification-limits.csv"; else values.
std::string_view KindOf(std::string_view file) {
  std::string_view kind;
  for (const auto& each : ImportKinds())
    if (file.ends_with("-" + std::string(each.word) + ".csv") && each.word.size() > kind.size())
      kind = each.word;
  return kind.empty() ? "values" : kind;
}

void MakeDirectory(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error || !fs::is_directory(path))
    throw Refusal(system::TextOf(path) + ": cannot be made a folder");
}

// Ours from an earlier demo; whatever else lies in the folder stays.
void RemoveDatabase(const std::string& path) {
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code error;
    fs::remove(system::PathOf(path + ending), error);
    if (error) throw Refusal(path + ending + ": cannot be replaced");
  }
}

// What the command line prints.
std::string Printed(const std::vector<std::string>& words, const Console& like) {
  std::ostringstream out, err;
  Console console{out, err, like.out_is_terminal, false, like.columns};
  if (RunProgram(words, console) != 0) throw Refusal(err.str());
  return out.str();
}

// The words of its command, with the files that it reads.
std::vector<std::string> CommandOf(const Picture& picture, const fs::path& folder,
                                   const std::string& database) {
  auto command = WordsOf(picture.command);
  const auto data = std::ranges::find(command, "--data");
  if (data != command.end()) {
    data[1] = system::TextOf(folder / "data" / data[1]);
  } else if (!picture.of_options) {
    command.insert(command.begin() + (command[0] == "study" ? 2 : 1), {"--db", database});
  }
  return command;
}

void MakeDatabase(const fs::path& folder, const std::string& path, const Console& console) {
  RemoveDatabase(path);
  MakeDirectory(folder / "data");
  for (const bool values : {true, false})
    for (const auto& sample : Samples()) {
      const auto kind = KindOf(sample.file);
      if ((kind == "values") != values) continue;
      const std::string file = system::TextOf(folder / "data" / sample.file);
      WriteFile(file, sample.text);
      Printed({"import", file, "--db", path, "--kind", std::string(kind)}, console);
    }
  for (const auto& sample : StudySamples()) {
    WriteFile(system::TextOf(folder / "data" / sample.file), sample.text);
  }
}

// The files of a picture, and how the index shows it.
render::IndexEntry Draw(const Picture& picture, const std::vector<std::string>& command,
                        const fs::path& folder, const Console& console) {
  render::IndexEntry entry{picture.title, picture.text, {}, {}};
  for (const auto& [link, ending] :
       {std::pair{"page", ".html"}, {"picture", ".svg"}, {"figures", ".json"}}) {
    const std::string file = picture.name + std::string(ending);
    Printed(Together(command, std::vector<std::string>{"-o", system::TextOf(folder / file)}),
            console);
    entry.links.emplace_back(link, file);
  }
  const std::string page = ReadFile(system::TextOf(folder / entry.links[0].second));
  const auto start = page.find("<svg"), end = page.find("</svg>\n");
  entry.picture = page.substr(start, end + 7 - start);
  return entry;
}

// How the running program can be called from this folder; its plain name where the system does not
// know.
std::string ProgramPath() {
  const auto program = system::ProgramFile();
  if (program.empty()) return "orvspc";
  std::error_code failed;
  const auto from_here = fs::proximate(program, failed);
  return system::TextOf(failed ? program : from_here);
}

constexpr Option kNoPictures{"no-pictures", nullptr, "make the database alone; draw nothing"};

int RunDemoCommand(const Arguments& arguments, Console& console) {
  const fs::path folder =
      system::PathOf(arguments.Positional().empty() ? "orvspc-demo" : arguments.Positional()[0]);
  MakeDirectory(folder);
  const std::string path = system::TextOf(folder / "sample.db");
  MakeDatabase(folder, path, console);
  if (arguments.Has(kNoPictures)) return 0;

  std::vector<render::IndexEntry> entries;
  std::string commands;
  for (const auto& picture : kPictures) {
    const auto command = CommandOf(picture, folder, path);
    if (entries.empty()) console.out << Printed(command, console);
    entries.push_back(Draw(picture, command, folder, console));
    // Not wrapped: each line is to be copied whole.
    commands += "  " + system::ShellWord(ProgramPath());
    for (const auto& word : command) commands += " " + system::ShellWord(word);
    commands += "\n";
  }
  const fs::path index = folder / "index.html";
  WriteFile(
      system::TextOf(index),
      render::RenderIndex(
          "Charts of the sample data",
          "Drawn by orvspc from sample.db. Point at a marked point to see its rule.", entries));
  console.out << "\nThe same database draws more:\n"
              << commands << "\n"
              << "All charts: " << system::TextOf(fs::absolute(index).lexically_normal()) << "\n";
  return 0;
}

}  // namespace

Command DemoCommand() {
  return {"demo",
          "[DIR]",
          "Makes DIR/sample.db from data that the program carries, and draws everything",
          "DIR is orvspc-demo without it. A sample.db in it is replaced.",
          "orvspc demo /tmp/spc",
          {kNoPictures},
          RunDemoCommand,
          1};
}

}  // namespace orvspc::cli
