// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "platform/TimeText.h"
#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

class MergeTest : public store::StoreTest {
 protected:
  static ChangeOptions Why() { return BecauseOf("two names of one"); }
  std::string RefusalOf(ItemKind kind, const char* from, const char* into) {
    return change::RefusalOf([&] { Data().Merge(kind, from, into, Why()); });
  }
  // What the values are in a database that knew the one name alone.
  std::string DigestOfFile(const std::string& text) {
    const auto name = "other" + std::to_string(++others_) + ".db";
    const auto other = OpenDatabase(folder_.Store(name), true);
    store::WriteFile(folder_.File("other.csv"), text);
    import::ImportCsv(folder_.File("other.csv"), *other, ImportKind::Values, {});
    return DigestOf(*other);
  }
  // Lines of many subgroups, so that some are sealed; {} stands for the name.
  static std::string Lines(const std::string& line, int first, int last) {
    std::string text;
    for (int i = first; i <= last; ++i) {
      auto each = line;
      const auto day = std::to_string(10 + i % 18), number = std::to_string(i);
      for (const auto& [mark, value] : {std::pair{"#", number}, std::pair{"@", "2024-01-" + day}}) {
        for (auto at = each.find(mark); at != each.npos; at = each.find(mark)) {
          each.replace(at, 1, value);
        }
      }
      text += each + "\n";
    }
    return text;
  }
  static constexpr const char* kHeader = "part,process,test,subgroup,time,value,lot\n";

  int others_ = 0;
};

}  // namespace

TEST_F(MergeTest, StreamsLimitsAndNamesOfTwoPartsAreJoined) {
  Import(kHeader + Lines("A,P,T,a#,@,1,L", 1, 60) + Lines("A,P,U,a#,@,1,L", 1, 3) +
         Lines("B,P,T,b#,@,2,L", 1, 60));
  Import("part,test,usl,effective\nA,T,9,2024-01-01\nB,T,8,\n", ImportKind::Limits);
  Import("kind,group,name\npart,Both,A\npart,Both,B\n", ImportKind::Groups);
  const auto b = Id(ItemKind::Part, "B");
  Data().Merge(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(Data().Items(ItemKind::Part).size(), 1U);
  EXPECT_EQ(Data().Find(ItemKind::Part, "A"), b) << "by its former name";
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("B,P,T,a#,@,1,L", 1, 60) + Lines("B,P,U,a#,@,1,L", 1, 3) +
                         Lines("B,P,T,b#,@,2,L", 1, 60)));
  EXPECT_EQ(Data().Streams().size(), 2U);
  EXPECT_EQ(Data().Versions<SpecificationLimits>({b, 0, Id(ItemKind::Test, "T")}).size(), 2U);
  EXPECT_EQ(Data().Groups(ItemKind::Part).at(0).members, std::vector{b});
  EXPECT_EQ(Data().FindSubgroups("A", "P", "a1", {}).size(), 1U);
  LogFilter merges;
  merges.operation = "merge";
  const auto entries = Data().Log(merges);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].before, R"({"name":"A"})");
  EXPECT_EQ(entries[0].after, R"({"into":)" + std::to_string(b) +
                                  R"(,"name":"B","moved":[{"test":0,"subgroups":[[1,1,60]]}]})");
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, WhatComesByTheFormerNameGoesToTheOtherItem) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,2,\n");
  Data().Merge(ItemKind::Part, "A", "B", Why());
  const auto report = Import(std::string(kHeader) + "A,P,T,3,2024-01-03,3,\n");
  EXPECT_EQ(report.new_names, 0);
  EXPECT_EQ(Data().CountedItems(ItemKind::Part).at(0).subgroups, 3);
  EXPECT_NE(ImportFailure(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\n"), "")
      << "a moved subgroup is found";
}

TEST_F(MergeTest, ProcessesAndTestsAreJoinedAlike) {
  Import(kHeader + Lines("A,P,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
         Lines("A,Q,U,u#,@,2,L", 1, 40));
  Data().Merge(ItemKind::Process, "P", "Q", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,Q,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
                         Lines("A,Q,U,u#,@,2,L", 1, 40)));
  Data().Merge(ItemKind::Test, "U", "T", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,Q,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
                         Lines("A,Q,T,u#,@,2,L", 1, 40)));
  EXPECT_EQ(Data().Streams().size(), 1U);
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, ItemsOfWhoAndWhereAreJoined) {
  Import(kHeader + Lines("A,P,T,1-#,@,1,L1", 1, 40) + Lines("A,P,T,2-#,@,1,L2", 1, 40) +
         Lines("A,P,T,3-#,@,1,", 1, 3));
  Data().Merge(ItemKind::Lot, "L1", "L2", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,P,T,1-#,@,1,L2", 1, 40) +
                         Lines("A,P,T,2-#,@,1,L2", 1, 40) + Lines("A,P,T,3-#,@,1,", 1, 3)));
  EXPECT_EQ(Data().CountedItems(ItemKind::Lot).at(0).subgroups, 80);
  // Without another context that it becomes like.
  Import(
      "part,process,test,subgroup,time,value,shift\nA,P,T,s,2024-02-01,1,early\n"
      "B,P,T,s,2024-02-02,1,\n");
  Import("kind,group,name\nshift,Day,late\n", ImportKind::Groups);
  Data().Merge(ItemKind::Shift, "early", "late", Why());
  EXPECT_EQ(Data().CountedItems(ItemKind::Shift).at(0).subgroups, 1);
}

