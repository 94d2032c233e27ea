// SPDX-License-Identifier: Apache-2.0
#include "engine/write/phases.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/catalogue/References.h"
#include "engine/sql/Connection.h"
#include "engine/sql/counter.h"
#include "engine/store/phases.h"
#include "engine/write/log/Json.h"
#include "engine/write/log/texts.h"
#include "platform/TimeText.h"

namespace orvspc::engine::write {
namespace {

using catalogue::ItemKind;
using store::HoldsFor;
using store::Overlap;
using store::ReadPhases;

constexpr std::int32_t kMinFrozen = 2;

std::optional<std::int32_t> IdOrNull(std::int32_t id) {
  return id == 0 ? std::nullopt : std::optional(id);
}

// Days alone at midnight.
std::string TimeText(std::int32_t stamp) {
  auto text = platform::IsoText(stamp);
  constexpr std::string_view kMidnight = "T00:00:00";
  if (text.ends_with(kMidnight)) text.resize(text.size() - kMidnight.size());
  return text;
}

std::string Described(const Phase& phase) {
  return "\"" + phase.name + "\" (" + TimeText(phase.start) + " to " +
         (phase.finish ? TimeText(*phase.finish) : "now") + ")";
}

log::Json JsonOf(sql::Connection& db, const Phase& phase) {
  log::Json json;
  const auto item = [&](const char* key, ItemKind kind, std::int32_t id) {
    if (id == 0) return;
    static const auto texts = catalogue::TextsByKind([](ItemKind each) {
      return "SELECT name FROM " + catalogue::TableOf(each) + " WHERE id = ?1";
    });
    sql::Query query(db, texts[static_cast<std::size_t>(kind)], id);
    if (!query.Step()) {
      throw Refused("unknown", key, std::to_string(id),
                    "there is no " + std::string(key) + " " + std::to_string(id));
    }
    json[key] = query.Text(0);
  };
  json["name"] = phase.name;
  item("part", ItemKind::Part, phase.part);
  item("process", ItemKind::Process, phase.process);
  item("test", ItemKind::Test, phase.test);
  json["start"] = platform::IsoText(phase.start);
  if (phase.finish) json["end"] = platform::IsoText(*phase.finish);
  json["kind"] = WordOf(phase.kind);
  if (phase.freeze_after != 0) json["freeze_after"] = phase.freeze_after;
  if (!phase.reason.empty()) json["reason"] = phase.reason;
  return json;
}

std::string ObjectOf(std::int32_t id) { return "phase " + std::to_string(id); }

// others: those of the database, among which it may be itself.
void Check(const Phase& phase, const std::vector<Phase>& others) {
  if (phase.finish && *phase.finish <= phase.start) {
    throw Refused("time", "end", platform::IsoText(*phase.finish),
                  "\"" + phase.name + "\" would end at " + TimeText(*phase.finish) +
                      ", not after its start at " + TimeText(phase.start));
  }
  for (const auto& other : others) {
    if (other.id == phase.id || !Overlap(phase, other)) continue;
    throw Refused("overlap", "start", platform::IsoText(phase.start),
                  "\"" + phase.name + "\" overlaps " + Described(other) +
                      "; end or remove that one first (phase " + std::to_string(other.id) + ")");
  }
}

Phase Found(const std::vector<Phase>& phases, std::int32_t id) {
  const auto found = std::ranges::find(phases, id, &Phase::id);
  if (found == phases.end()) {
    throw Refused("unknown", "phase", std::to_string(id),
                  "there is no phase " + std::to_string(id) + "; orvspc phase list shows them");
  }
  return *found;
}

}  // namespace

Phase AddPhase(log::Writing& writing, Phase phase) {
  writing.NeedReason();
  auto& db = writing.Db();
  if (phase.name.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw Refused("name", "name", phase.name, "a phase needs a name");
  }
  log::NeedName("name", phase.name);
  if (phase.freeze_after != 0 && (phase.freeze_after < kMinFrozen || !phase.Counts())) {
    throw Refused("freeze_after", "freeze_after", std::to_string(phase.freeze_after),
                  phase.Counts() ? "limits freeze after at least 2 points"
                                 : "an excluded phase has no limits to freeze");
  }
  phase.id = 0;
  Check(phase, ReadPhases(db));
  phase.id = static_cast<std::int32_t>(sql::TakeIds(db, "phase"));
  phase.reason = writing.Reason();
  phase.who = writing.Who();
  phase.made = writing.Seconds();
  const auto after = JsonOf(db, phase);
  sql::Query(db,
             "INSERT INTO phase(id, part, process, test, start, finish, name, reason, kind, "
             "freeze_after, who, made) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)",
             phase.id, IdOrNull(phase.part), IdOrNull(phase.process), IdOrNull(phase.test),
             phase.start, phase.finish, phase.name, phase.reason, WordOf(phase.kind),
             phase.freeze_after, phase.who, phase.made)
      .Run();
  writing.Add("phase-add", ObjectOf(phase.id), {}, log::CanonicalText(after));
  return phase;
}

Phase BeginPhase(log::Writing& writing, Phase phase) {
  phase.finish.reset();
  for (const auto& other : ReadPhases(writing.Db())) {
    if (!HoldsFor(other, phase.part, phase.process, phase.test)) continue;
    if (other.start > phase.start) {
      if (!phase.finish) phase.finish = other.start;
      continue;
    }
    const bool of_same =
        other.part == phase.part && other.process == phase.process && other.test == phase.test;
    if (of_same && other.start < phase.start && other.Holds(phase.start)) {
      EndPhase(writing, other.id, phase.start);
    }
  }
  return AddPhase(writing, std::move(phase));
}

void EndPhase(log::Writing& writing, std::int32_t id, std::int32_t finish) {
  writing.NeedReason();
  auto& db = writing.Db();
  const auto phases = ReadPhases(db);
  auto phase = Found(phases, id);
  const auto before = JsonOf(db, phase);
  phase.finish = finish;
  Check(phase, phases);
  sql::Query(db, "UPDATE phase SET finish = ?1 WHERE id = ?2", finish, id).Run();
  writing.Add("phase-end", ObjectOf(id), log::CanonicalText(before),
              log::CanonicalText(JsonOf(db, phase)));
}

void RemovePhase(log::Writing& writing, std::int32_t id) {
  writing.NeedReason();
  auto& db = writing.Db();
  const auto before = JsonOf(db, Found(ReadPhases(db), id));
  sql::Query(db, "DELETE FROM phase WHERE id = ?1", id).Run();
  writing.Add("phase-remove", ObjectOf(id), log::CanonicalText(before), {});
}

}  // namespace orvspc::engine::write
