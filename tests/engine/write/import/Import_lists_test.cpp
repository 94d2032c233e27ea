// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <tuple>

#include "tests/engine/write/import/import_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

TEST_F(ImportTest, OtherKindsAreRefusedWhereTheyMakeNoSense) {
  struct Row {
    const char* why;
    ImportKind kind;
    const char* text;
    const char* says;
  };
  const Row rows[] = {
      {"upper below lower", ImportKind::Limits, "part,test,usl,lsl\nA,T,1,2\n", "above"},
      {"guard band upside down", ImportKind::Limits, "part,test,usl,ugb,lgb\nA,T,9,1,2\n", "lgb"},
      {"reasonable limits upside down", ImportKind::Limits, "part,test,url,lrl\nA,T,1,2\n", "lrl"},
      {"warning zone upside down", ImportKind::Limits, "part,test,uwp,lwp\nA,T,1,2\n", "lwp"},
      {"no limit", ImportKind::Limits, "part,test,usl,cp\nA,T,,1.33\n", "gives no limit"},
      {"goal below 0", ImportKind::Limits, "part,test,usl,cpk\nA,T,1,-1\n", "not be below 0"},
      {"start after finish", ImportKind::ControlLimits,
       "part,test,mean,start,finish\nA,T,1,2024-02-01,2024-01-01\n", "not lie after finish"},
      {"word of no chart", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1,0x600\n",
       "of no chart"},
      {"word of no second graph", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,1,0x150\n", "of no chart"},
      {"decimal word of no chart", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,1,1792\n", "of no chart"},
      {"same time twice", ImportKind::Limits, "part,test,usl\nA,T,1\nA,T,2\n", "line 3"},
      {"alarm that is no limit", ImportKind::Limits, "part,test,usl,alarms\nA,T,1,odd\n", "odd"},
      {"alarm not given", ImportKind::Limits, "part,test,usl,alarms\nA,T,1,lsl\n", "not give"},
      {"limit is text", ImportKind::Limits, "part,test,usl\nA,T,x\n", "no number"},
      {"mean missing", ImportKind::ControlLimits, "part,test,mean\nA,T,\n", "empty"},
      {"sigma below 0", ImportKind::ControlLimits, "part,test,mean,sp\nA,T,1,-1\n", "below 0"},
      {"chart word", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1,0xzz\n", "0xzz"},
      {"share above 1", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,1.5,0xd00\n",
       "share from 0 to 1"},
      {"share in percent of an np chart", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,20,0xc00\n", "\"20\""},
      {"share below 0", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,-0.1,0x800\n",
       "share from 0 to 1"},
      {"defects below 0", ImportKind::ControlLimits, "part,test,mean,chart-word\nA,T,-1,0xf00\n",
       "not below 0"},
      {"opportunities below 0", ImportKind::ControlLimits,
       "part,test,mean,chart-word\nA,T,-1,0x900\n", "not below 0"},
      {"no opportunity", ImportKind::Opportunities, "part,test,opportunities\nA,T,0\n", "between"},
      {"15 and 31", ImportKind::Rules, "number,kind\n15,limit\n31,limit\n", "share one bit"},
      {"number too large", ImportKind::Rules, "number,kind\n32,limit\n", "between"},
      {"number below 0", ImportKind::Rules, "number,kind\n-1,limit\n", "between"},
      {"other parameters", ImportKind::Rules, "number,kind,k,m,zone\n1,zone,9,9,0\n", "free one"},
      {"twice with others", ImportKind::Rules, "number,kind,m\n20,trend,7\n20,trend,8\n", "line 3"},
      {"kind", ImportKind::Rules, "number,kind\n20,odd\n", "must be limit, zone"},
      {"side", ImportKind::Rules, "number,kind,side\n20,zone,odd\n", "lower"},
      {"k of m for a trend", ImportKind::Rules, "number,kind,k,m\n20,trend,3,6\n", "equal to m"},
      {"a trend of one point", ImportKind::Rules, "number,kind\n20,trend\n", "at least 2"},
      {"two points alternate", ImportKind::Rules, "number,kind,m\n20,alternate,2\n", "at least 3"},
      {"a limit of two points", ImportKind::Rules, "number,kind,m\n20,limit,2\n", "must be 1"},
      {"a zone beyond all", ImportKind::Rules, "number,kind,m,zone\n20,zone,3,2000\n", "sigmas"},
      {"k above m", ImportKind::Rules, "number,kind,k,m\n20,zone,3,2\n", "above m"},
      {"no such rule", ImportKind::Alarms, "number,on\n29,1\n", "no rule"},
      {"no such part", ImportKind::Alarms, "number,on,part\n1,1,Nobody\n", "Nobody"},
      {"neither yes nor no", ImportKind::Alarms, "number,on\n1,perhaps\n", "yes or no"},
      {"graph", ImportKind::Alarms, "number,on,graph\n1,1,4\n", "between"},
      {"group of what", ImportKind::Groups, "kind,group,name\nodd,G,A\n", "grouped"},
  };
  for (const auto& row : rows) {
    const auto message = ImportFailure(row.text, row.kind);
    EXPECT_NE(message.find(row.says), std::string::npos) << row.why << ": " << message;
    EXPECT_EQ(CountOf("part"), 0) << row.why;
  }
  EXPECT_EQ(CountOf("rule"), 15);
}

TEST_F(ImportTest, RulesAndTheirSetsAreAdded) {
  Import(
      "number,kind,k,m,zone,side,text,set\n20,zone,3,4,1.5,upper,Mine,own nelson\n"
      "1,limit,,,,,,own\n31,trend,9,9,,,,\n",
      ImportKind::Rules);
  const auto& rules = Opened()->Rules();
  const auto mine = std::find_if(rules.begin(), rules.end(),
                                 [](const StoredRule& rule) { return rule.number == 20; });
  ASSERT_NE(mine, rules.end());
  EXPECT_EQ(mine->k, 3);
  EXPECT_EQ(mine->m, 4);
  EXPECT_EQ(mine->zone, 1.5);
  EXPECT_EQ(mine->side, "upper");
  EXPECT_EQ(mine->text, "Mine");
  Data().UseRuleSet("own");
  EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1) & 0xffff, 1u << 1);
  EXPECT_NE(Opened()->AlarmBits(1, 1, 1, 1) & (1u << 20), 0u);
  EXPECT_NE(FailureOf([&] { Data().UseRuleSet("nobody's"); }), "");
  // 15 is refused now that 31 is there.
  EXPECT_NE(ImportFailure("number,kind\n15,limit\n", ImportKind::Rules), "");
}

TEST_F(ImportTest, AKnownRuleJoinsASetWithItsCellsLeftOpen) {
  const std::string header = "number,kind,k,m,zone,side,set\n";
  Import(header + "5,zone,,,,,mine\n7,within,,15,,,mine\n", ImportKind::Rules);
  EXPECT_EQ(CountOf("rule"), 15);
  Data().UseRuleSet("mine");
  EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1) & 0xffff, 1u << 5 | 1u << 7);
  const auto& rules = Opened()->Rules();
  const auto fifth = std::find_if(rules.begin(), rules.end(),
                                  [](const StoredRule& rule) { return rule.number == 5; });
  ASSERT_NE(fifth, rules.end());
  EXPECT_EQ(std::tie(fifth->k, fifth->m, fifth->zone), std::make_tuple(2, 3, 2.0));
  // What is given must fit.
  for (const char* line : {"5,zone,1,,,,mine", "5,zone,,4,,,mine", "5,zone,,,1,,mine",
                           "5,zone,,,,either,mine", "5,trend,,,,,mine"}) {
    EXPECT_NE(ImportFailure(header + line + "\n", ImportKind::Rules).find("free one"),
              std::string::npos)
        << line;
  }
}

