// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/TimeText.h"
#include "tests/engine/write/record/recorder_fixture.h"

namespace orvspc::engine::record {
namespace {

TEST_F(RecorderTest, LabelsCountUpForEachPartAndProcess) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  EXPECT_EQ(Make(Diameter({1})).label, "2");  // though the time is the same
  auto other = Diameter({1});
  other.process = "Press B";
  EXPECT_EQ(Make(other).label, "1");
  auto named = Diameter({1});
  named.label = "mine";
  EXPECT_EQ(Make(named).label, "mine");
  auto height = Diameter({1});
  height.test = "Height";
  EXPECT_EQ(Make(height).label, "3");
  into_.reset();
  Reopen();
  EXPECT_EQ(Make(Diameter({1})).label, "4");
  // A number that somebody took for this time is passed over.
  named.label = "5";
  Make(named);
  EXPECT_EQ(Make(Diameter({1})).label, "6");
}

TEST_F(RecorderTest, LabelsGoOnFromTheNewestImport) {
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,41,2026-03-01,1\n"
      "Ring,Press A,Diameter,42,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "43");
}

TEST_F(RecorderTest, LabelsGoOnFromTheHighestOfAnImport) {
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,20,2026-03-01,1\n"
      "Ring,Press A,Diameter,A7,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "21");
}

TEST_F(RecorderTest, LabelsOfManySourcesThatWereImportedAreReadOnce) {
  constexpr int kParts = 60, kSubgroups = 6000;
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < kSubgroups; ++i) {
    text += "A" + std::to_string(i % kParts) + ",Press A,Diameter," + std::to_string(i) + "," +
            platform::IsoText(1'700'000'000 + i) + ",1\n";
  }
  Import(text);
  Make(Diameter({1}));  // reads what is stored
  const auto send = [&](int second) {
    auto batch = Into().Begin(kAnn, {});
    for (int i = 0; i < kParts; ++i) {
      auto record = Diameter({1}, kNow + second);
      record.part = "A" + std::to_string(i);
      batch.Add(record);
    }
    return batch.Commit();
  };
  // The labels lie in some twenty blocks and a hundred rows, which each part would read on its own.
  sql::FailStep(kSubgroups);
  const auto first = send(1);
  EXPECT_FALSE(sql::FailStep(0));
  const auto next = send(2);
  for (std::size_t i = 0; i < kParts; ++i) {
    EXPECT_EQ(first.records[i].label, std::to_string(kSubgroups - kParts + i + 1));
    EXPECT_EQ(next.records[i].label, std::to_string(kSubgroups - kParts + i + 2));
  }
}

TEST_F(RecorderTest, LabelsGoOnBehindOneThatWasChanged) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  SubgroupChange change;
  change.label = "6";
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "as on the sheet";
  Into().ChangeSubgroups({1}, {}, change, why);
  EXPECT_EQ(Make(Diameter({1})).label, "7");
}

TEST_F(RecorderTest, AfterAMergeNoLabelIsGivenAgain) {
  ChangeOptions why;
  why.actor = kAnn;
  why.reason = "two names of one";
  for (const bool is_into_imported : {true, false}) {
    const std::string into = is_into_imported ? "Into" : "Ring 2",
                      from = is_into_imported ? "Ring" : "From";
    auto record = Diameter({1});
    record.part = is_into_imported ? from : into;
    EXPECT_EQ(Make(record).label, "1");
    EXPECT_EQ(Make(record).label, "2");
    Import("part,process,test,subgroup,time,value\n" + (is_into_imported ? into : from) +
           ",Press A,Diameter,20,2026-03-01,1\n");
    Into().Merge(ItemKind::Part, from, into, why);
    record.part = into;
    EXPECT_EQ(Make(record).label, "21") << into;
  }
}

TEST_F(RecorderTest, ALabelThatIsCountedIsNeverThatOfAnImport) {
  EXPECT_EQ(Make(Diameter({1})).label, "1");
  Import(
      "part,process,test,subgroup,time,value\nRing,Press A,Diameter,2,2026-03-01,1\n"
      "Ring,Press A,Diameter,7,2026-03-02,1\nRing,Press A,Diameter,L5,2026-03-03,1\n"
      "Ring,Press B,Diameter,90,2026-03-02,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "8");
  Import("part,process,test,subgroup,time,value\nRing,Press A,Diameter,3,2026-03-04,1\n");
  EXPECT_EQ(Make(Diameter({1})).label, "9");
}

TEST_F(RecorderTest, ALabelThatIsCountedIsNeverOneThatWasTyped) {
  const auto make = [&](const std::string& label, std::int64_t time) {
    auto record = Diameter({1}, time);
    record.label = label;
    return Make(record).label;
  };
  EXPECT_EQ(make("4", kNow - 9), "4");
  EXPECT_EQ(make("", kNow - 8), "5");
  EXPECT_EQ(make("6", kNow - 7), "6");
  EXPECT_EQ(make("", kNow - 6), "7");
  EXPECT_EQ(make("3", kNow - 5), "3");
  EXPECT_EQ(make("", kNow - 4), "8");
  // In a batch, too, whatever comes first.
  auto batch = Into().Begin(kAnn, {});
  auto typed = Diameter({1}, kNow - 3);
  typed.label = "9";
  batch.Add(typed);
  batch.Add(Diameter({1}, kNow - 3));
  const auto stored = batch.Commit();
  EXPECT_EQ(stored.records[1].label, "10");
  EXPECT_NE(stored.records[0].subgroup, stored.records[1].subgroup);
}

}  // namespace
}  // namespace orvspc::engine::record