// A value that was recorded for the wrong test, taken out, and recorded for the right one.
TEST_F(MergeTest, AlarmsOfOneRuleAndSubgroupInBothTestsBecomeOne) {
  Import(
      "part,process,test,subgroup,time,value\n"
      "A,P,T,0,2024-01-01T00:00:00Z,10\nA,P,U,0,2024-01-01T01:00:00Z,10\n");
  Import(
      "part,process,test,mean,sp,sw,effective\n"
      "A,P,T,10,1,1,2024-01-01T00:00:00Z\nA,P,U,10,1,1,2024-01-02T00:00:00Z\n",
      ImportKind::ControlLimits);
  const auto start = CurrentTime() + 1;
  const auto record = [&](const std::string& test, int second) {
    NewRecord value;
    value.part = "A";
    value.process = "P";
    value.test = test;
    value.label = std::to_string(second);
    value.time = start + second;
    value.pieces.push_back({20.0, 0, 0, "", "", ""});
    const auto recorded = Data().Record(value, {});
    EXPECT_FALSE(recorded.alarms.empty());
    return recorded.subgroup;
  };
  const std::pair<const char*, const char*> orders[] = {{"T", "U"}, {"U", "T"}};
  int second = 0;
  std::set<std::int32_t> subgroups;
  for (const auto& [wrong, right] : orders) {
    const auto subgroup = record(wrong, ++second);
    Data().DeleteSubgroups({subgroup}, Id(ItemKind::Test, wrong), Why());
    EXPECT_EQ(record(right, second), subgroup);
    subgroups.insert(subgroup);
  }
  Data().Merge(ItemKind::Test, "T", "U", Why());
  std::set<std::int32_t> beyond;
  for (const auto& alarm : Data().Alarms({})) {
    EXPECT_EQ(alarm.test, Id(ItemKind::Test, "U"));
    if (alarm.state != "withdrawn" && alarm.graph == 1 && alarm.rule == 1) {
      EXPECT_TRUE(beyond.insert(alarm.first_subgroup).second);
    }
  }
  EXPECT_EQ(beyond, subgroups);
  LogFilter merged;
  merged.operation = "alarm-merge";
  EXPECT_FALSE(Data().Log(merged).empty());
}

