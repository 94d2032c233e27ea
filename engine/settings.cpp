// SPDX-License-Identifier: Apache-2.0
// Settings, their kinds and what they are by default; rule sets and shifts.
#include <algorithm>
#include <charconv>
#include <cstdint>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/statistics/Estimators.h"
#include "engine/store/SqlStore.h"
#include "engine/time/calendar.h"
#include "engine/write/change/version.h"
#include "engine/write/settings.h"

namespace orvspc {

using namespace engine;

namespace {

const SettingKind& KindOf(const store::SqlStore& store, std::string_view name) {
  const auto* const found = FindSettingKind(name);
  if (found == nullptr) store::Refuse(store, "there is no setting \"" + std::string(name) + "\"");
  return *found;
}

// A text that is names of a part, a process and a test with slashes between them, which names may
// have, too, in the names that they have now; empty: it is none.
std::string PresentStream(const QualityDatabase& database, std::string_view text) {
  const auto name = [&](ItemKind kind, std::size_t begin, std::size_t end) {
    const auto id = database.Find(kind, text.substr(begin, end - begin));
    return id ? database.Name(kind, *id) : std::string();
  };
  for (auto a = text.find('/'); a != std::string_view::npos; a = text.find('/', a + 1)) {
    const auto part = name(ItemKind::Part, 0, a);
    if (part.empty()) continue;
    for (auto b = text.find('/', a + 1); b != std::string_view::npos; b = text.find('/', b + 1)) {
      const auto process = name(ItemKind::Process, a + 1, b);
      const auto test = name(ItemKind::Test, b + 1, text.size());
      if (process.empty() || test.empty()) continue;
      return part + "/" + process + "/" + test;
    }
  }
  return {};
}

}  // namespace

const std::vector<SettingKind>& SettingKinds() {
  const auto words = statistics::EstimatorWords();
  static const std::vector<SettingKind> kinds = {
      {"sigma_estimator",
       statistics::NameOf(statistics::kUsualEstimator),
       "how sigma is estimated from ranges or deviations",
       {words.begin(), words.end()}},
      {"shift_starts",
       time::kUsualShifts,
       "when shifts start, for samples that are due once a shift",
       {}},
      {"time_zone",
       "UTC",
       "UTC or a fixed offset such as +02:00, for periods of days and longer",
       {}},
      {"alarm_needs",
       "acc cac",
       "codes that an alarm needs before it is closed: cause (acc), action (cac)",
       {"acc cac", "acc", "cac", "none"}},
      {"alarm_horizon", "7", "days behind the newest point in which values raise alarms", {}},
      {"approval",
       "one",
       "whether who proposed control limits may approve them, or another must",
       {"one", "two"}},
      {"subgroup_size",
       "0",
       "values of a subgroup when it is recorded, 0 for any number; of one stream it is "
       "subgroup_size:PART/PROCESS/TEST",
       {},
       true},
      {"key_days", "90", "for how many days the keys of records are kept", {}},
      {store::kPatienceSetting,
       "60",
       "for how many seconds who writes waits for other programs that do",
       {}},
      {"require_by", "no", "whether who changes something must be named (--by)", {"no", "yes"}},
  };
  return kinds;
}

const SettingKind* FindSettingKind(std::string_view name) {
  const auto colon = name.find(':');
  const auto& kinds = SettingKinds();
  const auto found = std::ranges::find(kinds, name.substr(0, colon), &SettingKind::name);
  const bool is_own = colon != std::string_view::npos;
  return found == kinds.end() || (is_own && !found->of_streams) ? nullptr : &*found;
}

std::string SettingKind::Refusal(std::string_view value) const {
  bool fits = std::ranges::find(words, value) != words.end();
  std::string takes;
  for (const auto& word : words)
    takes.append(takes.empty() ? "" : &word == &words.back() ? " or " : ", ").append(word);
  if (name == "time_zone") {
    fits = time::ZoneOffset(value).has_value();
    takes = "UTC or a fixed offset such as +02:00";
  } else if (name == "alarm_horizon") {
    fits = !value.empty() && value.size() < 6 &&
           std::ranges::all_of(value, [](char c) { return c >= '0' && c <= '9'; });
    takes = "a number of days such as 7";
  } else if (name == "shift_starts") {
    fits = time::ParseTimesOfDay(value).has_value();
    takes = "ascending times of day such as \"06:00 14:00 22:00\"";
  }
  constexpr struct {
    std::string_view name;
    std::int32_t least, most;
  } kNumbers[] = {{"subgroup_size", 0, 1'000'000},
                  {"key_days", 1, 36'500},
                  {store::kPatienceSetting, 0, 86'400}};
  for (const auto& number : kNumbers) {
    if (name != number.name) continue;
    std::int32_t given = -1;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), given);
    fits = error == std::errc() && end == value.data() + value.size() && given >= number.least &&
           given <= number.most;
    takes = "a whole number from " + std::to_string(number.least) + " to " +
            std::to_string(number.most);
  }
  if (fits) return {};
  return std::string(name) + " takes " + takes + ", not \"" + std::string(value) + "\"";
}

std::vector<std::string> QualityDatabase::SettingNames() const {
  std::vector<std::string> names;
  for (const auto& kind : SettingKinds()) names.emplace_back(kind.name);
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    for (const auto& [name, value] : store.Cache().settings) {
      if (name.find(':') != std::string::npos && FindSettingKind(name)) names.push_back(name);
    }
    return names;
  });
}

std::string QualityDatabase::Setting(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore& store, sql::Connection&) {
    const auto& kind = KindOf(store, name);
    const auto found = store.Cache().settings.find(name);
    return found == store.Cache().settings.end() ? std::string(kind.fallback) : found->second;
  });
}

std::int64_t QualityDatabase::SettingVersion(std::string_view name) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return change::VersionOf(db, "setting " + std::string(name));
  });
}

void QualityDatabase::Set(std::string_view asked, std::string_view value, const Actor& actor,
                          const std::string& reason) {
  ChangeSetting(asked, value, {actor, reason});
}

void QualityDatabase::ChangeSetting(std::string_view asked, std::string_view value,
                                    const ChangeOptions& options) {
  const auto store = store::SqlStoreOf(*database_);
  const auto refusal = KindOf(*store, asked).Refusal(value);
  if (!refusal.empty()) store::Refuse(*store, refusal);
  std::string name(asked);
  if (const auto colon = name.find(':'); colon != std::string::npos) {
    const auto stream = PresentStream(*this, asked.substr(colon + 1));
    if (stream.empty()) {
      store::Refuse(*store,
                    "\"" + name.substr(colon + 1) +
                        "\" is no stream; write PART/PROCESS/TEST with names that are there");
    }
    name.replace(colon + 1, std::string::npos, stream);
  }
  Change(*database_, options, [&](log::Writing& writing) {
    const auto object = "setting " + name;
    change::CheckVersion(writing.Db(), object, object, options.expected);
    write::StoreSetting(writing, name, value);
  });
}

ShiftPlan QualityDatabase::Shifts() const {
  return {time::ParseTimesOfDay(Setting("shift_starts"))
              .value_or(*time::ParseTimesOfDay(time::kUsualShifts)),
          time::ZoneOffset(Setting("time_zone")).value_or(0)};
}

}  // namespace orvspc
