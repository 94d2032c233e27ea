// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/engine/write/change/change_fixture.h"

// Types of tests that lose their last values, and what comes to their place.
namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

class TypesTest : public store::StoreTest {
 protected:
  static ChangeOptions Why() { return BecauseOf("wrong file"); }
  std::int32_t TypeOf(const std::string& test) {
    for (const auto& each : Data().Items(ItemKind::Test)) {
      if (each.name == test) return each.type;
    }
    return -1;
  }
  LogEntry LatestAbout(const std::string& object) {
    auto log = Data().Log();
    const auto found = std::find_if(log.rbegin(), log.rend(),
                                    [&](const auto& each) { return each.object == object; });
    return found == log.rend() ? LogEntry() : *found;
  }
  std::string Object(const std::string& test) {
    return "test " + std::to_string(Id(ItemKind::Test, test));
  }
  std::int64_t Delete(std::int32_t subgroup, const std::string& test) {
    return Data().DeleteSubgroups({subgroup}, Id(ItemKind::Test, test), Why()).at(0).version;
  }
  std::string RestoreRefusal(std::int64_t entry) {
    return RefusalOf([&] { Data().Restore(entry, Why()); });
  }
  void ExpectWhole() {
    LogCheckOptions options;
    options.with_data = true;
    const auto check = Data().VerifyLog(options);
    EXPECT_TRUE(check.finds.empty()) << check.finds.front();
    EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
  }

  const std::string kMeasured =
      "part,process,test,subgroup,time,value\n"
      "A,P,T,1,2024-01-01,1\nA,P,T,1,2024-01-01,2\nA,P,U,1,2024-01-01,3\n";
  const std::string kCounted =
      "part,process,test,subgroup,time,count,defect\nA,P,T,1,2024-01-01,4,D\n";
};

}  // namespace

TEST_F(TypesTest, AnUndoneTestHasNoTypeUntilItIsUsedAgain) {
  const auto batch = Import(kMeasured).batch;
  const auto digest = DigestOf(Db());
  const auto first = Data().LogHead().seq + 1;
  Data().UndoImport(batch, false, Why());
  EXPECT_EQ(TypeOf("T"), 0);
  const auto entry = LatestAbout(Object("T"));
  EXPECT_EQ(entry.operation, "deactivate");
  EXPECT_EQ(entry.before, R"({"active":true,"type":1})");
  EXPECT_EQ(LatestAbout("part 1").before, R"({"active":true})");
  const auto second = Import(kCounted).batch;
  EXPECT_EQ(TypeOf("T"), ttDefects);
  ExpectWhole();
  std::map<std::string, std::int64_t> deleted;
  for (const auto& each : Data().Log()) {
    if (each.seq >= first && each.operation == "delete") deleted[each.object] = each.seq;
  }
  const auto of_t = deleted.at("subgroup 1 " + Object("T"));
  Delete(1, "T");
  Import("part,process,test,subgroup,time,count,defect\nA,P,T,2,2024-01-02,1,D\n");
  EXPECT_EQ(RestoreRefusal(of_t), "type: entry " + std::to_string(of_t) +
                                      " has measured values, and T counts defects since");
  Delete(2, "T");
  EXPECT_EQ(TypeOf("T"), 0);
  for (const auto& each : deleted) EXPECT_EQ(RestoreRefusal(each.second), "") << each.first;
  EXPECT_EQ(TypeOf("T"), ttVariable);
  EXPECT_EQ(DigestOf(Db()), digest);
  EXPECT_NE(second, batch);
  ExpectWhole();
}

TEST_F(TypesTest, ATestLosesItsTypeWithTheLastOfItsValues) {
  Import("part,test,usl\nA,T,9\n", ImportKind::Limits);
  Import(kMeasured);
  Import("part,process,test,subgroup,time,value\nB,P,T,1,2024-01-01,1\n");
  const auto digest = DigestOf(Db());
  const auto first = Delete(1, "T");
  EXPECT_EQ(TypeOf("T"), ttVariable) << "part B has values";
  const auto second = Delete(2, "T");
  EXPECT_EQ(TypeOf("T"), 0);
  EXPECT_EQ(TypeOf("U"), ttVariable);
  const auto entry = LatestAbout(Object("T"));
  EXPECT_EQ(entry.operation, "type");
  EXPECT_EQ(entry.before, R"({"type":1})");
  EXPECT_EQ(entry.after, R"({"type":0})");
  ExpectWhole();
  Data().Restore(first, Why());
  EXPECT_EQ(TypeOf("T"), ttVariable);
  Data().Restore(second, Why());
  EXPECT_EQ(DigestOf(Db()), digest);
  ExpectWhole();
}

TEST_F(TypesTest, ATestThatOtherRowsNameLosesItsTypeByAnUndoToo) {
  Import("part,test,usl\nA,T,9\n", ImportKind::Limits);
  const auto batch = Import(kCounted).batch;
  Data().UndoImport(batch, false, Why());
  EXPECT_EQ(TypeOf("T"), 0);
  EXPECT_EQ(LatestAbout(Object("T")).before, R"({"type":2})");
  Import(kMeasured);
  EXPECT_EQ(TypeOf("T"), ttVariable);
  ExpectWhole();
}