TEST_F(MergeTest, SettingsOfAStreamFollowARenaming) {
  Import(std::string(kHeader) + "A,P/1,T,1,2024-01-01,1,\nB,P/1,T,1,2024-01-01,1,\n");
  Data().Set("subgroup_size:A/P/1/T", "3");
  Data().Set("subgroup_size:A/P/1/T", "5");
  Data().Set("subgroup_size:B/P/1/T", "4");
  Data().Rename(ItemKind::Part, "A", "Ring", Why());
  EXPECT_EQ(Data().Setting("subgroup_size:Ring/P/1/T"), "5");
  EXPECT_EQ(Data().Setting("subgroup_size:A/P/1/T"), "0") << "no longer set";
  Data().Rename(ItemKind::Process, "P/1", "Press", Why());
  Data().Rename(ItemKind::Test, "T", "Width", Why());
  EXPECT_EQ(Data().Setting("subgroup_size:Ring/Press/Width"), "5");
  EXPECT_EQ(Data().Setting("subgroup_size:B/Press/Width"), "4");
  Data().Set("subgroup_size:A/P/1/T", "6");
  EXPECT_EQ(Data().Setting("subgroup_size:Ring/Press/Width"), "6") << "set by its former names";
  EXPECT_EQ(std::ranges::count_if(Data().SettingNames(),
                                  [](const std::string& name) {
                                    return name.starts_with("subgroup_size:") &&
                                           !name.ends_with("TEST");
                                  }),
            2);
  LogFilter of_setting;
  of_setting.object = "setting subgroup_size:A/P/1/T";
  auto entries = Data().Log(of_setting);
  ASSERT_EQ(entries.size(), 3U) << "set twice, and moved";
  EXPECT_EQ(entries[2].before, R"({"value":"5"})");
  EXPECT_EQ(entries[2].after, R"({"key":"subgroup_size:Ring/P/1/T"})");
  EXPECT_EQ(entries[2].reason, "two names of one");
  of_setting.object = "setting subgroup_size:Ring/Press/Width";
  entries = Data().Log(of_setting);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].after, R"({"value":"5"})");
}

TEST_F(MergeTest, SettingsOfAStreamFollowAMergeUnlessTheOtherHasItsOwn) {
  Import(std::string(kHeader) +
         "A,P,T,1,2024-01-01,1,\nA,P,U,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\n");
  Data().Set("subgroup_size:A/P/T", "3");
  Data().Set("subgroup_size:A/P/U", "4");
  Data().Set("subgroup_size:B/P/T", "5");
  Data().Merge(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(Data().Setting("subgroup_size:B/P/T"), "5") << "that of the one that stays";
  EXPECT_EQ(Data().Setting("subgroup_size:B/P/U"), "4");
  EXPECT_EQ(Data().Setting("subgroup_size:A/P/T"), "0");
  LogFilter of_setting;
  of_setting.object = "setting subgroup_size:A/P/T";
  const auto entries = Data().Log(of_setting);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].before, R"({"value":"3"})");
  EXPECT_EQ(entries[1].after, "");
}

