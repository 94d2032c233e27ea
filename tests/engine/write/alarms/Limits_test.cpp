// SPDX-License-Identifier: Apache-2.0
// What becomes of alarms when limits or phases change.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "platform/Phase.h"
#include "tests/engine/write/alarms/judge_fixture.h"

namespace orvspc::engine::alarms {
namespace {

class AlarmLimitsTest : public JudgeTest {
 protected:
  // Rows of limits are approved a while ago, so that values of now are judged by them.
  void Age(std::int64_t seconds) {
    const auto text = std::to_string(seconds);
    store::RunSql(Path(), "UPDATE control_limit SET made = made - " + text);
  }
  std::int32_t At(std::int32_t minute) const {
    return static_cast<std::int32_t>(start_) + minute * 60;
  }
  // A row of another mean that holds from a minute on.
  std::int32_t Replace(std::int32_t minute, double mean) {
    LimitRequest request;
    request.part = request.process = request.test = 1;
    request.chart_word = 0x330;
    request.force = true;
    LimitApproval approval;
    approval.effective = At(minute);
    approval.force = true;
    const auto id = Data().ProposeLimits(request, Why());
    store::RunSql(Path(), "UPDATE control_limit SET mean = " + std::to_string(mean) +
                              ", sp = 1, sw = 1, average_size = NULL, within = NULL, moving = NULL "
                              "WHERE id = " +
                              std::to_string(id));
    Data().ApproveLimits(id, approval, Why());
    return id;
  }
  // First subgroups of alarms of single points on graph 1 that are not withdrawn.
  std::set<std::int32_t> Beyond() {
    std::set<std::int32_t> all;
    for (const auto& [graph, rule, first, last, points] : Stored()) {
      if (graph == 1 && rule == 1) all.insert(first);
    }
    return all;
  }
  std::int32_t Put(std::int32_t minute, double value) {
    Record(minute, value);
    return latest_;
  }
  // So that what is there is judged once more, but nothing else is.
  void Touch(std::int32_t subgroup, double value) {
    ValueChange change;
    change.tsno = 1;
    change.value = value;
    Data().ChangeValue(subgroup, 1, change, Why());
  }
  // The log entry that caused the latest withdrawal: "operation object".
  std::string Withdrawer() {
    std::string found;
    const auto alarms = Data().Alarms({});
    std::int64_t entry = 0;
    for (const auto& each : alarms) entry = std::max(entry, each.withdrawn_by);
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT operation, object FROM log WHERE seq = ?1", entry);
      if (query.Step()) found = std::string(query.Text(0)) + " " + std::string(query.Text(1));
    });
    return found;
  }
};

TEST_F(AlarmLimitsTest, ARetiredRowKeepsItsAlarmsAndItsTime) {
  const auto before = Put(1, 15.0), quiet = Put(3, 10.0), behind = Put(5, 15.0);
  EXPECT_EQ(Beyond(), (std::set{before, behind}));
  Data().RetireLimits(1, At(4), Why());
  EXPECT_EQ(Beyond(), (std::set{before})) << "no limits hold from there on";
  EXPECT_EQ(Withdrawer(), "limit limit 1");
  Touch(quiet, 10.1);
  EXPECT_EQ(Beyond(), (std::set{before})) << "judged again";
  const auto late = Put(2, 16.0);
  EXPECT_EQ(Beyond(), (std::set{before, late})) << "its time is judged by it on";
  Put(6, 99.0);
  EXPECT_EQ(Beyond(), (std::set{before, late}));
}

TEST_F(AlarmLimitsTest, ARowThatIsReplacedKeepsItsAlarmsAndItsTime) {
  const auto first = Put(1, 15.0), quiet = Put(2, 10.0);
  Replace(4, 20.0);
  EXPECT_EQ(Beyond(), (std::set{first}));
  Touch(quiet, 10.1);
  EXPECT_EQ(Beyond(), (std::set{first}));
  const auto late = Put(3, 16.0), next = Put(5, 10.0);
  Put(6, 20.0);
  EXPECT_EQ(Beyond(), (std::set{first, late, next}));
  EXPECT_EQ(Beyond().size(), 3U);
}

