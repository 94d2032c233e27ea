// SPDX-License-Identifier: Apache-2.0
#include "engine/write/alarms/Life.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "engine/QualityDatabase.h"
#include "engine/write/log/Json.h"
#include "platform/Enumerations.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::alarms {
namespace {

class LifeTest : public store::StoreTest {
 protected:
  LifeTest() {
    Import("part,process,test,subgroup,time,value\nA,P,T,0,2024-01-01T00:00:00Z,10\n");
    Import("part,process,test,mean,sp,sw\nA,P,T,10,1,1\n", ImportKind::ControlLimits);
    Import("number,graph,on\n1,1,yes\n2,1,yes\n1,2,no\n", ImportKind::Alarms);
    Import("code,name\nTWEAR,tool wear\nCHIP,chip\n", ImportKind::AccCodes);
    Import("code,name\nTCHANGE,tool changed\n", ImportKind::CacCodes);
    // Recording takes times up to 300 s ahead; limits hold from when they were stored.
    start_ = CurrentTime() + 1;
  }

  NewRecord RecordOf(std::int32_t second, double value) const {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.time = start_ + second;
    record.pieces.push_back({value, 0, 0, "", "", ""});
    return record;
  }
  std::vector<Alarm> Record(std::int32_t second, double value) {
    return Data().Record(RecordOf(second, value), {}).alarms;
  }
  // One beyond a limit of graph 1.
  std::int32_t OneAlarm() {
    const auto alarms = Record(1, 14.0);
    return alarms.empty() ? 0 : alarms.front().event;
  }
  std::int64_t Count(std::string_view text) {
    std::int64_t count = 0;
    Opened()->ReadOrThrow(
        [&](sql::Connection& db) { count = sql::Query(db, text).RunForInt().value_or(0); });
    return count;
  }
  // Of the event of an alarm; there may be others, of changes.
  std::int32_t FlagOf(std::int32_t event) {
    std::int32_t flag = -1;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(db, "SELECT flag FROM event WHERE id = ?1", event);
      if (query.Step()) flag = query.Int(0);
    });
    return flag;
  }
  // The latest message to hooks about an alarm.
  log::Json Told(std::int32_t event) {
    std::string message;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      sql::Query query(
          db, "SELECT message FROM outbox WHERE event = ?1 ORDER BY revision DESC LIMIT 1", event);
      if (query.Step()) message = query.Text(0);
    });
    return log::ReadJson(message);
  }
  template <class Step>
  static std::string RefusalOf(const Step& step) {
    try {
      step();
    } catch (const Refused& refused) {
      return refused.Description();
    }
    return "was not refused";
  }
  static ChangeOptions Why() {
    ChangeOptions options;
    options.reason = "trial run";
    return options;
  }

  std::int64_t start_ = 0;
};

TEST_F(LifeTest, RecordingRaisesAlarmsInItsTransaction) {
  EXPECT_TRUE(Record(0, 10.5).empty());
  const auto recorded = Data().Record(RecordOf(1, 14.0), {});
  ASSERT_EQ(recorded.alarms.size(), 1U);
  EXPECT_EQ(recorded.alarms[0].first_subgroup, recorded.subgroup);
  EXPECT_NE(JsonOf("", recorded).find(R"("alarms":[{"id":)"), std::string::npos);
  auto again = RecordOf(2, 14.5);
  again.key = "k";
  EXPECT_EQ(Data().Record(again, {}).alarms.size(), 1U);
  const auto repeated = Data().Record(again, {});
  EXPECT_TRUE(repeated.repeated);
  EXPECT_EQ(repeated.alarms.size(), 1U) << "those of the first answer";
  EXPECT_EQ(Count("SELECT count(*) FROM alarm"), 2);
}

