// SPDX-License-Identifier: Apache-2.0
#include <ostream>

#include "host/cli/AlarmOutput.h"
#include "host/cli/Output.h"
#include "host/render/core/Json.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeText.h"

namespace orvspc::cli {

namespace {

constexpr Option kMissedExit{"exit-code", nullptr,
                             "exit with 3 where a window is missed that was not known before"};

// "event 12: 5 every 30 min, Press A / Diameter: 3 of 5 samples until 2026-03-11T06:29:59"
std::string LineOf(const QualityDatabase& database, const MissedWindow& window) {
  std::string stream;
  const std::pair<ItemKind, std::int32_t> items[] = {{ItemKind::Part, window.part},
                                                     {ItemKind::Process, window.process},
                                                     {ItemKind::Test, window.test}};
  for (const auto& [kind, id] : items) {
    if (id != 0) stream += (stream.empty() ? "" : " / ") + database.Name(kind, id);
  }
  return "event " + std::to_string(window.event) + ": " + window.name + ", " + stream + ": " +
         std::to_string(window.collected) + " of " +
         render::Counted(static_cast<std::size_t>(window.expected), "sample") + " until " +
         platform::IsoText(window.due);
}

std::string Text(const QualityDatabase& database, const SamplingCheck& found) {
  std::string text;
  for (const auto& each : found.missed) {
    text += render::PlainText(LineOf(database, each)) + "\n";
  }
  for (const auto& each : found.withdrawn) {
    text += render::PlainText("event " + std::to_string(each.event) + ": " + each.name + " until " +
                              platform::IsoText(each.due) + ": withdrawn") +
            "\n";
  }
  return text + render::Counted(found.missed.size(), "window") + " missed, " +
         std::to_string(found.withdrawn.size()) + " withdrawn\n";
}

std::string Json(const QualityDatabase& database, const SamplingCheck& found) {
  render::JsonWriter json;
  json.BeginObject();
  const auto list = [&](const char* key, const std::vector<MissedWindow>& windows) {
    json.Key(key);
    json.BeginArray();
    for (const auto& each : windows) {
      json.BeginObject();
      json.Members("Event", each.event, "Requirement", each.name, "Part",
                   each.part == 0 ? "" : database.Name(ItemKind::Part, each.part), "Process",
                   database.Name(ItemKind::Process, each.process));
      json.Members("Test", database.Name(ItemKind::Test, each.test), "Due",
                   platform::IsoText(each.due), "Expected", each.expected, "Collected",
                   each.collected);
      json.EndObject();
    }
    json.EndArray();
  };
  list("missed", found.missed);
  list("withdrawn", found.withdrawn);
  json.EndObject();
  return json.Text() + "\n";
}

int RunCheckSamplesCommand(const Arguments& arguments, Console& console) {
  const auto format = OutputFormat(arguments, {"text", "json"});
  auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  ChangeOptions options;
  options.actor = ActorOf(arguments);
  options.dry_run = arguments.Has(kDryRun);
  const auto found = database.CheckSamples(options);
  for (const auto& note : found.notes) {
    console.err << render::PlainText("not checked: " + note.Sentence()) << "\n";
  }
  Deliver(arguments, console, format == "json" ? Json(database, found) : Text(database, found));
  return found.notes.empty() ? StatusOf(arguments, found.missed.size()) : 1;
}

}  // namespace

Command CheckSamplesCommand() {
  return {"check-samples",
          "--db FILE [--exit-code]",
          "Finds samples that are overdue, and makes an event of each window that was missed",
          "For a timetable, or after an import. A window of a sampling requirement that is over "
          "with too few samples gets one event of the type sampling-violation, which is withdrawn "
          "when its samples come later.\n"
          "The first time it goes no further back than the setting alarm_horizon; after that, on "
          "from where it was. See also docs/how-to/compliance.md.",
          "orvspc check-samples --db q.db --exit-code",
          Together(std::vector<Option>{kDatabase, kMissedExit}, kOutputOptions,
                   std::vector<Option>{kBy, kStation, kDryRun}),
          RunCheckSamplesCommand,
          0,
          nullptr,
          Always};
}

}  // namespace orvspc::cli