// Entries of the time before a merge or a renaming are restored under the names of now.
TEST_F(MergeTest, EntriesOfAMergedItemAreRestoredUnderThePresentName) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,L1\nB,P,U,2,2024-01-02,2,L2\n");
  const auto test = Id(ItemKind::Test, "T");
  Data().ChangeValue(1, test, {ValueChange::What::Set, 1, 0, 5, {}}, Why());
  const auto changed = Data().Log().back().seq;
  const auto deleted = Data().DeleteSubgroups({1}, test, Why()).at(0).version;
  Data().Merge(ItemKind::Test, "T", "U", Why());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  Data().Merge(ItemKind::Lot, "L1", "L2", Why());
  Data().Rename(ItemKind::Test, "U", "Width", Why());
  const auto now = Id(ItemKind::Test, "Width");
  EXPECT_EQ(Data().Restore(deleted, Why()).at(0).test, now);
  EXPECT_EQ(DigestOf(Db()), DigestOfFile(std::string(kHeader) + "B,P,Width,1,2024-01-01,5,L2\n"
                                                                "B,P,Width,2,2024-01-02,2,L2\n"));
  Data().Restore(changed, Why());
  LogCheckOptions with_data;
  with_data.with_data = true;
  EXPECT_TRUE(Data().VerifyLog(with_data).finds.empty()) << "data and log agree";
  EXPECT_EQ(DigestOf(Db()), DigestOfFile(std::string(kHeader) + "B,P,Width,1,2024-01-01,1,L2\n"
                                                                "B,P,Width,2,2024-01-02,2,L2\n"));
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, AnEntryMeansTheItemThatHadTheNameThen) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,L1\nA,P,T,2,2024-01-02,2,L2\n");
  const auto deleted = Data().DeleteSubgroups({1}, Id(ItemKind::Test, "T"), Why()).at(0).version;
  Data().Rename(ItemKind::Lot, "L1", "old", Why());
  Data().Rename(ItemKind::Lot, "L2", "L1", Why());
  Data().Restore(deleted, Why());
  EXPECT_EQ(DigestOf(Db()), DigestOfFile(std::string(kHeader) +
                                         "A,P,T,1,2024-01-01,1,old\nA,P,T,2,2024-01-02,2,L1\n"));
}

// Whatever names an item goes on with the other one: of parts, processes and tests.
TEST_F(MergeTest, PoliciesPhasesAndLimitsFollowAMerge) {
  Import(std::string(kHeader) +
         "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\nB,Q,T,3,2024-01-03,1,\n"
         "B,Q,U,4,2024-01-04,1,\n");
  const auto id = [&](ItemKind kind, const char* name) { return Data().Require(kind, name); };
  const StreamKey first{id(ItemKind::Part, "A"), id(ItemKind::Process, "P"),
                        id(ItemKind::Test, "T")};
  const StreamKey last{id(ItemKind::Part, "B"), id(ItemKind::Process, "Q"),
                       id(ItemKind::Test, "U")};
  Data().SetBaselinePolicy(first, "shewhart", Why());
  Phase phase;
  phase.part = first.part;
  phase.process = first.process;
  phase.test = first.test;
  phase.name = "Tool A";
  phase.start = 1'000'000;
  Data().AddPhase(phase, {}, "for the test");
  Import("part,process,test,mean,sp,effective\nA,P,T,1,1,2024-01-01\n", ImportKind::ControlLimits);
  Data().Merge(ItemKind::Part, "A", "B", Why());
  Data().Merge(ItemKind::Process, "P", "Q", Why());
  Data().Merge(ItemKind::Test, "T", "U", Why());
  const auto policies = Data().BaselinePolicies();
  ASSERT_EQ(policies.size(), 1U);
  EXPECT_EQ((StreamKey{policies[0].part, policies[0].process, policies[0].test}), last);
  const auto phases = Data().Phases();
  ASSERT_EQ(phases.size(), 1U);
  EXPECT_EQ((StreamKey{phases[0].part, phases[0].process, phases[0].test}), last);
  ASSERT_EQ(Data().ListLimits(last).size(), 1U);
  for (const auto& [kind, name, now] : {std::tuple{ItemKind::Part, "A", last.part},
                                        {ItemKind::Process, "P", last.process},
                                        {ItemKind::Test, "T", last.test}}) {
    EXPECT_EQ(Data().Find(kind, name), now);
  }
  Data().Rename(ItemKind::Part, "B", "Ring", Why());
  EXPECT_EQ(Data().Find(ItemKind::Part, "A"), last.part) << "also by a name before the last";
  EXPECT_EQ(Data().ListLimits(last).size(), 1U);
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, OfTwoPoliciesThatOfTheItemThatStaysDoes) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\n");
  const auto a = Id(ItemKind::Part, "A"), b = Id(ItemKind::Part, "B");
  Data().SetBaselinePolicy({b, 0, 0}, "public-health", Why());
  Data().SetBaselinePolicy({a, 0, 0}, "shewhart", Why());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  const auto policies = Data().BaselinePolicies();
  ASSERT_EQ(policies.size(), 1U);
  EXPECT_EQ(policies[0].rule, "public-health");
  LogFilter of_policy;
  of_policy.object = "policy 2";
  const auto entries = Data().Log(of_policy);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].before, R"({"rule":"shewhart"})");
}

