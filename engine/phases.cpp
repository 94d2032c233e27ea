// SPDX-License-Identifier: Apache-2.0
// The phases of streams, recorded and judged.
#include <algorithm>
#include <cstdint>

#include "engine/QualityDatabase.h"
#include "engine/change_once.h"
#include "engine/store/SqlStore.h"
#include "engine/store/phases.h"
#include "engine/write/alarms/Judge.h"
#include "engine/write/change/version.h"
#include "engine/write/phases.h"

namespace orvspc {

using namespace engine;

namespace {

std::string ObjectOfPhase(std::int32_t id) { return "phase " + std::to_string(id); }

// As it is before a change, for which it has to have the version that is expected. Empty: there is
// none, which the change refuses.
std::optional<Phase> SeenPhase(sql::Connection& db, std::int32_t id, const ChangeOptions& options) {
  const auto phases = store::ReadPhases(db);
  const auto found = std::ranges::find(phases, id, &Phase::id);
  if (found == phases.end()) return std::nullopt;
  change::CheckVersion(db, ObjectOfPhase(id), "phase \"" + found->name + "\"", options.expected);
  return *found;
}

// The latest entry of the log has changed what a phase separates or leaves out from a time on.
void JudgePhase(log::Writing& writing, const Phase& phase, std::int32_t from) {
  alarms::JudgeFrom(writing, {phase.part, phase.process, phase.test}, from, writing.Next() - 1);
}

}  // namespace

std::vector<Phase> QualityDatabase::Phases() const {
  return store::Read(*database_,
                     [](store::SqlStore& store, sql::Connection&) { return store.Cache().phases; });
}

Phase QualityDatabase::AddPhase(const Phase& phase, const ChangeOptions& options) {
  Phase added;
  Change(*database_, options, [&](log::Writing& writing) {
    added = write::AddPhase(writing, phase);
    JudgePhase(writing, added, added.start);
  });
  return added;
}

void QualityDatabase::EndPhase(std::int32_t id, std::int32_t finish, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    const auto before = SeenPhase(writing.Db(), id, options);
    write::EndPhase(writing, id, finish);
    if (before) JudgePhase(writing, *before, std::min(finish, before->finish.value_or(finish)));
  });
}

void QualityDatabase::RemovePhase(std::int32_t id, const ChangeOptions& options) {
  Change(*database_, options, [&](log::Writing& writing) {
    const auto before = SeenPhase(writing.Db(), id, options);
    write::RemovePhase(writing, id);
    if (before) JudgePhase(writing, *before, before->start);
  });
}

std::int64_t QualityDatabase::PhaseVersion(std::int32_t id) const {
  return store::Read(*database_, [&](store::SqlStore&, sql::Connection& db) {
    return change::VersionOf(db, ObjectOfPhase(id));
  });
}

void QualityDatabase::JoinPhases(bool join) { store::SqlStoreOf(*database_)->JoinPhases(join); }

}  // namespace orvspc
