// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <ostream>

#include "host/cli/AlarmOutput.h"
#include "host/cli/Output.h"
#include "host/cli/SubgroupOptions.h"
#include "host/render/core/Json.h"
#include "host/render/core/PlainText.h"
#include "platform/TimeText.h"

namespace orvspc::cli {

namespace {

constexpr Option kOpen{"open", nullptr, "list: those neither closed nor withdrawn"};
constexpr Option kPart{"part", "NAME", "list: of the part"};
constexpr Option kProcess{"process", "NAME", "list: of the process"};
constexpr Option kTest{"test", "NAME", "list: of the test"};
constexpr Option kSince{"since", "TIME", "list: found then or later"};
constexpr Option kAcc{"acc", "CODE", "close: the code of the cause"};
constexpr Option kCac{"cac", "CODE", "close: the code of the action"};
constexpr Option kComment{"comment", "TEXT", "close: a comment of the first subgroup"};
constexpr Option kOpenExitCode{"exit-code", nullptr, "list: exit with 3 where one is open"};

std::string ListText(const QualityDatabase& database, const std::vector<Alarm>& alarms) {
  std::string text;
  for (const auto& alarm : alarms) {
    text += AlarmLine(database, alarm) + "; " + platform::IsoText(alarm.time) + ", " +
            render::Counted(static_cast<std::size_t>(alarm.points), "point") + ", " + alarm.state;
    if (alarm.withdrawn_by > 0) text += " by entry " + std::to_string(alarm.withdrawn_by);
    if (!alarm.acc.empty()) text += ", cause " + render::PlainText(alarm.acc);
    if (!alarm.cac.empty()) text += ", action " + render::PlainText(alarm.cac);
    if (alarm.dead > 0) {
      text += ", " + render::Counted(static_cast<std::size_t>(alarm.dead), "message") + " given up";
    }
    text += "\n";
  }
  return alarms.empty() ? "no alarms\n" : text;
}

std::string ListJson(const QualityDatabase& database, const std::vector<Alarm>& alarms) {
  render::JsonWriter json;
  json.BeginObject();
  json.Key("alarm");
  json.BeginArray();
  for (const auto& alarm : alarms) {
    json.BeginObject();
    json.Members("Id", alarm.event, "Part", database.Name(ItemKind::Part, alarm.part), "Process",
                 database.Name(ItemKind::Process, alarm.process), "Test",
                 database.Name(ItemKind::Test, alarm.test));
    json.Members("Graph", alarm.graph, "Rule", alarm.rule, "Text", alarm.text, "Time",
                 platform::IsoText(alarm.time), "Detected", platform::IsoText(alarm.detected));
    json.Members("FirstSubgroup", alarm.first_subgroup, "LastSubgroup", alarm.last_subgroup,
                 "Points", alarm.points, "State", alarm.state, "Late", alarm.is_late);
    json.Members("Acc", alarm.acc, "Cac", alarm.cac, "Version", alarm.version, "Dead", alarm.dead);
    json.Members("WithdrawnBy", alarm.withdrawn_by);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return json.Text() + "\n";
}

int List(const Arguments& arguments, const QualityDatabase& database, Console& console) {
  const auto item = [&](const Option& option, ItemKind kind) {
    const auto name = arguments.Value(option);
    return name ? database.Require(kind, *name) : 0;
  };
  AlarmFilter filter;
  filter.is_open = arguments.Has(kOpen);
  filter.part = item(kPart, ItemKind::Part);
  filter.process = item(kProcess, ItemKind::Process);
  filter.test = item(kTest, ItemKind::Test);
  if (const auto since = arguments.Value(kSince)) filter.since = StampOf(kSince, *since);
  const auto format = OutputFormat(arguments, {"text", "json"});
  const auto alarms = database.Alarms(filter);
  Deliver(arguments, console,
          format == "json" ? ListJson(database, alarms) : ListText(database, alarms));
  std::size_t open = 0;
  for (const auto& each : alarms) open += each.state == "open" ? 1 : 0;
  return StatusOf(arguments, open);
}

std::int32_t AlarmOf(const Arguments& arguments) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which alarm?");
  std::int32_t id = 0;
  const auto* const end = words[1].data() + words[1].size();
  const auto read = std::from_chars(words[1].data(), end, id);
  if (read.ec != std::errc() || read.ptr != end || id < 1) {
    throw Misuse("an alarm has a number, not \"" + words[1] + "\"");
  }
  return id;
}

int RunAlarmCommand(const Arguments& arguments, Console& console) {
  const auto verb = VerbOf(arguments, {"list", "ack", "close", "reopen"});
  const bool is_list = verb == "list";
  if (is_list && arguments.Positional().size() > 1) {
    throw Misuse("\"" + arguments.Positional()[1] + "\" is one word too many");
  }
  const auto id = is_list ? 0 : AlarmOf(arguments);
  auto database = QualityDatabase::Open(arguments.Required(kDatabase));
  if (is_list) return List(arguments, database, console);
  const auto options = ChangeOptionsOf(arguments);
  Alarm alarm;
  if (verb == "ack") {
    alarm = database.AcknowledgeAlarm(id, options);
  } else if (verb == "close") {
    alarm =
        database.CloseAlarm(id,
                            {arguments.Value(kAcc).value_or(""), arguments.Value(kCac).value_or(""),
                             arguments.Value(kComment).value_or("")},
                            options);
  } else {
    alarm = database.ReopenAlarm(id, options);
  }
  console.out << "alarm " << id << ": "
              << (options.dry_run ? "would be " + alarm.state
                                  : alarm.state + ", version " + std::to_string(alarm.version))
              << "\n";
  return 0;
}

}  // namespace

Command AlarmCommand() {
  return {"alarm",
          "--db FILE list|ack|close|reopen [ID] [OPTIONS]",
          "Signals that values raised when they were stored, and what became of them",
          "alarm list [--open] [--part NAME] [--process NAME] [--test NAME] [--since TIME]\n"
          "alarm ack ID: somebody has seen it\n"
          "alarm close ID --acc CODE --cac CODE [--comment TEXT]: with its cause and the action "
          "taken\n"
          "alarm reopen ID --reason TEXT\n"
          "Values are judged by the control limits in force and the rules that are on, and by "
          "specification limits that raise alarms. The setting alarm_needs says which codes "
          "closing needs. See also docs/how-to/alarms.md.",
          "orvspc alarm close 12 --acc TWEAR --cac TCHANGE --comment 'insert 4' --db q.db",
          Together(std::vector<Option>{kDatabase, kOpen, kPart, kProcess, kTest, kSince, kAcc, kCac,
                                       kComment, kOpenExitCode},
                   kOutputOptions, std::vector<Option>{kBy, kStation, kReason, kExpect, kDryRun}),
          RunAlarmCommand,
          2,
          nullptr,
          [](const Arguments& arguments) { return arguments.Positional()[0] != "list"; }};
}

}  // namespace orvspc::cli
