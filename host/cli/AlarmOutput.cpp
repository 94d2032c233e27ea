// SPDX-License-Identifier: Apache-2.0
#include "host/cli/AlarmOutput.h"

#include <algorithm>
#include <ostream>

#include "host/render/core/PlainText.h"

namespace orvspc::cli {

std::string AlarmLine(const QualityDatabase& database, const Alarm& alarm) {
  auto line = "alarm " + std::to_string(alarm.event) + ": " +
              database.Name(ItemKind::Part, alarm.part) + " / " +
              database.Name(ItemKind::Process, alarm.process) + " / " +
              database.Name(ItemKind::Test, alarm.test);
  if (alarm.graph != 0) line += ", graph " + std::to_string(alarm.graph);
  line += ": " + alarm.text + ", #" + std::to_string(alarm.first_subgroup);
  if (alarm.last_subgroup != alarm.first_subgroup) {
    line += " to #" + std::to_string(alarm.last_subgroup);
  }
  return render::PlainText(line + (alarm.is_late ? ", late" : ""));
}

void ShowAlarms(const QualityDatabase& database, const std::vector<Alarm>& alarms, std::size_t max,
                Console& console) {
  const auto shown = std::min(max, alarms.size());
  for (std::size_t i = 0; i < shown; ++i) console.out << AlarmLine(database, alarms[i]) << "\n";
  if (shown < alarms.size()) console.out << "and " << alarms.size() - shown << " more\n";
}

int StatusOf(const Arguments& arguments, std::size_t alarms) {
  return arguments.Has(kExitCode) && alarms > 0 ? kAlarmStatus : 0;
}

}  // namespace orvspc::cli