TEST_F(MergeTest, WhichRulesAreOnIsThatOfTheItemThatStays) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\n");
  Import("part,graph,number,on\nB,,1,yes\nB,,2,yes\n", ImportKind::Alarms);
  Import("part,graph,number,on\nA,,1,no\nA,2,1,no\nA,,3,yes\n", ImportKind::Alarms);
  Data().Merge(ItemKind::Part, "A", "B", Why());
  std::vector<std::tuple<int, int, int>> rows;  // part, number, on
  Opened()->ReadOrThrow([&](sql::Connection& db) {
    sql::Query query(db, "SELECT part, number, is_on FROM rule_alarm ORDER BY number, id");
    while (query.Step()) rows.emplace_back(query.Int(0), query.Int(1), query.Int(2));
  });
  const auto b = Id(ItemKind::Part, "B");
  EXPECT_EQ(rows,
            (std::vector<std::tuple<int, int, int>>{{b, 1, 1}, {b, 1, 0}, {b, 2, 1}, {b, 3, 1}}));
  LogFilter of_rule;
  of_rule.operation = "rule-alarm";
  const auto entries = Data().Log(of_rule);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].before, R"({"graph":0,"number":1,"on":false})");
}

TEST_F(MergeTest, OptionsOfChartsAreThoseOfTheItemThatStays) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\n");
  const auto a = Id(ItemKind::Part, "A"), b = Id(ItemKind::Part, "B");
  Data().ChangeChartOption({b, 0, 0}, 1, "ewma.weight", "0.1", Why());
  Data().ChangeChartOption({a, 0, 0}, 1, "ewma.weight", "0.3", Why());
  Data().ChangeChartOption({a, 0, 0}, 1, "ewma.width", "2.5", Why());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  const auto options = Data().ChartOptions();
  ASSERT_EQ(options.size(), 2U);
  for (const auto& option : options) EXPECT_EQ(option.part, b);
  EXPECT_EQ(options[0].value, "0.1");
  EXPECT_EQ(options[1].value, "2.5");
  LogFilter of_option;
  of_option.object = "chart-option 2";
  const auto entries = Data().Log(of_option);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].before, R"({"graph":1,"key":"ewma.weight","value":"0.3"})");
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

// Limits of the item that stays hold for the stream from now on.
TEST_F(MergeTest, AStreamThatOnlyTheOtherItemHadIsJudged) {
  const auto start = CurrentTime();
  Import(std::string(kHeader) + "A,P,T,0,2024-01-01,10,\nB,Q,T,0,2024-01-01,10,\n");
  Import("part,test,usl,effective\nB,T,15,2024-01-01\n", ImportKind::Limits);
  NewRecord value;
  value.part = "A";
  value.process = "P";
  value.test = "T";
  value.label = "1";
  value.time = start + 10;
  value.pieces.push_back({20.0, 0, 0, "", "", ""});
  EXPECT_TRUE(Data().Record(value, {}).alarms.empty());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  const auto alarms = Data().Alarms({});
  ASSERT_FALSE(alarms.empty());
  EXPECT_EQ(alarms[0].part, Id(ItemKind::Part, "B"));
}

