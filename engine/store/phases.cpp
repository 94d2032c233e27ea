// SPDX-License-Identifier: Apache-2.0
#include "engine/store/phases.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

namespace orvspc::engine::store {
namespace {

bool Meet(std::int32_t a, std::int32_t b) { return a == 0 || b == 0 || a == b; }

}  // namespace

std::vector<Phase> ReadPhases(sql::Connection& db) {
  std::vector<Phase> phases;
  sql::Query query(db,
                   "SELECT id, coalesce(part, 0), coalesce(process, 0), coalesce(test, 0), start, "
                   "finish, name, reason, kind, freeze_after, who, made FROM phase "
                   "ORDER BY start, id");
  while (query.Step()) {
    auto& phase = phases.emplace_back();
    std::string kind;
    query.Read(phase.id, phase.part, phase.process, phase.test, phase.start, phase.finish,
               phase.name, phase.reason, kind, phase.freeze_after, phase.who, phase.made);
    const auto* const word = std::ranges::find(kPhaseKindWords, kind);
    if (word == std::end(kPhaseKindWords)) {
      throw std::runtime_error("The database is damaged: its table phase has a kind \"" + kind +
                               "\"");
    }
    phase.kind = static_cast<PhaseKind>(word - std::begin(kPhaseKindWords));
  }
  return phases;
}

bool HoldsFor(const Phase& phase, std::int32_t part, std::int32_t process, std::int32_t test) {
  return Meet(phase.part, part) && Meet(phase.process, process) && Meet(phase.test, test);
}

bool Overlap(const Phase& a, const Phase& b) {
  return HoldsFor(a, b.part, b.process, b.test) && (!a.finish || b.start < *a.finish) &&
         (!b.finish || a.start < *b.finish);
}

std::vector<Phase> PhasesOf(const std::vector<Phase>& phases, std::int32_t part,
                            std::int32_t process, std::int32_t test) {
  std::vector<Phase> found;
  std::ranges::copy_if(phases, std::back_inserter(found),
                       [&](const Phase& phase) { return HoldsFor(phase, part, process, test); });
  return found;
}

}  // namespace orvspc::engine::store
