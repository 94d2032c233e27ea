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

int Run(const Arguments& arguments, Console&) {
  const auto& words = arguments.Positional();
  if (words.size() < 2) throw Misuse("which setting and value?");
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
  return {"set",
          "--db FILE NAME VALUE",
          "Changes a setting of a database",
          details + "\n\"orvspc list settings\" shows what holds.",
          "orvspc set --db q.db sigma_estimator unweighted",
          {kDatabase, kBy, kStation, kReason, kExpect, kDryRun},
          Run,
          2};
}

}  // namespace orvspc::cli
