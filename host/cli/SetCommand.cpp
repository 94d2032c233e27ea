// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"
#include "host/cli/Command.h"
#include "host/render/core/PlainText.h"

namespace orvspc::cli {

namespace {

const SettingKind& SettingOf(const std::string& name) {
  if (const auto* const found = FindSettingKind(name)) return *found;
  std::vector<std::string> names;
  for (const auto& setting : SettingKinds()) names.emplace_back(setting.name);
  throw Misuse("there is no setting \"" + name + "\", only " + Joined(names));
}

constexpr Option kPart{"part", "NAME", "of this part alone", "any"};
constexpr Option kProcess{"process", "NAME", "of this process alone", "any"};
constexpr Option kTest{"test", "NAME", "of this test alone", "any"};
constexpr Number kGraph{
    {"graph", "N", "of this graph of a chart; options of studies are of none", "1"}};
constexpr Option kOfOptions[] = {kPart, kProcess, kTest, kGraph};

int SetChartOption(const Arguments& arguments, const ChartOptionKind& kind,
                   const std::string& value) {
  auto refusal = kind.Refusal(value);
  if (refusal.empty() && arguments.Has(kTest)) refusal = kind.RefusalOfTest();
  if (!refusal.empty()) throw Misuse(refusal);
  const auto graph = *arguments.Get(kGraph);
  if (graph < 1 || graph > 3) throw Misuse("--graph takes 1, 2 or 3");
  refusal = kind.RefusalOfGraph(graph);
  if (!refusal.empty()) throw Misuse(refusal);
  auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  const auto id = [&](const Option& option, ItemKind item) {
    const auto name = arguments.Value(option);
    return name ? database.Require(item, *name) : 0;
  };
  database.ChangeChartOption(
      {id(kPart, ItemKind::Part), id(kProcess, ItemKind::Process), id(kTest, ItemKind::Test)},
      graph, std::string(kind.key), value, ChangeOptionsOf(arguments));
  return 0;
}

int RunSetCommand(const Arguments& arguments, Console&) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which setting and value?");
  if (const auto* const kind = FindChartOptionKind(words[0]))
    return SetChartOption(arguments, *kind, words[1]);
  if (const auto other = arguments.FirstOf(kOfOptions); !other.empty())
    throw Misuse(other + " goes with options of charts such as chart.limits");
  const auto refusal = SettingOf(words[0]).Refusal(words[1]);
  if (!refusal.empty()) throw Misuse(refusal);
  QualityDatabase::Open(arguments.Required(kDatabase))
      .ChangeSetting(words[0], words[1], ChangeOptionsOf(arguments));
  return 0;
}

}  // namespace

Command SetCommand() {
  std::string details = "NAME and VALUE are one of";
  for (const auto& setting : SettingKinds())
    details += "\n  " + render::Padded(setting.name, 17) +
               (setting.words.empty() ? std::string(setting.meaning)
                                      : Joined({setting.words.begin(), setting.words.end()})) +
               " (default " + std::string(setting.fallback) + ")";
  details += "\nor, with --part, --process and --test for some streams, an option of charts:";
  for (const auto& kind : ChartOptionKinds()) {
    details += "\n  " + render::Padded(std::string(kind.key), 22) +
               (kind.words.empty() ? std::string(kind.meaning)
                                   : Joined({kind.words.begin(), kind.words.end()})) +
               ", default takes it back";
  }
  return {"set",
          "--db FILE NAME VALUE",
          "Changes a setting of a database, or an option of its charts",
          details +
              "\n\"orvspc list settings\" and \"orvspc list chart-options\" show what holds. "
              "Of options the row with the most of part, process and test holds, and the "
              "command's own option goes before it. Alarms know no options.",
          "orvspc set --db q.db --test Leaks chart.limits probability",
          {kDatabase, kPart, kProcess, kTest, kGraph, kBy, kStation, kReason, kExpect, kDryRun},
          RunSetCommand,
          2};
}

}  // namespace orvspc::cli