TEST_F(LifeTest, ARetryIsAnsweredWithTheAlarmsAndNotesOfTheFirstTime) {
  // A stream without limits, so that there is a note, too.
  Import("part,process,test,subgroup,time,value\nA,P,U,0,2024-01-01T00:00:00Z,10\n");
  const auto text = [](const std::vector<Alarm>& alarms, const std::vector<Note>& notes) {
    std::string all;
    for (const auto& each : alarms) {
      for (const auto figure :
           {each.event, each.part, each.process, each.test, each.graph, each.rule,
            each.first_subgroup, each.last_subgroup, each.points, each.time, each.detected}) {
        all += std::to_string(figure) + " ";
      }
      all += each.text + " " + each.state + (each.is_late ? " late\n" : "\n");
    }
    for (const auto& each : notes) all += each.code + " " + each.Sentence() + "\n";
    return all;
  };
  const auto of = [&](const Recorded& recorded) { return text(recorded.alarms, recorded.notes); };
  auto signal = RecordOf(1, 14.0), without = RecordOf(1, 14.0);
  without.test = "U";
  signal.key = without.key = "both";
  const std::vector both{signal, without};
  const auto first = Data().RecordSubgroup(both, {});
  EXPECT_EQ(first[0].alarms.size(), 1U);
  EXPECT_EQ(first[1].notes.size(), 1U);
  AlarmClosing closing;
  closing.acc = "TWEAR";
  closing.cac = "TCHANGE";
  Data().CloseAlarm(first[0].alarms[0].event, closing, {});
  Reopen();
  const auto again = Data().RecordSubgroup(both, {});
  ASSERT_EQ(again.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(again[i].repeated);
    EXPECT_EQ(of(again[i]), of(first[i])) << i;
  }
  // A batch whose records have keys, one of them twice, and one that has a key itself.
  const auto send = [&](const std::string& key) {
    BatchOptions options;
    options.key = key;
    auto batch = Data().Begin({}, options);
    for (const int second : {2, 3, 3}) {
      auto record = RecordOf(key.empty() ? second : second + 10, second == 2 ? 10.0 : 15.0);
      if (key.empty()) record.key = "r" + std::to_string(second);
      if (key.empty() || batch.Size() < 2) batch.Add(record);
    }
    return batch.Commit();
  };
  const auto keyed = send(""), keyed_again = send("");
  EXPECT_EQ(keyed.records[1].alarms.size(), 1U);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(of(keyed_again.records[i]), of(keyed.records[i]));
  EXPECT_EQ(of(keyed.records[2]), of(keyed.records[1])) << "sent twice at once";
  const auto batch = send("monday"), batch_again = send("monday");
  EXPECT_TRUE(batch_again.repeated);
  EXPECT_EQ(text(batch_again.alarms, batch_again.notes),
            of(batch.records[0]) + of(batch.records[1]));
  EXPECT_FALSE(batch_again.alarms.empty());
}

TEST_F(LifeTest, ABatchGivesEachRecordItsAlarmsAndARefusedOneRaisesNothing) {
  auto batch = Data().Begin({});
  batch.Add(RecordOf(1, 10.0));
  batch.Add(RecordOf(2, 14.0));
  batch.Add(RecordOf(3, 15.0));
  const auto stored = batch.Commit();
  EXPECT_TRUE(stored.records[0].alarms.empty());
  EXPECT_EQ(stored.records[1].alarms.size(), 1U);
  EXPECT_EQ(stored.records[2].alarms.size(), 1U);
  auto refused = Data().Begin({});
  refused.Add(RecordOf(4, 14.0));
  auto unknown = RecordOf(5, 14.0);
  unknown.part = "B";
  refused.Add(unknown);
  EXPECT_THROW(refused.Commit(), Refused);
  EXPECT_EQ(Count("SELECT count(*) FROM alarm"), 2);
}

TEST_F(LifeTest, ImportedValuesRaiseAlarmsAndLimitsDoNot) {
  const auto report = Import(
      "part,process,test,subgroup,time,value\nA,P,T,1,2030-01-01T00:00:00Z,"
      "10\nA,P,T,2,2030-01-01T00:01:00Z,14\n");
  ASSERT_EQ(report.alarms.size(), 1U);
  EXPECT_EQ(report.alarms[0].text, "1 point beyond a control limit");
  EXPECT_TRUE(Import("part,process,test,mean,sp,sw,effective\nA,P,T,50,1,1,2029-01-01\n",
                     ImportKind::ControlLimits)
                  .alarms.empty());
  EXPECT_EQ(Count("SELECT count(*) FROM alarm"), 1);
}

TEST_F(LifeTest, AFirstImportOfYearsRaisesNothing) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int year = 2010; year < 2024; ++year) {
    text += "A,P,T,1," + std::to_string(year) + "-06-01T00:00:00Z,99\n";
  }
  EXPECT_TRUE(Import(text).alarms.empty());
}