TEST_F(AlarmLimitsTest, ARowThatReplacesThePastTakesBackWhatItDoesNotMarkAndRaisesNothing) {
  Age(7200);
  start_ -= 3600;
  const auto low = Put(1, 15.0), high = Put(2, 30.0), quiet = Put(3, 10.0);
  EXPECT_EQ(Beyond(), (std::set{low, high}));
  const auto id = Replace(0, 15.0);
  EXPECT_EQ(Beyond(), (std::set{high})) << "10 is beyond the new limits, and came before them";
  EXPECT_EQ(Withdrawer(), "limit limit " + std::to_string(id));
  Touch(quiet, 10.1);
  EXPECT_EQ(Beyond(), (std::set{high}));
  const auto next = Put(70, 10.0);
  EXPECT_EQ(Beyond(), (std::set{high, next}));
}

TEST_F(AlarmLimitsTest, AVoidedRowLosesItsAlarmsAndTheRowBeforeJudgesItsTime) {
  Put(1, 10.5);
  const auto id = Replace(2, 20.0);
  const auto of_new = Put(3, 10.0), of_old = Put(4, 20.0);
  EXPECT_EQ(Beyond(), (std::set{of_new}));
  Data().VoidLimits(id, Why());
  EXPECT_EQ(Beyond(), (std::set{of_old}));
  EXPECT_EQ(Withdrawer(), "limit limit " + std::to_string(id));
  const auto late = Data().Alarms({});
  EXPECT_TRUE(std::ranges::any_of(late, &Alarm::is_late));
  Data().VoidLimits(1, Why());
  EXPECT_EQ(Beyond(), (std::set<std::int32_t>{})) << "no row is left";
}

TEST_F(AlarmLimitsTest, AProposalAndItsRejectionChangeNoAlarm) {
  const auto first = Put(1, 15.0);
  LimitRequest request;
  request.part = request.process = request.test = 1;
  request.force = true;
  const auto id = Data().ProposeLimits(request, Why());
  Data().RejectLimits(id, Why());
  const auto quiet = Put(2, 10.0);
  Touch(quiet, 10.1);
  EXPECT_EQ(Beyond(), (std::set{first}));
}

TEST_F(AlarmLimitsTest, ARunHasOneAlarmAlsoWhereItsBeginningIsOlderThanTheHorizon) {
  constexpr std::int32_t kDay = 24 * 60;
  int opened = 0;
  for (int day = 1; day <= 30; ++day) {
    for (const auto& alarm : Record(day * kDay, 10.2)) opened += alarm.rule == 2;
  }
  EXPECT_EQ(opened, 1);
  EXPECT_EQ(Stored(), Charted());
}

TEST_F(AlarmLimitsTest, AnExcludedPhaseRaisesNothing) {
  Import("part,test,usl,lsl,alarms\nA,T,12,8,usl lsl\n", ImportKind::Limits);
  start_ += 60;
  const auto all = [&] {
    std::set<std::int32_t> subgroups;
    for (const auto& each : Stored()) subgroups.insert(std::get<2>(each));
    return subgroups;
  };
  const auto before = Put(1, 15.0);
  Phase phase;
  phase.start = At(2);
  phase.finish = At(6);
  phase.name = "setting up";
  phase.kind = PhaseKind::Excluded;
  const auto added = Data().AddPhase(phase, {}, "trial run");
  for (int i = 2; i < 6; ++i) EXPECT_TRUE(Record(i, 15.0).empty()) << i;
  EXPECT_EQ(all(), (std::set{before}));
  const auto behind = Put(7, 15.0);
  EXPECT_EQ(all(), (std::set{before, behind}));
  Data().EndPhase(added.id, At(8), {}, "trial run");
  EXPECT_EQ(all(), (std::set{before})) << "the phase goes on over it";
  EXPECT_EQ(Withdrawer(), "phase-end phase " + std::to_string(added.id));
  Data().RemovePhase(added.id, {}, "trial run");
  EXPECT_EQ(all().size(), 6U) << "it counts again";
}

}  // namespace
}  // namespace orvspc::engine::alarms
