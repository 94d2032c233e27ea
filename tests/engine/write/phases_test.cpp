// SPDX-License-Identifier: Apache-2.0
#include "engine/write/phases.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/store/phases.h"
#include "engine/write/log/Json.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::write {
namespace {

using sql::Connection;
using sql::Query;
using store::StoreTest;

constexpr const char* kValues =
    "subgroup,time,part,process,test,value\n"
    "1,2024-01-01,Ring,Press A,Diameter,1\n"
    "2,2024-01-02,Ring,Press A,Diameter,2\n"
    "3,2024-01-03,Ring,Press B,Diameter,3\n"
    "4,2024-01-04,Disc,Press A,Width,4\n";

constexpr std::int32_t kDay = 86400, kFirst = 1704067200;  // 2024-01-01

class PhasesTest : public StoreTest {
 protected:
  PhasesTest() { Import(kValues); }

  Phase Made(const std::string& name, std::int32_t start, std::optional<std::int32_t> finish = {}) {
    Phase phase;
    phase.part = Id(ItemKind::Part, "Ring");
    phase.name = name;
    phase.start = kFirst + start * kDay;
    if (finish) phase.finish = kFirst + *finish * kDay;
    return phase;
  }
  Phase Add(const Phase& phase) { return Data().AddPhase(phase, {"Ann", ""}, "new tool"); }
  std::string CodeOf(const std::function<void()>& work, const std::string& text = {}) {
    try {
      work();
    } catch (const Refused& refused) {
      EXPECT_NE(refused.Description().find(text), std::string::npos) << refused.Description();
      return refused.code;
    }
    return {};
  }
  std::vector<std::string> Operations() {
    std::vector<std::string> all;
    Opened()->ReadOrThrow([&](Connection& db) {
      Query query(db, "SELECT operation, object, before, after, reason, who FROM log ORDER BY seq");
      while (query.Step()) {
        std::string line;
        for (int i = 0; i < 6; ++i) line.append(i == 0 ? "" : "|").append(query.Text(i));
        all.push_back(line);
      }
    });
    return all;
  }
};

TEST_F(PhasesTest, APhaseIsAddedEndedAndRemovedAndTheLogSaysSo) {
  auto phase = Made("Tool B", 1);
  phase.freeze_after = 12;
  phase.kind = PhaseKind::Trial;
  const auto added = Add(phase);
  EXPECT_GT(added.id, 0);
  EXPECT_EQ(added.who, "Ann");
  EXPECT_EQ(added.reason, "new tool");
  Reopen();
  ASSERT_EQ(Data().Phases().size(), 1U);
  const auto read = Data().Phases()[0];
  EXPECT_EQ(read.name, "Tool B");
  EXPECT_EQ(read.start, kFirst + kDay);
  EXPECT_FALSE(read.finish);
  EXPECT_EQ(read.kind, PhaseKind::Trial);
  EXPECT_EQ(read.freeze_after, 12);
  EXPECT_EQ(read.process, 0);
  EXPECT_EQ(read.made, added.made);
  Data().EndPhase(added.id, kFirst + 3 * kDay, {"Bob", ""}, "tool is worn");
  EXPECT_EQ(Data().Phases()[0].finish, kFirst + 3 * kDay);
  Data().RemovePhase(added.id, {"Bob", ""}, "was a mistake");
  EXPECT_TRUE(Data().Phases().empty());
  const auto log = Operations();
  const std::string object = "phase " + std::to_string(added.id);
  const std::string open = R"({"name":"Tool B","part":"Ring","start":"2024-01-02T00:00:00",)";
  const std::string rest = R"("kind":"trial","freeze_after":12,"reason":"new tool"})";
  const std::string ended = open + R"("end":"2024-01-04T00:00:00",)" + rest;
  ASSERT_GE(log.size(), 3U);
  EXPECT_EQ(log[log.size() - 3], "phase-add|" + object + "||" + open + rest + "|new tool|Ann");
  EXPECT_EQ(log[log.size() - 2],
            "phase-end|" + object + "|" + open + rest + "|" + ended + "|tool is worn|Bob");
  EXPECT_EQ(log.back(), "phase-remove|" + object + "|" + ended + "||was a mistake|Bob");
}

TEST_F(PhasesTest, AnIdentifierIsNotGivenTwice) {
  const auto first = Add(Made("A", 0, 1));
  Data().RemovePhase(first.id, {}, "was a mistake");
  EXPECT_GT(Add(Made("B", 0, 1)).id, first.id);
}

TEST_F(PhasesTest, OverlapsInAStreamAreRefused) {
  const auto added = Add(Made("Tool B", 31));
  EXPECT_EQ(CodeOf([&] { Add(Made("Tool C", 40)); },
                   "\"Tool C\" overlaps \"Tool B\" (2024-02-01 to now)"),
            "overlap");
  EXPECT_EQ(CodeOf([&] { Add(Made("Tool A", 0)); }), "overlap") << "it would go on";
  EXPECT_EQ(CodeOf([&] { Add(Made("Tool A", 0, 31)); }), "") << "the border is the second's";
  auto any = Made("all", 40);
  any.part = 0;
  any.process = Id(ItemKind::Process, "Press B");
  EXPECT_EQ(CodeOf([&] { Add(any); }), "overlap") << "Ring on Press B is in both";
  auto other = Made("other", 40);
  other.part = Id(ItemKind::Part, "Disc");
  EXPECT_EQ(CodeOf([&] { Add(other); }), "") << "no stream is in both";
  EXPECT_EQ(CodeOf([&] { Data().EndPhase(added.id, kFirst + 50 * kDay, {}, "worn"); }), "");
  EXPECT_EQ(CodeOf([&] { Add(Made("Tool C", 50)); }), "");
  EXPECT_EQ(CodeOf([&] { Data().EndPhase(added.id, kFirst + 51 * kDay, {}, "longer"); }),
            "overlap");
  EXPECT_EQ(Data().Phases().size(), 4U);
}

TEST_F(PhasesTest, APhaseThatBeginsEndsTheOneBeforeAndLastsUntilTheNext) {
  const auto begin = [&](const Phase& phase) {
    Opened()->Write({"Ann", ""}, "new tool",
                    [&](log::Writing& writing) { BeginPhase(writing, phase); });
  };
  begin(Made("A", 0));
  begin(Made("C", 20));
  begin(Made("B", 10));
  const auto phases = Data().Phases();
  ASSERT_EQ(phases.size(), 3U);
  EXPECT_EQ(phases[0].finish, kFirst + 10 * kDay);
  EXPECT_EQ(phases[1].name, "B");
  EXPECT_EQ(phases[1].finish, kFirst + 20 * kDay);
  EXPECT_FALSE(phases[2].finish);
  EXPECT_EQ(CodeOf([&] { begin(Made("D", 10)); }), "overlap");
  auto narrow = Made("E", 25);
  narrow.process = Id(ItemKind::Process, "Press A");
  EXPECT_EQ(CodeOf([&] { begin(narrow); }), "overlap") << "C goes on for Press B";
  EXPECT_EQ(Data().Phases().size(), 3U);
}

TEST_F(PhasesTest, WhatIsNoPhaseIsRefused) {
  EXPECT_EQ(CodeOf([&] { Add(Made(" ", 0)); }), "name");
  EXPECT_EQ(CodeOf([&] { Add(Made("A", 1, 1)); }, "not after its start at 2024-01-02"), "time");
  EXPECT_EQ(CodeOf([&] { Data().AddPhase(Made("A", 1), {}, ""); }), "reason");
  auto frozen = Made("A", 0);
  frozen.freeze_after = 1;
  EXPECT_EQ(CodeOf([&] { Add(frozen); }), "freeze_after");
  frozen.freeze_after = 5;
  frozen.kind = PhaseKind::Excluded;
  EXPECT_EQ(CodeOf([&] { Add(frozen); }), "freeze_after");
  auto unknown = Made("A", 0);
  unknown.part = 4711;
  EXPECT_EQ(CodeOf([&] { Add(unknown); }, "there is no part 4711"), "unknown");
  EXPECT_EQ(CodeOf([&] { Data().EndPhase(9, kFirst, {}, "worn"); }), "unknown");
  EXPECT_EQ(CodeOf([&] { Data().RemovePhase(9, {}, "worn"); }), "unknown");
  EXPECT_TRUE(Data().Phases().empty());
  EXPECT_EQ(Operations().back().find("phase"), std::string::npos) << "no entry of what was refused";
}

TEST_F(PhasesTest, AStreamHasThePhasesThatFit) {
  Add(Made("Ring", 0, 10));
  auto process = Made("Press A", 10, 20);
  process.part = 0;
  process.process = Id(ItemKind::Process, "Press A");
  Add(process);
  auto any = Made("shutdown", 20, 30);
  any.part = 0;
  Add(any);
  const auto names = [&](const char* part, const char* at, const char* test) {
    std::string all;
    for (const auto& phase : Opened()->Phases(Id(ItemKind::Part, part), Id(ItemKind::Process, at),
                                              Id(ItemKind::Test, test))) {
      all += phase.name + ";";
    }
    return all;
  };
  EXPECT_EQ(names("Ring", "Press A", "Diameter"), "Ring;Press A;shutdown;");
  EXPECT_EQ(names("Ring", "Press B", "Diameter"), "Ring;shutdown;");
  EXPECT_EQ(names("Disc", "Press A", "Width"), "Press A;shutdown;");
  EXPECT_EQ(Opened()->Phases(0, 0, 0).size(), 3U);
}

TEST_F(PhasesTest, PhasesOfAnotherProgramAreSeenByOpenDatabases) {
  EXPECT_TRUE(Data().Phases().empty());
  const auto other = QualityDatabase::Open(Path());
  auto writer = other;
  writer.AddPhase(Made("A", 0), {}, "new tool");
  EXPECT_EQ(Data().Phases().size(), 1U);
}

}  // namespace
}  // namespace orvspc::engine::write