TEST_F(LifeTest, AnAlarmIsAcknowledgedClosedAndOpenedAgain) {
  const auto id = OneAlarm();
  ASSERT_GT(id, 0);
  AlarmFilter open;
  open.is_open = true;
  EXPECT_EQ(Data().AcknowledgeAlarm(id, {}).state, "acknowledged");
  EXPECT_EQ(Data().Alarms(open).size(), 1U);
  const auto closed = Data().CloseAlarm(id, {"TWEAR", "TCHANGE", "insert 4"}, {});
  EXPECT_EQ(closed.state, "closed");
  EXPECT_EQ(closed.acc, "TWEAR");
  EXPECT_EQ(closed.cac, "TCHANGE");
  EXPECT_TRUE(Data().Alarms(open).empty());
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE flag = 0 AND acc_time IS NOT NULL "
                  "AND cac_time IS NOT NULL AND acc_employee IS NOT NULL"),
            1);
  EXPECT_EQ(Count("SELECT count(*) FROM comment WHERE note = 'insert 4'"), 1);
  EXPECT_EQ(Data().ReopenAlarm(id, Why()).state, "open");
  EXPECT_EQ(FlagOf(id), efOpenACC | efOpenCAC);
  EXPECT_EQ(Count("SELECT count(*) FROM log WHERE object = 'alarm " + std::to_string(id) + "'"), 4);
  EXPECT_EQ(Count("SELECT count(*) FROM outbox"), 4);
  EXPECT_EQ(Count("SELECT max(revision) FROM outbox"), 3);
}

TEST_F(LifeTest, RefusalsSayWhatIsMissing) {
  const auto id = OneAlarm();
  const auto alarm = "alarm " + std::to_string(id) + ": ";
  const auto close = [&](const AlarmClosing& closing) {
    return RefusalOf([&] { Data().CloseAlarm(id, closing, {}); });
  };
  EXPECT_EQ(close({"TW", "TCHANGE", ""}),
            "acc: there is no cause code \"TW\"; did you mean \"TWEAR\"?");
  EXPECT_EQ(close({"T", "TCHANGE", ""}), "acc: there is no cause code \"T\"")
      << "one letter says too little";
  EXPECT_EQ(close({"TWEAR", "tch", ""}),
            "cac: there is no action code \"tch\"; did you mean \"TCHANGE\"?");
  EXPECT_EQ(close({"WEAR", "TCHANGE", ""}),
            "acc: there is no cause code \"WEAR\"; did you mean \"TWEAR\"?");
  EXPECT_EQ(close({"TWER", "TCHANGE", ""}),
            "acc: there is no cause code \"TWER\"; did you mean \"TWEAR\"?");
  EXPECT_EQ(close({"TWEAR", "TCHANG", ""}),
            "cac: there is no action code \"TCHANG\"; did you mean \"TCHANGE\"?");
  EXPECT_EQ(close({"TWEAR", "", ""}), alarm + "the action is missing (--cac)");
  EXPECT_EQ(close({"", "TCHANGE", ""}), alarm + "the cause is missing (--acc)");
  EXPECT_EQ(Count("SELECT count(*) FROM event WHERE acc IS NOT NULL"), 0) << "nothing stays";
  EXPECT_EQ(RefusalOf([&] { Data().AcknowledgeAlarm(4711, {}); }),
            "alarm 4711: there is no such alarm");
  EXPECT_EQ(RefusalOf([&] { Data().ReopenAlarm(id, Why()); }), alarm + "is open, not closed");
  Data().AcknowledgeAlarm(id, {});
  EXPECT_EQ(RefusalOf([&] { Data().AcknowledgeAlarm(id, {}); }), alarm + "is acknowledged already");
  Data().Set("alarm_needs", "acc");
  Data().CloseAlarm(id, {"CHIP", "", ""}, {});
  EXPECT_EQ(close({"CHIP", "", ""}), alarm + "is closed already");
  EXPECT_THROW(Data().ReopenAlarm(id, {}), Refused) << "without a reason";
}

TEST_F(LifeTest, TheVersionThatWasSeenIsCompared) {
  const auto id = OneAlarm();
  auto options = Why();
  options.expected = Data().Alarms().front().version;
  Data().AcknowledgeAlarm(id, options);
  EXPECT_THROW(Data().CloseAlarm(id, {"CHIP", "TCHANGE", ""}, options), Conflict);
  options.expected = Data().Alarms().front().version;
  options.dry_run = true;
  Data().CloseAlarm(id, {"CHIP", "TCHANGE", ""}, options);
  EXPECT_EQ(Data().Alarms().front().state, "acknowledged");
}