TEST_F(MergeTest, WhoDoesSomethingByAFormerNameIsTheSamePerson) {
  Import("part,process,test,subgroup,time,value,employee\nA,P,T,1,2024-01-01,1,A. Smith\n");
  Data().Rename(ItemKind::Employee, "A. Smith", "Ann Smith", Why());
  ChangeOptions by_former;
  by_former.actor.by = "A. Smith";
  Data().AddComment(1, 0, 0, "new tool", by_former);
  const std::int32_t ids[] = {1};
  EXPECT_EQ(Data().Comments(ids).at(0).employee, Id(ItemKind::Employee, "Ann Smith"));
  EXPECT_EQ(Data().Find(ItemKind::Employee, "A. Smith"), Id(ItemKind::Employee, "Ann Smith"));
  for (const auto& each : Data().Items(ItemKind::Employee)) EXPECT_NE(each.name, "A. Smith");
}

TEST_F(MergeTest, PhasesThatWouldOverlapAreRefused) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,1,\n");
  const auto add = [&](const char* part, const char* name, std::int32_t start,
                       std::int32_t finish) {
    Phase phase;
    phase.part = Id(ItemKind::Part, part);
    phase.name = name;
    phase.start = start;
    phase.finish = finish;
    Data().AddPhase(phase, {}, "for the test");
  };
  add("A", "Tool A", 1000, 2000);
  add("B", "Tool B", 2000, 3000);
  add("B", "Tool C", 500, 1001);
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "B"),
            "overlap: \"A\" and \"B\" both have phases of one time (\"Tool A\" and \"Tool C\"); "
            "end or remove one first");
  EXPECT_EQ(Data().Items(ItemKind::Part).size(), 2U) << "nothing has happened";
  Data().RemovePhase(3, {}, "for the test");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "B"), "");
  EXPECT_EQ(Data().Phases().size(), 2U) << "one ends where the other begins";
}

