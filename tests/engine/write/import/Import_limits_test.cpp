// SPDX-License-Identifier: Apache-2.0
#include "engine/time/calendar.h"
#include "tests/engine/write/import/import_fixture.h"

namespace orvspc::engine::import {
using namespace time;
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

TEST_F(ImportTest, LimitsHaveTheFlagsOfWhatIsGiven) {
  Import(
      "part,test,usl,target,lsl,uwp,effective,scale,name,alarms\n"
      "A,T,10.5,10,9.5,,,,,\nA,T,11,,,2,2024-01-01,2,wider,usl\nA,U,,,1,,,,,none\n",
      ImportKind::Limits);
  const auto part = Id(ItemKind::Part, "A");
  const auto rows = Opened()->SpecLimits(part, Id(ItemKind::Test, "T"));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].F_EFLAG, slfUSL | slfTAR | slfLSL);
  EXPECT_EQ(rows[0].F_AFLAG, rows[0].F_EFLAG);
  EXPECT_EQ(rows[0].F_SCAL, 4);
  EXPECT_EQ(rows[0].Word20, kNoStamp);
  EXPECT_EQ(rows[0].F_USL, 10.5);
  EXPECT_EQ(rows[0].F_LSL, 9.5);
  EXPECT_EQ(rows[1].F_EFLAG, slfUSL | slfUWP);
  EXPECT_EQ(rows[1].F_AFLAG, slfUSL);
  EXPECT_EQ(rows[1].F_UWP, 2.0);
  EXPECT_EQ(rows[1].F_SCAL, 2);
  EXPECT_EQ(rows[1].Word20, 1704067200);
  EXPECT_EQ(rows[1].Name[0], u'w');
  const auto lower = Opened()->SpecLimits(part, Id(ItemKind::Test, "U"));
  ASSERT_EQ(lower.size(), 1u);
  EXPECT_EQ(lower[0].F_EFLAG, slfLSL);
  EXPECT_EQ(lower[0].F_AFLAG, 0);
  EXPECT_TRUE(Opened()->SpecLimits(part, 77).empty());
}

TEST_F(ImportTest, ALaterImportForTheSameTimeTakesOver) {
  Import("part,test,usl\nA,T,10\n", ImportKind::Limits);
  Import("part,test,usl\nA,T,12\n", ImportKind::Limits);
  const auto rows = Opened()->SpecLimits(1, 1);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].F_USL, 12.0);
  EXPECT_EQ(CountOf("spec_limit"), 2);  // nothing was changed in place
}

TEST_F(ImportTest, ControlLimitsAreOfTheProcessOrOfAny) {
  Import(
      "part,process,test,mean,sp,sw,effective,chart-word\n"
      "A,P,T,10,0.5,0.4,2024-01-01,0x110\nA,,T,11,,,,\nA,Q,T,12,,,,\n",
      ImportKind::ControlLimits);
  const auto rows = Opened()->ControlLimits(Id(ItemKind::Part, "A"), Id(ItemKind::Process, "P"), 1);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].row.F_PRCS, 0);
  EXPECT_EQ(rows[0].row.F_MEAN, 11.0);
  EXPECT_EQ(rows[0].row.F_EFTM, kNoStamp);
  EXPECT_EQ(rows[1].row.F_SP, 0.5);
  EXPECT_EQ(rows[1].row.F_SW, 0.4);
  EXPECT_EQ(rows[1].chart_word, 0x110);
}

TEST_F(ImportTest, AMeanOfControlLimitsIsARateOnlyWhereTheChartWordSaysSo) {
  Import(
      "part,test,mean,chart-word\nA,S,1,0xd00\nA,Z,0,0xa00\nA,U,12.5,0xf00\nA,V,-3,0x100\nA,W,-3,"
      "\n",
      ImportKind::ControlLimits);
  EXPECT_EQ(CountOf("control_limit"), 5);
}