TEST_F(ImportTest, AnAlarmIsOnOrOffInAnyOfTheWordsAndAnyCase) {
  for (const char* word : {"yes", "on", "TRUE", "1", "No", "OFF", "false", "0"}) {
    const bool is_on = std::string("yes on TRUE 1").find(word) != std::string::npos;
    Import("number,on\n1," + std::string(word) + "\n", ImportKind::Alarms);
    EXPECT_EQ(Opened()->AlarmBits(1, 1, 1, 1), is_on ? 2u : 0u) << word;
  }
}

TEST_F(ImportTest, WordsOfListsMayBeInAnyCaseAndAreStoredInOurs) {
  Import("number,kind,m,side\n20,Trend,7,Upper\n", ImportKind::Rules);
  Import("process,test,kind,n\nP,T,SHIFT,4\n", ImportKind::Requirements);
  const auto connection = OpenAnother(Path());
  Query rule(*connection, "SELECT kind || side FROM rule WHERE number = 20");
  ASSERT_TRUE(rule.Step());
  EXPECT_EQ(rule.Text(0), "trendupper");
  Query requirement(*connection, "SELECT kind || name FROM requirement");
  ASSERT_TRUE(requirement.Step());
  EXPECT_EQ(requirement.Text(0), "shiftP / T / 4 per shift");
}

TEST_F(ImportTest, GroupsHaveMembers) {
  Import("kind,group,name\npart,big,A\nparts,big,B\nlot,odd,L1\n", ImportKind::Groups);
  const auto groups = Data().Groups(ItemKind::Part);
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups[0].name, "big");
  EXPECT_EQ(groups[0].members.size(), 2u);
  EXPECT_EQ(Data().FindGroup(ItemKind::Lot, "odd"), 2);
  EXPECT_FALSE(Data().FindGroup(ItemKind::Part, "odd"));
}

}  // namespace
}  // namespace orvspc::engine::import