TEST_F(MergeTest, SubgroupsWithoutValuesGiveWay) {
  const std::string lines =
      "A,P,T,1,2024-01-01,1,\nA,P,T,2,2024-01-02,2,\nB,P,T,1,2024-01-01,3,\n"
      "B,P,T,2,2024-01-02,4,\n";
  Import(kHeader + lines);
  const auto of_from = Data().DeleteSubgroups({1}, {}, Why()).at(0).version;
  const auto of_into = Data().DeleteSubgroups({4}, {}, Why()).at(0).version;
  Data().Merge(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(std::string(kHeader) + "B,P,T,2,2024-01-02,2,\nB,P,T,1,2024-01-01,3,\n"));
  EXPECT_EQ(Data().FindSubgroups("B", "P", "1", {}), std::vector{3});
  const auto taken = change::RefusalOf([&] { Data().Restore(of_from, BecauseOf("was right")); });
  EXPECT_EQ(taken, "stored: #3 has this label and time already");
  // Which is free again.
  Data().DeleteSubgroups({3}, {}, Why());
  Data().Restore(of_from, Why());
  EXPECT_EQ(Data().SubgroupLabel(1), "1");
  EXPECT_EQ(Data().FindSubgroups("B", "P", "1", {}), std::vector{1});
  SubgroupChange change;
  change.label = "3";
  Data().ChangeSubgroups({2}, {}, change, Why());
  Data().Restore(of_into, Why());
  EXPECT_EQ(Data().SubgroupLabel(4), "2");
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

// Subgroups of one label and time, of which either side may have lost its values.
TEST_F(MergeTest, OnlySubgroupsThatBothHaveValuesAreInTheWay) {
  constexpr int kSubgroups = 600;  // most of them sealed
  Import(kHeader + Lines("A,P,T,#,@,1,", 1, kSubgroups) + Lines("B,P,T,#,@,2,", 1, kSubgroups) +
         Lines("B,P,U,#,@,3,", 1, kSubgroups / 2));
  std::vector<std::int32_t> of_from, of_into;
  int left = 0;
  std::string list, stays;
  const auto day = [](int i) { return "2024-01-" + std::to_string(10 + i % 18); };
  const auto line = [&](const char* test, int i, const char* value) {
    return std::string("B,P,") + test + "," + std::to_string(i) + "," + day(i) + "," + value +
           ",\n";
  };
  for (int i = 1; i <= kSubgroups; ++i) {
    const auto here = Data().FindSubgroups("A", "P", std::to_string(i), {}).at(0);
    const auto there = Data().FindSubgroups("B", "P", std::to_string(i), {}).at(0);
    if (i % 3 == 0) of_from.push_back(here);
    if (i % 5 == 0) of_into.push_back(there);
    if (i % 3 != 0) stays += line("T", i, "1");
    if (i % 3 == 0 && i % 5 != 0) {
      stays += line("T", i, "2");
      if (i <= kSubgroups / 2) stays += line("U", i, "3");
    }
    if (i % 3 == 0 || i % 5 == 0) continue;
    if (left++ < 10) list += "#" + std::to_string(here) + "=#" + std::to_string(there) + " ";
  }
  Data().DeleteSubgroups(of_from, {}, Why());
  Data().DeleteSubgroups(of_into, {}, Why());
  const auto before = DigestOf(Db());
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "B"),
            "stored: \"A\" and \"B\" have " + std::to_string(left) +
                " subgroups of the same label and time (" + list + "...)");
  EXPECT_EQ(DigestOf(Db()), before) << "nothing has happened";
  std::vector<std::int32_t> in_the_way;
  for (int i = 1; i <= kSubgroups; ++i) {
    if (i % 3 == 0 || i % 5 == 0) continue;
    in_the_way.push_back(Data().FindSubgroups("B", "P", std::to_string(i), {}).at(0));
  }
  Data().DeleteSubgroups(in_the_way, {}, Why());
  Data().Merge(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(DigestOf(Db()), DigestOfFile(kHeader + stays));
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, ARefusalOfManySubgroupsReadsEachChunkOnce) {
  constexpr int kSubgroups = 5000;
  std::string text = kHeader;
  for (const std::string part : {"A", "B"}) {
    for (int i = 0; i < kSubgroups; ++i) {
      text +=
          part + ",P,T," + std::to_string(i) + "," + platform::IsoText(1'600'000'000 + i) + ",1,\n";
    }
  }
  Import(text);
  // Far fewer steps of statements than subgroups.
  sql::FailStep(kSubgroups / 5);
  const auto refusal = RefusalOf(ItemKind::Part, "A", "B");
  EXPECT_FALSE(sql::FailStep(0));
  EXPECT_TRUE(
      refusal.starts_with("stored: \"A\" and \"B\" have 5000 subgroups of the same label "
                          "and time (#1=#5001 #2=#5002 "))
      << refusal;
}

TEST_F(MergeTest, WhatCannotBeJoinedIsRefusedWithAList) {
  Import(std::string(kHeader) +
         "A,P,T,1,2024-01-01,1,\nB,P,T,1,2024-01-01,2,\nB,P,U,1,2024-01-01,"
         "2,\nC,P,T,7,2024-01-07,2,\n");
  Import("part,process,test,subgroup,time,count\nA,P,Looks,9,2024-01-09,1\n");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "B"),
            "stored: \"A\" and \"B\" have 1 subgroup of the same label and time (#1=#2)");
  EXPECT_EQ(RefusalOf(ItemKind::Test, "U", "T"),
            "stored: \"U\" and \"T\" both have values in 1 subgroup (#2)");
  EXPECT_EQ(RefusalOf(ItemKind::Test, "Looks", "T"), "type: \"Looks\" and \"T\" differ in type");
  Import("part,test,usl,effective\nA,T,9,2024-01-01\nC,T,8,2024-01-01\n", ImportKind::Limits);
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "C"),
            "limits: \"A\" and \"C\" both have specification limits of one time "
            "(2024-01-01T00:00:00)");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "A"), "name: \"A\" and \"A\" are the same");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "Z"), "unknown: there is no part \"Z\"");
  EXPECT_EQ(RefusalOf(ItemKind::Gage, "A", "B"),
            "kind: items of the kind gage cannot be merged; edit rename gives one a name");
}

}  // namespace orvspc::engine::change