TEST_F(LifeTest, ClosingEndsARunAndTheNextPointOpensAnother) {
  std::vector<std::int32_t> runs;
  for (int i = 1; i <= 14; ++i) {
    for (const auto& alarm : Record(i, 10.2)) {
      if (alarm.rule == 2) runs.push_back(alarm.event);
    }
    if (i == 11) {
      ASSERT_EQ(runs.size(), 1U);
      Data().CloseAlarm(runs.front(), {"TWEAR", "TCHANGE", ""}, {});
    }
  }
  ASSERT_EQ(runs.size(), 2U);
  const auto all = Data().Alarms();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].points, 3);
  EXPECT_EQ(all[0].state, "closed");
  EXPECT_EQ(all[1].points, 3);
  EXPECT_EQ(all[1].first_subgroup, all[0].last_subgroup + 1);
}

TEST_F(LifeTest, AClosedAlarmWhoseRunGoesOnInAnotherIsNotReopened) {
  std::vector<std::int32_t> runs;
  for (int i = 1; i <= 40; ++i) {
    // Two runs: the second one is apart from the first.
    for (const auto& alarm : Record(i, i == 20 ? 9.9 : 10.2)) {
      if (alarm.rule == 2) runs.push_back(alarm.event);
    }
    if (i == 11) Data().CloseAlarm(runs.front(), {"TWEAR", "TCHANGE", ""}, {});
  }
  ASSERT_EQ(runs.size(), 3U);
  const auto next = std::to_string(runs[1]);
  const std::string refusal = "alarm " + std::to_string(runs[0]) + ": its run goes on in alarm ";
  EXPECT_EQ(RefusalOf([&] { Data().ReopenAlarm(runs[0], Why()); }), refusal + next);
  Data().CloseAlarm(runs[1], {"TWEAR", "TCHANGE", ""}, {});
  EXPECT_EQ(RefusalOf([&] { Data().ReopenAlarm(runs[0], Why()); }), refusal + next);
  EXPECT_EQ(Data().ReopenAlarm(runs[1], Why()).state, "open");
  const auto all = Data().Alarms();
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0].state, "closed");
  EXPECT_EQ(all[1].state, "open");
  EXPECT_EQ(all[2].state, "open");
}

// What the rules are now is no reason to refuse: both alarms are of those of their time.
TEST_F(LifeTest, AClosedAlarmIsReopenedAfterItsRuleWasTurnedOff) {
  const AlarmClosing closing{"TWEAR", "TCHANGE", ""};
  std::vector<std::int32_t> singles, runs;
  for (int i = 1; i <= 40; ++i) {
    // Two points beyond a limit side by side, and two runs that are apart.
    const auto value = i <= 2 ? 14.0 : i == 20 ? 9.9 : 10.2;
    for (const auto& alarm : Record(i, value)) {
      (alarm.rule == 2 ? runs : singles).push_back(alarm.event);
    }
  }
  ASSERT_EQ(singles.size(), 2U);
  ASSERT_EQ(runs.size(), 2U);
  for (const auto event : {singles[0], singles[1], runs[0]}) Data().CloseAlarm(event, closing, {});
  Import("number,graph,on\n1,1,no\n2,1,no\n", ImportKind::Alarms);
  EXPECT_EQ(Data().ReopenAlarm(singles[0], Why()).state, "open") << "one point has no run";
  EXPECT_EQ(Data().ReopenAlarm(runs[0], Why()).state, "open") << "it was over";
  for (const auto& each : Data().Alarms()) EXPECT_NE(each.state, "withdrawn") << each.event;
}

// The point between the two is out of the count, so that the next one that counts is the other's.
TEST_F(LifeTest, ARunGoesOnAcrossAPointThatIsDisabled) {
  std::vector<std::int32_t> runs;
  std::int32_t after = 0;
  for (int i = 1; i <= 14; ++i) {
    const auto recorded = Data().Record(RecordOf(i, 10.2), {});
    for (const auto& alarm : recorded.alarms) runs.push_back(alarm.event);
    if (i == 11) Data().CloseAlarm(runs.at(0), {"TWEAR", "TCHANGE", ""}, {});
    if (i == 12) after = recorded.subgroup;
  }
  Data().ChangeFlag({after}, {}, sfDisabled, Why());
  const auto all = Data().Alarms();
  const auto next = std::ranges::find(all, "open", &Alarm::state);
  ASSERT_NE(next, all.end());
  EXPECT_EQ(next->first_subgroup, after + 1);
  EXPECT_EQ(RefusalOf([&] { Data().ReopenAlarm(runs[0], Why()); }),
            "alarm " + std::to_string(runs[0]) + ": its run goes on in alarm " +
                std::to_string(next->event));
}