TEST_F(ImportTest, AChartWordIsOneOfTheKindOfItsTest) {
  Import("part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,1\n");
  Import(
      "part,process,test,subgroup,time,count,size,test-type\nA,P,D,2,2024-01-01,1,10,defectives\n"
      "A,P,C,3,2024-01-01,1,,defects\n");
  const auto limits = [](const std::string& line) {
    return "part,process,test,mean,chart-word\nA,,T,1,0x110\nA,P," + line + "\n";
  };
  const std::pair<const char*, const char*> refused[] = {
      {"T,1,0xd00", "chart of counts, but the test has measured values"},
      {"D,0.1,0x110", "chart of measured values, but the test has counts"},
      {"C,1,0x330", "chart of measured values, but the test has counts"}};
  for (const auto& [line, says] : refused) {
    const auto message = ImportFailure(limits(line), ImportKind::ControlLimits);
    EXPECT_NE(message.find(says), std::string::npos) << message;
    EXPECT_NE(message.find("line 3"), std::string::npos) << message;
    EXPECT_NE(message.find("chart-word"), std::string::npos) << message;
    EXPECT_EQ(CountOf("control_limit"), 0);
  }
  for (const auto* const line : {"T,1,0x330", "T,1,0", "D,0.1,0xc00", "D,0.1,0xf00", "C,1,"}) {
    EXPECT_NO_THROW(Import(limits(line), ImportKind::ControlLimits)) << line;
  }
}

TEST_F(ImportTest, OpportunitiesArrive) {
  Import("part,test,opportunities,effective\nA,T,5,\nA,T,7,2024-01-01\n",
         ImportKind::Opportunities);
  const auto rows = Opened()->Opportunities(1, 1);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].F_OPPS, 5);
  EXPECT_EQ(rows[1].F_OPPS, 7);
}

TEST_F(ImportTest, ATargetOutsideTheLimitsIsStoredWithANote) {
  const auto report =
      Import("part,test,usl,target,lsl\nA,T,3,2,1\nA,U,3,4,1\nA,V,3,0.5,1\n", ImportKind::Limits);
  EXPECT_EQ(report.rows, 3);
  ASSERT_EQ(report.notes.size(), 2u);
  EXPECT_EQ(report.notes[0].code, "target-outside");
  EXPECT_NE(report.notes[0].text.find("line 3, column \"target\", value \"4\""), std::string::npos)
      << report.notes[0].text;
}

TEST_F(ImportTest, AGraceLongerThanTheIntervalIsStoredWithANote) {
  const auto report =
      Import("process,test,kind,n,minutes,grace\nP,T,interval,5,30,31\nP,U,interval,5,30,30\n",
             ImportKind::Requirements);
  ASSERT_EQ(report.notes.size(), 1u);
  EXPECT_EQ(report.notes[0].code, "grace-above-minutes");
}

TEST_F(ImportTest, TwentyNotesAreKept) {
  std::string text = "part,test,usl,target\n";
  for (int i = 0; i < 30; ++i) text += "A,T" + std::to_string(i) + ",1,2\n";
  EXPECT_EQ(Import(text, ImportKind::Limits).notes.size(), 20u);
}

TEST_F(ImportTest, StoredLimitsOfRateZeroAreRemarkedWhereCountsAreStored) {
  Import(
      "part,process,test,subgroup,time,count,size\n"
      "A,P,Bad,1,2024-01-01T00:00:00,0,50\nA,P,Bad,2,2024-01-02T00:00:00,3,50\n"
      "A,P,Good,1,2024-01-01T00:00:00,0,50\n",
      ImportKind::Values);
  const auto report =
      Import("part,process,test,mean\nA,P,Good,0\nA,P,Bad,0\nA,Q,Bad,0\nA,,Bad,0\nA,P,Bad2,0\n",
             ImportKind::ControlLimits);
  ASSERT_EQ(report.notes.size(), 2u);
  EXPECT_EQ(report.notes[0].code, "rate-zero");
  EXPECT_NE(report.notes[0].text.find("line 3, column \"mean\""), std::string::npos)
      << report.notes[0].text;
  EXPECT_NE(report.notes[1].text.find("line 5"), std::string::npos) << "of any process";
}

}  // namespace
}  // namespace orvspc::engine::import