// The log has each record in the form of the type that its test had then: of three records the
// batch has one digest.
TEST_F(TypesTest, TheLogFitsWhenATestHasBecomeOneOfCounts) {
  Import(kMeasured + "A,P,V,1,2024-01-01,5\n");
  Data().ChangeFlag({1}, Id(ItemKind::Test, "T"), sfIncomplete, Why());
  Delete(1, "T");
  ExpectWhole();
  Import(kCounted);
  EXPECT_EQ(TypeOf("T"), ttDefects);
  ExpectWhole();
  Delete(1, "T");
  Import(kMeasured.substr(0, kMeasured.find("A,P,U")));
  EXPECT_EQ(TypeOf("T"), ttVariable);
  ExpectWhole();
}

TEST_F(TypesTest, AnEntryOfAMergedTestKnowsItsType) {
  Import(kMeasured);
  Import("part,process,test,subgroup,time,count,defect\nA,P,C,2,2024-01-02,4,D\n");
  const auto entry = Delete(1, "T");
  Data().Merge(ItemKind::Test, "T", "C", Why());
  EXPECT_EQ(RestoreRefusal(entry), "type: entry " + std::to_string(entry) +
                                       " has measured values, and C counts defects since");
  Delete(2, "C");
  EXPECT_EQ(RestoreRefusal(entry), "");
  EXPECT_EQ(TypeOf("C"), ttVariable);
  ExpectWhole();
}

TEST_F(TypesTest, WhatWasRecordedAnewIsNotRestoredOver) {
  Import(
      "part,process,test,subgroup,time,value,comment,descriptor:Colour\n"
      "A,P,T,1,2024-01-01,1,first,red\n");
  const auto digest = DigestOf(Db());
  const auto test = Id(ItemKind::Test, "T");
  const auto flagged = Data().ChangeFlag({1}, test, sfDisabled, Why()).at(0).version;
  const auto deleted = Delete(1, "T");
  Import(
      "part,process,test,subgroup,time,value,comment,descriptor:Colour\n"
      "A,P,T,1,2024-01-01,2,second,blue\n");
  const auto anew = DigestOf(Db());
  const std::string refusal = "stored: #1 T has values again; edit delete takes them out first";
  EXPECT_EQ(RestoreRefusal(deleted), refusal);
  EXPECT_EQ(RestoreRefusal(flagged), refusal) << "of the record that was there before";
  EXPECT_EQ(DigestOf(Db()), anew);
  const auto own = Data().ChangeFlag({1}, test, sfIncomplete, Why()).at(0).version;
  EXPECT_EQ(RestoreRefusal(deleted), refusal);
  EXPECT_EQ(RestoreRefusal(own), "") << "of the record that is there";
  EXPECT_EQ(DigestOf(Db()), anew);
  const auto again = Delete(1, "T");
  EXPECT_EQ(RestoreRefusal(deleted), "");
  EXPECT_EQ(RestoreRefusal(flagged), "") << "one after the other";
  EXPECT_EQ(DigestOf(Db()), digest);
  std::vector<std::string> texts;
  Opened()->ReadOrThrow([&](sql::Connection& db) {
    for (sql::Query query(db,
                          "SELECT note FROM comment UNION ALL SELECT d.name FROM descriptor d "
                          "JOIN subgroup_descriptor s ON s.descriptor = d.id");
         query.Step();) {
      texts.emplace_back(query.Text(0));
    }
  });
  EXPECT_EQ(texts, (std::vector<std::string>{"first", "red"}));
  EXPECT_EQ(RestoreRefusal(again),
            "stored: #1 T has values again; edit delete takes them out first");
  ExpectWhole();
}

TEST_F(TypesTest, NorIsWhatAnotherTestHasInItsPlaceSinceAMerge) {
  Import(kMeasured);
  const auto deleted = Delete(1, "T");
  Data().Merge(ItemKind::Test, "T", "U", Why());
  EXPECT_EQ(RestoreRefusal(deleted),
            "stored: #1 U has values again; edit delete takes them out first");
}

TEST_F(TypesTest, ASubgroupMovesWhereItsValuesAreReasonable) {
  Import(kMeasured);
  Import("part,test,url,effective\nA,T,1.5,2025-01-01\nA,U,2,2026-01-01\n", ImportKind::Limits);
  constexpr std::int32_t k2025 = 1'738'000'000;
  SubgroupChange change;
  change.time = k2025;
  const auto move = [&] {
    return RefusalOf([&] { Data().ChangeSubgroups({1}, {}, change, Why()); });
  };
  const auto events = [&] {
    std::int64_t count = 0;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      count = sql::Query(db,
                         "SELECT count(*) FROM event e JOIN event_name n ON n.id = e.name "
                         "WHERE n.name = 'Unreasonable value' AND e.subgroup_time = ?1",
                         k2025)
                  .RunForInt()
                  .value_or(0);
    });
    return count;
  };
  EXPECT_EQ(move(),
            "unreasonable: #1 T: value: 2 lies beyond the reasonable limit 1.5; --force stores it");
  EXPECT_EQ(Data().FindSubgroups("", "", "1", k2025), std::vector<std::int32_t>());
  change.force = true;
  EXPECT_EQ(move(), "");
  EXPECT_EQ(events(), 1);
  SubgroupChange label;
  label.label = "other";
  EXPECT_EQ(RefusalOf([&] { Data().ChangeSubgroups({1}, {}, label, Why()); }), "")
      << "its time stays";
  EXPECT_EQ(Data().FindSubgroups("", "", "other", k2025), std::vector{1});
}

}  // namespace orvspc::engine::change
