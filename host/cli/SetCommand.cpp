// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "engine/store/Catalogue.h"
#include "engine/time/calendar.h"
#include "host/cli/Command.h"
#include "host/cli/Settings.h"
#include "host/render/core/Numbers.h"
#include "host/render/core/PlainText.h"

namespace orvspc::host {

namespace {

struct Setting {
  const char* name;
  const char* fallback;
  const char* meaning;
  std::vector<std::string> words;  // empty: the store says what it takes
};

const std::vector<Setting>& Settings() {
  static const std::vector<Setting> settings = {
      {"sigma_estimator",
       "mvlue",
       "how sigma is estimated from ranges or deviations",
       {"mvlue", "unweighted", "pooled", "pooled-as-sbar"}},
      {"shift_starts",
       engine::time::kUsualShifts.data(),
       "when shifts start, for samples that are due once a shift",
       {}},
      {"time_zone",
       "UTC",
       "UTC or a fixed offset such as +02:00, for periods of days and longer",
       {}},
  };
  return settings;
}

const Setting& SettingOf(const std::string& name) {
  std::vector<std::string> names;
  for (const auto& setting : Settings()) {
    if (name == setting.name) return setting;
    names.emplace_back(setting.name);
  }
  throw Misuse("there is no setting \"" + name + "\", only " + Joined(names));
}

int Run(const Arguments& arguments, Console&) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which setting and value?");
  const Setting& setting = SettingOf(words[0]);
  const auto& known = setting.words;
  if (!known.empty() && std::find(known.begin(), known.end(), words[1]) == known.end())
    throw Misuse(words[0] + " takes " + Joined(known) + ", not \"" + words[1] + "\"");
  engine::store::StoreSetting(*OpenQualityDatabase(arguments), words[0], words[1]);
  return 0;
}

}  // namespace

Table SettingsTable(EmbeddedDatabase& database) {
  const auto stored = engine::store::ListSettings(database);
  Table table{"", {"setting", "value", "what it is"}, {}};
  for (const auto& setting : Settings()) {
    const auto found = stored.find(setting.name);
    table.rows.push_back({setting.name,
                          PlainText(found == stored.end() ? setting.fallback : found->second),
                          setting.meaning});
  }
  return table;
}

Command SetCommand() {
  Command command;
  command.name = "set";
  command.synopsis = "--db FILE NAME VALUE";
  command.summary = "Changes a setting of a database";
  command.details = "NAME and VALUE are one of\n";
  for (const auto& setting : Settings())
    command.details += std::string("  ") + Padded(setting.name, 17) +
                       (setting.words.empty() ? setting.meaning : Joined(setting.words)) +
                       " (default " + setting.fallback + ")\n";
  command.details += "\"orvspc list settings\" shows what holds.\n";
  command.example = "orvspc set --db q.db sigma_estimator unweighted";
  command.options = {{"db", "FILE", "the quality database"}};
  command.most_positional = 2;
  command.run = Run;
  return command;
}

}  // namespace orvspc::host
