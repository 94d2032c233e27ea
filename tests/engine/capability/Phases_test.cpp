// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/engine/capability/capability_fixture.h"

// Which phases of a stream capability takes.
namespace orvspc::engine::test {
namespace {

Phase Between(std::int32_t start, std::optional<std::int32_t> finish, const std::string& name,
              PhaseKind kind = PhaseKind::Stage) {
  Phase phase;
  phase.id = start + 1;
  phase.start = start;
  phase.finish = finish;
  phase.name = name;
  phase.kind = kind;
  return phase;
}

// Subgroups at 0, 10, 20, ...
CapabilityStore Filled(std::size_t from, std::size_t to) {
  CapabilityStore store;
  for (std::size_t i = from; i < to; ++i) {
    const auto step = static_cast<double>(i);
    store.Add({{step, step * 1.5 + 1.0, 7.0 - step}});
    store.data.subgroups.back().Sgtm = static_cast<std::int32_t>(10 * i);
  }
  return store;
}

std::string TextOf(const Capability& made, const std::string& code) {
  const auto found = std::ranges::find(made.notes, code, &Note::code);
  return found == made.notes.end() ? "" : found->text;
}

void ExpectSame(const Capability& a, const Capability& b) {
  EXPECT_EQ(AllFigures(a), AllFigures(b));
  EXPECT_EQ(a.summary.SubgroupCount, b.summary.SubgroupCount);
}

}  // namespace

TEST(CapabilityPhases, TheNewestPhaseIsTakenAndANoteSaysSo) {
  auto store = Filled(0, 15);
  store.phases = {Between(0, 50, "A"), Between(50, 90, "B"), Between(90, std::nullopt, "C")};
  const auto made = Analyse(store);
  auto newest = Filled(9, 15);
  ExpectSame(made, Analyse(newest));
  EXPECT_EQ(TextOf(made, "newest-phase"), "newest of 3 phases, 6 of 15 subgroups: C");
}

TEST(CapabilityPhases, SubgroupsBehindTheLastPhaseBelongToNone) {
  auto store = Filled(0, 15);
  store.phases = {Between(0, 50, "A"), Between(50, 90, "B")};
  const auto made = Analyse(store);
  auto newest = Filled(5, 9);
  ExpectSame(made, Analyse(newest));
  EXPECT_EQ(TextOf(made, "newest-phase"), "newest of 2 phases, 4 of 15 subgroups: B");
}

TEST(CapabilityPhases, OnePhaseOfEverythingHasNoNote) {
  auto store = Filled(0, 15), plain = Filled(0, 15);
  store.phases = {Between(0, std::nullopt, "A")};
  const auto made = Analyse(store);
  ExpectSame(made, Analyse(plain));
  EXPECT_FALSE(made.HasNote("newest-phase"));
}

// As on a chart of the same subgroups.
TEST(CapabilityPhases, NoMovingRangeReachesAcrossAnExcludedPhase) {
  CapabilityStore store;
  for (std::size_t i = 0; i < 11; ++i) {
    const double level = i < 5 ? 10.0 : i == 5 ? 99.0 : 20.0;
    store.Add({{level + (i % 2 == 0 ? 0.0 : 0.5)}});
    store.data.subgroups.back().Sgtm = static_cast<std::int32_t>(10 * i);
  }
  store.phases = {Between(50, 60, "out", PhaseKind::Excluded)};
  const auto made = Analyse(store);
  EXPECT_EQ(made.summary.SubgroupCount, 10);
  EXPECT_NEAR(made.summary.ShortTermSD, 0.5 / 1.12837916709551, 1e-13) << "eight ranges of 0.5";
  store.joins_phases = true;
  EXPECT_NEAR(Analyse(store).summary.ShortTermSD, (8 * 0.5 + 10.0) / 9 / 1.12837916709551, 1e-13);
}

TEST(CapabilityPhases, ExcludedPhasesAreLeftOut) {
  auto store = Filled(0, 15);
  store.phases = {Between(0, 50, "A"), Between(50, std::nullopt, "out", PhaseKind::Excluded)};
  const auto made = Analyse(store);
  auto first = Filled(0, 5);
  ExpectSame(made, Analyse(first));
  EXPECT_EQ(TextOf(made, "phase-excluded"), "10 subgroups of excluded phases are left out");
}

TEST(CapabilityPhases, JoinedPhasesAreTakenTogetherWithoutExcludedOnes) {
  auto store = Filled(0, 15), plain = Filled(0, 15);
  store.phases = {Between(0, 50, "A"), Between(70, 90, "B")};
  store.joins_phases = true;
  const auto made = Analyse(store);
  ExpectSame(made, Analyse(plain));
  EXPECT_FALSE(made.HasNote("newest-phase"));
  store.phases.push_back(Between(100, std::nullopt, "out", PhaseKind::Excluded));
  auto first = Filled(0, 10);
  ExpectSame(Analyse(store), Analyse(first));
}

TEST(CapabilityPhases, EachStreamHasItsOwnNewestPhase) {
  auto store = Filled(0, 15);
  for (std::size_t i = 0; i < 15; ++i) store.data.subgroups[i].Prcs = i % 2 == 0 ? 1 : 2;
  store.phases = {Between(0, 50, "A"), Between(50, std::nullopt, "B")};
  store.phases[0].process = store.phases[1].process = 2;
  const auto made = Analyse(store);
  EXPECT_EQ(made.summary.SubgroupCount, 8 + 5);
  EXPECT_EQ(TextOf(made, "newest-phase"), "newest of 2 phases, 5 of 7 subgroups: B");
}

}  // namespace orvspc::engine::test