TEST_F(LifeTest, AnAcknowledgedRunGoesOnAsTheSameAlarm) {
  for (int i = 1; i <= 9; ++i) Record(i, 10.2);
  ASSERT_EQ(Data().Alarms().size(), 1U);
  Data().AcknowledgeAlarm(Data().Alarms().front().event, {});
  for (int i = 10; i <= 60; ++i) EXPECT_TRUE(Record(i, 10.2).empty()) << i;
  EXPECT_EQ(Data().Alarms().front().points, 52);
}

TEST_F(LifeTest, AnAlarmThatComesBackNeedsItsCodes) {
  const auto id = OneAlarm();
  const auto subgroup = Data().Alarms().front().first_subgroup;
  Data().ChangeFlag({subgroup}, {}, sfDisabled, Why());
  EXPECT_EQ(Data().Alarms().front().state, "withdrawn");
  EXPECT_EQ(RefusalOf([&] { Data().AcknowledgeAlarm(id, {}); }),
            "alarm " + std::to_string(id) + ": is withdrawn already");
  Data().ChangeFlag({subgroup}, {}, sfEnabled, Why());
  EXPECT_EQ(Data().Alarms().front().state, "open");
  EXPECT_EQ(FlagOf(id), efOpenACC | efOpenCAC);
}

TEST_F(LifeTest, AnAlarmThatComesBackIsInTheStateThatItHad) {
  const auto id = OneAlarm();
  const auto subgroup = Data().Alarms().front().first_subgroup;
  const struct {
    const char *state, *told;
    std::function<void()> step;
    std::int32_t flag;
  } states[] = {
      {"open", "opened", [] {}, efOpenACC | efOpenCAC},
      {"acknowledged", "acknowledged", [&] { Data().AcknowledgeAlarm(id, {}); },
       efOpenACC | efOpenCAC},
      {"closed", "closed",
       [&] {
         Data().CloseAlarm(id, {"TWEAR", "TCHANGE", ""}, {});
       },
       0},
      {"open", "opened", [&] { Data().ReopenAlarm(id, Why()); }, efOpenACC | efOpenCAC},
  };
  LogFilter deleted;
  deleted.operation = "delete";
  for (const auto& each : states) {
    SCOPED_TRACE(each.state);
    each.step();
    for (int twice = 0; twice < 2; ++twice) {
      Data().DeleteSubgroups({subgroup}, {}, Why());
      EXPECT_EQ(Data().Alarms().front().state, "withdrawn");
      Data().Restore(Data().Log(deleted).back().seq, Why());
      EXPECT_EQ(Data().Alarms().front().state, each.state);
      EXPECT_EQ(FlagOf(id), each.flag);
      EXPECT_EQ(Told(id)["what"], each.told);
    }
  }
  EXPECT_EQ(Data().Alarms().front().acc, "TWEAR");
  EXPECT_EQ(Data().Alarms().size(), 1U);
}

TEST_F(LifeTest, WhatCameAfterAClosedRunIsAnotherAlarmAlsoWhenBothComeBack) {
  for (int i = 1; i <= 13; ++i) {
    Record(i, 10.2);
    if (i == 11) Data().CloseAlarm(Data().Alarms().front().event, {"TWEAR", "TCHANGE", ""}, {});
  }
  const auto before = Data().Alarms();
  ASSERT_EQ(before.size(), 2U);
  const auto middle = before[0].first_subgroup - 4;
  ValueChange change;
  change.tsno = 1;
  change.value = 9.8;
  Data().ChangeValue(middle, Id(ItemKind::Test, "T"), change, Why());
  for (const auto& each : Data().Alarms()) EXPECT_EQ(each.state, "withdrawn") << each.event;
  change.value = 10.2;
  Data().ChangeValue(middle, Id(ItemKind::Test, "T"), change, Why());
  const auto after = Data().Alarms();
  ASSERT_EQ(after.size(), 2U);
  for (std::size_t i = 0; i < after.size(); ++i) {
    EXPECT_EQ(after[i].state, i == 0 ? "closed" : "open");
    EXPECT_EQ(after[i].points, before[i].points);
    EXPECT_EQ(after[i].first_subgroup, before[i].first_subgroup);
    EXPECT_EQ(after[i].last_subgroup, before[i].last_subgroup);
  }
}

TEST_F(LifeTest, AnAlarmThatComesBackIsToldWithItsPresentFigures) {
  // A run of rule 2 that grows while it is withdrawn: without the middle no nine points are left.
  for (int i = 1; i <= 9; ++i) Record(i, 10.2);
  ASSERT_EQ(Data().Alarms().size(), 1U);
  const auto id = Data().Alarms().front().event;
  const auto first = Data().Alarms().front().first_subgroup;
  const auto middle = first - 4;
  Data().ChangeFlag({middle}, {}, sfDisabled, Why());
  ASSERT_EQ(Data().Alarms().front().state, "withdrawn");
  for (int i = 10; i <= 12; ++i) Record(i, 10.2);
  Data().ChangeFlag({middle}, {}, sfEnabled, Why());
  const auto alarms = Data().Alarms();
  const auto back = std::ranges::find(alarms, id, &Alarm::event);
  ASSERT_NE(back, alarms.end());
  ASSERT_EQ(back->state, "open");
  ASSERT_EQ(back->points, 4);
  const auto told = Told(id);
  EXPECT_EQ(told["what"], "opened");
  EXPECT_EQ(told["first"], back->first_subgroup);
  EXPECT_EQ(told["last"], back->last_subgroup);
  EXPECT_EQ(told["points"], back->points) << told;
}

TEST_F(LifeTest, AlarmsFollowASubgroupToAnotherTime) {
  const auto id = OneAlarm();
  const auto subgroup = Data().Alarms().front().first_subgroup;
  for (int i = 2; i <= 61; ++i) Record(i, i % 2 == 0 ? 9.9 : 10.1);
  const auto moved = start_ + 100;
  const auto move_to = [&](std::int64_t time) {
    SubgroupChange change;
    change.time = static_cast<std::int32_t>(time);
    Data().ChangeSubgroups({subgroup}, {}, change, Why());
  };
  const auto correct_to = [&](double value) {
    ValueChange change;
    change.tsno = 1;
    change.value = value;
    Data().ChangeValue(subgroup, 1, change, Why());
  };
  const auto state = [&] { return Data().Alarms().front().state; };
  const auto is_event_at = [&](std::int64_t time) {
    const auto events = Data().EventsOfSubgroups(time, time);
    return std::ranges::any_of(events, [&](const ListedEvent& each) { return each.id == id; });
  };
  Data().CloseAlarm(id, {"TWEAR", "TCHANGE", ""}, {});
  move_to(moved);
  EXPECT_TRUE(is_event_at(moved)) << "with its cause";
  EXPECT_EQ(state(), "closed");
  correct_to(10.0);
  EXPECT_EQ(state(), "withdrawn");
  move_to(start_ + 1);
  correct_to(14.0);
  EXPECT_EQ(state(), "closed");
  Data().ReopenAlarm(id, Why());
  Data().ChangeFlag({subgroup}, {}, sfDisabled, Why());
  move_to(moved);
  Data().ChangeFlag({subgroup}, {}, sfEnabled, Why());
  EXPECT_EQ(state(), "open");
  EXPECT_EQ(Data().Alarms().size(), 1U);
  // As it was when the alarm was opened.
  const auto entry = Count("SELECT min(seq) FROM log WHERE operation = 'edit-subgroup'");
  Data().Restore(entry, Why());
  EXPECT_TRUE(is_event_at(start_ + 1));
  EXPECT_EQ(state(), "open");
}

TEST_F(LifeTest, EventsOfAnotherSubgroupStayAtItsTime) {
  const auto id = OneAlarm();
  const auto subgroup = Data().Alarms().front().first_subgroup;
  const auto other = Record(1, 15.0);
  ASSERT_EQ(other.size(), 1U);
  SubgroupChange change;
  change.time = static_cast<std::int32_t>(start_) + 5;
  Data().ChangeSubgroups({subgroup}, {}, change, Why());
  for (const auto& alarm : Data().Alarms()) {
    EXPECT_EQ(alarm.time, start_ + (alarm.event == id ? 5 : 1)) << alarm.event;
    EXPECT_EQ(alarm.state, "open");
  }
}

TEST_F(LifeTest, ListsArePickedByStreamAndTime) {
  OneAlarm();
  AlarmFilter filter;
  filter.part = 1;
  filter.test = 1;
  EXPECT_EQ(Data().Alarms(filter).size(), 1U);
  filter.process = 99;
  EXPECT_TRUE(Data().Alarms(filter).empty());
  filter = {};
  filter.since = static_cast<std::int32_t>(CurrentTime()) + 3600;
  EXPECT_TRUE(Data().Alarms(filter).empty());
}

}  // namespace
}  // namespace orvspc::engine::alarms
